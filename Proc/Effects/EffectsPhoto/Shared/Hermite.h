// Cubic Hermite interpolation.
#pragma once

#include <array>

namespace Orvexa::Proc::Shared {

/// The basis functions at t of 0..1: weights of start value, start slope, end value and end slope.
inline std::array<double, 4> HermiteBasis(double t) {
    const double t2 = t * t, t3 = t2 * t;
    return {2.0 * t3 - 3.0 * t2 + 1.0, t3 - 2.0 * t2 + t, 3.0 * t2 - 2.0 * t3, t3 - t2};
}

/// The cubic between two values with the given slopes, level at both ends by default. Slopes are per unit of t.
struct HermiteRamp {
    double start, end;
    double startSlope = 0.0, endSlope = 0.0;

    /// The value at t of 0..1; the four terms are added from left to right.
    double At(double t) const {
        const auto [ofStart, ofStartSlope, ofEnd, ofEndSlope] = HermiteBasis(t);
        return ofStart * start + ofStartSlope * startSlope + ofEnd * end + ofEndSlope * endSlope;
    }
};

}  // namespace Orvexa::Proc::Shared
