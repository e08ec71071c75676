// ColorBalanceAuto: corrects colour casts and dull tones using the picture's own statistics.
//
// White balance stretches every channel between its own black and white points. Light balance stretches channels and
// luma between softened points and adds a gentle gamma. Exposure is a gain of 3 % per unit. All are combined into one
// curve per channel.

#include <array>
#include <cmath>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Settings/Photo/SettingsEffectColorBalanceAuto.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Curves.h"
#include "Proc/Effects/EffectsPhoto/Shared/PackedRgb.h"
#include "Proc/Effects/EffectsPhoto/Shared/Statistics.h"

namespace Orvexa::Proc {
namespace {

using Curves = std::array<Shared::Curve, 3>;
using Weights = std::array<std::uint32_t, 3>;

// Luma weights of red, green and blue, per mille (ITU-R BT.601).
constexpr Weights kRedFirst{299, 587, 114};
constexpr Weights kBlueFirst{114, 587, 299};
constexpr std::uint32_t kWeightUnit = 1000;

constexpr double kExposureGain = 0.03;
constexpr double kLightBalanceClipped = 0.005;  // fraction of pixels clipped at either end

struct Limits {
    int black, white;
};

// A tenth of the pixels may be black and a hundredth white, each divided by the channel's weight: a channel that
// contributes little to brightness is clipped more.
std::array<Limits, 4> WhiteBalanceLimits(const std::array<Shared::Counts, 4>& counts, std::uint32_t pixels,
                                         const Weights& weights) {
    const auto low = static_cast<std::uint64_t>(pixels * 10.0 / 100.0);
    const auto high = static_cast<std::uint64_t>(pixels / 100.0);
    std::array<Limits, 4> limits{};
    for (int k = 0; k < 3; ++k) {
        limits[k] = {Shared::LowPercentile(counts[k], low / weights[k]),
                     Shared::HighPercentile(counts[k], high / weights[k])};
    }
    return limits;
}

// The limits of the three channels and of luma, half-way between the percentiles and the ends of the range.
std::array<Limits, 4> LightBalanceLimits(const std::array<Shared::Counts, 4>& counts, std::uint32_t pixels) {
    const auto quota = static_cast<std::uint64_t>(pixels * kLightBalanceClipped);
    std::array<Limits, 4> limits;
    for (int k = 0; k < 4; ++k) {
        const int white = Shared::HighPercentile(counts[k], quota);
        limits[k] = {Shared::LowPercentile(counts[k], quota) / 2, white + (255 - white) / 2};
    }
    return limits;
}

Shared::Curve GammaCurve() {
    const double root = 1.0 / std::sqrt(10.0) + 0.7036920932599899;
    const double gamma = root * root;  // about 1.04: darkens the mid-tones by three levels
    Shared::Curve curve;
    for (int i = 0; i < 256; ++i) curve[i] = Shared::TruncateToByte(std::pow(i / 255.0, gamma) * 255.0 + 0.5);
    return curve;
}

void Append(Curves& curves, const Curves& further) {
    for (int k = 0; k < 3; ++k) curves[k] = Shared::Compose(curves[k], further[k]);
}

// Each channel's stretch followed by luma's, each with the gamma after it, which is therefore applied twice to a
// channel.
Curves LightBalanceCurves(const std::array<Limits, 4>& limits) {
    const Shared::Curve gamma = GammaCurve();
    const auto stretch = [&](const Limits& range) {
        return Shared::Compose(Shared::StretchCurve(range.black, range.white), gamma);
    };
    const Shared::Curve luma = stretch(limits[3]);
    return {Shared::Compose(stretch(limits[0]), luma), Shared::Compose(stretch(limits[1]), luma),
            Shared::Compose(stretch(limits[2]), luma)};
}

class ColorBalanceAuto : public EffectBaseCSCOneInput<SettingsEffectColorBalanceAuto> {
public:
    using EffectBaseCSCOneInput::EffectBaseCSCOneInput;

private:
    const std::vector<PixFmt>& GetWorkingPixFmts() const override { return Shared::PackedRgbFormats(); }

    void ProcessInternalCSC(FramePtr& frame, const ConstFramePtr& input) override {
        const PixFmtDescription& layout = PixFmtDescription::Get(frame->GetPixFmt());
        const Curves curves = MakeCurves(*frame, layout);
        FramePtr balanced = Writable(frame, input);
        Shared::ApplyCurves(curves, balanced->GetPlane(0), layout.bytesPerPixel);
        frame = std::move(balanced);
    }

    // Only light balance needs the luma counts.
    std::array<Shared::Counts, 4> CountFor(const ConstPlane& plane, std::uint64_t bytesPerPixel,
                                           const Weights& weights) const {
        if (settings_.GetLightBalance())
            return Shared::CountChannelsAndLuma(plane, bytesPerPixel, weights, kWeightUnit);
        const std::array<Shared::Counts, 3> channels = Shared::CountChannels(plane, bytesPerPixel);
        return {channels[0], channels[1], channels[2], Shared::Counts{}};
    }

    Curves MakeCurves(const IDataVideo& frame, const PixFmtDescription& layout) const {
        const Weights& weights = layout.red < layout.blue ? kRedFirst : kBlueFirst;
        const std::uint32_t pixels = frame.GetFrameInfo().width * frame.GetFrameInfo().height;
        std::array<Limits, 4> limits{};
        if (settings_.GetWhiteBalance() || settings_.GetLightBalance()) {
            const auto counts = CountFor(frame.GetPlane(0), layout.bytesPerPixel, weights);
            // Light balance takes precedence: if both are set, white balance also stretches between the softened
            // points. Intended.
            limits = settings_.GetLightBalance() ? LightBalanceLimits(counts, pixels)
                                                 : WhiteBalanceLimits(counts, pixels, weights);
        }
        Curves curves;
        curves.fill(Shared::IdentityCurve());
        if (settings_.GetWhiteBalance()) {
            Append(curves, {Shared::StretchCurve(limits[0].black, limits[0].white),
                            Shared::StretchCurve(limits[1].black, limits[1].white),
                            Shared::StretchCurve(limits[2].black, limits[2].white)});
        }
        if (settings_.GetLightBalance()) Append(curves, LightBalanceCurves(limits));
        if (settings_.GetExposure() != 0) {
            const Shared::Curve exposure = Shared::ExposureCurve(settings_.GetExposure(), kExposureGain);
            Append(curves, {exposure, exposure, exposure});
        }
        return curves;
    }
};

}  // namespace

bool RegisterColorBalanceAuto(IEffectFactory& factory) { return RegisterEffect<ColorBalanceAuto>(factory); }

}  // namespace Orvexa::Proc
