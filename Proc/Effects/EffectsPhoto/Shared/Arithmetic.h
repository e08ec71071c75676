// Numeric primitives shared by effects.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace Orvexa::Proc::Shared {

/// trunc(v + 0.5) for v >= 0, trunc(v - 0.5) below; `v` must fit.
inline std::int64_t RoundHalfAway(double v) { return static_cast<std::int64_t>(v < 0 ? v - 0.5 : v + 0.5); }

/// `v` truncated toward zero and clamped to 0..255; NaN and infinities give 0.
inline std::uint8_t TruncateToByte(double v) {
    if (!std::isfinite(v)) return 0;
    return static_cast<std::uint8_t>(std::clamp(v, 0.0, 255.0));
}

/// `v` truncated toward zero and clamped to 32 bits; NaN gives 0.
inline std::int32_t TruncateToInt(double v) {
    if (std::isnan(v)) return 0;
    return static_cast<std::int32_t>(std::clamp(v, -2147483648.0, 2147483647.0));
}

}  // namespace Orvexa::Proc::Shared
