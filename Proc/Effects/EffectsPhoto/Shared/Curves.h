// Tone curves: 256-entry byte tables, and their application to planes.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>

#include "Host/Proc/Plane.h"
#include "Proc/Effects/EffectsPhoto/Shared/Arithmetic.h"

namespace Orvexa::Proc::Shared {

using Curve = std::array<std::uint8_t, 256>;

constexpr Curve IdentityCurve() {
    Curve curve{};
    for (int i = 0; i < 256; ++i) curve[i] = static_cast<std::uint8_t>(i);
    return curve;
}

/// `first`, then `second`: x -> second[first[x]].
inline Curve Compose(const Curve& first, const Curve& second) {
    Curve composed;
    for (int i = 0; i < 256; ++i) composed[i] = second[first[i]];
    return composed;
}

/// Stretches `low`..`high` to 0..255: ((i - low) * 255) / (high - low), clamped and rounded; the identity if both are
/// equal.
inline Curve StretchCurve(int low, int high) {
    if (low == high) return IdentityCurve();
    Curve curve;
    for (int i = 0; i < 256; ++i) {
        const double value = ((i - low) * 255.0) / (high - low);
        curve[i] = static_cast<std::uint8_t>(RoundHalfAway(std::clamp(value, 0.0, 255.0)));
    }
    return curve;
}

/// Gain |exposure| * `gainPerUnit` + 1, its inverse for a negative exposure; rounded and clamped.
inline Curve ExposureCurve(std::int32_t exposure, double gainPerUnit) {
    double gain = std::abs(static_cast<double>(exposure)) * gainPerUnit + 1.0;
    if (exposure < 0) gain = 1.0 / gain;
    Curve curve;
    for (int i = 0; i < 256; ++i) curve[i] = TruncateToByte(i * gain + 0.5);
    return curve;
}

/// Applies a curve each to the first three bytes of every pixel; further bytes and incomplete pixels at the end of a
/// row are unchanged.
inline void ApplyCurves(const std::array<Curve, 3>& curves, const Plane& plane, std::uint64_t bytesPerPixel) {
    const std::uint64_t pixels = plane.GetWidth() / bytesPerPixel;
    for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
        std::uint8_t* pixel = plane.GetRow(y);
        for (std::uint64_t x = 0; x < pixels; ++x, pixel += bytesPerPixel) {
            pixel[0] = curves[0][pixel[0]];
            pixel[1] = curves[1][pixel[1]];
            pixel[2] = curves[2][pixel[2]];
        }
    }
}

/// Applies a curve to every byte of `source` and writes to `destination`, a plane of the same size, which may be the
/// same plane.
void ApplyCurve(const Curve& curve, const ConstPlane& source, const Plane& destination);

}  // namespace Orvexa::Proc::Shared
