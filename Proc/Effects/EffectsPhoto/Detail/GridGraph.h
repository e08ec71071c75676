// Minimum cut on a 4-connected pixel grid, by several workers.
//
// Each worker solves regions of the grid, closed against each other, by the algorithm of GridGraphTrees.h, then merges neighbouring
// regions, opens the boundary between them and solves on from the trees that are there, until one region is left. Which worker
// does what is left to time, the result is not: the nodes from which flow could still reach the sink are the same for every maximum flow.
#pragma once

#include <cstdint>

#include "Host/Core/Progress.h"
#include "Proc/Effects/EffectsPhoto/Detail/GridGraphCapacities.h"
#include "Proc/Effects/EffectsPhoto/Detail/GridGraphMemory.h"
#include "Proc/Effects/EffectsPhoto/Detail/GridGraphRegions.h"
#include "Proc/Effects/EffectsPhoto/Detail/GridGraphTrees.h"

namespace Orvexa::Proc::GridGraph {

/// Built, filled, computed once, read, in this order.
class Solver {
public:
    /// The memory for the nodes, in bytes.
    static std::size_t GetAllocationSize(std::uint32_t width, std::uint32_t height, std::uint32_t workers, std::uint32_t blockSize);

    /// A graph of `width` x `height` pixels, all free. `threads` workers will share regions of `blockSize` x `blockSize` nodes; all four
    /// numbers are at least 1. `progress`, which has to outlive the solver and to accept calls from all workers, is told the number of
    /// regions and boundaries to come. Throws `std::bad_alloc`, with a description that names the bytes, if the memory cannot be had.
    Solver(std::uint32_t width, std::uint32_t height, std::uint32_t workers, std::uint32_t blockSize, Core::IProgressController& progress);

    /// Sets the capacities of all pixels; edges that lead out of the picture are ignored. `pushed` is the flow, modulo 2^16, that was
    /// pushed through them before (see `HeadStart`). Throws as `Capacities::Check` does.
    void SetCapacities(const Capacities& capacities, std::uint16_t pushed = 0);

    /// Finds the maximum flow, or stops early when the controller reports cancellation; the labels mean nothing then.
    void Compute();

    /// After `Compute`: a row of pixels as `background` or `foreground` in `mask`. Background are the pixels from which flow could
    /// still reach the sink.
    void ReadRow(std::uint32_t y, std::uint8_t foreground, std::uint8_t background, std::uint8_t* mask) const;

    /// After `Compute`: what is left of the capacities of a row's edges in one direction.
    void ReadResidualRow(std::uint32_t y, Direction direction, Capacity* row) const;

    /// The maximum flow modulo 2^16.
    std::uint16_t GetFlow() const { return flow_; }

private:
    template <class Visit>
    void ForEachRun(std::uint32_t y, Visit&& visit) const;
    std::uint16_t SetRun(const Capacities& capacities, NodeIndex node, std::size_t pixel, std::uint32_t count);
    void RemoveOuterEdges();

    void Work(TreeSearch& search);
    void ActivateRegion(const Region& region, TreeSearch& search) const;
    void CloseBoundary(const Boundary& boundary) const;
    void OpenBoundary(const Boundary& boundary, TreeSearch& search) const;

    const std::uint32_t width_, height_, workers_;
    Core::IProgressController& progress_;
    ZeroedBlock block_;
    const NodeArrays nodes_;
    RegionPlan plan_;
    std::uint16_t flow_ = 0;
};

}  // namespace Orvexa::Proc::GridGraph
