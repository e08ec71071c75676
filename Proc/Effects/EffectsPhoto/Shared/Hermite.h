// Cubic Hermite interpolation.
#pragma once

#include <array>

namespace Orvexa::Proc::Shared {

/// The basis functions at t of 0..1: weights of start value, start slope, end value and end slope.
inline std::array<double, 4> HermiteBasis(double t) {
    const double t2 = t * t, t3 = t2 * t;
    return {2.0 * t3 - 3.0 * t2 + 1.0, t3 - 2.0 * t2 + t, 3.0 * t2 - 2.0 * t3, t3 - t2};
}

}  // namespace Orvexa::Proc::Shared
