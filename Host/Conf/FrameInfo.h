#pragma once

#include <cstdint>
#include <numeric>

namespace Orvexa::Conf {

/// A ratio of unsigned numbers in lowest terms; 0/0 if unknown.
struct Rational {
    constexpr Rational() = default;
    constexpr Rational(std::uint32_t num, std::uint32_t den) : numerator(num), denominator(den) {
        const std::uint32_t divisor = std::gcd(num, den);
        if (divisor > 1) {
            numerator /= divisor;
            denominator /= divisor;
        }
    }
    constexpr bool operator==(const Rational&) const = default;

    std::uint32_t numerator = 0;
    std::uint32_t denominator = 0;
};

/// A frame's geometry: size in pixels and the shape of one pixel (1/1 for square ones).
struct FrameInfo {
    constexpr FrameInfo() = default;
    constexpr FrameInfo(std::uint32_t w, std::uint32_t h, Rational pixelAspect = {1, 1})
        : width(w), height(h), aspect(pixelAspect) {}
    constexpr bool operator==(const FrameInfo&) const = default;

    std::uint32_t width = 0;
    std::uint32_t height = 0;
    Rational aspect;
};

}  // namespace Orvexa::Conf
