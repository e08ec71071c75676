// Counts of byte values and their percentiles.
#pragma once

#include <array>
#include <cstdint>

#include "Host/Proc/Plane.h"

namespace Orvexa::Proc::Detail {

using Counts = std::array<std::uint64_t, 256>;

/// How often each value occurs among the bytes of the plane.
inline Counts CountBytes(const ConstPlane& plane) {
    // Several tables, so that runs of equal bytes do not wait for each other's increments.
    std::array<Counts, 4> counts{};
    for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
        const std::uint8_t* row = plane.GetRow(y);
        for (std::uint64_t x = 0; x < plane.GetWidth(); ++x) ++counts[x % 4][row[x]];
    }
    for (int value = 0; value < 256; ++value) counts[0][value] += counts[1][value] + counts[2][value] + counts[3][value];
    return counts[0];
}

/// Counts of the first three bytes of every pixel.
inline std::array<Counts, 3> CountChannels(const ConstPlane& plane, std::uint64_t bytesPerPixel) {
    std::array<std::array<Counts, 3>, 2> counts{};
    const std::uint64_t pixels = plane.GetWidth() / bytesPerPixel;
    for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
        const std::uint8_t* pixel = plane.GetRow(y);
        for (std::uint64_t x = 0; x < pixels; ++x, pixel += bytesPerPixel) {
            std::array<Counts, 3>& table = counts[x % 2];
            ++table[0][pixel[0]];
            ++table[1][pixel[1]];
            ++table[2][pixel[2]];
        }
    }
    for (int k = 0; k < 3; ++k) {
        for (int value = 0; value < 256; ++value) counts[0][k][value] += counts[1][k][value];
    }
    return counts[0];
}

/// Counts of the first three bytes of every pixel and of their weighted sum divided by `unit`.
inline std::array<Counts, 4> CountChannelsAndLuma(const ConstPlane& plane, std::uint64_t bytesPerPixel, const std::array<std::uint32_t, 3>& weights,
                                                  std::uint32_t unit) {
    const std::array<Counts, 3> channels = CountChannels(plane, bytesPerPixel);
    std::array<Counts, 4> counts{channels[0], channels[1], channels[2], Counts{}};
    const std::uint64_t pixels = plane.GetWidth() / bytesPerPixel;
    for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
        const std::uint8_t* pixel = plane.GetRow(y);
        for (std::uint64_t x = 0; x < pixels; ++x, pixel += bytesPerPixel) {
            ++counts[3][(pixel[0] * weights[0] + pixel[1] * weights[1] + pixel[2] * weights[2]) / unit];
        }
    }
    return counts;
}

/// The smallest value whose count summed up from 0 reaches `target`; 255 if none does.
inline int LowPercentile(const Counts& counts, std::uint64_t target) {
    std::uint64_t sum = 0;
    for (int value = 0; value < 255; ++value) {
        sum += counts[value];
        if (sum >= target) return value;
    }
    return 255;
}

/// The largest value whose count summed down from 255 reaches `target`; 0 if none does.
inline int HighPercentile(const Counts& counts, std::uint64_t target) {
    std::uint64_t sum = 0;
    for (int value = 255; value > 0; --value) {
        sum += counts[value];
        if (sum >= target) return value;
    }
    return 0;
}

}  // namespace Orvexa::Proc::Detail
