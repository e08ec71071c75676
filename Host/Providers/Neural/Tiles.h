// Runs pictures through a network in overlapping tiles.
//
// A tile consists of a core, whose result is kept, and a margin around it that is at least as wide as the network's
// receptive field requires. The picture is mirrored beyond its edges, so that all tiles have the same size and the
// network's result for a pixel does not depend on the tiling: it equals that of the whole picture, up to the rounding
// of sums.
#pragma once

#include <functional>
#include <opencv2/core.hpp>

#include "Host/Core/Progress.h"
#include "Host/Providers/Neural/Inference.h"

namespace Orvexa::Proc::Neural {

/// Tiles along one axis, in pixels of the picture.
struct TileAxis {
    int core = 1;    ///< distance from one tile to the next
    int margin = 0;  ///< before and after the core
    int count = 1;

    int GetSize() const { return core + 2 * margin; }
};

/// Covers `length` pixels with as few tiles as possible, all of one size of at most `longest` pixels. Cores and margins
/// are multiples of `multiple`, and margins are at least `reach`; a core is at least `multiple`.
TileAxis SplitAxis(int length, int longest, int reach, int multiple);

struct TileLimits {
    int width, height;  ///< of a tile, in pixels
};

/// The model's result for a part of the picture.
struct TileResult {
    const cv::Mat& values;  ///< 1 x channels x height x width
    cv::Point from;         ///< where in `values` the part begins
    cv::Rect to;            ///< the part, in pixels of the result
};

/// Runs the picture through a model that returns an image of `enlarges` times the size, and passes each part of the
/// result to `use`, which is called by several threads in parallel. If the model's entry has a reach, the picture is
/// split into tiles within `limits`, or smaller ones if memory is short; otherwise it is one tile. The tiles depend on
/// nothing else, so the bytes do not depend on the number of threads. Returns false if `progress`, which may be empty,
/// has cancelled the run. Throws `EffectException` if the model returns other values than its entry declares, or if
/// there is not enough memory.
bool RunInTiles(const Model& model, int enlarges, const ConstSamples& picture, const TileLimits& limits,
                const Core::ProgressPtr& progress, const std::function<void(const TileResult&)>& use);

/// The model's output image for `input`, checked as for `RunInTiles`.
cv::Mat InferImage(const Model& model, Nets& nets, int enlarges, const cv::Mat& input);

}  // namespace Orvexa::Proc::Neural
