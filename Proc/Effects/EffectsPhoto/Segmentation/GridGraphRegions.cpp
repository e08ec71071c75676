#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphRegions.h"

#include <algorithm>
#include <mutex>
#include <thread>
#include <utility>

namespace Orvexa::Proc::GridGraph {

void RegionPlan::SpinLock::lock() {
    constexpr int kTriesBeforeYield = 16;
    int tries = 0;
    for (std::uint32_t open = kOpen; !word_.compare_exchange_weak(open, kHeld, std::memory_order_acquire);
         open = kOpen) {
        while (word_.load(std::memory_order_relaxed) == kHeld) {
            if (++tries > kTriesBeforeYield) std::this_thread::yield();
        }
    }
}

RegionPlan::RegionPlan(const GridLayout& layout, const RegionGrid& grid, NodeIndex* boundaryNodes)
    : grid_(grid), width_(layout.GetPaddedWidth()), height_(layout.GetPaddedHeight()), states_(grid.GetRegionCount()) {
    NodeIndex* place = boundaryNodes;
    pending_.reserve(2 * states_.size());
    for (std::size_t region = 0; region < states_.size(); ++region) {
        states_[region].parent = region;
        AddBoundary(layout, region, kRight, place);
        AddBoundary(layout, region, kDown, place);
    }
}

// Does nothing at the end of the grid.
void RegionPlan::AddBoundary(const GridLayout& layout, std::size_t regionA, Direction direction, NodeIndex*& place) {
    const Region a = GetRegion(regionA);
    NodeIndex* const begin = place;
    if (direction == kRight) {
        if (a.right == width_) return;
        for (std::uint32_t y = a.top; y < a.bottom; ++y) *place++ = layout.GetIndex(a.right - 1, y);
    } else {
        if (a.bottom == height_) return;
        for (std::uint32_t x = a.left; x < a.right; ++x) *place++ = layout.GetIndex(x, a.bottom - 1);
    }
    pending_.push_back({regionA, regionA + (direction == kRight ? 1 : grid_.across), direction, {begin, place}});
}

Region RegionPlan::GetRegion(std::size_t region) const {
    const auto left = static_cast<std::uint32_t>(region % grid_.across * grid_.blockSize);
    const auto top = static_cast<std::uint32_t>(region / grid_.across * grid_.blockSize);
    return {left, top, left + std::min(grid_.blockSize, width_ - left), top + std::min(grid_.blockSize, height_ - top)};
}

std::optional<std::size_t> RegionPlan::TakeRegion() {
    const std::size_t region = nextRegion_.fetch_add(1, std::memory_order_relaxed);
    return region < states_.size() ? std::optional(region) : std::nullopt;
}

std::optional<RegionPlan::Merge> RegionPlan::TakeMerge(const Core::IProgressController& progress) {
    const std::lock_guard guard(lock_);
    std::optional<Merge> merge;
    const auto isTaken = [&](std::size_t rootA, std::size_t rootB) {
        if (merge) return rootA == merge->region && rootB == merge->region;
        if (IsBusy(rootA) || IsBusy(rootB)) return false;
        states_[rootA].parent = rootB;
        states_[rootB].time = std::max(states_[rootA].time, states_[rootB].time);
        states_[rootB].isBusy.store(1, std::memory_order_relaxed);
        merge.emplace(Merge{rootB, {}});
        return true;
    };

    std::vector<Boundary> kept;
    for (const Boundary& boundary : pending_) {
        const auto rootA = FindRoot(boundary.regionA, progress);
        const auto rootB = rootA ? FindRoot(boundary.regionB, progress) : rootA;
        if (!rootB) return std::nullopt;
        if (isTaken(*rootA, *rootB)) {
            merge->boundaries.push_back(boundary);
        } else {
            kept.push_back(boundary);
        }
    }
    pending_.swap(kept);
    return merge;
}

// Nothing if the computation is cancelled.
std::optional<std::size_t> RegionPlan::FindRoot(std::size_t region, const Core::IProgressController& progress) {
    std::size_t root = region;
    do {
        if (progress.IsCancelled()) return std::nullopt;
        root = states_[root].parent;
    } while (states_[root].parent != root);
    while (region != root) region = std::exchange(states_[region].parent, root);
    return root;
}

}  // namespace Orvexa::Proc::GridGraph
