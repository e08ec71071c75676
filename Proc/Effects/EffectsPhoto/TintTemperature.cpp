// TintTemperature: adds the temperature to red and takes it from blue, adds the tint to green, and gives the picture
// its luma back, so that only its colour changes.

#include <algorithm>
#include <array>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Settings/Photo/SettingsEffectTintTemperature.h"
#include "Proc/Effects/EffectsPhoto/Detail/Curves.h"
#include "Proc/Effects/EffectsPhoto/Detail/PackedRgb.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"

namespace Orvexa::Proc {
namespace {

// In 64 bits, since any 32-bit setting is accepted.
Detail::Curve OffsetCurve(std::int64_t offset) {
    Detail::Curve curve;
    for (std::int64_t i = 0; i < 256; ++i)
        curve[i] = static_cast<std::uint8_t>(std::clamp<std::int64_t>(i + offset, 0, 255));
    return curve;
}

class TintTemperature : public EffectBaseCSCLuma<SettingsEffectTintTemperature> {
public:
    using EffectBaseCSCLuma::EffectBaseCSCLuma;
    using EffectBaseCSCLuma::SetSettings;

    void SetSettings(const SettingsEffectTintTemperature& settings) override {
        EffectBaseCSCLuma::SetSettings(settings);
        red_ = OffsetCurve(settings_.GetTemperature());
        green_ = OffsetCurve(settings_.GetTint());
        blue_ = OffsetCurve(-std::int64_t{settings_.GetTemperature()});
    }

private:
    const std::vector<PixFmt>& GetWorkingPixFmts() const override { return Detail::PackedRgbFormats(); }

    void ProcessInternalColor(FramePtr& frame) override {
        const PixFmtDescription& layout = PixFmtDescription::Get(frame->GetPixFmt());
        if (!IsExclusive(frame)) frame = CloneFrame(*frame, kCloneIndependent);
        const bool isRedFirst = layout.red < layout.blue;
        const std::array<Detail::Curve, 3> curves{isRedFirst ? red_ : blue_, green_, isRedFirst ? blue_ : red_};
        Detail::ApplyCurves(curves, frame->GetPlane(0), layout.bytesPerPixel);
    }

    Detail::Curve red_{}, green_{}, blue_{};
};

}  // namespace

OneInputPtr CreateTintTemperature(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<TintTemperature>(factory, allocator);
}

}  // namespace Orvexa::Proc
