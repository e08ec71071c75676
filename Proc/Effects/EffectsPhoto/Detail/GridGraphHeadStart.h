// A head start for the minimum cut: flow from coarser grids.
//
// Where edges are soft, much flow has to travel far, and augmenting paths through millions of pixels find it slowly. On a grid of half
// the width and height most of it is found in a fraction of the time, and so on recursively. The coarse flow need not fit the fine
// grid: whatever amounts are pushed along fine edges, and wherever they begin and end, every cut changes by the same constant, so
// that the minimum cut stays where it is (docs/grid-graph.md has the argument).
#pragma once

#include <cstdint>
#include <optional>

#include "Proc/Effects/EffectsPhoto/Detail/GridGraphCapacities.h"
#include "Proc/Effects/EffectsPhoto/Detail/GridGraphProgress.h"

namespace Orvexa::Proc::GridGraph {

struct HeadStart {
    std::uint32_t workers, blockSize;        ///< of the solvers on the coarse grids
    std::size_t minPixels = 250'000;         ///< smaller grids are solved as fast without
    std::size_t coarsestPixels = 4000;       ///< no grid smaller than this is made coarser
    double minWork = 0;                      ///< grids that promise less work per pixel are left alone, see `EstimateWork`

    /// Pushes flow found on coarser grids through the capacities of `width` x `height` pixels, if that promises to save time. Returns the
    /// flow pushed, modulo 2^16, for `Solver::SetCapacities`; the capacities are unchanged if it is empty, and mean nothing after
    /// cancellation. Capacities that flow could overflow get no head start. `progress` gives up a part of its weight to the coarse grids.
    std::optional<std::uint16_t> Push(Capacities& capacities, std::uint32_t width, std::uint32_t height, ProgressController& progress) const;
};

}  // namespace Orvexa::Proc::GridGraph
