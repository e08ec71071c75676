#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphTrees.h"

#include <algorithm>
#include <utility>

namespace Orvexa::Proc::GridGraph {

namespace {

constexpr Label OtherTree(Label tree) { return tree == kSourceTree ? kSinkTree : kSourceTree; }

// Calls `test` for one direction after another until it returns true.
template <class Test>
bool AnyInGrowthOrder(Test&& test) {
    return test(DirectionTag<kRight>()) || test(DirectionTag<kDown>()) || test(DirectionTag<kUp>()) ||
           test(DirectionTag<kLeft>());
}

template <class Test>
bool AnyInAdoptionOrder(Test&& test) {
    return test(DirectionTag<kLeft>()) || test(DirectionTag<kRight>()) || test(DirectionTag<kUp>()) ||
           test(DirectionTag<kDown>());
}

template <class Visit>
void ForEachInAdoptionOrder(Visit&& visit) {
    visit(DirectionTag<kLeft>());
    visit(DirectionTag<kRight>());
    visit(DirectionTag<kUp>());
    visit(DirectionTag<kDown>());
}

// Climbs from a node towards its terminal: visit(node, parent, direction of the parent) returns whether to continue
// with the parent. Returns the node where the climb ended, at the latest a root or an orphan. Each direction has its
// own code, so that the processor can predict the course of a path: on paths of a thousand nodes, waiting for the
// memory at every step takes almost twice as long.
template <class Visit>
[[gnu::always_inline]] inline NodeIndex Climb(const NodeArrays& nodes, NodeIndex node, Visit&& visit) {
    const auto step = [&](auto up) {
        const NodeIndex parent = nodes.layout.GetNeighbour<up>(node);
        if (!visit(node, parent, up)) return false;
        node = parent;
        return true;
    };
    for (bool goesOn = true; goesOn;) {
        switch (nodes.parentDirection[node]) {
            case kRight: goesOn = step(DirectionTag<kRight>()); break;
            case kDown: goesOn = step(DirectionTag<kDown>()); break;
            case kUp: goesOn = step(DirectionTag<kUp>()); break;
            case kLeft: goesOn = step(DirectionTag<kLeft>()); break;
            default: goesOn = false;
        }
    }
    return node;
}

// Moves flow along an edge; returns true if that saturated it.
[[gnu::always_inline]] inline bool Push(const NodeArrays& nodes, NodeIndex from, NodeIndex to, Direction direction,
                                        Capacity amount) {
    Capacity& forward = nodes.residual[direction][from];
    Capacity& backward = nodes.residual[Opposite(direction)][to];
    if (backward == 0) nodes.OpenEdge(to, Opposite(direction));
    forward = static_cast<Capacity>(forward - amount);
    backward = static_cast<Capacity>(backward + amount);
    if (forward != 0) return false;
    nodes.CloseEdge(from, direction);
    return true;
}

}  // namespace

std::uint32_t TreeSearch::Run(std::uint32_t time) {
    constexpr std::int64_t kUnitsAtOnce = 4096;  // rarely enough for the workers not to contend
    Bridge bridge;
    while (!progress_.IsCancelled() && !budget_.IsSpent() && Grow(bridge)) {
        ++time;
        Augment(bridge);
        Adopt(time);
        if (work_ >= kUnitsAtOnce) budget_.Spend(std::exchange(work_, 0));
    }
    return time;
}

// ---- growth: the trees take free nodes until they touch

bool TreeSearch::Grow(Bridge& bridge) {
    while (!active_.IsEmpty()) {
        const NodeIndex node = active_.Front();
        const Label tree = LabelOf(nodes_.GetFlags(node));
        if (tree == kSourceTree && GrowFrom<kSourceTree>(node, bridge)) return true;
        if (tree == kSinkTree && GrowFrom<kSinkTree>(node, bridge)) return true;
        active_.Pop();
        nodes_.SetFlags(node, static_cast<Flags>(nodes_.GetFlags(node) & ~kIsActive));
    }
    return false;
}

template <Label Tree>
bool TreeSearch::GrowFrom(NodeIndex node, Bridge& bridge) {
    const Flags flags = nodes_.GetFlags(node);
    return AnyInGrowthOrder([&](auto direction) {
        if (Tree == kSourceTree && !HasResidual(flags, direction)) return false;
        const NodeIndex neighbour = nodes_.layout.GetNeighbour<direction>(node);
        const Flags neighbourFlags = nodes_.GetFlags(neighbour);
        if (Tree == kSinkTree && !HasResidual(neighbourFlags, Opposite(direction))) return false;
        const Label label = LabelOf(neighbourFlags);
        if (label == OtherTree(Tree)) {
            bridge =
                Tree == kSourceTree ? Bridge{node, neighbour, direction} : Bridge{neighbour, node, Opposite(direction)};
            return true;
        }
        if (label == kFree) {
            nodes_.SetFlags(neighbour, WithLabel(neighbourFlags, Tree));
            nodes_.parentDirection[neighbour] = Opposite(direction);
            Activate(neighbour);
        }
        return false;
    });
}

// ---- augmentation: a path takes all the flow that it can

Capacity TreeSearch::FindBottleneck(const Bridge& bridge) {
    const NodeArrays nodes = nodes_;  // a local copy can stay in registers
    Capacity least = nodes.residual[bridge.direction][bridge.source];
    std::int64_t steps = 0;
    const NodeIndex sourceRoot = Climb(nodes, bridge.source, [&](NodeIndex, NodeIndex parent, auto up) {
        least = std::min(least, nodes.residual[Opposite(up)][parent]);
        ++steps;
        return true;
    });
    const NodeIndex sinkRoot = Climb(nodes, bridge.sink, [&](NodeIndex node, NodeIndex, auto up) {
        least = std::min(least, nodes.residual[up][node]);
        ++steps;
        return true;
    });
    work_ += steps;
    return std::min({least, nodes.terminalResidual[sourceRoot], nodes.terminalResidual[sinkRoot]});
}

void TreeSearch::Augment(const Bridge& bridge) {
    const NodeArrays nodes = nodes_;
    const Capacity amount = FindBottleneck(bridge);
    const auto drainTerminal = [&](NodeIndex root) {
        nodes.terminalResidual[root] = static_cast<Capacity>(nodes.terminalResidual[root] - amount);
        if (nodes.terminalResidual[root] == 0) MakeOrphan(root);
    };

    Push(nodes, bridge.source, bridge.sink, bridge.direction, amount);
    drainTerminal(Climb(nodes, bridge.source, [&](NodeIndex node, NodeIndex parent, auto up) {
        if (Push(nodes, parent, node, Opposite(up), amount)) MakeOrphan(node);
        return true;
    }));
    drainTerminal(Climb(nodes, bridge.sink, [&](NodeIndex node, NodeIndex parent, auto up) {
        if (Push(nodes, node, parent, up, amount)) MakeOrphan(node);
        return true;
    }));
    flow_ = static_cast<std::uint16_t>(flow_ + amount);
}

void TreeSearch::MakeOrphan(NodeIndex node) {
    nodes_.parentDirection[node] = kNoParent;
    orphans_.push_back(node);
}

// ---- adoption: nodes that lost their parent find another one, or become free

void TreeSearch::Adopt(std::uint32_t time) {
    while (!progress_.IsCancelled()) {
        const std::optional<NodeIndex> orphan = TakeOrphan();
        if (!orphan) break;
        ++work_;
        if (LabelOf(nodes_.GetFlags(*orphan)) == kSourceTree) {
            AdoptOrFree<kSourceTree>(*orphan, time);
        } else {
            AdoptOrFree<kSinkTree>(*orphan, time);
        }
    }
    for (; !freed_.empty(); freed_.pop_back()) ActivateAround(freed_.back());
}

// Secondary orphans come first, oldest first; then those of the augmentation, newest first.
std::optional<NodeIndex> TreeSearch::TakeOrphan() {
    if (!secondaryOrphans_.IsEmpty()) {
        const NodeIndex orphan = secondaryOrphans_.Front();
        secondaryOrphans_.Pop();
        return orphan;
    }
    if (orphans_.empty()) return std::nullopt;
    const NodeIndex orphan = orphans_.back();
    orphans_.pop_back();
    return orphan;
}

template <Label Tree>
void TreeSearch::AdoptOrFree(NodeIndex orphan, std::uint32_t time) {
    if (FindParent<Tree>(orphan, time)) return;
    OrphanChildren<Tree>(orphan);
    nodes_.SetFlags(orphan, WithLabel(nodes_.GetFlags(orphan), kFree));
    freed_.push_back(orphan);
}

template <Label Tree>
bool TreeSearch::FindParent(NodeIndex orphan, std::uint32_t time) {
    const Flags flags = nodes_.GetFlags(orphan);
    return AnyInAdoptionOrder([&](auto direction) {
        if (Tree == kSinkTree && !HasResidual(flags, direction)) return false;
        const NodeIndex neighbour = nodes_.layout.GetNeighbour<direction>(orphan);
        const Flags neighbourFlags = nodes_.GetFlags(neighbour);
        if (Tree == kSourceTree && !HasResidual(neighbourFlags, Opposite(direction))) return false;
        if (LabelOf(neighbourFlags) != Tree || !IsConnected(neighbour, time)) return false;
        nodes_.parentDirection[orphan] = direction;
        nodes_.stamp[orphan] = time;
        return true;
    });
}

// Whether a node is connected to the terminal through its ancestors. Stamps the nodes on the way, so that the climb is
// not repeated during this adoption.
bool TreeSearch::IsConnected(NodeIndex node, std::uint32_t time) {
    const NodeArrays nodes = nodes_;
    std::int64_t steps = 0;
    const NodeIndex end = Climb(nodes, node, [&](NodeIndex passed, NodeIndex, auto) {
        ++steps;
        return nodes.stamp[passed] != time;
    });
    work_ += steps;
    if (nodes.parentDirection[end] == kNoParent) return false;
    Climb(nodes, node, [&](NodeIndex passed, NodeIndex, auto) {
        nodes.stamp[passed] = time;
        return passed != end;
    });
    nodes.stamp[end] = time;
    return true;
}

// A tree edge always has residual capacity in the direction of the flow, so the children are found without reading the
// parents of nodes across a closed boundary, which belong to another thread.
template <Label Tree>
void TreeSearch::OrphanChildren(NodeIndex node) {
    const Flags flags = nodes_.GetFlags(node);
    ForEachInAdoptionOrder([&](auto direction) {
        if (Tree == kSourceTree && !HasResidual(flags, direction)) return;
        const NodeIndex neighbour = nodes_.layout.GetNeighbour<direction>(node);
        const Flags neighbourFlags = nodes_.GetFlags(neighbour);
        if (Tree == kSinkTree && !HasResidual(neighbourFlags, Opposite(direction))) return;
        if (LabelOf(neighbourFlags) != Tree || nodes_.parentDirection[neighbour] != Opposite(direction)) return;
        nodes_.parentDirection[neighbour] = kNoParent;
        secondaryOrphans_.Push(neighbour);
    });
}

// Reactivates the neighbours that could adopt a freed node.
void TreeSearch::ActivateAround(NodeIndex freed) {
    const Flags flags = nodes_.GetFlags(freed);
    ForEachInAdoptionOrder([&](auto direction) {
        const NodeIndex neighbour = nodes_.layout.GetNeighbour<direction>(freed);
        const Flags neighbourFlags = nodes_.GetFlags(neighbour);
        if (LabelOf(neighbourFlags) == kSourceTree && HasResidual(neighbourFlags, Opposite(direction)))
            Activate(neighbour);
    });
    ForEachInAdoptionOrder([&](auto direction) {
        if (!HasResidual(flags, direction)) return;
        const NodeIndex neighbour = nodes_.layout.GetNeighbour<direction>(freed);
        if (LabelOf(nodes_.GetFlags(neighbour)) == kSinkTree) Activate(neighbour);
    });
}

}  // namespace Orvexa::Proc::GridGraph
