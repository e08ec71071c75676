// The schedule of the workers: regions of the grid are solved one by one, then merged with their neighbours until one
// is left.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "Host/Core/Progress.h"
#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphNodes.h"

namespace Orvexa::Proc::GridGraph {

/// Divides the padded grid into square regions; those at its right and lower edge may be smaller.
struct RegionGrid {
    RegionGrid(const GridLayout& layout, std::uint32_t side)
        : blockSize(side),
          across((layout.GetPaddedWidth() - 1) / side + 1),
          down((layout.GetPaddedHeight() - 1) / side + 1) {}

    std::size_t GetRegionCount() const { return std::size_t{across} * down; }
    std::size_t GetBoundaryCount() const { return std::size_t{across - 1} * down + std::size_t{down - 1} * across; }
    /// An upper bound on the number of nodes in the lists of all boundaries.
    std::size_t GetBoundaryNodeBound() const { return blockSize * GetBoundaryCount(); }

    std::uint32_t blockSize, across, down;
};

/// Columns left <= x < right and rows top <= y < bottom of the padded grid.
struct Region {
    std::uint32_t left, top, right, bottom;
};

/// The boundary between two adjacent regions.
struct Boundary {
    std::size_t regionA, regionB;
    Direction direction;               ///< from A to B: right or down
    std::span<const NodeIndex> nodes;  ///< on A's side
};

/// The schedule shared by all workers. A region is busy from the beginning, or from its merge, until a worker has
/// solved it; only regions that are not busy are merged, so two workers never access the same node.
class RegionPlan {
public:
    /// Stores the nodes of the boundaries in `boundaryNodes`, which has room for `grid.GetBoundaryNodeBound()` of them.
    RegionPlan(const GridLayout& layout, const RegionGrid& grid, NodeIndex* boundaryNodes);

    std::size_t GetRegionCount() const { return states_.size(); }
    Region GetRegion(std::size_t region) const;
    /// The boundaries that no merge has taken yet; to be called before the workers start.
    std::span<const Boundary> GetBoundaries() const { return pending_; }

    /// The next region that no worker has taken, if there is one.
    std::optional<std::size_t> TakeRegion();

    struct Merge {
        std::size_t region;
        std::vector<Boundary> boundaries;  ///< between the merged parts, all still closed
    };
    /// Merges the first two neighbours that are not busy; returns nothing if there are none, or if the computation is
    /// cancelled.
    std::optional<Merge> TakeMerge(const Core::IProgressController& progress);

    /// The region's time. Only for the worker that holds the region.
    std::uint32_t GetTime(std::size_t region) const { return states_[region].time; }
    /// Makes a region that its worker has solved, at `time`, available for merging.
    void Release(std::size_t region, std::uint32_t time) {
        states_[region].time = time;
        states_[region].isBusy.store(0, std::memory_order_release);
    }

private:
    struct State {
        std::atomic<std::uint8_t> isBusy{1};
        std::uint32_t time = 0;
        std::size_t parent = 0;  // of the union-find forest; guarded by lock_
    };

    // A spin lock instead of a mutex: it is held for microseconds. Waiting workers yield their processor after a few
    // attempts.
    class SpinLock {
    public:
        void lock();
        void unlock() { word_.store(kOpen, std::memory_order_release); }

    private:
        static constexpr std::uint32_t kOpen = 1, kHeld = 2;
        std::atomic<std::uint32_t> word_{kOpen};
    };

    void AddBoundary(const GridLayout& layout, std::size_t regionA, Direction direction, NodeIndex*& place);
    std::optional<std::size_t> FindRoot(std::size_t region, const Core::IProgressController& progress);
    bool IsBusy(std::size_t region) const { return states_[region].isBusy.load(std::memory_order_acquire) != 0; }

    RegionGrid grid_;
    std::uint32_t width_, height_;
    std::vector<State> states_;
    std::atomic<std::uint32_t> nextRegion_{0};
    SpinLock lock_;
    std::vector<Boundary> pending_;  // guarded by lock_
};

}  // namespace Orvexa::Proc::GridGraph
