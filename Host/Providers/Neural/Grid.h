// Bilateral grids of colour transforms, and their application to pictures.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "Host/Providers/Neural/Canvas.h"

namespace Orvexa::Proc::Neural {

/// A grid of affine colour transforms, indexed by column, row and luma.
class Grid {
public:
    /// Built from 1 x (12 * depth) x height x width values: channel (4 * r + c) * depth + z holds the coefficient in
    /// row r (red, green, blue of the result) and column c (red, green, blue, 1 of the picture) at depth z. Levels are
    /// 0..1. Throws `EffectException` for values of another shape.
    Grid(const cv::Mat& values, const Model& model);

    /// Applies the transforms to the canvas's picture and stores the result in the canvas; rows are distributed over
    /// threads.
    void Apply(const Canvas& canvas) const;

private:
    int width_ = 0, height_ = 0, depth_ = 0;
    std::vector<float> nodes_;
};

}  // namespace Orvexa::Proc::Neural
