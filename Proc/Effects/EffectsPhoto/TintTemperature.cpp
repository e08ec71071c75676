// TintTemperature: adds the temperature to red and subtracts it from blue, adds the tint to green, and restores the
// picture's luma, so that only its colour changes.

#include <algorithm>
#include <array>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Settings/Photo/SettingsEffectTintTemperature.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Curves.h"
#include "Proc/Effects/EffectsPhoto/Shared/PackedRgb.h"

namespace Orvexa::Proc {
namespace {

// 64-bit arithmetic, since any 32-bit setting is accepted.
Shared::Curve OffsetCurve(std::int64_t offset) {
    Shared::Curve curve;
    for (std::int64_t i = 0; i < 256; ++i)
        curve[i] = static_cast<std::uint8_t>(std::clamp<std::int64_t>(i + offset, 0, 255));
    return curve;
}

class TintTemperature : public EffectBaseCSCLuma<SettingsEffectTintTemperature> {
public:
    using EffectBaseCSCLuma::EffectBaseCSCLuma;

private:
    void ApplySettings(bool) override {
        red_ = OffsetCurve(settings_.GetTemperature());
        green_ = OffsetCurve(settings_.GetTint());
        blue_ = OffsetCurve(-std::int64_t{settings_.GetTemperature()});
    }

    const std::vector<PixFmt>& GetWorkingPixFmts() const override { return Shared::PackedRgbFormats(); }

    void ProcessInternalColor(FramePtr& frame) override {
        const PixFmtDescription& layout = PixFmtDescription::Get(frame->GetPixFmt());
        if (!IsExclusive(frame)) frame = CloneFrame(*frame, kCloneIndependent);
        const bool isRedFirst = layout.red < layout.blue;
        const std::array<Shared::Curve, 3> curves{isRedFirst ? red_ : blue_, green_, isRedFirst ? blue_ : red_};
        Shared::ApplyCurves(curves, frame->GetPlane(0), layout.bytesPerPixel);
    }

    Shared::Curve red_{}, green_{}, blue_{};
};

}  // namespace

bool RegisterTintTemperature(IEffectFactory& factory) { return RegisterEffect<TintTemperature>(factory); }

}  // namespace Orvexa::Proc
