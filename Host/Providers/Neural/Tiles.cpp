#include "Host/Providers/Neural/Tiles.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <new>
#include <string>

#include "Host/Core/Threads.h"

namespace Orvexa::Proc::Neural {

namespace {

// Sides of a network's input, in pixels. Measured with networks of 24 to 48 channels: larger tiles save a little
// overlap, but take more memory (40 MB each, 70 MB for networks that enlarge), and delay cancellation, which now takes
// less than half a second.
constexpr int kTileSide = 448, kEnlargingTileSide = 320;
constexpr int kSmallestSide = 32;
// For networks with a large reach, in margins: limits the redundant work, even for the smallest tiles.
constexpr int kSideInMargins = 4, kSmallestInMargins = 3;

int RoundedUp(int length, int multiple) { return (length + multiple - 1) / multiple * multiple; }

std::string SizeText(int width, int height) { return std::to_string(width) + " x " + std::to_string(height); }

struct TileGrid {
    TileAxis columns, rows;

    TileGrid(const Model& model, const cv::Size& picture, const TileLimits& limits) {
        const auto multiple = static_cast<int>(model.multiple), reach = static_cast<int>(model.reach.value_or(0));
        const auto axis = [&](int length, int longest, std::uint32_t fixed) {
            if (!model.reach.has_value()) return TileAxis{RoundedUp(length, multiple), 0, 1};
            TileAxis split = SplitAxis(length, fixed != 0 ? static_cast<int>(fixed) : longest, reach, multiple);
            if (fixed != 0) {
                split.core = static_cast<int>(fixed) - 2 * split.margin;
                split.count = (length + split.core - 1) / split.core;
            }
            return split;
        };
        columns = axis(picture.width, limits.width, model.width);
        rows = axis(picture.height, limits.height, model.height);
    }
    bool IsAsSmall(const TileGrid& other) const {
        return columns.core == other.columns.core && rows.core == other.rows.core;
    }
};

bool RunTiling(const Model& model, int enlarges, const ConstSamples& picture, const TileGrid& tiling,
               const Core::ProgressPtr& progress, const std::function<void(const TileResult&)>& use) {
    const TileAxis &columns = tiling.columns, &rows = tiling.rows;
    const cv::Rect whole(0, 0, static_cast<int>(picture.plane.GetPixelsPerRow()),
                         static_cast<int>(picture.plane.GetHeight()));
    const auto count = static_cast<std::size_t>(columns.count) * static_cast<std::size_t>(rows.count);
    if (progress != nullptr) progress->SetTotal(count);
    Nets nets(model.file);
    std::atomic<bool> isCancelled = false;
    Core::ParallelFor(count, [&](std::size_t tile) {
        if (isCancelled || (progress != nullptr && progress->IsCancelled())) {
            isCancelled = true;
            return;
        }
        const Core::OnCallingThread alone;
        const int column = static_cast<int>(tile) % columns.count, row = static_cast<int>(tile) / columns.count;
        const cv::Rect core(column * columns.core, row * rows.core, columns.core, rows.core), kept = core & whole;
        const cv::Rect shown(core.x - columns.margin, core.y - rows.margin, columns.GetSize(), rows.GetSize());
        const cv::Mat values = InferImage(model, nets, enlarges, MakeBlob(picture, model, shown));
        use({values,
             {columns.margin * enlarges, rows.margin * enlarges},
             {kept.x * enlarges, kept.y * enlarges, kept.width * enlarges, kept.height * enlarges}});
        if (progress != nullptr) progress->Step(1);
    });
    return !isCancelled;
}

}  // namespace

TileAxis SplitAxis(int length, int longest, int reach, int multiple) {
    const int margin = RoundedUp(reach, multiple);
    const int largest = std::max((longest - 2 * margin) / multiple * multiple, multiple);
    const int count = (length + largest - 1) / largest;
    const int core = RoundedUp((length + count - 1) / count, multiple);
    return {core, margin, (length + core - 1) / core};
}

cv::Mat InferImage(const Model& model, Nets& nets, int enlarges, const cv::Mat& input) {
    cv::Mat values = Infer(model, nets, input);
    const int channels = static_cast<int>(model.GetChannelsCount()), width = input.size[3], height = input.size[2];
    if (values.dims != 4 || values.size[0] != 1 || values.size[1] != channels) {
        Throw("The model " + model.file.string() + " gives " + ShapeOf(values) + " values; an image must have 1 x " +
              std::to_string(channels) + " x height x width!");
    }
    if (values.size[3] != width * enlarges || values.size[2] != height * enlarges) {
        Throw("The model " + model.file.string() + " makes " + SizeText(values.size[3], values.size[2]) +
              " pixels of " + SizeText(width, height) + "; it must make " +
              SizeText(width * enlarges, height * enlarges) + "!");
    }
    return values;
}

bool RunInTiles(const Model& model, int enlarges, const ConstSamples& picture, const TileLimits& limits,
                const Core::ProgressPtr& progress, const std::function<void(const TileResult&)>& use) {
    const cv::Size size(static_cast<int>(picture.plane.GetPixelsPerRow()), static_cast<int>(picture.plane.GetHeight()));
    const int margin = RoundedUp(static_cast<int>(model.reach.value_or(0)), static_cast<int>(model.multiple));
    // NOLINTNEXTLINE(clang-analyzer-deadcode.DeadStores): it is read once memory has run short
    const int smallest = std::max(kSmallestSide, kSmallestInMargins * margin);
    int side = std::max(enlarges == 1 ? kTileSide : kEnlargingTileSide, kSideInMargins * margin);
    const auto tilingOf = [&] {
        return TileGrid(model, size, {std::min(side, limits.width), std::min(side, limits.height)});
    };
    for (bool isAlone = false;;) {
        const TileGrid tiling = tilingOf();
        try {
            if (!isAlone) return RunTiling(model, enlarges, picture, tiling, progress, use);
            const Core::OnCallingThread alone;
            return RunTiling(model, enlarges, picture, tiling, progress, use);
        } catch (const std::exception& exception) {
            if (!IsOutOfMemory(exception)) throw;
        }
        // Try one tile at a time first: this does not change the result.
        if (!std::exchange(isAlone, true)) continue;
        do {
            side /= 2;
        } while (side >= smallest && tilingOf().IsAsSmall(tiling));
        if (side < smallest) {
            Throw("There is not enough memory to run the model " + model.file.string() + " on " +
                  SizeText(tiling.columns.GetSize(), tiling.rows.GetSize()) + " pixels!");
        }
    }
}

}  // namespace Orvexa::Proc::Neural
