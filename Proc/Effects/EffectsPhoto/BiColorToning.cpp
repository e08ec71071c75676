// BiColorToning: tones the shadows with one colour and the highlights with another, blends the result half and half
// with the picture itself, and finishes by adding some vibrance and brightness.

#include "Host/Settings/Common/SettingsEffectColorBalance.h"
#include "Host/Settings/Common/SettingsEffectImageBlender.h"
#include "Host/Settings/Common/SettingsEffectSplitToning.h"
#include "Host/Settings/Common/SettingsEffectVibrance.h"
#include "Host/Settings/Photo/SettingsEffectBiColorToning.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/FormatConverter.h"

namespace Orvexa::Proc {
namespace {

constexpr std::uint8_t kHalf = 127;
constexpr int kBrightness = 10, kVibrance = 50;

class BiColorToning : public EffectBaseOneInput<SettingsEffectBiColorToning> {
public:
    BiColorToning(const FactoryPtr& factory, const AllocatorPtr& allocator) : EffectBaseOneInput(factory, allocator) {
        SettingsEffectColorBalance balance;
        balance.SetBrightness(kBrightness);
        colorBalance_->SetSettings(balance);
        SettingsEffectVibrance vibrance;
        vibrance.SetStrength(kVibrance);
        vibrance_->SetSettings(vibrance);
    }

private:
    void ApplySettings(bool) override {
        SettingsEffectSplitToning toning;
        toning.SetShadowColor(settings_.GetShadowColor());
        toning.SetHighlightColor(settings_.GetHighlightColor());
        splitToning_->SetSettings(toning);
    }

    void ProcessInternalImpl(FramePtr& frame) override {
        FramePtr toned = frame;
        splitToning_->ProcessData(toned);
        backConverter_.Convert(toned, frame->GetPixFmt());
        MakeWritable(toned);  // the toning may have left it unchanged
        blender_->ProcessData(toned, ConstFramePtr(frame));
        vibrance_->ProcessData(toned);
        colorBalance_->ProcessData(toned);
        frame = std::move(toned);
    }

    TwoInputPtr blender_ = CreateTwoInput(SettingsEffectImageBlender(0, 0, kHalf, BlendAlphaMode::IgnoreAlpha));
    OneInputPtr colorBalance_ = CreateOneInput<SettingsEffectColorBalance>();
    OneInputPtr splitToning_ = CreateOneInput<SettingsEffectSplitToning>();
    OneInputPtr vibrance_ = CreateOneInput<SettingsEffectVibrance>();
    Shared::FormatConverter backConverter_{CreateOneInput<SettingsColorspaceConverter>()};
};

}  // namespace

bool RegisterBiColorToning(IEffectFactory& factory) { return RegisterEffect<BiColorToning>(factory); }

}  // namespace Orvexa::Proc
