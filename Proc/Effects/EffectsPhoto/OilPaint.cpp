// OilPaint: runs the host's painter, for large pictures at a half, a quarter, ... of their size, so that strokes are
// large enough to be visible and the cost is bounded.

#include <algorithm>

#include "Host/Settings/Common/SettingsEffectOilPaint.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Reduction.h"

namespace Orvexa::Proc {
namespace {

constexpr std::uint32_t kMaxPaintedSide = 2048;  // limits the shorter side

class OilPaint : public EffectBaseOneInput<SettingsEffectOilPaint> {
public:
    using EffectBaseOneInput::EffectBaseOneInput;

    /// Forces reconfiguration on the next frame; keeps the settings.
    void ResetSettings() override { reduction_.Forget(); }

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        const FrameInfo info = frame->GetFrameInfo();
        const FrameInfo evenInfo = Shared::RoundUpToEven(info);
        if (reduction_.IsNew(evenInfo)) Configure(evenInfo);
        if (isReduced_) reduction_.Reduce(frame);
        painter_->ProcessData(frame);
        if (isReduced_) reduction_.Enlarge(frame, info);
    }

    void Configure(const FrameInfo& info) {
        painter_->SetSettings(settings_);
        FrameInfo painted = info;
        isReduced_ = false;
        while (std::min(painted.width, painted.height) > kMaxPaintedSide) {
            isReduced_ = true;
            painted.width /= 2;
            painted.height /= 2;
        }
        using Methods = SettingsResizer::ResizeMethods;
        reduction_.Configure({Methods::FastBilinear, SettingsResizer::kFitInside, painted},
                             {Methods::Bicubic, SettingsResizer::kExactSizeAlias, info});
    }

    OneInputPtr painter_ = CreateOneInput<SettingsEffectOilPaint>(ImplPhotoNames::IMAGEMAGICK);
    Shared::Reduction reduction_{CreateOneInput<SettingsResizer>(), CreateOneInput<SettingsResizer>()};
    bool isReduced_ = false;
};

}  // namespace

bool RegisterOilPaint(IEffectFactory& factory) { return RegisterEffect<OilPaint>(factory); }

}  // namespace Orvexa::Proc
