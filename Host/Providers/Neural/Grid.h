// Bilateral grids of colour transforms, and the pictures that they make.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "Host/Providers/Neural/Canvas.h"

namespace Orvexa::Proc::Neural {

/// A grid of affine colour transforms over a picture's columns, rows and luma.
class Grid {
public:
    /// From 1 x (12 * depth) x height x width values: the coefficient in row r (of red, green, blue of the result) and
    /// column c (of red, green, blue, 1 of the picture) at depth z is channel (4 * r + c) * depth + z. Levels are 0..1.
    /// Values of another shape throw `EffectException`.
    Grid(const cv::Mat& values, const Model& model);

    /// Transforms the picture of the canvas, which becomes its result, with rows spread over threads.
    void Apply(const Canvas& canvas) const;

private:
    int width_ = 0, height_ = 0, depth_ = 0;
    std::vector<float> nodes_;
};

}  // namespace Orvexa::Proc::Neural
