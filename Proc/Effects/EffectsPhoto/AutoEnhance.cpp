// AutoEnhance: improves a photograph in one step.
//
// Three pictures are blended: one with enhanced local contrast, a blend of a darker and a brighter variant, and a
// brightened one that is covered by the darker variant in the bright areas. An automatic light balance is applied to
// the result. The intensity is the opacity of the result.

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Settings/Common/SettingsEffectAlpha.h"
#include "Host/Settings/Common/SettingsEffectBlur.h"
#include "Host/Settings/Common/SettingsEffectCLAHE.h"
#include "Host/Settings/Common/SettingsEffectColorBalance.h"
#include "Host/Settings/Common/SettingsEffectImageBlender.h"
#include "Host/Settings/Photo/SettingsEffectAutoEnhance.h"
#include "Host/Settings/Photo/SettingsEffectColorBalanceAuto.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Curves.h"
#include "Proc/Effects/EffectsPhoto/Shared/FormatConverter.h"
#include "Proc/Effects/EffectsPhoto/Shared/LayerMask.h"

namespace Orvexa::Proc {
namespace {

constexpr double kClipLimit = 2.0;
constexpr std::uint8_t kHalf = 127, kWhole = 255;
constexpr int kMaskGamma = -30, kDarker = -25, kBrighter = 25, kSlightlyBrighter = 5;
constexpr int kFirstBright = 40;          // level from which a pixel of the darkened luma counts as bright
constexpr double kMaskDeviation = 100.0;  // pixels
constexpr double kMaskReach = 2.0;        // deviations
constexpr std::int32_t kExposure = 10;    // units of 3 % each

SettingsEffectImageBlender Blending(std::uint8_t strength) { return {0, 0, strength, BlendAlphaMode::IgnoreAlpha}; }

SettingsEffectBlur MaskBlur() {
    SettingsEffectBlur blur(1);
    blur.SetDevX(kMaskDeviation);
    blur.SetDevY(kMaskDeviation);
    blur.SetKernelLength(kMaskReach);
    return blur;
}

Shared::Curve BrightLevels() {
    Shared::Curve curve;
    for (int level = 0; level < 256; ++level) curve[level] = level < kFirstBright ? 0 : 255;
    return curve;
}

class AutoEnhance : public EffectBaseOneInput<SettingsEffectAutoEnhance> {
public:
    using EffectBaseOneInput::EffectBaseOneInput;

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        const PixFmt pixFmt = frame->GetPixFmt();
        FramePtr alpha;
        if (PixFmtDescription::Get(pixFmt).HasAlpha()) {
            alpha = frame;
            alphaExtractor_->ProcessData(alpha);
        }
        FramePtr input = frame;
        Enhance(frame, pixFmt);
        backConverter_.Convert(frame, pixFmt);
        if (!settings_.IsIntensityDefault()) {
            blender_->SetSettings(
                Blending(Shared::TruncateToByte(255.0 - (settings_.GetIntensity() - 0.0) * 255.0 / 100.0)));
            blender_->ProcessData(frame, ConstFramePtr(input));
        }
        input.reset();
        if (alpha != nullptr) alphaInserter_->ProcessData(frame, ConstFramePtr(alpha));
    }

    void Enhance(FramePtr& frame, PixFmt pixFmt) {
        FramePtr result = frame;
        lumaConverter_->ProcessData(result);
        FramePtr bright = TakeLuma(*result, allocator_);
        RaiseLocalContrast(result, bright);
        MakeBrightMask(bright);

        FramePtr darker = WithGamma(frame, kDarker);
        FramePtr brighter = WithGamma(frame, kBrighter);
        // With the blender's current strength: one half, or the one set for the intensity of an earlier frame.
        blender_->ProcessData(brighter, ConstFramePtr(darker));
        lumaConverter_->ProcessData(brighter);
        blender_->ProcessData(result, ConstFramePtr(brighter));
        brighter.reset();

        FramePtr balanced = WithGamma(frame, kSlightlyBrighter);
        SettingsEffectColorBalanceAuto exposure;
        exposure.SetExposure(kExposure);
        autoBalance_->SetSettings(exposure);
        autoBalance_->ProcessData(balanced);
        brightMask_.Set(std::move(bright));
        brightMask_.PrepareFor(pixFmt);
        brightMask_.AttachTo(*darker);
        brightMask_.Set({});
        blender_->SetSettings(Blending(kWhole));
        blender_->ProcessData(balanced, ConstFramePtr(darker));
        darker.reset();
        blender_->SetSettings(Blending(kHalf));
        lumaConverter_->ProcessData(balanced);
        blender_->ProcessData(result, ConstFramePtr(balanced));
        balanced.reset();

        SettingsEffectColorBalanceAuto light;
        light.SetLightBalance(true);
        autoBalance_->SetSettings(light);
        autoBalance_->ProcessData(result);
        frame = std::move(result);
    }

    void RaiseLocalContrast(FramePtr& frame, FramePtr luma) {
        clahe_->ProcessData(luma);
        MakeWritable(frame);
        PutLuma(*luma, *frame);
    }

    // Turns the luma into a soft mask of the bright areas.
    void MakeBrightMask(FramePtr& luma) {
        ApplyGamma(luma, kMaskGamma);
        MakeWritable(luma);
        const Plane plane = luma->GetPlane(0);
        Shared::ApplyCurve(BrightLevels(), plane, plane);
        blur_->SetSettings(MaskBlur());
        blur_->ProcessData(luma);
    }

    void ApplyGamma(FramePtr& frame, int gamma) {
        SettingsEffectColorBalance balance;
        balance.SetGamma(gamma);
        colorBalance_->SetSettings(balance);
        colorBalance_->ProcessData(frame);
    }
    FramePtr WithGamma(FramePtr frame, int gamma) {
        ApplyGamma(frame, gamma);
        MakeWritable(frame);
        return frame;
    }

    OneInputPtr alphaExtractor_ = CreateOneInput<SettingsEffectAlphaExtractor>();
    TwoInputPtr alphaInserter_ = CreateTwoInput<SettingsEffectAlphaInserter>();
    TwoInputPtr blender_ = CreateTwoInput(Blending(kHalf));
    OneInputPtr blur_ = CreateOneInput<SettingsEffectBlur>();
    OneInputPtr clahe_ = CreateOneInput(SettingsEffectCLAHE(kClipLimit));
    OneInputPtr colorBalance_ = CreateOneInput<SettingsEffectColorBalance>();
    OneInputPtr autoBalance_ = CreateOneInput<SettingsEffectColorBalanceAuto>();
    Shared::LayerMask brightMask_{CreateOneInput<SettingsEffectExtraAlphaExtractor>()};
    Shared::FormatConverter backConverter_{CreateOneInput<SettingsColorspaceConverter>()};
    OneInputPtr lumaConverter_ = CreateOneInput(SettingsColorspaceConverter(PixFmt::Yuv444p, true));
};

}  // namespace

bool RegisterAutoEnhance(IEffectFactory& factory) { return RegisterEffect<AutoEnhance>(factory); }

}  // namespace Orvexa::Proc
