// Minimum cut on a 4-connected pixel grid, using several workers.
//
// Each worker solves regions of the grid, separated by closed boundaries, with the algorithm of GridGraphTrees.h. It
// then merges neighbouring regions, opens the boundary between them and continues from the existing trees, until one
// region is left. If that takes too long, coarser grids give the search a head start (GridGraphCoarse.h). Which worker
// does what depends on timing, but the result does not: the nodes from which flow could still reach the sink are the
// same for every maximum flow. docs/grid-graph.md lists the invariants.
#pragma once

#include <cstdint>

#include "Host/Core/Progress.h"
#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphCapacities.h"
#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphCoarse.h"
#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphMemory.h"
#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphRegions.h"
#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphTrees.h"

namespace Orvexa::Proc::GridGraph {

/// Determines when a solver stops searching and first gets flow from a coarser grid (see docs/grid-graph.md). The
/// labels do not depend on these numbers.
struct HeadStart {
    std::size_t minPixels = 250'000;    ///< smaller graphs are solved without a head start
    std::size_t coarsestPixels = 4000;  ///< graphs up to this size are not coarsened further
    double workPerPixel = 24;           ///< work limit of a plain search, in units of `WorkBudget`
};

/// Constructed, filled, computed once, then read, in this order.
class Solver {
public:
    /// The memory for the nodes, in bytes.
    static std::size_t GetAllocationSize(std::uint32_t width, std::uint32_t height, std::uint32_t workers,
                                         std::uint32_t blockSize);

    /// A graph of `width` x `height` pixels, all free. `workers` threads will share regions of `blockSize` x
    /// `blockSize` nodes; all four numbers are at least 1. `progress`, which must outlive the solver and accept calls
    /// from all threads, gets the number of regions and boundaries as its total. Throws `EffectException` if the graph
    /// would have more than 2^32 nodes, and `std::bad_alloc`, with a description that states the number of bytes, if
    /// the memory cannot be allocated.
    Solver(std::uint32_t width, std::uint32_t height, std::uint32_t workers, std::uint32_t blockSize,
           Core::IProgressController& progress, const HeadStart& headStart = {});

    /// Sets the capacities of all pixels. Edges that lead out of the picture are ignored. Throws `EffectException` if
    /// an array's size differs from the picture's, or if the capacities of two opposite edges add up to more than
    /// 65535, so that flow could overflow them.
    void SetCapacities(const Capacities& capacities);

    /// Finds the maximum flow, or stops early if the controller reports cancellation; the labels are then meaningless.
    void Compute();

    /// After `Compute`: writes a row of pixels to `mask` as `background` or `foreground`. The background consists of
    /// the pixels from which flow could still reach the sink.
    void ReadRow(std::uint32_t y, std::uint8_t foreground, std::uint8_t background, std::uint8_t* mask) const;

    /// The maximum flow modulo 2^16.
    std::uint16_t GetFlow() const { return flow_; }

private:
    enum class Result { Complete, Stopped };

    /// What is determined while the graph is filled.
    struct FillSummary {
        std::uint16_t flow = 0;  ///< from links with both terminals
        Capacity maxLink = 0, maxEdge = 0;
    };

    template <class Visit>
    void ForEachRun(std::uint32_t y, Visit&& visit) const;
    void SetRun(const Capacities& capacities, NodeIndex node, std::size_t pixel, std::uint32_t count,
                FillSummary& summary);
    void Plant(NodeIndex node, Label tree) const;
    void RemoveOuterEdges();

    std::uint64_t GetStepCount() const { return regions_.GetRegionCount() + regions_.GetBoundaryCount(); }
    void ComputeFromCoarserGrid(std::uint64_t steps);
    Flow FindCoarseFlow(Core::IProgressController& progress) const;
    void ReplantTrees();

    Result Search(std::int64_t units, Core::IProgressController& progress);
    void SearchRegions(RegionPlan& plan, TreeSearch& search, const WorkBudget& budget,
                       Core::IProgressController& progress) const;
    void ActivateRegion(const Region& region, TreeSearch& search) const;
    void CloseBoundary(const Boundary& boundary) const;
    void OpenBoundary(const Boundary& boundary, TreeSearch& search) const;

    const PictureSize size_;
    const std::uint32_t workers_;
    const HeadStart headStart_;
    Core::IProgressController& progress_;
    ZeroedBlock block_;
    const NodeArrays nodes_;
    const RegionGrid regions_;
    NodeIndex* const boundaryNodes_;
    bool fitsHeadStart_ = true;
    std::uint16_t flow_ = 0;
};

}  // namespace Orvexa::Proc::GridGraph
