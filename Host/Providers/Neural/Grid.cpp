// Bilateral grids: from a reduced copy of a picture a network computes colour transforms for a coarse grid of positions
// and brightness levels, and each pixel of the full picture gets the transform for its own position and luma,
// interpolated between the eight nearest nodes. Edges stay sharp because the pixels on both sides differ in luma. After
// Gharbi, Chen, Barron, Hasinoff, Durand: Deep Bilateral Learning for Real-Time Image Enhancement, SIGGRAPH 2017;
// bilateral grids were introduced by Chen, Paris, Durand: Real-Time Edge-Aware Image Processing with the Bilateral
// Grid, SIGGRAPH 2007.
//
// Node i of n along an axis is at (i + 0.5) / n of it; positions beyond the outermost nodes are clamped to them. The
// luma that selects the depth is 0.299 r + 0.587 g + 0.114 b. The grid is interpolated vertically once per row of the
// picture, which leaves four nodes per pixel. A node is four vectors of four numbers, one each for red, green, blue and
// 1 of the picture, holding the contributions to red, green and blue of the result: interpolating and applying them are
// the same operation on all lanes.

#include "Host/Providers/Neural/Grid.h"

#include <algorithm>
#include <array>
#include <string>

#include "Host/Effects/Bands.h"

namespace Orvexa::Proc::Neural {

namespace {

constexpr int kInputs = 4, kOutputs = 3;  // red, green, blue and 1 to red, green, blue
constexpr int kLanes = 4;                 // the outputs and an unused lane
constexpr int kNode = kInputs * kLanes;
constexpr float kWhite = 255.0f;
constexpr int kBandRows = 32;

// Interpolates the transform between four nodes, two along the depth in each of two columns, and applies it to a
// colour.
inline void Transform(const float* left, const float* right, float depth, float across, const float* color,
                      float* result) {
    float node[kNode];
    for (int k = 0; k < kNode; ++k) {
        const float near = left[k] + (left[kNode + k] - left[k]) * depth,
                    far = right[k] + (right[kNode + k] - right[k]) * depth;
        node[k] = near + (far - near) * across;
    }
    for (int k = 0; k < kLanes; ++k) {
        result[k] =
            node[k] * color[0] + node[kLanes + k] * color[1] + node[2 * kLanes + k] * color[2] + node[3 * kLanes + k];
    }
}

}  // namespace

Grid::Grid(const cv::Mat& values, const Model& model) {
    constexpr int kCoefficients = kInputs * kOutputs;
    if (values.dims != 4 || values.size[0] != 1 || values.size[1] % kCoefficients != 0) {
        Throw("The model " + model.file.string() + " gives " + ShapeOf(values) +
              " values; a grid must have 1 x (12 * depth) x height x width!");
    }
    depth_ = values.size[1] / kCoefficients;
    height_ = values.size[2];
    width_ = values.size[3];
    // The last column and depth are duplicated, so that every node has a successor.
    nodes_.resize(static_cast<std::size_t>(height_ * (width_ + 1) * (depth_ + 1) * kNode));
    float* node = nodes_.data();
    for (int y = 0; y < height_; ++y) {
        for (int x = 0; x <= width_; ++x) {
            for (int z = 0; z <= depth_; ++z, node += kNode) {
                for (int i = 0; i < kCoefficients; ++i) {
                    const int row = i / kInputs, column = i % kInputs;
                    const float* plane = values.ptr<float>(0, i * depth_ + std::min(z, depth_ - 1), y);
                    const double value = plane[std::min(x, width_ - 1)] * model.outputScale + model.outputOffset;
                    // Levels are 0..255 here, so constant terms are scaled accordingly.
                    node[column * kLanes + row] = static_cast<float>(column == 3 ? value * kWhite : value);
                }
            }
        }
    }
}

void Grid::Apply(const Canvas& canvas) const {
    const ConstSamples input = canvas.GetInput();
    const int width = static_cast<int>(input.plane.GetPixelsPerRow()),
              height = static_cast<int>(input.plane.GetHeight());
    const std::size_t step = input.plane.GetBytesPerPixel(), column = static_cast<std::size_t>((depth_ + 1) * kNode),
                      row = static_cast<std::size_t>(width_ + 1) * column;
    const bool isBlueFirst = canvas.GetModel().channels == Channels::Bgr;
    const int red = input.bytes[isBlueFirst ? 2 : 0], green = input.bytes[1], blue = input.bytes[isBlueFirst ? 0 : 2];
    std::vector<Between> columns;
    columns.reserve(static_cast<std::size_t>(width));
    for (int x = 0; x < width; ++x) columns.push_back(Between::OfPixel(x, width, width_));
    const float depthOfLevel = static_cast<float>(depth_) / kWhite;
    ForEachBand(height, kBandRows, [&](int first, int end) {
        std::vector<float> nodes(row), results(static_cast<std::size_t>(width) * kLanes);
        for (int y = first; y < end; ++y) {
            const Between down = Between::OfPixel(y, height, height_);
            const float *above = nodes_.data() + static_cast<std::size_t>(down.first) * row,
                        *below = nodes_.data() + static_cast<std::size_t>(down.second) * row;
            for (std::size_t i = 0; i < row; ++i) nodes[i] = above[i] + (below[i] - above[i]) * down.part;
            const std::uint8_t* pixel = input.plane.GetRow(static_cast<std::uint64_t>(y));
            for (int x = 0; x < width; ++x, pixel += step) {
                const float color[3] = {static_cast<float>(pixel[red]), static_cast<float>(pixel[green]),
                                        static_cast<float>(pixel[blue])};
                const float luma = 0.299f * color[0] + 0.587f * color[1] + 0.114f * color[2];
                const Between deep(luma * depthOfLevel - 0.5f, depth_);
                const Between& across = columns[static_cast<std::size_t>(x)];
                const float* left = nodes.data() + static_cast<std::size_t>(across.first) * column + deep.first * kNode;
                Transform(left, left + column, deep.part, across.part, color,
                          results.data() + static_cast<std::size_t>(x) * kLanes);
            }
            canvas.WriteRow(y, 0, width, [&](int x, int c) {
                return results[static_cast<std::size_t>(x * kLanes + (isBlueFirst ? 2 - c : c))];
            });
        }
    });
}

}  // namespace Orvexa::Proc::Neural
