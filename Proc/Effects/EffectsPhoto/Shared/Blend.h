// Blending of bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Orvexa::Proc::Shared {

/// Floor of x / 255 for x of 0..65534, in 16-bit arithmetic, which wraps for 65535.
constexpr std::uint16_t DivideBy255(std::uint16_t x) {
    return static_cast<std::uint16_t>(static_cast<std::uint16_t>((x >> 8) + x + 1) >> 8);
}

/// `over` blended over `under` with the given opacity: (under * (255 - opacity) + over * opacity) / 255 in 16-bit
/// arithmetic, which wraps for opacities above 255.
constexpr std::uint8_t BlendByte(std::uint8_t under, std::uint8_t over, std::uint16_t opacity) {
    const unsigned rest = 255u - opacity;
    return static_cast<std::uint8_t>(DivideBy255(static_cast<std::uint16_t>(under * rest + over * unsigned{opacity})));
}

/// Blends `size` bytes of `over` over `under` with one opacity, as `BlendByte` does, into `result`, which may be
/// `under`.
void BlendRow(const std::uint8_t* under, const std::uint8_t* over, std::uint16_t opacity, std::uint8_t* result,
              std::size_t size);

/// The same in place with an opacity for each byte, scaled first: DivideBy255(opacity * scale).
void BlendRow(std::uint8_t* under, const std::uint8_t* over, const std::uint8_t* opacities, std::uint8_t scale,
              std::size_t size);

}  // namespace Orvexa::Proc::Shared
