#include "Proc/Effects/EffectsPhoto/Detail/GridGraphHeadStart.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <limits>
#include <utility>

#include "Proc/Effects/EffectsPhoto/Detail/GridGraph.h"
#include "Proc/Effects/EffectsPhoto/Detail/GridGraphWorkers.h"

namespace Orvexa::Proc::GridGraph {

namespace {

// Bounds of coarse capacities: with flow on all four edges, a pixel's links still fit into 16 bits.
constexpr int kMaxCoarseEdge = 8191, kMaxCoarseLink = 32767;

// The grid on which the work is estimated has this share of the pixels.
constexpr std::size_t kEstimateReduction = 64;

constexpr std::uint32_t kBandRows = 16;  // of the coarse grid, which a worker takes at a time

struct Size {
    explicit Size(std::uint32_t w, std::uint32_t h) : width(w), height(h) {}
    Size Halved() const { return Size((width + 1) / 2, (height + 1) / 2); }
    std::size_t GetPixelCount() const { return std::size_t{width} * height; }

    std::uint32_t width, height;
};

// Net flow over the edges to the right and down; negative to the left and up.
struct Flow {
    explicit Flow(std::size_t pixels) : right(pixels), down(pixels) {}
    std::vector<std::int16_t> right, down;
};

template <class Visit>
void ForEachCoarseRow(const HeadStart& settings, const Core::IProgressController& progress, std::uint32_t rows, Visit&& visit) {
    ShareOut(settings.workers, (rows + kBandRows - 1) / kBandRows, [&](std::uint32_t band) {
        for (std::uint32_t y = band * kBandRows; y < std::min(rows, (band + 1) * kBandRows); ++y) {
            if (progress.IsCancelled()) return;
            visit(y);
        }
    });
}

// Whether flow over all edges of a pixel, and its links, could be more than 16 bits hold.
bool CouldOverflow(const HeadStart& settings, const Capacities& capacities, const Size& size) {
    std::atomic<bool> couldOverflow{false};
    constexpr std::uint32_t kRows = 64;
    ShareOut(settings.workers, (size.height + kRows - 1) / kRows, [&](std::uint32_t band) {
        const std::size_t begin = std::size_t{band} * kRows * size.width;
        const std::size_t end = std::min(begin + std::size_t{kRows} * size.width, size.GetPixelCount());
        const auto max = [&](const std::vector<Capacity>& array) {
            Capacity most = 0;
            for (std::size_t p = begin; p < end; ++p) most = std::max(most, array[p]);
            return std::uint32_t{most};
        };
        const std::uint32_t link = std::max(max(capacities.source), max(capacities.sink));
        const std::uint32_t edge =
            std::max({max(capacities.left), max(capacities.right), max(capacities.up), max(capacities.down)});
        if (link + 4 * edge > std::numeric_limits<Capacity>::max()) couldOverflow = true;
    });
    return couldOverflow;
}

// ---- making a grid coarser

// What flow through an edge can hope for, given the edges before and after it in the same line. Without those, the coarse flow would
// hurry towards narrow places that the fine grid does not let it pass.
int Throughput(int before, int edge, int after) { return std::min(edge, std::max(before, after)); }

// The throughput of the edges from the fine pixels `p` in the direction of `stride`; `hasNext` if there is an edge after them.
struct EdgePair {
    int forth = 0, back = 0;

    void Add(const std::vector<Capacity>& forward, const std::vector<Capacity>& backward, std::size_t p, std::size_t stride, bool hasNext) {
        const std::size_t next = hasNext ? p + stride : p;
        forth += Throughput(forward[p - stride], forward[p], forward[next]);
        back += Throughput(backward[p], backward[p + stride], backward[next + stride]);
    }
    Capacity GetForth() const { return static_cast<Capacity>(std::min(forth, kMaxCoarseEdge)); }
    Capacity GetBack() const { return static_cast<Capacity>(std::min(back, kMaxCoarseEdge)); }
};

void CoarsenRow(const Capacities& fine, const Size& size, std::uint32_t y, const Size& coarseSize, Capacities& coarse) {
    const std::size_t width = size.width;
    const std::uint32_t rows = std::min(2u, size.height - 2 * y);
    const bool hasBelow = y + 1 < coarseSize.height, hasRowAfter = 2 * y + 3 < size.height;
    for (std::uint32_t x = 0; x < coarseSize.width; ++x) {
        const std::size_t first = std::size_t{2 * y} * width + 2 * x, place = std::size_t{y} * coarseSize.width + x;
        const std::uint32_t columns = std::min(2u, size.width - 2 * x);
        int source = 0, sink = 0;
        for (std::uint32_t j = 0; j < rows; ++j) {
            for (std::uint32_t i = 0; i < columns; ++i) {
                source += fine.source[first + j * width + i];
                sink += fine.sink[first + j * width + i];
            }
        }
        const int both = std::min(source, sink);
        coarse.source[place] = static_cast<Capacity>(std::min(source - both, kMaxCoarseLink));
        coarse.sink[place] = static_cast<Capacity>(std::min(sink - both, kMaxCoarseLink));
        if (x + 1 < coarseSize.width) {
            EdgePair pair;
            for (std::uint32_t j = 0; j < rows; ++j) {
                pair.Add(fine.right, fine.left, first + j * width + 1, 1, 2 * x + 3 < size.width);
            }
            coarse.right[place] = pair.GetForth();
            coarse.left[place + 1] = pair.GetBack();
        }
        if (hasBelow) {
            EdgePair pair;
            for (std::uint32_t i = 0; i < columns; ++i) pair.Add(fine.down, fine.up, first + width + i, width, hasRowAfter);
            coarse.down[place] = pair.GetForth();
            coarse.up[place + coarseSize.width] = pair.GetBack();
        }
    }
}

// ---- spreading coarse flow over a fine grid

// Two numbers of which both or the first only are there.
using Pair = std::array<int, 2>;

// Divides coarse flow between two parallel edges in proportion to their capacities, as far as these go.
Pair Divide(int flow, const Pair& forward, const Pair& backward) {
    const Pair& limit = flow > 0 ? forward : backward;
    const int sum = limit[0] + limit[1], amount = std::min(std::abs(flow), sum);
    if (amount == 0) return {0, 0};
    int first = std::min(limit[0], (amount * limit[0] + sum / 2) / sum);
    const int second = std::min(limit[1], amount - first);
    first = std::min(limit[0], amount - second);
    return flow > 0 ? Pair{first, second} : Pair{-first, -second};
}

// Pushes flow along single edges of the fine grid. What a pixel gets that way becomes capacity from the source, what it gives away
// capacity to the sink.
class Pusher {
public:
    Pusher(Capacities& fine, std::size_t width) : fine_(fine), width_(width) {}

    void PushRight(std::size_t p, int flow) { Push(fine_.right, fine_.left, p, p + 1, flow); }
    void PushDown(std::size_t p, int flow) { Push(fine_.down, fine_.up, p, p + width_, flow); }

    // Coarse flow to the right from the pixels p and, if there is a second, below p.
    void SpreadRight(std::size_t p, bool hasSecond, int flow) {
        const std::size_t q = p + width_;
        const Pair parts = Divide(flow, {fine_.right[p], hasSecond ? fine_.right[q] : 0},
                                  {fine_.left[p + 1], hasSecond ? fine_.left[q + 1] : 0});
        PushRight(p, parts[0]);
        if (hasSecond) PushRight(q, parts[1]);
    }

    // Coarse flow down from the pixels p and, if there is a second, p + 1.
    void SpreadDown(std::size_t p, bool hasSecond, int flow) {
        const std::size_t q = p + 1;
        const Pair parts = Divide(flow, {fine_.down[p], hasSecond ? fine_.down[q] : 0},
                                  {fine_.up[p + width_], hasSecond ? fine_.up[q + width_] : 0});
        PushDown(p, parts[0]);
        if (hasSecond) PushDown(q, parts[1]);
    }

    // Evens out a block of 2 x 2 pixels, of which `a` is the first, by flow around its cycle. What the block as a whole has too much or
    // too little stays with the pixel that has most of it.
    void Balance(std::size_t a) {
        const std::size_t b = a + 1, c = a + width_, d = c + 1;
        std::array excess{Excess(a), Excess(b), Excess(d), Excess(c)};
        const int sum = excess[0] + excess[1] + excess[2] + excess[3];
        if ((excess[0] | excess[1] | excess[2] | excess[3]) == 0) return;
        if (sum > 0) *std::max_element(excess.begin(), excess.end()) -= sum;
        if (sum < 0) *std::min_element(excess.begin(), excess.end()) -= sum;

        // With a flow of x from a to b, those from b to d, d to c and c to a are x plus these.
        const int bd = excess[1], dc = bd + excess[2], ca = dc + excess[3];
        const int least = std::max({-fine_.left[b], -fine_.up[d] - bd, -fine_.right[c] - dc, -fine_.down[a] - ca});
        const int most = std::min({int{fine_.right[a]}, fine_.down[b] - bd, fine_.left[d] - dc, fine_.up[c] - ca});
        // The median keeps the flows small.
        std::array choices{0, -bd, -dc, -ca};
        std::sort(choices.begin(), choices.end());
        const int median = (choices[1] + choices[2]) / 2;
        const int ab = least <= most ? std::clamp(median, least, most)
                                     : std::clamp((least + most) / 2, -int{fine_.left[b]}, int{fine_.right[a]});
        PushRight(a, ab);
        PushDown(b, std::clamp(ab + bd, -int{fine_.up[d]}, int{fine_.down[b]}));
        PushRight(c, -std::clamp(ab + dc, -int{fine_.right[c]}, int{fine_.left[d]}));
        PushDown(a, -std::clamp(ab + ca, -int{fine_.down[a]}, int{fine_.up[c]}));
    }

    // The flow pushed, modulo 2^16: by so much the minimum cut has become dearer.
    std::uint16_t GetSum() const { return sum_; }

private:
    int Excess(std::size_t p) const { return fine_.source[p] - fine_.sink[p]; }

    void Push(std::vector<Capacity>& forward, std::vector<Capacity>& backward, std::size_t p, std::size_t q, int flow) {
        const auto amount = static_cast<Capacity>(std::abs(flow));
        forward[p] = static_cast<Capacity>(forward[p] - flow);
        backward[q] = static_cast<Capacity>(backward[q] + flow);
        std::size_t from = p, to = q;
        if (flow < 0) std::swap(from, to);
        fine_.sink[from] = static_cast<Capacity>(fine_.sink[from] + amount);
        fine_.source[to] = static_cast<Capacity>(fine_.source[to] + amount);
        sum_ = static_cast<std::uint16_t>(sum_ + amount);
    }

    Capacities& fine_;
    const std::size_t width_;
    std::uint16_t sum_ = 0;
};

// Returns the flow that is still to be found less, modulo 2^16. Rows of blocks touch each other by the edges between them only, which therefore get a pass
// of their own.
std::uint16_t Spread(const HeadStart& settings, const Core::IProgressController& progress, const Flow& flow, const Size& size,
                     Capacities& fine) {
    const Size blocks = size.Halved();
    std::atomic<std::uint16_t> sum{0};
    ForEachCoarseRow(settings, progress, blocks.height - 1, [&](std::uint32_t y) {
        Pusher pusher(fine, size.width);
        const std::int16_t* const row = flow.down.data() + std::size_t{y} * blocks.width;
        for (std::uint32_t x = 0; x < blocks.width; ++x) {
            if (row[x] != 0) pusher.SpreadDown(std::size_t{2 * y + 1} * size.width + 2 * x, 2 * x + 1 < size.width, row[x]);
        }
        sum.fetch_add(pusher.GetSum(), std::memory_order_relaxed);
    });
    ForEachCoarseRow(settings, progress, blocks.height, [&](std::uint32_t y) {
        Pusher pusher(fine, size.width);
        const std::int16_t* const row = flow.right.data() + std::size_t{y} * blocks.width;
        const std::size_t first = std::size_t{2 * y} * size.width;
        const bool hasSecond = 2 * y + 1 < size.height;
        for (std::uint32_t x = 0; x + 1 < blocks.width; ++x) {
            if (row[x] != 0) pusher.SpreadRight(first + 2 * x + 1, hasSecond, row[x]);
        }
        if (hasSecond) {
            for (std::uint32_t x = 0; 2 * x + 1 < size.width; ++x) pusher.Balance(first + 2 * x);
        }
        sum.fetch_add(pusher.GetSum(), std::memory_order_relaxed);
    });
    return static_cast<std::uint16_t>(-sum);
}

// ---- solving a coarse grid

// Solves a coarse grid with the flow of the next coarser one as its head start. Frees the capacities on the way.
Flow SolveLevel(const HeadStart& settings, Core::IProgressController& progress, const Size& size, Capacities capacities,
                const std::optional<Flow>& coarser) {
    Flow flow(size.GetPixelCount());
    const auto keep = [](const std::vector<Capacity>& from, std::vector<std::int16_t>& to) {
        std::transform(from.begin(), from.end(), to.begin(), [](Capacity capacity) { return static_cast<std::int16_t>(capacity); });
    };
    keep(capacities.right, flow.right);
    keep(capacities.down, flow.down);
    if (coarser) Spread(settings, progress, *coarser, size, capacities);

    Solver solver(size.width, size.height, settings.workers, settings.blockSize, progress);
    solver.SetCapacities(capacities);
    capacities = Capacities(0);
    solver.Compute();
    ForEachCoarseRow(settings, progress, size.height, [&](std::uint32_t y) {
        std::vector<Capacity> residual(size.width);
        const auto subtract = [&](Direction direction, std::vector<std::int16_t>& from, std::uint32_t count) {
            solver.ReadResidualRow(y, direction, residual.data());
            std::int16_t* const row = from.data() + std::size_t{y} * size.width;
            for (std::uint32_t x = 0; x < count; ++x) row[x] = static_cast<std::int16_t>(row[x] - residual[x]);
        };
        subtract(kRight, flow.right, size.width - 1);
        if (y + 1 < size.height) subtract(kDown, flow.down, size.width);
    });
    return flow;
}

}  // namespace

double gScore[4];

std::optional<std::uint16_t> HeadStart::Push(Capacities& capacities, std::uint32_t width, std::uint32_t height,
                                             ProgressController& progress) const {
    const Size size(width, height);
    if (size.GetPixelCount() < minPixels || CouldOverflow(*this, capacities, size)) return std::nullopt;

    std::vector<std::pair<Size, Capacities>> levels;
    for (Size fine = size; fine.GetPixelCount() > coarsestPixels && std::min(fine.width, fine.height) >= 4;) {
        const Size coarse = fine.Halved();
        Capacities made(coarse.GetPixelCount());
        const Capacities& from = levels.empty() ? capacities : levels.back().second;
        ForEachCoarseRow(*this, progress, coarse.height, [&](std::uint32_t y) { CoarsenRow(from, fine, y, coarse, made); });
        levels.emplace_back(coarse, std::move(made));
        fine = coarse;
    }
    if (levels.empty() || progress.IsCancelled()) return std::nullopt;

    std::optional<Flow> flow;
    while (!levels.empty()) {
        const Size levelSize = levels.back().first;
        Capacities level = std::move(levels.back().second);
        levels.pop_back();
        flow = SolveLevel(*this, progress, levelSize, std::move(level), flow);
        if (progress.IsCancelled()) return std::nullopt;
        if (levels.size() == 2) { double s = 0; for (auto f : flow->right) s += std::abs(f); for (auto f : flow->down) s += std::abs(f); gScore[0] = s * 8 / 1024 / size.GetPixelCount(); if (gScore[0] < minWork) return std::nullopt; }
    }
    return Spread(*this, progress, *flow, size, capacities);
}

}  // namespace Orvexa::Proc::GridGraph
