// Maximum flow inside one region of the grid graph, by augmenting paths between two search trees.
//
// After Y. Boykov and V. Kolmogorov, "An experimental comparison of min-cut/max-flow algorithms for energy minimization
// in vision", IEEE TPAMI 26(9), 2004: one tree grows from the source, one from the sink; where they touch, flow is
// pushed; nodes cut off by saturated edges find a new parent in their tree or leave it.
#pragma once

#include <atomic>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "Host/Core/Progress.h"
#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphNodes.h"

namespace Orvexa::Proc::GridGraph {

/// The work limit of a search, shared by all workers. A unit is a step along a tree or an adopted node, some
/// nanoseconds.
class WorkBudget {
public:
    static constexpr std::int64_t kUnlimited = std::numeric_limits<std::int64_t>::max();

    explicit WorkBudget(std::int64_t units) : left_(units) {}
    bool IsSpent() const { return left_.load(std::memory_order_relaxed) <= 0; }
    void Spend(std::int64_t units) { left_.fetch_sub(units, std::memory_order_relaxed); }

private:
    std::atomic<std::int64_t> left_;
};

/// A first-in, first-out queue in two vectors: one is read, the other is filled; they are swapped when the first is
/// exhausted.
class NodeQueue {
public:
    bool IsEmpty() const { return next_ == reading_.size() && filling_.empty(); }
    void Push(NodeIndex node) { filling_.push_back(node); }
    /// The oldest node. The queue must not be empty.
    NodeIndex Front() {
        if (next_ == reading_.size()) {
            reading_.clear();
            reading_.swap(filling_);
            next_ = 0;
        }
        return reading_[next_];
    }
    /// Removes the node that `Front` has just returned.
    void Pop() { ++next_; }

private:
    std::vector<NodeIndex> reading_, filling_;
    std::size_t next_ = 0;
};

/// The two trees of the region that one worker is solving. Its lists are empty between regions, unless a search was
/// stopped.
class TreeSearch {
public:
    TreeSearch(const NodeArrays& nodes, WorkBudget& budget, const Core::IProgressController& progress)
        : nodes_(nodes), budget_(budget), progress_(progress) {}

    /// Queues a node that may be able to grow its tree, unless it is already queued.
    void Activate(NodeIndex node) {
        const Flags flags = nodes_.GetFlags(node);
        if ((flags & kIsActive) != 0) return;
        nodes_.SetFlags(node, flags | kIsActive);
        active_.Push(node);
    }

    /// Pushes flow between the trees, starting from the active nodes, until none is left, the budget is exhausted or
    /// the computation is cancelled. `time` is the region's count of augmentations; returns the count at the end.
    std::uint32_t Run(std::uint32_t time);

    /// The flow pushed so far, modulo 2^16.
    std::uint16_t GetFlow() const { return flow_; }

private:
    /// An edge from the source tree to the sink tree.
    struct Bridge {
        NodeIndex source, sink;
        Direction direction;  // from source to sink
    };

    bool Grow(Bridge& bridge);
    template <Label Tree>
    bool GrowFrom(NodeIndex node, Bridge& bridge);

    Capacity FindBottleneck(const Bridge& bridge);
    void Augment(const Bridge& bridge);
    void MakeOrphan(NodeIndex node);

    void Adopt(std::uint32_t time);
    std::optional<NodeIndex> TakeOrphan();
    template <Label Tree>
    void AdoptOrFree(NodeIndex orphan, std::uint32_t time);
    template <Label Tree>
    bool FindParent(NodeIndex orphan, std::uint32_t time);
    bool IsConnected(NodeIndex node, std::uint32_t time);
    template <Label Tree>
    void OrphanChildren(NodeIndex node);
    void ActivateAround(NodeIndex freed);

    const NodeArrays nodes_;
    WorkBudget& budget_;
    const Core::IProgressController& progress_;
    std::int64_t work_ = 0;  // not yet deducted from the budget
    NodeQueue active_;
    std::vector<NodeIndex> orphans_;  // of the last augmentation
    NodeQueue secondaryOrphans_;      // created when their parents were freed
    std::vector<NodeIndex> freed_;
    std::uint16_t flow_ = 0;
};

}  // namespace Orvexa::Proc::GridGraph
