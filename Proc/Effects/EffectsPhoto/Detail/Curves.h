// Tone curves: 256-entry byte tables, and their application to planes.
#pragma once

#include <array>
#include <cstdint>

#include "Host/Proc/Plane.h"

namespace Orvexa::Proc::Detail {

using Curve = std::array<std::uint8_t, 256>;

/// Sends the first three bytes of every pixel through a curve each; further bytes and incomplete pixels at the end of a row stay.
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

/// Sends every byte of the plane through a curve.
inline void ApplyCurve(const Curve& curve, const Plane& plane) {
    for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
        std::uint8_t* row = plane.GetRow(y);
        for (std::uint64_t x = 0; x < plane.GetWidth(); ++x) row[x] = curve[row[x]];
    }
}

}  // namespace Orvexa::Proc::Detail
