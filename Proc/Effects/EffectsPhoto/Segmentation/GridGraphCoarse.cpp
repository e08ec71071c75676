#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphCoarse.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>

#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphWorkers.h"

namespace Orvexa::Proc::GridGraph {

namespace {

// With full flow on all four edges, a pixel's links still fit into 16 bits: 32767 + 4 x 8191 = 65531.
constexpr int kMaxCoarseEdge = 8191, kMaxCoarseLink = 32767;

// Rows of blocks that a worker takes at a time.
constexpr std::uint32_t kBandRows = 16;

template <class Visit>
void ForEachRow(const CoarseWork& work, std::uint32_t rows, Visit&& visit) {
    ShareOut(work.workers, (rows + kBandRows - 1) / kBandRows, [&](std::uint32_t band) {
        for (std::uint32_t y = band * kBandRows; y < std::min(rows, (band + 1) * kBandRows); ++y) {
            if (work.progress.IsCancelled()) return;
            visit(y);
        }
    });
}

// The nodes of a block of 2 x 2 pixels. If the picture ends in the middle of a block, nodes of the ring complete it;
// they have no links and no edges.
struct Block {
    Block(const GridLayout& layout, std::uint32_t x, std::uint32_t y)
        : a(layout.GetIndex(2 * x + 1, 2 * y + 1)),
          b(layout.GetNeighbour<kRight>(a)),
          c(layout.GetNeighbour<kDown>(a)),
          d(layout.GetNeighbour<kDown>(b)) {}

    NodeIndex a, b;  // the upper two
    NodeIndex c, d;  // the lower two
};

// The capacity of a node's source link, or minus that of its sink link.
int SignedTerminal(const NodeArrays& nodes, NodeIndex node) {
    const int residual = nodes.terminalResidual[node];
    return LabelOf(nodes.GetFlags(node)) == kSinkTree ? -residual : residual;
}

// ---- making a grid coarser

// How much flow the edge in direction D from a node can pass on, given the edges before and after it in the same line.
// A coarse edge with the full capacities would promise flow that the fine grid cannot carry.
template <Direction D>
int Throughput(const NodeArrays& nodes, NodeIndex node) {
    const Capacity* const residual = nodes.residual[D];
    const NodeIndex before = nodes.layout.GetNeighbour<Opposite(D)>(node), after = nodes.layout.GetNeighbour<D>(node);
    return std::min(residual[node], std::max(residual[before], residual[after]));
}

Capacity CoarseEdge(int throughput) { return static_cast<Capacity>(std::min(throughput, kMaxCoarseEdge)); }

void CoarsenRow(const NodeArrays& nodes, const PictureSize& size, std::uint32_t y, Capacities& coarse) {
    for (std::uint32_t x = 0; x < size.width; ++x) {
        const Block block(nodes.layout, x, y);
        const std::size_t p = std::size_t{y} * size.width + x;
        const int terminal = SignedTerminal(nodes, block.a) + SignedTerminal(nodes, block.b) +
                             SignedTerminal(nodes, block.c) + SignedTerminal(nodes, block.d);
        coarse.source[p] = static_cast<Capacity>(std::clamp(terminal, 0, kMaxCoarseLink));
        coarse.sink[p] = static_cast<Capacity>(std::clamp(-terminal, 0, kMaxCoarseLink));
        if (x + 1 < size.width) {
            const NodeIndex rightOfB = nodes.layout.GetNeighbour<kRight>(block.b),
                            rightOfD = nodes.layout.GetNeighbour<kRight>(block.d);
            coarse.right[p] = CoarseEdge(Throughput<kRight>(nodes, block.b) + Throughput<kRight>(nodes, block.d));
            coarse.left[p + 1] = CoarseEdge(Throughput<kLeft>(nodes, rightOfB) + Throughput<kLeft>(nodes, rightOfD));
        }
        if (y + 1 < size.height) {
            const NodeIndex belowC = nodes.layout.GetNeighbour<kDown>(block.c),
                            belowD = nodes.layout.GetNeighbour<kDown>(block.d);
            coarse.down[p] = CoarseEdge(Throughput<kDown>(nodes, block.c) + Throughput<kDown>(nodes, block.d));
            coarse.up[p + size.width] = CoarseEdge(Throughput<kUp>(nodes, belowC) + Throughput<kUp>(nodes, belowD));
        }
    }
}

// ---- pushing coarse flow

class Pusher {
public:
    explicit Pusher(const NodeArrays& nodes) : nodes_(nodes) {}

    // Divides flow between the edges in direction D from two nodes in proportion to their capacities, as far as these
    // allow.
    template <Direction D>
    void Divide(std::int16_t flow, NodeIndex first, NodeIndex second) {
        if (flow == 0) return;
        if (flow < 0) {
            const NodeIndex beyondFirst = nodes_.layout.GetNeighbour<D>(first),
                            beyondSecond = nodes_.layout.GetNeighbour<D>(second);
            return Divide<Opposite(D)>(static_cast<std::int16_t>(-flow), beyondFirst, beyondSecond);
        }
        const int firstMost = nodes_.residual[D][first], secondMost = nodes_.residual[D][second],
                  sum = firstMost + secondMost;
        const int amount = std::min<int>(flow, sum);
        if (amount == 0) return;
        const int share = (amount * firstMost + sum / 2) / sum;  // at most firstMost; no overflow: 8191 x 65535
        const int toSecond = std::min(amount - share, secondMost);
        Push<D>(first, amount - toSecond);
        Push<D>(second, toSecond);
    }

    // Cancels the imbalances within a block by flow around its cycle. The imbalance of the block as a whole stays with
    // the node that has most of it.
    void Balance(const Block& block) {
        std::array excess{SignedTerminal(nodes_, block.a), SignedTerminal(nodes_, block.b),
                          SignedTerminal(nodes_, block.d), SignedTerminal(nodes_, block.c)};
        if ((excess[0] | excess[1] | excess[2] | excess[3]) == 0) return;
        const int sum = excess[0] + excess[1] + excess[2] + excess[3];
        if (sum > 0) *std::max_element(excess.begin(), excess.end()) -= sum;
        if (sum < 0) *std::min_element(excess.begin(), excess.end()) -= sum;

        // With flow x from a to b, the flows from b to d, d to c and c to a must be x plus these.
        const int bd = excess[1], dc = bd + excess[2], ca = dc + excess[3];
        const int aToB = Residual<kRight>(block.a), bToA = Residual<kLeft>(block.b);
        const int bToD = Residual<kDown>(block.b), dToB = Residual<kUp>(block.d);
        const int dToC = Residual<kLeft>(block.d), cToD = Residual<kRight>(block.c);
        const int cToA = Residual<kUp>(block.c), aToC = Residual<kDown>(block.a);
        const int least = std::max({-bToA, -dToB - bd, -cToD - dc, -aToC - ca});
        const int most = std::min({aToB, bToD - bd, dToC - dc, cToA - ca});
        std::array choices{0, -bd, -dc, -ca};  // each leaves one edge without flow; their median minimises the total
        std::sort(choices.begin(), choices.end());
        const int x = least <= most ? std::clamp((choices[1] + choices[2]) / 2, least, most)
                                    : std::clamp((least + most) / 2, -bToA, aToB);
        Push<kRight>(block.a, x);
        Push<kDown>(block.b, std::clamp(x + bd, -dToB, bToD));
        Push<kLeft>(block.d, std::clamp(x + dc, -cToD, dToC));
        Push<kUp>(block.c, std::clamp(x + ca, -aToC, cToA));
    }

    // The amount by which the remaining flow has decreased, modulo 2^16.
    std::uint16_t GetSum() const { return static_cast<std::uint16_t>(sum_); }

private:
    template <Direction D>
    int Residual(NodeIndex node) const {
        return nodes_.residual[D][node];
    }

    // Pushes flow along the edge in direction D from a node; backwards if negative.
    template <Direction D>
    void Push(NodeIndex from, int flow) {
        if (flow == 0) return;
        const NodeIndex to = nodes_.layout.GetNeighbour<D>(from);
        Capacity &forward = nodes_.residual[D][from], &backward = nodes_.residual[Opposite(D)][to];
        forward = static_cast<Capacity>(forward - flow);
        backward = static_cast<Capacity>(backward + flow);
        AddToTerminal(from, -flow);
        AddToTerminal(to, flow);
    }

    // All cuts change by the same amount, and the cut with all nodes on the sink's side costs the sum of the source
    // links.
    void AddToTerminal(NodeIndex node, int amount) {
        const int before = SignedTerminal(nodes_, node), after = before + amount;
        nodes_.terminalResidual[node] = static_cast<Capacity>(std::abs(after));
        nodes_.SetFlags(node, WithLabel(nodes_.GetFlags(node), after < 0 ? kSinkTree : kSourceTree));
        sum_ += static_cast<std::uint32_t>(std::max(before, 0) - std::max(after, 0));
    }

    const NodeArrays nodes_;
    std::uint32_t sum_ = 0;
};

}  // namespace

Capacities Coarsen(const NodeArrays& nodes, const PictureSize& size, const CoarseWork& work) {
    const PictureSize coarseSize = size.Halved();
    Capacities coarse(coarseSize.GetPixelCount());
    ForEachRow(work, coarseSize.height, [&](std::uint32_t y) { CoarsenRow(nodes, coarseSize, y, coarse); });
    return coarse;
}

// Two rows of blocks share only the edges between them, which therefore get a pass of their own: in each pass, no two
// rows access the same nodes.
std::uint16_t PushCoarseFlow(const NodeArrays& nodes, const PictureSize& size, const Flow& flow,
                             const CoarseWork& work) {
    const PictureSize blocks = size.Halved();
    std::atomic<std::uint16_t> sum{0};
    const auto forEachRow = [&](std::uint32_t rows, auto&& visit) {
        ForEachRow(work, rows, [&](std::uint32_t y) {
            Pusher pusher(nodes);
            for (std::uint32_t x = 0; x < blocks.width; ++x) visit(pusher, x, y, std::size_t{y} * blocks.width + x);
            sum.fetch_add(pusher.GetSum(), std::memory_order_relaxed);
        });
    };
    forEachRow(blocks.height - 1, [&](Pusher& pusher, std::uint32_t x, std::uint32_t y, std::size_t p) {
        if (flow.down[p] == 0) return;
        const Block block(nodes.layout, x, y);
        pusher.Divide<kDown>(static_cast<std::int16_t>(flow.down[p]), block.c, block.d);
    });
    forEachRow(blocks.height, [&](Pusher& pusher, std::uint32_t x, std::uint32_t y, std::size_t p) {
        const Block block(nodes.layout, x, y);
        // The flow from the left has already been pushed, as has that from above and below.
        pusher.Divide<kRight>(static_cast<std::int16_t>(flow.right[p]), block.b, block.d);
        pusher.Balance(block);
    });
    return sum;
}

}  // namespace Orvexa::Proc::GridGraph
