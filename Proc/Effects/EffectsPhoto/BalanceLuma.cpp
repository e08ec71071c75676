// BalanceLuma: corrects the brightness of a picture by applying one tone curve to its luma; chroma is unchanged.
//
// The curve combines a lift of the shadows (largest at black, falling linearly), a push of the highlights (largest at
// white), an exposure gain of 4 % per unit, and a stretch of the luma range of the unmodified picture.

#include <cmath>
#include <cstdlib>

#include "Host/Settings/Photo/SettingsEffectBalanceLuma.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Curves.h"
#include "Proc/Effects/EffectsPhoto/Shared/Statistics.h"

namespace Orvexa::Proc {
namespace {

constexpr double kExposureGain = 0.04;
// Strength of shadows and highlights: a setting of 100 moves the end of the range by 100 * sqrt(100) / 7 * 0.29, about
// 41 levels.
constexpr double kLiftDivisor = 7.0;
constexpr double kLiftFactor = 0.29;
// Pixels clipped at the ends of a stretch, in ten-thousandths. The low side deliberately clips ten times more than the
// high side.
constexpr double kClippedLow = 10.0;
constexpr double kClippedOf = 10000.0;

// Levels to add at `position`, 0..1 towards the point of the largest change; the last term, one half, is for rounding.
double Lift(double position, double amount) {
    double lift = position * amount * std::sqrt(std::abs(amount));
    lift = lift / kLiftDivisor;
    lift = lift * kLiftFactor;
    return lift + 0.5;
}

// The highlights subtract their lift including its rounding half, so levels drop by one where the push is below one
// half. Intended: shadows and highlights are not mirror images.
Shared::Curve ShadowsHighlights(std::int32_t shadows, std::int32_t highlights) {
    constexpr double kLevels = 256;
    Shared::Curve curve = Shared::IdentityCurve();
    for (int i = 0; i < 256; ++i) {
        if (shadows != 0) curve[i] = Shared::TruncateToByte(curve[i] + Lift((kLevels - i) / kLevels, shadows));
        if (highlights != 0)
            curve[i] = Shared::TruncateToByte(curve[i] - Lift(i / kLevels, -static_cast<double>(highlights)));
    }
    return curve;
}

Shared::Curve AutoContrast(const ConstPlane& luma, const FrameInfo& info) {
    const Shared::Counts counts = Shared::CountBytes(luma);
    const std::uint32_t pixels = info.width * info.height;
    const int low = Shared::LowPercentile(counts, static_cast<std::uint64_t>(pixels * kClippedLow / kClippedOf));
    const int high = Shared::HighPercentile(counts, static_cast<std::uint64_t>(pixels / kClippedOf));
    return Shared::StretchCurve(low, high);
}

class BalanceLuma : public EffectBaseCSCOneInput<SettingsEffectBalanceLuma> {
public:
    using EffectBaseCSCOneInput::EffectBaseCSCOneInput;

private:
    const std::vector<PixFmt>& GetWorkingPixFmts() const override {
        static const std::vector<PixFmt> formats{PixFmt::Yuv444p, PixFmt::Yuv420p,  PixFmt::Yuv422p,
                                                 PixFmt::Yuv440p, PixFmt::Yuva444p, PixFmt::Yuva420p};
        return formats;
    }

    void ProcessInternalCSC(FramePtr& frame, const ConstFramePtr& input) override {
        const Shared::Curve curve = MakeCurve(*frame);
        frame = Writable(frame, input);
        const Plane luma = frame->GetPlane(0);
        Shared::ApplyCurve(curve, luma, luma);
    }

    Shared::Curve MakeCurve(const IDataVideo& working) const {
        Shared::Curve curve = ShadowsHighlights(settings_.GetShadows(), settings_.GetHighlights());
        if (settings_.GetExposure() != 0)
            curve = Shared::Compose(curve, Shared::ExposureCurve(settings_.GetExposure(), kExposureGain));
        // Counted on the original luma, not on the result of the curve.
        if (settings_.GetAutoContrast())
            curve = Shared::Compose(curve, AutoContrast(working.GetPlane(0), working.GetFrameInfo()));
        return curve;
    }
};

}  // namespace

bool RegisterBalanceLuma(IEffectFactory& factory) { return RegisterEffect<BalanceLuma>(factory); }

}  // namespace Orvexa::Proc
