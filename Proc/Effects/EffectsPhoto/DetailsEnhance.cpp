// DetailsEnhance: brings out details by enhancing the local contrast of luma, slightly darkened in proportion. The
// result is blended over the picture through a mask that is largest at mid-grey, so that black and white are unchanged.

#include <optional>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Settings/Common/SettingsEffectCLAHE.h"
#include "Host/Settings/Common/SettingsEffectColorBalance.h"
#include "Host/Settings/Common/SettingsEffectImageBlender.h"
#include "Host/Settings/Photo/SettingsEffectDetailsEnhance.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Curves.h"
#include "Proc/Effects/EffectsPhoto/Shared/FormatConverter.h"
#include "Proc/Effects/EffectsPhoto/Shared/LayerMask.h"

namespace Orvexa::Proc {
namespace {

constexpr double kClipLimit = 2.5;  // at full strength
constexpr std::int32_t kGamma = -15;

// Rises from black to mid-grey and falls to white, in truncating integer arithmetic.
constexpr Shared::Curve MidTones() {
    Shared::Curve curve{};
    for (int i = 0; i < 128; ++i) curve[i] = static_cast<std::uint8_t>((255 * i) / 128);
    for (int i = 128; i < 256; ++i) curve[i] = static_cast<std::uint8_t>((-255 * (i - 128)) / (255 - 128) + 255);
    return curve;
}
constexpr Shared::Curve kMidTones = MidTones();

class DetailsEnhance : public EffectBaseOneInput<SettingsEffectDetailsEnhance> {
public:
    using EffectBaseOneInput::EffectBaseOneInput;

private:
    void ApplySettings(bool) override {
        clahe_->SetSettings(SettingsEffectCLAHE(settings_.GetStrength() * kClipLimit / 100.0));
        SettingsEffectColorBalance balance;
        balance.SetGamma((settings_.GetStrength() * kGamma) / 100);
        colorBalance_->SetSettings(balance);
    }

    void ProcessInternalImpl(FramePtr& frame) override {
        const PixFmt pixFmt = frame->GetPixFmt();
        FramePtr enhanced = frame;
        workingConverter_->ProcessData(enhanced);
        FramePtr mask = TakeLuma(*enhanced, allocator_);
        FramePtr luma = mask;
        clahe_->ProcessData(luma);
        MakeWritable(enhanced);
        PutLuma(*luma, *enhanced);
        luma.reset();
        colorBalance_->ProcessData(enhanced);
        const Plane weights = mask->GetPlane(0);
        Shared::ApplyCurve(kMidTones, weights, weights);
        backConverter_.Convert(enhanced, pixFmt);
        MakeWritable(enhanced);
        AttachMask(enhanced, std::move(mask));
        MakeWritable(frame);  // its alpha is preserved: the blender does not change it
        blender_->ProcessData(frame, ConstFramePtr(enhanced));
    }

    void AttachMask(FramePtr& layer, FramePtr mask) {
        if (PixFmtDescription::Get(layer->GetPixFmt()).HasAlpha()) {
            if (alphaInserter_ == nullptr) alphaInserter_ = CreateTwoInput(SettingsEffectAlphaInserter());
            alphaInserter_->ProcessData(layer, ConstFramePtr(mask));
        } else {
            if (!layerMask_) layerMask_.emplace(CreateOneInput<SettingsEffectExtraAlphaExtractor>());
            layerMask_->Set(std::move(mask));
            layerMask_->PrepareFor(layer->GetPixFmt());
            layerMask_->AttachTo(*layer);
            layerMask_->Set({});
        }
    }

    TwoInputPtr blender_ = CreateTwoInput(SettingsEffectImageBlender(0, 0, 255, BlendAlphaMode::UseAlpha));
    OneInputPtr clahe_ = CreateOneInput<SettingsEffectCLAHE>();
    OneInputPtr colorBalance_ = CreateOneInput<SettingsEffectColorBalance>();
    std::optional<Shared::LayerMask> layerMask_;  // created for the first picture without alpha
    TwoInputPtr alphaInserter_;                   // created for the first one with alpha
    Shared::FormatConverter backConverter_{CreateOneInput<SettingsColorspaceConverter>()};
    OneInputPtr workingConverter_ = CreateOneInput(SettingsColorspaceConverter(PixFmt::Yuvj444p, true));
};

}  // namespace

bool RegisterDetailsEnhance(IEffectFactory& factory) { return RegisterEffect<DetailsEnhance>(factory); }

}  // namespace Orvexa::Proc
