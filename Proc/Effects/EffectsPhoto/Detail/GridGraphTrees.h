// Maximum flow inside one region of the grid graph, by augmenting paths between two search trees.
//
// After Y. Boykov and V. Kolmogorov, "An experimental comparison of min-cut/max-flow algorithms for energy minimization in vision",
// IEEE TPAMI 26(9), 2004: one tree grows from the source, one from the sink; where they touch, flow is pushed; nodes cut off by
// saturated edges look for a new parent in their tree or leave it.
#pragma once

#include <cstdint>

#include "Host/Core/Progress.h"
#include "Proc/Effects/EffectsPhoto/Detail/GridGraphNodes.h"

namespace Orvexa::Proc::GridGraph {

/// What one worker keeps between regions; all zero at first. So large that no two workers write to one cache line.
struct WorkerState {
    NodeIndex activeHead, activeTail;
    std::uint16_t flow;  ///< wraps; only its sum over all workers, modulo 2^16, has a meaning
    std::uint8_t unused[86];
};
static_assert(sizeof(WorkerState) == 96);

/// The two trees of the region that one worker is busy with.
class TreeSearch {
public:
    TreeSearch(const NodeArrays& nodes, WorkerState& state, const Core::IProgressController& progress)
        : nodes_(nodes), state_(state), progress_(progress) {}

    /// Queues a node that may be able to grow its tree, unless it is queued already.
    void Activate(NodeIndex node) {
        if (nodes_.nextActive[node] != kNoNode) return;
        if (state_.activeTail == kNoNode) {
            state_.activeHead = node;
        } else {
            nodes_.nextActive[state_.activeTail] = node;
        }
        nodes_.nextActive[node] = node;
        state_.activeTail = node;
    }

    /// Pushes flow between the trees, from the active nodes on, until none is left or the computation is cancelled. Takes the region's
    /// time, which counts augmentations and only grows, and gives what it has become.
    std::uint32_t Run(std::uint32_t time);

private:
    /// An edge from the source tree to the sink tree.
    struct Bridge {
        NodeIndex source, sink;
        Direction direction;  // from source to sink
    };

    bool Grow(Bridge& bridge);
    template <Label Tree>
    bool GrowFrom(NodeIndex node, Bridge& bridge);
    void PopActive();

    Capacity FindBottleneck(const Bridge& bridge) const;
    void Augment(const Bridge& bridge);
    void MakeOrphan(NodeIndex node);

    void Adopt(std::uint32_t time);
    NodeIndex TakeOrphan();
    template <Label Tree>
    void AdoptOrFree(NodeIndex orphan, std::uint32_t time);
    template <Label Tree>
    bool FindParent(NodeIndex orphan, std::uint32_t time);
    bool IsConnected(NodeIndex node, std::uint32_t time);
    template <Label Tree>
    void OrphanChildren(NodeIndex node);
    void ActivateAround(NodeIndex freed);

    const NodeArrays nodes_;
    WorkerState& state_;
    const Core::IProgressController& progress_;
    NodeIndex orphanTop_ = kNoNode;
    NodeIndex lateOrphanHead_ = kNoNode;
    NodeIndex lateOrphanTail_ = kNoNode;
    NodeIndex freedTop_ = kNoNode;
};

}  // namespace Orvexa::Proc::GridGraph
