#include "Cli/Preview/ScreenSamples.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <utility>

#include "Cli/ChainRunner.h"
#include "Host/Core/Threads.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

// Along one axis: for each screen sample, the two picture samples between which it lies, and the weight of the second
// one in 1/256.
struct AxisMap {
    struct Place {
        std::uint32_t first, second, share;
    };
    std::vector<Place> places;
    bool isCopy = true;

    AxisMap(double begin, double step, std::uint32_t count, std::uint32_t size, bool isSmooth) {
        const double last = size - 1.0;
        for (std::uint32_t i = 0; i < count; ++i) {
            const double center = begin + (i + 0.5) * step;
            const double at = std::clamp(isSmooth ? center - 0.5 : std::floor(center), 0.0, last);
            const auto first = static_cast<std::uint32_t>(at);
            places.push_back(
                {first, std::min(first + 1, size - 1), static_cast<std::uint32_t>(std::lround((at - first) * 256.0))});
            isCopy = isCopy && places[i].share == 0 && places[i].first == places[0].first + i;
        }
    }
};

void SampleRow(std::uint8_t* to, const Proc::ConstPlane& plane, const AxisMap& columns, const AxisMap::Place& row) {
    const std::uint8_t* const upper = plane.GetRow(row.first);
    const std::uint8_t* const lower = plane.GetRow(row.second);
    if (columns.isCopy && row.share == 0) {
        std::memcpy(to, upper + std::size_t{4} * columns.places[0].first, columns.places.size() * 4);
        return;
    }
    for (const AxisMap::Place& column : columns.places) {
        for (int k = 0; k < 4; ++k, ++to) {
            const auto mix = [&](const std::uint8_t* samples) {
                return samples[4 * column.first + k] * (256 - column.share) +
                       samples[4 * column.second + k] * column.share;
            };
            *to = static_cast<std::uint8_t>((mix(upper) * (256 - row.share) + mix(lower) * row.share + 32768) >> 16);
        }
    }
}

// The first sample and the number of samples touched by a stretch of the picture, with one more on both sides.
std::pair<std::uint32_t, std::uint32_t> FindSeen(double begin, double length, std::uint32_t side) {
    const auto first = static_cast<std::uint32_t>(std::clamp(std::floor(begin) - 1, 0.0, side - 1.0));
    const double end = std::clamp(std::ceil(begin + length) + 1, first + 1.0, static_cast<double>(side));
    return {first, static_cast<std::uint32_t>(end) - first};
}

}  // namespace

std::vector<std::uint8_t> SampleForScreen(const Proc::FactoryPtr& factory, const Proc::FramePtr& picture,
                                          const ScreenGrid& grid, bool isSmooth) {
    const Conf::FrameInfo info = picture->GetFrameInfo();
    const auto [x, width] = FindSeen(grid.left, grid.stepX * grid.width, info.width);
    const auto [y, height] = FindSeen(grid.top, grid.stepY * grid.height, info.height);
    picture->Crop(x, y, width, height);
    const Proc::ConstFramePtr pixels = InFormat(factory, picture, PixFmt::Rgba);
    const AxisMap columns(grid.left - x, grid.stepX, grid.width, width, isSmooth);
    const AxisMap rows(grid.top - y, grid.stepY, grid.height, height, isSmooth);
    const std::size_t stride = std::size_t{4} * grid.width;
    std::vector<std::uint8_t> samples(stride * grid.height);
    const Proc::ConstPlane plane = pixels->GetPlane(0);
    Core::ParallelFor(grid.height, [&](std::size_t row) {
        SampleRow(samples.data() + stride * row, plane, columns, rows.places[row]);
    });
    return samples;
}

Json CountLevels(std::span<const std::uint8_t> rgba) {
    std::array<std::array<std::uint32_t, 256>, 4> counts{};
    for (std::size_t i = 0; i + 3 < rgba.size(); i += 4) {
        const std::uint32_t red = rgba[i], green = rgba[i + 1], blue = rgba[i + 2];
        ++counts[0][red];
        ++counts[1][green];
        ++counts[2][blue];
        // ITU-R BT.601 in 1/65536
        ++counts[3][(19595 * red + 38470 * green + 7471 * blue + 32768) >> 16];
    }
    return {{"red", counts[0]}, {"green", counts[1]}, {"blue", counts[2]}, {"luma", counts[3]}};
}

}  // namespace Kalvatri
