// The host's sub-effects as their callers reach them, and plain numbers to check them with.
#pragma once

#include <cmath>
#include <vector>

#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {

inline int RoundHalfUp(double value) { return static_cast<int>(std::floor(value + 0.5)); }
inline int ToByte(double value) { return RoundHalfUp(std::min(std::max(value, 0.0), 255.0)); }

/// Numbers in rows.
struct Grid {
    Grid(int w, int h) : width(w), height(h), values(static_cast<std::size_t>(w) * static_cast<std::size_t>(h)) {}
    double& At(int x, int y) {
        return values[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)];
    }
    double At(int x, int y) const { return const_cast<Grid*>(this)->At(x, y); }

    int width, height;
    std::vector<double> values;
};

/// Byte `channel` of every pixel of a plane.
inline Grid Read(const IDataVideo& frame, std::uint8_t index, int channel = 0) {
    const ConstPlane plane = frame.GetPlane(index);
    Grid grid(static_cast<int>(plane.GetPixelsPerRow()), static_cast<int>(plane.GetHeight()));
    for (int y = 0; y < grid.height; ++y) {
        for (int x = 0; x < grid.width; ++x)
            grid.At(x, y) = plane.GetOffsetPtr(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y))[channel];
    }
    return grid;
}
inline void Write(IDataVideo& frame, std::uint8_t index, int channel, const Grid& grid) {
    const Plane plane = frame.GetPlane(index);
    for (int y = 0; y < grid.height; ++y) {
        for (int x = 0; x < grid.width; ++x) {
            plane.GetOffsetPtr(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y))[channel] =
                static_cast<std::uint8_t>(ToByte(grid.At(x, y)));
        }
    }
}

/// A frame's own alpha at full size; 255 everywhere without.
inline Grid OwnAlpha(const IDataVideo& frame) {
    const PixFmtDescription& d = PixFmtDescription::Get(frame.GetPixFmt());
    if (d.HasAlpha()) return d.IsPlanar() ? Read(frame, 3) : Read(frame, 0, d.alpha);
    Grid grid(static_cast<int>(frame.GetFrameInfo().width), static_cast<int>(frame.GetFrameInfo().height));
    std::fill(grid.values.begin(), grid.values.end(), 255.0);
    return grid;
}

/// The grid seen along one axis through a function of the index there: value(get, size, i), with get(k) the sample k of
/// the line.
template <class Value>
Grid AlongX(const Grid& from, int width, Value value) {
    Grid to(width, from.height);
    for (int y = 0; y < to.height; ++y) {
        for (int x = 0; x < width; ++x) to.At(x, y) = value([&](int k) { return from.At(k, y); }, from.width, x);
    }
    return to;
}
template <class Value>
Grid AlongY(const Grid& from, int height, Value value) {
    Grid to(from.width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < to.width; ++x) to.At(x, y) = value([&](int k) { return from.At(x, k); }, from.height, y);
    }
    return to;
}

/// The mean over the samples that exist in each group of 2^shiftX x 2^shiftY; for negative shifts the straight line
/// between sample centres.
inline Grid Resampled(const Grid& from, int width, int height, int shiftX, int shiftY) {
    const auto along = [](int shift) {
        return [shift](const auto& get, int size, int i) {
            if (shift >= 0) {
                double sum = 0.0;
                int count = 0;
                for (int k = i << shift; k < std::min((i + 1) << shift, size); ++k, ++count) sum += get(k);
                return sum / count;
            }
            const double position = (i + 0.5) / (1 << -shift) - 0.5;
            const double clamped = std::min(std::max(position, 0.0), size - 1.0);
            const int left = static_cast<int>(clamped), right = std::min(left + 1, size - 1);
            return get(left) + (get(right) - get(left)) * (clamped - left);
        };
    };
    return AlongY(AlongX(from, width, along(shiftX)), height, along(shiftY));
}

/// Alpha at the size of a plane: for subsampled ones the rounded mean of what a sample covers.
inline Grid AlphaOn(const Grid& alpha, PixFmt format, std::uint8_t plane) {
    const PixFmtDescription& d = PixFmtDescription::Get(format);
    const int shiftX = d.GetShiftX(plane), shiftY = d.GetShiftY(plane);
    Grid mean = Resampled(alpha, -(-alpha.width >> shiftX), -(-alpha.height >> shiftY), shiftX, shiftY);
    for (double& value : mean.values) value = RoundHalfUp(value);
    return mean;
}

}  // namespace Orvexa::Test
