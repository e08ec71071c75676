#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraph.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <limits>
#include <mutex>
#include <string>
#include <utility>

#include "Host/Core/Exception.h"
#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphProgress.h"
#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphWorkers.h"

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
    // A padded side has at most 2^32 + 8 nodes, so the product fits into 64 bits once each factor is known to be small
    // enough.
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

std::size_t Solver::GetAllocationSize(std::uint32_t width, std::uint32_t height, std::uint32_t workers,
                                      std::uint32_t blockSize) {
    CheckArguments(width, height, workers, blockSize);
    const GridLayout layout(width, height);
    return layout.GetNodeCount() * kBytesPerNode +
           RegionGrid(layout, blockSize).GetBoundaryNodeBound() * sizeof(NodeIndex) +
           kNodeArrays * ZeroedBlock::kAlignment;
}

Solver::Solver(std::uint32_t width, std::uint32_t height, std::uint32_t workers, std::uint32_t blockSize,
               Core::IProgressController& progress, const HeadStart& headStart)
    : size_{width, height},
      workers_(workers),
      headStart_(headStart),
      progress_(progress),
      block_(GetAllocationSize(width, height, workers, blockSize)),
      nodes_(TakeNodes(block_, GridLayout(width, height))),
      regions_(nodes_.layout, blockSize),
      boundaryNodes_(block_.Take<NodeIndex>(regions_.GetBoundaryNodeBound())) {
    progress_.SetTotal(GetStepCount());
}

// ---- filling and reading

// Visits the nodes of a row of pixels as runs of consecutive nodes: visit(first node, first x, count).
template <class Visit>
void Solver::ForEachRun(std::uint32_t y, Visit&& visit) const {
    for (std::uint32_t x = 0, count; x < size_.width; x += count) {
        count = std::min(size_.width - x, GridLayout::kTileSide - (x + 1) % GridLayout::kTileSide);
        visit(nodes_.layout.GetIndex(x + 1, y + 1), x, count);
    }
}

// The workers share the rows: most of the time goes into the first touch of the memory. Each row of tiles is processed
// by a single worker.
void Solver::SetCapacities(const Capacities& capacities) {
    capacities.Check(size_.width, size_.height);
    std::mutex mutex;
    FillSummary whole;
    constexpr std::uint32_t kSide = GridLayout::kTileSide;
    ShareOut(workers_, size_.height / kSide + 1, [&](std::uint32_t tileRow) {
        const std::uint32_t top = tileRow * kSide;  // in the padded grid, whose first row lies above the picture
        FillSummary summary;
        for (std::uint32_t y = top == 0 ? 0 : top - 1; y < std::min(size_.height, top + kSide - 1); ++y) {
            ForEachRun(y, [&](NodeIndex node, std::uint32_t x, std::uint32_t count) {
                SetRun(capacities, node, std::size_t{y} * size_.width + x, count, summary);
            });
        }
        const std::lock_guard lock(mutex);
        whole.flow = static_cast<std::uint16_t>(whole.flow + summary.flow);
        whole.maxLink = std::max(whole.maxLink, summary.maxLink);
        whole.maxEdge = std::max(whole.maxEdge, summary.maxEdge);
    });
    flow_ = whole.flow;
    // With full flow over all edges of a node, its terminal residual must still be a capacity.
    fitsHeadStart_ = whole.maxLink + 4 * whole.maxEdge <= std::numeric_limits<Capacity>::max();
    RemoveOuterEdges();
}

void Solver::SetRun(const Capacities& capacities, NodeIndex node, std::size_t pixel, std::uint32_t count,
                    FillSummary& summary) {
    const std::array arrays{capacities.right.data(), capacities.down.data(), capacities.up.data(),
                            capacities.left.data()};
    for (std::size_t k = 0; k < kDirections; ++k) {
        std::copy_n(arrays[k] + pixel, count, nodes_.residual[k] + node);
        for (std::uint32_t i = 0; i < count; ++i) summary.maxEdge = std::max(summary.maxEdge, arrays[k][pixel + i]);
    }
    for (std::uint32_t i = 0; i < count; ++i, ++node, ++pixel) {
        const Capacity source = capacities.source[pixel], sink = capacities.sink[pixel];
        const Capacity less = std::min(source, sink), more = std::max(source, sink);
        summary.flow = static_cast<std::uint16_t>(summary.flow + less);  // directly from source to sink
        summary.maxLink = std::max(summary.maxLink, more);
        nodes_.terminalResidual[node] = static_cast<Capacity>(more - less);
        Plant(node, source > sink ? kSourceTree : kSinkTree);
    }
}

// Makes a node the root of a tree, or free if it has no terminal residual.
void Solver::Plant(NodeIndex node, Label tree) const {
    const bool isRoot = nodes_.terminalResidual[node] != 0;
    nodes_.parentDirection[node] = isRoot ? kTerminal : kNoParent;
    Flags flags = isRoot ? tree : kFree;
    for (std::size_t k = 0; k < kDirections; ++k) {
        flags |= nodes_.residual[k][node] != 0 ? EdgeBit(static_cast<Direction>(k)) : 0;
    }
    nodes_.flags[node] = flags;
}

// Clearing the bits is not enough: opening a boundary between regions sets them again wherever there is a residual.
void Solver::RemoveOuterEdges() {
    const auto remove = [&](std::uint32_t x, std::uint32_t y, Direction direction) {
        const NodeIndex node = nodes_.layout.GetIndex(x, y);
        nodes_.residual[direction][node] = 0;
        nodes_.CloseEdge(node, direction);
    };
    for (std::uint32_t x = 1; x <= size_.width; ++x) {
        remove(x, 1, kUp);
        remove(x, size_.height, kDown);
    }
    for (std::uint32_t y = 1; y <= size_.height; ++y) {
        remove(1, y, kLeft);
        remove(size_.width, y, kRight);
    }
}

void Solver::ReadRow(std::uint32_t y, std::uint8_t foreground, std::uint8_t background, std::uint8_t* mask) const {
    ForEachRun(y, [&](NodeIndex node, std::uint32_t x, std::uint32_t count) {
        for (std::uint32_t i = 0; i < count; ++i)
            mask[x + i] = LabelOf(nodes_.flags[node + i]) == kSinkTree ? background : foreground;
    });
}

// ---- computing

void Solver::Compute() {
    const auto pixels = size_.GetPixelCount();
    const bool mayGetHeadStart =
        fitsHeadStart_ && pixels > headStart_.minPixels && std::min(size_.width, size_.height) > 3;
    const auto budget = mayGetHeadStart
                            ? static_cast<std::int64_t>(headStart_.workPerPixel * static_cast<double>(pixels))
                            : WorkBudget::kUnlimited;
    Core::RefCounted<ProgressShare> progress(progress_, GetStepCount());
    if (budget > 0 && Search(budget, progress) == Result::Complete) return;
    if (progress_.IsCancelled()) return;
    ComputeFromCoarserGrid(GetStepCount() - progress.GetPassed());
}

// Flow pushed by the abandoned search is kept: the coarser grid is built from the residual capacities.
void Solver::ComputeFromCoarserGrid(std::uint64_t steps) {
    Core::RefCounted<ProgressShare> coarse(progress_, steps / 2), fine(progress_, steps - steps / 2);
    const Flow coarseFlow = FindCoarseFlow(coarse);
    if (progress_.IsCancelled()) return;
    flow_ =
        static_cast<std::uint16_t>(flow_ + PushCoarseFlow(nodes_, size_, coarseFlow, CoarseWork{workers_, progress_}));
    ReplantTrees();
    fine.SetTotal(GetStepCount());
    Search(WorkBudget::kUnlimited, fine);
}

// Reduces all trees to their roots, for a search that starts over.
void Solver::ReplantTrees() {
    ShareOut(workers_, nodes_.layout.GetPaddedHeight() / GridLayout::kTileSide, [&](std::uint32_t tileRow) {
        const NodeIndex count = GridLayout::kTileSide * nodes_.layout.GetPaddedWidth(), first = tileRow * count;
        for (NodeIndex i = 0; i < count; ++i) Plant(first + i, LabelOf(nodes_.flags[first + i]));
        std::fill_n(nodes_.stamp + first, count, 0);
    });
}

// The coarser grid immediately gets its own head start from the next coarser one.
Flow Solver::FindCoarseFlow(Core::IProgressController& progress) const {
    const PictureSize size = size_.Halved();
    const HeadStart atOnce{
        .minPixels = headStart_.coarsestPixels, .coarsestPixels = headStart_.coarsestPixels, .workPerPixel = 0};
    std::optional<Capacities> capacities = Coarsen(nodes_, size_, CoarseWork{workers_, progress});
    if (progress.IsCancelled()) return {};
    Solver solver(size.width, size.height, workers_, regions_.blockSize, progress, atOnce);
    solver.SetCapacities(*capacities);
    Flow flow{std::move(capacities->right), std::move(capacities->down)};
    capacities.reset();
    solver.Compute();
    for (std::uint32_t y = 0; y < size.height; ++y) {
        solver.ForEachRun(y, [&](NodeIndex node, std::uint32_t x, std::uint32_t count) {
            const std::size_t first = std::size_t{y} * size.width + x;
            const auto subtract = [&](Direction direction, std::vector<Capacity>& from) {
                const Capacity* const residual = solver.nodes_.residual[direction] + node;
                for (std::uint32_t i = 0; i < count; ++i)
                    from[first + i] = static_cast<Capacity>(from[first + i] - residual[i]);
            };
            subtract(kRight, flow.right);
            subtract(kDown, flow.down);
        });
    }
    return flow;
}

// Finds the maximum flow, unless it takes more than `units` of work or is cancelled.
Solver::Result Solver::Search(std::int64_t units, Core::IProgressController& progress) {
    RegionPlan plan(nodes_.layout, regions_, boundaryNodes_);
    for (const Boundary& boundary : plan.GetBoundaries()) CloseBoundary(boundary);
    std::atomic<std::uint16_t> flow{flow_};
    WorkBudget budget(units);
    Core::RunOnThreads(std::min<std::size_t>(workers_, plan.GetRegionCount()), [&] {
        TreeSearch search(nodes_, budget, progress);
        SearchRegions(plan, search, budget, progress);
        flow.fetch_add(search.GetFlow(), std::memory_order_relaxed);
    });
    flow_ = flow;
    return budget.IsSpent() ? Result::Stopped : Result::Complete;
}

// A worker that finds nothing to merge exits; the worker that releases the last region retries.
void Solver::SearchRegions(RegionPlan& plan, TreeSearch& search, const WorkBudget& budget,
                           Core::IProgressController& progress) const {
    while (const auto region = plan.TakeRegion()) {
        ActivateRegion(plan.GetRegion(*region), search);
        plan.Release(*region, search.Run(plan.GetTime(*region)));
        if (budget.IsSpent()) return;
        progress.Step(1);
        if (progress.IsCancelled()) return;
    }
    while (const auto merge = plan.TakeMerge(progress)) {
        progress.Step(merge->boundaries.size());
        for (const Boundary& boundary : merge->boundaries) OpenBoundary(boundary, search);
        plan.Release(merge->region, search.Run(plan.GetTime(merge->region)));
        if (budget.IsSpent()) return;
    }
}

// Queues the nodes of a region from which a tree can grow, or flow can pass to the other tree.
void Solver::ActivateRegion(const Region& region, TreeSearch& search) const {
    const auto canGrow = [&](NodeIndex node, Flags flags, auto direction) {
        const Flags neighbour = nodes_.GetFlags(nodes_.layout.GetNeighbour<direction>(node));
        return LabelOf(flags) == kSourceTree
                   ? HasResidual(flags, direction) && LabelOf(neighbour) != kSourceTree
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
