// From a grid graph to one of half the width and height, and flow from there back.
#pragma once

#include <cstdint>
#include <vector>

#include "Host/Core/Progress.h"
#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphCapacities.h"
#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphNodes.h"

namespace Orvexa::Proc::GridGraph {

/// Pixels of a picture.
struct PictureSize {
    PictureSize Halved() const { return {(width + 1) / 2, (height + 1) / 2}; }
    std::size_t GetPixelCount() const { return std::size_t{width} * height; }

    std::uint32_t width, height;
};

/// Flow over the edges to the right and down of pixels in row order, modulo 2^16: as signed numbers, flow to the left
/// and up is negative.
struct Flow {
    std::vector<Capacity> right, down;
};

/// How many threads do the work, and who may cancel it; what is returned after cancellation means nothing.
struct CoarseWork {
    std::uint32_t workers;
    const Core::IProgressController& progress;
};

/// The residual capacities of a graph of `size`, added up over blocks of 2 x 2 pixels.
Capacities Coarsen(const NodeArrays& nodes, const PictureSize& size, const CoarseWork& work);

/// Pushes flow that was found on the coarser grid through the residual capacities of a graph of `size`, as far as these
/// allow. The links of a node take up the difference between what arrives and what leaves. Updates residual capacities,
/// and the labels of nodes with terminal residual, but no edge bits and no parents. Returns by how much the flow that
/// is still to be found has become less, modulo 2^16.
std::uint16_t PushCoarseFlow(const NodeArrays& nodes, const PictureSize& size, const Flow& flow,
                             const CoarseWork& work);

}  // namespace Orvexa::Proc::GridGraph
