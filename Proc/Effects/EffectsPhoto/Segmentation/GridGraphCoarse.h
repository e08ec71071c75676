// Coarsens a grid graph to half the width and height, and transfers flow back.
#pragma once

#include <cstdint>
#include <vector>

#include "Host/Core/Progress.h"
#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphCapacities.h"
#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphNodes.h"

namespace Orvexa::Proc::GridGraph {

/// The size of a picture in pixels.
struct PictureSize {
    PictureSize Halved() const { return {(width + 1) / 2, (height + 1) / 2}; }
    std::size_t GetPixelCount() const { return std::size_t{width} * height; }

    std::uint32_t width, height;
};

/// Flow over each pixel's edges to the right and down, in row order, modulo 2^16: interpreted as signed numbers, flow
/// to the left and up is negative.
struct Flow {
    std::vector<Capacity> right, down;
};

/// The number of threads, and the controller that may cancel the work; results are meaningless after cancellation.
struct CoarseWork {
    std::uint32_t workers;
    const Core::IProgressController& progress;
};

/// The residual capacities of a graph of `size`, summed over blocks of 2 x 2 pixels.
Capacities Coarsen(const NodeArrays& nodes, const PictureSize& size, const CoarseWork& work);

/// Pushes flow found on the coarser grid through the residual capacities of a graph of `size`, as far as these allow. A
/// node's links absorb the difference between inflow and outflow. Updates residual capacities, and the labels of nodes
/// with terminal residual, but no edge bits and no parents. Returns the amount by which the remaining flow has
/// decreased, modulo 2^16.
std::uint16_t PushCoarseFlow(const NodeArrays& nodes, const PictureSize& size, const Flow& flow,
                             const CoarseWork& work);

}  // namespace Orvexa::Proc::GridGraph
