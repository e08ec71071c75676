// WhiteBalance: removes a colour cast, given one colour that should be grey.
//
// Grey is the mean of the reference colour's channels. Each channel gets a curve of two straight lines, 0 -> 0,
// reference -> grey, 255 -> 255. If the upper line would be steep, it is replaced by one of slope 2, so that the few
// levels above the reference are not spread too far; white then stays below 255 in that channel.

#include <array>

#include "Host/Settings/Photo/SettingsEffectWhiteBalance.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Curves.h"

namespace Orvexa::Proc {
namespace {

constexpr int kWhite = 255;
// The slope, rounded down, from which the upper line counts as steep.
constexpr int kSteepRise = 5;
constexpr int kSteepSlope = 2;

// The straight line through (x0, y0) and (x1, y1), in truncating integer arithmetic.
constexpr int Line(int x0, int x1, int y0, int y1, int x) { return y0 + (y1 - y0) * (x - x0) / (x1 - x0); }

// The curve that maps `reference` to `grey`. If the reference is at an end of the range, there is only one line.
Shared::Curve MakeCurve(int reference, int grey) {
    const bool hasLower = reference > 0;
    const bool hasUpper = reference < kWhite;
    const bool isSteep = hasLower && hasUpper && (kWhite - grey) / (kWhite - reference) >= kSteepRise;
    Shared::Curve curve{};
    for (int x = 0; x <= kWhite; ++x) {
        int y;
        if (hasLower && x <= reference) {
            y = Line(0, reference, 0, grey, x);
        } else if (isSteep) {
            y = grey + kSteepSlope * (x - reference);
        } else {
            y = Line(reference, kWhite, grey, kWhite, x);
        }
        curve[x] = static_cast<std::uint8_t>(y);
    }
    return curve;
}

// Byte k of the colour determines the curve for byte k of the pixel, whatever the order of the channels.
std::array<Shared::Curve, 3> MakeCurves(const Color& reference) {
    const int grey = (reference[0] + reference[1] + reference[2]) / 3;
    return {MakeCurve(reference[0], grey), MakeCurve(reference[1], grey), MakeCurve(reference[2], grey)};
}

class WhiteBalance : public EffectBaseCSCOneInput<SettingsEffectWhiteBalance> {
public:
    using EffectBaseCSCOneInput::EffectBaseCSCOneInput;

private:
    bool AreNew(const SettingsEffectWhiteBalance& settings) const override { return !settings.IsColorEqual(settings_); }

    const std::vector<PixFmt>& GetWorkingPixFmts() const override {
        static const std::vector<PixFmt> formats{PixFmt::Bgr24, PixFmt::Rgb24, PixFmt::Bgra,
                                                 PixFmt::Rgba,  PixFmt::Rgba2, PixFmt::Bgra2};
        return formats;
    }

    void ProcessInternalCSC(FramePtr& frame, const ConstFramePtr& input) override {
        const std::array<Shared::Curve, 3> curves = MakeCurves(settings_.GetColor());
        FramePtr balanced = Writable(frame, input);
        const Plane plane = balanced->GetPlane(0);
        Shared::ApplyCurves(curves, plane, plane.GetBytesPerPixel());
        frame = std::move(balanced);
    }
};

}  // namespace

bool RegisterWhiteBalance(IEffectFactory& factory) { return RegisterEffect<WhiteBalance>(factory); }

}  // namespace Orvexa::Proc
