// Cutter: cuts a picture into overlapping patches of one size, for effects that cannot process it as a whole. The
// picture is extended to the right and at the bottom until the patches cover it exactly. Patches are views, so no
// pixels are copied.

#include "Host/Settings/Common/SettingsEffectPad.h"
#include "Host/Settings/Photo/SettingsEffectCutter.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Rectangles.h"
#include "Proc/Effects/EffectsPhoto/Shared/Tiling.h"

namespace Orvexa::Proc {
namespace {

class Cutter : public EffectBaseVarInput<SettingsEffectCutter> {
public:
    using EffectBaseVarInput::EffectBaseVarInput;

private:
    DataPtr ProcessInternalImpl(std::vector<DataPtr>& frames) override {
        FramePtr picture = CloneFrame(dynamic_cast<const IDataVideo&>(*frames.front()), kCloneView);
        const std::uint32_t patchWidth = settings_.GetPatchWidth(), patchHeight = settings_.GetPatchHeight();
        const std::uint32_t overlapX = settings_.GetOverlapX(), overlapY = settings_.GetOverlapY();
        const std::uint32_t width = Shared::Fit(picture->GetFrameInfo().width, patchWidth, overlapX);
        const std::uint32_t height = Shared::Fit(picture->GetFrameInfo().height, patchHeight, overlapY);
        PadTo(picture, width, height);
        frames.clear();
        for (std::uint32_t y = 0; y + overlapY < height; y += patchHeight - overlapY) {
            for (std::uint32_t x = 0; x + overlapX < width; x += patchWidth - overlapX)
                frames.push_back(Shared::ViewOf(*picture, x, y, patchWidth, patchHeight));
        }
        return {};
    }

    void PadTo(FramePtr& picture, std::uint32_t width, std::uint32_t height) {
        const CropInfo margins{0, width - picture->GetFrameInfo().width, 0, height - picture->GetFrameInfo().height};
        if (margins == CropInfo()) return;
        const PadMode mode = settings_.GetPadMode() == CutterPadMode::Fill ? PadMode::Fill : PadMode::Replicate;
        pad_->SetSettings(SettingsEffectPad(margins, mode, settings_.GetPadColor()));
        pad_->ProcessData(picture);
    }

    OneInputPtr pad_ = CreateOneInput<SettingsEffectPad>();
};

}  // namespace

bool RegisterCutter(IEffectFactory& factory) { return RegisterEffect<Cutter>(factory); }

}  // namespace Orvexa::Proc
