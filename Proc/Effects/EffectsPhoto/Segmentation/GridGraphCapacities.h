// The input of a grid graph.
#pragma once

#include <cstdint>
#include <vector>

#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphNodes.h"

namespace Orvexa::Proc::GridGraph {

/// Capacities of a picture's pixels in row order: links to the two terminals, and edges to the four neighbours.
struct Capacities {
    explicit Capacities(std::size_t pixels)
        : source(pixels), sink(pixels), left(pixels), right(pixels), up(pixels), down(pixels) {}

    /// Throws `EffectException` unless these are the capacities of `width` x `height` pixels, or if two opposite edges
    /// add up to more than 65535, so that flow could overflow them.
    void Check(std::uint32_t width, std::uint32_t height) const;

    std::vector<Capacity> source, sink, left, right, up, down;
};

}  // namespace Orvexa::Proc::GridGraph
