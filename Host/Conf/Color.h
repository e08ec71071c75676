// Colours.
#pragma once

#include <cstdint>

namespace Orvexa {

enum class Opacity : std::uint8_t { Transparent = 0, Opaque = 1 };

/// A colour of four bytes; alpha 255 is opaque. Packed values are in memory order on little-endian machines: the first
/// letter in a format's name is the lowest byte.
class Color {
public:
    constexpr Color() = default;
    constexpr Color(std::uint8_t red, std::uint8_t green, std::uint8_t blue, std::uint8_t alpha = 255)
        : bytes_{red, green, blue, alpha} {}
    constexpr bool operator==(const Color&) const = default;

    static constexpr Color White(Opacity opacity) { return {255, 255, 255, AlphaOf(opacity)}; }
    static constexpr Color Black(Opacity opacity) { return {0, 0, 0, AlphaOf(opacity)}; }
    static constexpr Color FromRGBA(std::uint32_t v) { return {Byte(v, 0), Byte(v, 1), Byte(v, 2), Byte(v, 3)}; }
    static constexpr Color FromARGB(std::uint32_t v) { return {Byte(v, 1), Byte(v, 2), Byte(v, 3), Byte(v, 0)}; }
    static constexpr Color FromBGRA(std::uint32_t v) { return {Byte(v, 2), Byte(v, 1), Byte(v, 0), Byte(v, 3)}; }
    static constexpr Color FromABGR(std::uint32_t v) { return {Byte(v, 3), Byte(v, 2), Byte(v, 1), Byte(v, 0)}; }

    constexpr std::uint8_t red() const { return bytes_[0]; }
    constexpr std::uint8_t green() const { return bytes_[1]; }
    constexpr std::uint8_t blue() const { return bytes_[2]; }
    constexpr std::uint8_t alpha() const { return bytes_[3]; }
    /// Stored bytes 0..3: red, green, blue, alpha.
    constexpr std::uint8_t operator[](int index) const { return bytes_[index]; }

    constexpr std::uint32_t rgba() const { return Pack(red(), green(), blue(), alpha()); }
    constexpr std::uint32_t argb() const { return Pack(alpha(), red(), green(), blue()); }
    constexpr std::uint32_t bgra() const { return Pack(blue(), green(), red(), alpha()); }
    constexpr std::uint32_t abgr() const { return Pack(alpha(), blue(), green(), red()); }

    /// Full-range ITU-R BT.601 luma and chroma (the JPEG convention), rounded.
    constexpr std::uint8_t y() const { return Round(0.299 * red() + 0.587 * green() + 0.114 * blue()); }
    constexpr std::uint8_t u() const {
        return Round(128.0 + (-0.299 * red() - 0.587 * green() + 0.886 * blue()) / 1.772);
    }
    constexpr std::uint8_t v() const {
        return Round(128.0 + (0.701 * red() - 0.587 * green() - 0.114 * blue()) / 1.402);
    }

private:
    static constexpr std::uint8_t AlphaOf(Opacity opacity) { return opacity == Opacity::Opaque ? 255 : 0; }
    static constexpr std::uint8_t Byte(std::uint32_t value, int index) {
        return static_cast<std::uint8_t>(value >> (8 * index));
    }
    static constexpr std::uint32_t Pack(std::uint32_t b0, std::uint32_t b1, std::uint32_t b2, std::uint32_t b3) {
        return b0 | b1 << 8 | b2 << 16 | b3 << 24;
    }
    static constexpr std::uint8_t Round(double value) {
        return static_cast<std::uint8_t>(value >= 255.0 ? 255.0 : value <= 0.0 ? 0.0 : value + 0.5);
    }

    std::uint8_t bytes_[4] = {0, 0, 0, 255};
};

}  // namespace Orvexa
