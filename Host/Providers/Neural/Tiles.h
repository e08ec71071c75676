// Pictures through a network in tiles that overlap.
//
// A tile is a core, of which the result is kept, with a margin all around it that holds at least what the network looks
// at. Beyond its edges the picture is mirrored, so that all tiles have one size and what the network makes of a pixel
// does not depend on where tiles end: the result is that of the whole picture, up to the rounding of sums.
#pragma once

#include <functional>
#include <opencv2/core.hpp>

#include "Host/Core/Progress.h"
#include "Host/Providers/Neural/Inference.h"

namespace Orvexa::Proc::Neural {

/// Tiles along one axis, in pixels of the picture.
struct TileAxis {
    int core = 1;    ///< from one tile to the next
    int margin = 0;  ///< before and after the core
    int count = 1;

    int GetSize() const { return core + 2 * margin; }
};

/// Tiles of one size of at most `longest` pixels, as few and as equal as possible, that cover `length` pixels.
/// Cores and margins are multiples of `multiple`, margins at least `reach`; a core never has less than `multiple`.
TileAxis SplitAxis(int length, int longest, int reach, int multiple);

struct TileLimits {
    int width, height;  ///< of a tile, in pixels
};

/// What the model makes of a part of the picture.
struct TileResult {
    const cv::Mat& values;  ///< 1 x channels x height x width
    cv::Point from;         ///< where in `values` the part begins
    cv::Rect to;            ///< the part, in pixels of the result
};

/// Shows the picture to the model, one that gives an image of `enlarges` times the size, and hands each part of the
/// result to `use`, which several threads call side by side. Where the model's entry has a reach, that is in tiles
/// within `limits`, or smaller ones where memory is short; else the picture is one tile. The tiles depend on nothing
/// else, so the bytes do not depend on the number of threads. False if `progress`, which may be empty, has cancelled
/// it. `EffectException` if the model gives other values than its entry promises, or if there is not enough memory.
bool RunInTiles(const Model& model, int enlarges, const ConstSamples& picture, const TileLimits& limits,
                const Core::ProgressPtr& progress, const std::function<void(const TileResult&)>& use);

/// The model's image of `input`, checked as `RunInTiles` promises.
cv::Mat InferImage(const Model& model, Nets& nets, int enlarges, const cv::Mat& input);

}  // namespace Orvexa::Proc::Neural
