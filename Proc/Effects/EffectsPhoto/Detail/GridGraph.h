// Minimum cut on a 4-connected pixel grid, by several workers.
//
// Each worker solves regions of the grid, closed against each other, by the algorithm of GridGraphTrees.h, then merges neighbouring
// regions, opens the boundary between them and solves on from the trees that are there, until one region is left. Which worker
// does what is left to time, the result is not: the nodes from which flow could still reach the sink are the same for every maximum flow.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "Host/Core/Progress.h"
#include "Proc/Effects/EffectsPhoto/Detail/GridGraphMemory.h"
#include "Proc/Effects/EffectsPhoto/Detail/GridGraphRegions.h"
#include "Proc/Effects/EffectsPhoto/Detail/GridGraphTrees.h"

namespace Orvexa::Proc::GridGraph {

/// Capacities of a picture's pixels in row order: links with the two terminals, and edges to the four neighbours.
struct Capacities {
    explicit Capacities(std::size_t pixels) : source(pixels), sink(pixels), left(pixels), right(pixels), up(pixels), down(pixels) {}
    std::vector<Capacity> source, sink, left, right, up, down;
};

/// Built, filled, computed once, read, in this order.
class Solver {
public:
    /// The memory for the nodes, in bytes.
    static std::size_t GetAllocationSize(std::uint32_t width, std::uint32_t height, std::uint32_t threads, std::uint32_t blockSize);

    /// A graph of `width` x `height` pixels, all free. `threads` workers will share regions of `blockSize` x `blockSize` nodes; all four
    /// numbers are at least 1. `progress`, which has to outlive the solver and to accept calls from all workers, is told the number of
    /// regions and boundaries to come. Throws `std::bad_alloc`, with a description that names the bytes, if the memory cannot be had.
    Solver(std::uint32_t width, std::uint32_t height, std::uint32_t threads, std::uint32_t blockSize, Core::IProgressController& progress);

    /// Sets the capacities of all pixels. Edges that lead out of the picture are ignored. Arrays of another size than the picture's
    /// throw `EffectException`, as do two opposite edges whose capacities add up to more than 65535: flow could overflow them.
    void SetCapacities(const Capacities& capacities);

    /// Finds the maximum flow, or stops early when the controller reports cancellation; the labels mean nothing then.
    void Compute();

    /// After `Compute`: `kSinkTree` for the pixels from which flow could still reach the sink; they are the background, all others the
    /// foreground.
    Label GetLabel(std::uint32_t x, std::uint32_t y) const { return LabelOf(nodes_.GetFlags(nodes_.layout.GetIndex(x + 1, y + 1))); }
    /// The same for a row of pixels, as `background` or `foreground` in `mask`.
    void ReadRow(std::uint32_t y, std::uint8_t foreground, std::uint8_t background, std::uint8_t* mask) const;

    /// The maximum flow modulo 2^16.
    std::uint16_t GetFlow() const { return flow_; }

private:
    template <class Visit>
    void ForEachRun(std::uint32_t y, Visit&& visit) const;
    std::uint16_t SetRun(const Capacities& capacities, NodeIndex node, std::size_t pixel, std::uint32_t count);
    void CloseOuterEdges();

    void Work(WorkerState& state);
    void ActivateRegion(const Region& region, TreeSearch& search) const;
    void CloseBoundary(const Boundary& boundary) const;
    void OpenBoundary(const Boundary& boundary, TreeSearch& search) const;

    const std::uint32_t width_, height_;
    Core::IProgressController& progress_;
    ZeroedBlock block_;
    const NodeArrays nodes_;
    const std::span<WorkerState> workers_;
    RegionPlan plan_;
    std::uint16_t flow_ = 0;
};

}  // namespace Orvexa::Proc::GridGraph
