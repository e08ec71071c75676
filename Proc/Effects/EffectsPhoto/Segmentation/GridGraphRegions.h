// Which worker does what: regions of the grid are solved one by one, then merged with their neighbours until one is
// left.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "Host/Core/Progress.h"
#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphNodes.h"

namespace Orvexa::Proc::GridGraph {

/// The division of the padded grid into square regions; those at its right and lower edge may be cut short.
struct RegionGrid {
    RegionGrid(const GridLayout& layout, std::uint32_t side)
        : blockSize(side),
          across((layout.GetPaddedWidth() - 1) / side + 1),
          down((layout.GetPaddedHeight() - 1) / side + 1) {}

    std::size_t GetRegionCount() const { return std::size_t{across} * down; }
    std::size_t GetBoundaryCount() const { return std::size_t{across - 1} * down + std::size_t{down - 1} * across; }
    /// At least as many as there are nodes in the lists of all boundaries.
    std::size_t GetBoundaryNodeBound() const { return blockSize * GetBoundaryCount(); }

    std::uint32_t blockSize, across, down;
};

/// Columns left <= x < right and rows top <= y < bottom of the padded grid.
struct Region {
    std::uint32_t left, top, right, bottom;
};

/// The line between two regions next to each other.
struct Boundary {
    std::size_t regionA, regionB;
    Direction direction;               ///< from A to B: right or down
    std::span<const NodeIndex> nodes;  ///< on A's side
};

/// The plan that all workers share. A region is busy from the beginning, or from its merge, until a worker has solved
/// it; only regions that are not busy are merged, so that no node is ever touched by two workers.
class RegionPlan {
public:
    /// Keeps the nodes of the boundaries in `boundaryNodes`, where there is room for `grid.GetBoundaryNodeBound()` of
    /// them.
    RegionPlan(const GridLayout& layout, const RegionGrid& grid, NodeIndex* boundaryNodes);

    std::size_t GetRegionCount() const { return states_.size(); }
    Region GetRegion(std::size_t region) const;
    /// The boundaries that no merge has taken; to be used before the workers start.
    std::span<const Boundary> GetBoundaries() const { return pending_; }

    /// The next region that nobody has taken, or nothing.
    std::optional<std::size_t> TakeRegion();

    struct Merge {
        std::size_t region;
        std::vector<Boundary> boundaries;  ///< between the merged parts, all closed as yet
    };
    /// Merges the first two neighbours that are not busy; nothing when there are none, or when the computation is
    /// cancelled.
    std::optional<Merge> TakeMerge(const Core::IProgressController& progress);

    /// The region's time. Only for the worker that has taken the region.
    std::uint32_t GetTime(std::size_t region) const { return states_[region].time; }
    /// Lets others merge a region that its worker has solved, at `time`.
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

    // A word rather than a mutex: it is held for microseconds. Waiting workers give their processor away after a few
    // tries.
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
