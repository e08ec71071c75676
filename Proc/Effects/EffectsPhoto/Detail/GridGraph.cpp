#include "Proc/Effects/EffectsPhoto/Detail/GridGraph.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <string>

#include "Host/Core/Exception.h"
#include "Proc/Effects/EffectsPhoto/Detail/GridGraphWorkers.h"

namespace Orvexa::Proc::GridGraph {

namespace {

// Flags, parent direction, five residuals and the stamp.
constexpr std::size_t kNodeArrays = 8;
constexpr std::size_t kBytesPerNode = sizeof(Flags) + sizeof(Direction) + 5 * sizeof(Capacity) + sizeof(std::uint32_t);

NodeArrays TakeNodes(ZeroedBlock& block, const GridLayout& layout) {
    const std::size_t count = layout.GetNodeCount();
    NodeArrays nodes{.layout = layout};
    nodes.flags = block.Take<Flags>(count);
    nodes.parentDirection = block.Take<Direction>(count);
    std::fill_n(nodes.parentDirection, count, kNoParent);
    for (Capacity*& residual : nodes.residual) residual = block.Take<Capacity>(count);
    nodes.terminalResidual = block.Take<Capacity>(count);
    nodes.stamp = block.Take<std::uint32_t>(count);
    return nodes;
}

void CheckArguments(std::uint32_t width, std::uint32_t height, std::uint32_t workers, std::uint32_t blockSize) {
    if (width == 0 || height == 0 || workers == 0 || blockSize == 0) {
        Throw("A grid graph needs at least one pixel, one thread and regions of at least one node");
    }
    // A padded side has at most 2^32 + 8 nodes, so that the product fits into 64 bits once each factor is known to be small enough.
    constexpr std::uint64_t kMaxNodes = std::uint64_t{1} << 32;
    const std::uint64_t paddedWidth = GridLayout::Padded(width), paddedHeight = GridLayout::Padded(height);
    if (paddedWidth > kMaxNodes / paddedHeight) {
        Throw("The picture of " + std::to_string(width) + " x " + std::to_string(height) +
              " pixels is too large for a grid graph of 2^32 nodes");
    }
}

template <class Visit>
void ForEachEdge(const GridLayout& layout, const Boundary& boundary, Visit&& visit) {
    for (const NodeIndex a : boundary.nodes) {
        visit(a, boundary.direction == kRight ? layout.GetNeighbour<kRight>(a) : layout.GetNeighbour<kDown>(a));
    }
}

}  // namespace

std::size_t Solver::GetAllocationSize(std::uint32_t width, std::uint32_t height, std::uint32_t workers, std::uint32_t blockSize) {
    CheckArguments(width, height, workers, blockSize);
    const GridLayout layout(width, height);
    return layout.GetNodeCount() * kBytesPerNode + RegionGrid(layout, blockSize).GetBoundaryNodeBound() * sizeof(NodeIndex) +
           kNodeArrays * ZeroedBlock::kAlignment;
}

Solver::Solver(std::uint32_t width, std::uint32_t height, std::uint32_t workers, std::uint32_t blockSize,
               Core::IProgressController& progress)
    : width_(width),
      height_(height),
      workers_(workers),
      progress_(progress),
      block_(GetAllocationSize(width, height, workers, blockSize)),
      nodes_(TakeNodes(block_, GridLayout(width, height))),
      plan_(nodes_.layout, RegionGrid(nodes_.layout, blockSize), block_) {
    progress_.SetTotal(plan_.GetBoundaries().size() + plan_.GetRegionCount());
}

// ---- filling and reading

// The nodes of a row of pixels, in runs that lie next to each other: visit(first node, first x, count).
template <class Visit>
void Solver::ForEachRun(std::uint32_t y, Visit&& visit) const {
    for (std::uint32_t x = 0, count; x < width_; x += count) {
        count = std::min(width_ - x, GridLayout::kTileSide - (x + 1) % GridLayout::kTileSide);
        visit(nodes_.layout.GetIndex(x + 1, y + 1), x, count);
    }
}

// The workers share the rows: most of the time goes into the first touch of the memory. The rows of one row of tiles go to one worker.
void Solver::SetCapacities(const Capacities& capacities, std::uint16_t pushed) {
    capacities.Check(width_, height_);
    std::atomic<std::uint16_t> flow{pushed};
    constexpr std::uint32_t kSide = GridLayout::kTileSide;
    ShareOut(workers_, height_ / kSide + 1, [&](std::uint32_t tileRow) {
        const std::uint32_t top = tileRow * kSide;  // of the padded grid, whose first row is above the picture
        std::uint16_t rowFlow = 0;
        for (std::uint32_t y = top == 0 ? 0 : top - 1; y < std::min(height_, top + kSide - 1); ++y) {
            ForEachRun(y, [&](NodeIndex node, std::uint32_t x, std::uint32_t count) {
                rowFlow = static_cast<std::uint16_t>(rowFlow + SetRun(capacities, node, std::size_t{y} * width_ + x, count));
            });
        }
        flow.fetch_add(rowFlow, std::memory_order_relaxed);
    });
    flow_ = flow;
    RemoveOuterEdges();
}

// Gives the flow that goes straight from the source to the sink, modulo 2^16.
std::uint16_t Solver::SetRun(const Capacities& capacities, NodeIndex node, std::size_t pixel, std::uint32_t count) {
    const std::array arrays{capacities.right.data(), capacities.down.data(), capacities.up.data(), capacities.left.data()};
    for (std::size_t k = 0; k < kDirections; ++k) std::copy_n(arrays[k] + pixel, count, nodes_.residual[k] + node);
    std::uint16_t flow = 0;
    for (std::uint32_t i = 0; i < count; ++i, ++node, ++pixel) {
        const Capacity source = capacities.source[pixel], sink = capacities.sink[pixel];
        flow = static_cast<std::uint16_t>(flow + std::min(source, sink));
        nodes_.terminalResidual[node] = static_cast<Capacity>(std::max(source, sink) - std::min(source, sink));
        nodes_.parentDirection[node] = source == sink ? kNoParent : kTerminal;
        Flags flags = source == sink ? kFree : source > sink ? kSourceTree : kSinkTree;
        for (std::size_t k = 0; k < kDirections; ++k) flags |= arrays[k][pixel] != 0 ? EdgeBit(static_cast<Direction>(k)) : 0;
        nodes_.flags[node] = flags;
    }
    return flow;
}

// Their residuals have to go, too: wherever a boundary between regions is opened, the residuals decide.
void Solver::RemoveOuterEdges() {
    const auto remove = [&](std::uint32_t x, std::uint32_t y, Direction direction) {
        const NodeIndex node = nodes_.layout.GetIndex(x, y);
        nodes_.residual[direction][node] = 0;
        nodes_.CloseEdge(node, direction);
    };
    for (std::uint32_t x = 1; x <= width_; ++x) {
        remove(x, 1, kUp);
        remove(x, height_, kDown);
    }
    for (std::uint32_t y = 1; y <= height_; ++y) {
        remove(1, y, kLeft);
        remove(width_, y, kRight);
    }
}

void Solver::ReadResidualRow(std::uint32_t y, Direction direction, Capacity* row) const {
    const Capacity* const residual = nodes_.residual[direction];
    ForEachRun(y, [&](NodeIndex node, std::uint32_t x, std::uint32_t count) { std::copy_n(residual + node, count, row + x); });
}

void Solver::ReadRow(std::uint32_t y, std::uint8_t foreground, std::uint8_t background, std::uint8_t* mask) const {
    ForEachRun(y, [&](NodeIndex node, std::uint32_t x, std::uint32_t count) {
        for (std::uint32_t i = 0; i < count; ++i) mask[x + i] = LabelOf(nodes_.flags[node + i]) == kSinkTree ? background : foreground;
    });
}

// ---- computing

void Solver::Compute() {
    for (const Boundary& boundary : plan_.GetBoundaries()) CloseBoundary(boundary);
    std::atomic<std::uint16_t> flow{flow_};
    const auto threads = static_cast<std::uint32_t>(std::min<std::size_t>(workers_, plan_.GetRegionCount()));
    RunOnThreads(threads, [&] {
        TreeSearch search(nodes_, progress_);
        Work(search);
        flow.fetch_add(search.GetFlow(), std::memory_order_relaxed);
    });
    flow_ = flow;
}

// A worker that finds nothing to merge exits; the worker that frees the last region retries.
void Solver::Work(TreeSearch& search) {
    while (const auto region = plan_.TakeRegion()) {
        ActivateRegion(plan_.GetRegion(*region), search);
        plan_.Release(*region, search.Run(plan_.GetTime(*region)));
        progress_.Step(1);
        if (progress_.IsCancelled()) return;
    }
    while (const auto merge = plan_.TakeMerge(progress_)) {
        progress_.Step(merge->boundaries.size());
        for (const Boundary& boundary : merge->boundaries) OpenBoundary(boundary, search);
        plan_.Release(merge->region, search.Run(plan_.GetTime(merge->region)));
    }
}

// Queues the nodes of a region from which a tree can grow, or flow can go over to the other tree.
void Solver::ActivateRegion(const Region& region, TreeSearch& search) const {
    const auto canGrow = [&](NodeIndex node, Flags flags, auto direction) {
        const Flags neighbour = nodes_.GetFlags(nodes_.layout.GetNeighbour<direction>(node));
        return LabelOf(flags) == kSourceTree ? HasResidual(flags, direction) && LabelOf(neighbour) != kSourceTree
                                             : HasResidual(neighbour, Opposite(direction)) && LabelOf(neighbour) == kFree;
    };
    for (std::uint32_t y = region.top; y < region.bottom; ++y) {
        for (std::uint32_t x = region.left; x < region.right; ++x) {
            const NodeIndex node = nodes_.layout.GetIndex(x, y);
            const Flags flags = nodes_.GetFlags(node);
            if (LabelOf(flags) == kFree) continue;
            if (canGrow(node, flags, DirectionTag<kLeft>()) || canGrow(node, flags, DirectionTag<kRight>()) ||
                canGrow(node, flags, DirectionTag<kUp>()) || canGrow(node, flags, DirectionTag<kDown>())) {
                search.Activate(node);
            }
        }
    }
}

void Solver::CloseBoundary(const Boundary& boundary) const {
    ForEachEdge(nodes_.layout, boundary, [&](NodeIndex a, NodeIndex b) {
        nodes_.CloseEdge(a, boundary.direction);
        nodes_.CloseEdge(b, Opposite(boundary.direction));
    });
}

void Solver::OpenBoundary(const Boundary& boundary, TreeSearch& search) const {
    const Direction forth = boundary.direction, back = Opposite(forth);
    ForEachEdge(nodes_.layout, boundary, [&](NodeIndex a, NodeIndex b) {
        const bool toB = nodes_.residual[forth][a] != 0, toA = nodes_.residual[back][b] != 0;
        if (toB) nodes_.OpenEdge(a, forth);
        if (toA) nodes_.OpenEdge(b, back);
        const Label labelA = LabelOf(nodes_.GetFlags(a)), labelB = LabelOf(nodes_.GetFlags(b));
        if (labelA == labelB) return;
        if ((labelA == kSourceTree && toB) || (labelA == kSinkTree && toA)) search.Activate(a);
        if ((labelB == kSourceTree && toA) || (labelB == kSinkTree && toB)) search.Activate(b);
    });
}

}  // namespace Orvexa::Proc::GridGraph
