#include "Proc/Effects/EffectsPhoto/Detail/GridGraph.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <exception>
#include <limits>
#include <mutex>
#include <system_error>
#include <thread>

#include "Host/Core/Exception.h"

namespace Orvexa::Proc::GridGraph {

namespace {

// Flags, parent direction, five residuals, stamp and four list links.
constexpr std::size_t kNodeArrays = 12;
constexpr std::size_t kBytesPerNode = 2 * sizeof(std::uint8_t) + 5 * sizeof(Capacity) + 5 * sizeof(std::uint32_t);

NodeArrays TakeNodes(ZeroedBlock& block, const GridLayout& layout) {
    const std::size_t count = layout.GetNodeCount();
    NodeArrays nodes{.layout = layout};
    nodes.flags = block.Take<Flags>(count);
    nodes.parentDirection = block.Take<Direction>(count);
    std::fill_n(nodes.parentDirection, count, kNoParent);
    for (Capacity*& residual : nodes.residual) residual = block.Take<Capacity>(count);
    nodes.terminalResidual = block.Take<Capacity>(count);
    nodes.stamp = block.Take<std::uint32_t>(count);
    nodes.nextActive = block.Take<NodeIndex>(count);
    nodes.nextOrphan = block.Take<NodeIndex>(count);
    nodes.nextLateOrphan = block.Take<NodeIndex>(count);
    nodes.nextFreed = block.Take<NodeIndex>(count);
    return nodes;
}

void CheckArguments(std::uint32_t width, std::uint32_t height, std::uint32_t threads, std::uint32_t blockSize) {
    if (width == 0 || height == 0 || threads == 0 || blockSize == 0) {
        Throw("A grid graph needs at least one pixel, one thread and regions of at least one node");
    }
    constexpr std::size_t kMaxNodes = std::numeric_limits<NodeIndex>::max();
    // In 64 bits a padded side cannot overflow.
    const std::size_t nodes = (std::size_t{width} + GridLayout::kTileSide) * (std::size_t{height} + GridLayout::kTileSide);
    if (width > kMaxNodes / 2 || height > kMaxNodes / 2 || nodes > kMaxNodes) {
        Throw("The picture of " + std::to_string(width) + " x " + std::to_string(height) +
              " pixels is too large for a grid graph of 2^32 nodes");
    }
}

bool Overflows(Capacity capacity, Capacity opposite) { return capacity + opposite > std::numeric_limits<Capacity>::max(); }

void CheckCapacities(const Capacities& capacities, std::uint32_t width, std::uint32_t height) {
    const std::size_t pixels = std::size_t{width} * height;
    for (const auto* array :
         {&capacities.source, &capacities.sink, &capacities.left, &capacities.right, &capacities.up, &capacities.down}) {
        if (array->size() != pixels) {
            Throw("Capacities of " + std::to_string(array->size()) + " pixels were given for a graph of " + std::to_string(pixels));
        }
    }
    bool overflows = false;
    for (std::size_t y = 0; y < height; ++y) {
        const std::size_t row = y * width;
        for (std::size_t p = row; p + 1 < row + width; ++p) overflows |= Overflows(capacities.right[p], capacities.left[p + 1]);
        if (y + 1 == height) break;
        for (std::size_t p = row; p < row + width; ++p) overflows |= Overflows(capacities.down[p], capacities.up[p + width]);
    }
    if (overflows) Throw("The capacities of two opposite edges must not add up to more than 65535");
}

// Runs `work(worker)` on a thread for each worker and waits for them all. Fewer threads than asked for take longer, that is all; the
// first exception of a worker is thrown on.
template <class Worker, class Work>
void RunOnThreads(std::span<Worker> workers, Work&& work) {
    std::exception_ptr failure;
    std::once_flag hasFailed;
    {
        std::vector<std::jthread> threads;
        threads.reserve(workers.size());
        for (Worker& worker : workers) {
            try {
                threads.emplace_back([&] {
                    try {
                        work(worker);
                    } catch (...) {
                        std::call_once(hasFailed, [&] { failure = std::current_exception(); });
                    }
                });
            } catch (const std::system_error&) {
                if (threads.empty()) throw;
                break;
            }
        }
    }
    if (failure != nullptr) std::rethrow_exception(failure);
}

template <class Visit>
void ForEachEdge(const GridLayout& layout, const Boundary& boundary, Visit&& visit) {
    for (const NodeIndex a : boundary.nodes) {
        visit(a, boundary.direction == kRight ? layout.GetNeighbour<kRight>(a) : layout.GetNeighbour<kDown>(a));
    }
}

}  // namespace

std::size_t Solver::GetAllocationSize(std::uint32_t width, std::uint32_t height, std::uint32_t threads, std::uint32_t blockSize) {
    CheckArguments(width, height, threads, blockSize);
    const GridLayout layout(width, height);
    return layout.GetNodeCount() * kBytesPerNode + RegionGrid(layout, blockSize).GetBoundaryNodeBound() * sizeof(NodeIndex) +
           threads * sizeof(WorkerState) + kNodeArrays * ZeroedBlock::kAlignment;
}

Solver::Solver(std::uint32_t width, std::uint32_t height, std::uint32_t threads, std::uint32_t blockSize,
               Core::IProgressController& progress)
    : width_(width),
      height_(height),
      progress_(progress),
      block_(GetAllocationSize(width, height, threads, blockSize)),
      nodes_(TakeNodes(block_, GridLayout(width, height))),
      workers_(block_.Take<WorkerState>(threads), threads),
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

// The workers share the rows: most of the time goes into the first touch of the memory. Rows of one tile go to one worker.
void Solver::SetCapacities(const Capacities& capacities) {
    CheckCapacities(capacities, width_, height_);
    std::atomic<std::uint32_t> nextTileRow{0};
    std::atomic<std::uint16_t> flow{flow_};
    RunOnThreads(workers_, [&](WorkerState&) {
        constexpr std::uint32_t kSide = GridLayout::kTileSide;
        for (std::uint32_t tileRow; (tileRow = nextTileRow.fetch_add(1, std::memory_order_relaxed)) <= height_ / kSide;) {
            const std::uint32_t top = tileRow * kSide;  // of the padded grid, whose first row is above the picture
            std::uint16_t rowFlow = 0;
            for (std::uint32_t y = top == 0 ? 0 : top - 1; y < std::min(height_, top + kSide - 1); ++y) {
                ForEachRun(y, [&](NodeIndex node, std::uint32_t x, std::uint32_t count) {
                    rowFlow = static_cast<std::uint16_t>(rowFlow + SetRun(capacities, node, std::size_t{y} * width_ + x, count));
                });
            }
            flow.fetch_add(rowFlow, std::memory_order_relaxed);
        }
    });
    flow_ = flow;
    CloseOuterEdges();
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

void Solver::CloseOuterEdges() {
    for (std::uint32_t x = 1; x <= width_; ++x) {
        nodes_.CloseEdge(nodes_.layout.GetIndex(x, 1), kUp);
        nodes_.CloseEdge(nodes_.layout.GetIndex(x, height_), kDown);
    }
    for (std::uint32_t y = 1; y <= height_; ++y) {
        nodes_.CloseEdge(nodes_.layout.GetIndex(1, y), kLeft);
        nodes_.CloseEdge(nodes_.layout.GetIndex(width_, y), kRight);
    }
}

void Solver::ReadRow(std::uint32_t y, std::uint8_t foreground, std::uint8_t background, std::uint8_t* mask) const {
    ForEachRun(y, [&](NodeIndex node, std::uint32_t x, std::uint32_t count) {
        for (std::uint32_t i = 0; i < count; ++i) mask[x + i] = LabelOf(nodes_.flags[node + i]) == kSinkTree ? background : foreground;
    });
}

// ---- computing

void Solver::Compute() {
    for (const Boundary& boundary : plan_.GetBoundaries()) CloseBoundary(boundary);
    RunOnThreads(workers_, [&](WorkerState& state) { Work(state); });
    for (const WorkerState& state : workers_) flow_ = static_cast<std::uint16_t>(flow_ + state.flow);
}

// A worker that finds nothing to merge leaves: whoever solves the last region that others wait for will look for merges after it.
void Solver::Work(WorkerState& state) {
    TreeSearch search(nodes_, state, progress_);
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
