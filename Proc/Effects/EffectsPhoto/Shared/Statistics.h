// Counts of byte values and their percentiles.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "Host/Proc/Plane.h"

namespace Orvexa::Proc::Shared {

using Counts = std::array<std::uint64_t, 256>;

namespace StatisticsDetails {

// Planes have fewer than 2^32 bytes. Four tables are used in turn, so that neighbouring pixels of equal value do not
// depend on each other's increments.
template <std::size_t Channels>
using Tables = std::array<std::array<std::array<std::uint32_t, 256>, Channels>, 4>;

template <std::size_t Channels>
std::array<Counts, Channels> Sum(const Tables<Channels>& tables) {
    std::array<Counts, Channels> counts{};
    for (const auto& table : tables) {
        for (std::size_t k = 0; k < Channels; ++k) {
            for (std::size_t value = 0; value < 256; ++value) counts[k][value] += table[k][value];
        }
    }
    return counts;
}

/// Calls count(table, pixel) for every pixel, four pixels per iteration.
template <std::size_t Channels, class Count>
std::array<Counts, Channels> CountPixels(const ConstPlane& plane, std::uint64_t bytesPerPixel, Count&& count) {
    Tables<Channels> tables{};
    const std::uint64_t pixels = plane.GetWidth() / bytesPerPixel;
    for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
        const std::uint8_t* pixel = plane.GetRow(y);
        std::uint64_t x = 0;
        for (; x + 4 <= pixels; x += 4, pixel += 4 * bytesPerPixel) {
            count(tables[0], pixel);
            count(tables[1], pixel + bytesPerPixel);
            count(tables[2], pixel + 2 * bytesPerPixel);
            count(tables[3], pixel + 3 * bytesPerPixel);
        }
        for (; x < pixels; ++x, pixel += bytesPerPixel) count(tables[0], pixel);
    }
    return Sum<Channels>(tables);
}

}  // namespace StatisticsDetails

/// How often each value occurs among the bytes of the plane.
inline Counts CountBytes(const ConstPlane& plane) {
    return StatisticsDetails::CountPixels<1>(plane, 1,
                                             [](auto& table, const std::uint8_t* byte) { ++table[0][*byte]; })[0];
}

/// Counts of the first three bytes of every pixel.
inline std::array<Counts, 3> CountChannels(const ConstPlane& plane, std::uint64_t bytesPerPixel) {
    return StatisticsDetails::CountPixels<3>(plane, bytesPerPixel, [](auto& table, const std::uint8_t* pixel) {
        for (std::size_t k = 0; k < 3; ++k) ++table[k][pixel[k]];
    });
}

/// Counts of the first three bytes of every pixel and of their weighted sum divided by `unit`.
inline std::array<Counts, 4> CountChannelsAndLuma(const ConstPlane& plane, std::uint64_t bytesPerPixel,
                                                  const std::array<std::uint32_t, 3>& weights, std::uint32_t unit) {
    return StatisticsDetails::CountPixels<4>(plane, bytesPerPixel, [&](auto& table, const std::uint8_t* pixel) {
        for (std::size_t k = 0; k < 3; ++k) ++table[k][pixel[k]];
        ++table[3][(pixel[0] * weights[0] + pixel[1] * weights[1] + pixel[2] * weights[2]) / unit];
    });
}

/// The smallest value at which the counts summed up from 0 reach `target`; 255 if they never do.
inline int LowPercentile(const Counts& counts, std::uint64_t target) {
    std::uint64_t sum = 0;
    for (int value = 0; value < 255; ++value) {
        sum += counts[value];
        if (sum >= target) return value;
    }
    return 255;
}

/// The largest value at which the counts summed down from 255 reach `target`; 0 if they never do.
inline int HighPercentile(const Counts& counts, std::uint64_t target) {
    std::uint64_t sum = 0;
    for (int value = 255; value > 0; --value) {
        sum += counts[value];
        if (sum >= target) return value;
    }
    return 0;
}

}  // namespace Orvexa::Proc::Shared
