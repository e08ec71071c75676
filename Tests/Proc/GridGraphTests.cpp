#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

#ifdef __linux__
#include <sys/resource.h>
#endif

#include "Host/Core/Exception.h"
#include "Host/Core/RefCount.h"
#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraph.h"
#include "Tests/Support/BoostGridCut.h"
#include "Tests/Support/Progress.h"

namespace Orvexa::Test {
namespace {

using Proc::EffectException;
using Proc::GridGraph::Capacities;
using Proc::GridGraph::Capacity;
using Proc::GridGraph::HeadStart;
using Proc::GridGraph::Solver;

constexpr std::uint32_t kWorkers = 12;

// The same numbers everywhere.
class Random {
public:
    explicit Random(unsigned seed) : engine_(seed) {}
    std::uint32_t operator()() { return static_cast<std::uint32_t>(engine_()); }

private:
    std::mt19937 engine_;
};

struct Grid {
    Grid(std::uint32_t w, std::uint32_t h) : width(w), height(h), capacities(std::size_t{w} * h) {}
    std::size_t GetPixels() const { return std::size_t{width} * height; }

    std::uint32_t width, height;
    Capacities capacities;
};

// What a grid is made of: the largest capacities, and how many in a hundred edges and links exist.
struct Material {
    const char* name;
    int maxEdge, edgePercent;
    int maxLink, linkPercent;
    bool isSymmetric;
};

constexpr Material kMaterials[] = {
    {"weights of a picture", 1025, 100, 1024, 8, true},
    {"ties everywhere", 1, 100, 1, 40, false},
    {"few levels", 3, 80, 4, 60, false},
    {"strong links", 200, 100, 65535, 20, false},
    {"strong edges", 32767, 90, 2000, 30, false},
    {"one link in fifty", 60, 100, 1024, 2, false},
    {"torn", 1000, 45, 1000, 50, false},
};

Grid MakeGrid(std::uint32_t width, std::uint32_t height, const Material& material, unsigned seed) {
    Grid grid(width, height);
    Random random(seed);
    const auto draw = [&](int max, int percent) {
        return static_cast<Capacity>(
            static_cast<int>(random() % 100) < percent ? 1 + random() % static_cast<unsigned>(max) : 0);
    };
    Capacities& c = grid.capacities;
    for (std::size_t p = 0; p < grid.GetPixels(); ++p) {
        c.source[p] = draw(material.maxLink, material.linkPercent);
        c.sink[p] = draw(material.maxLink, material.linkPercent);
        for (auto* edges : {&c.left, &c.right, &c.up, &c.down})
            (*edges)[p] = draw(material.maxEdge, material.edgePercent);
        if (!material.isSymmetric) continue;
        if (p % width > 0) c.left[p] = c.right[p - 1];
        if (p >= width) c.up[p] = c.down[p - width];
    }
    return grid;
}

// Flat areas with weak lines between them, and a few strokes: paths are long, and most of them tie.
Grid MakeFlatAreas(std::uint32_t width, std::uint32_t height, unsigned seed) {
    Grid grid(width, height);
    Random random(seed);
    const std::uint32_t period = 5 + random() % 30, shift = random() % period;
    const auto weight = [&](std::uint32_t a, std::uint32_t b) {
        return (a + shift) / period == (b + shift) / period ? Capacity{1025} : Capacity{37};
    };
    Capacities& c = grid.capacities;
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            const std::size_t p = std::size_t{y} * width + x;
            if (x + 1 < width) c.right[p] = c.left[p + 1] = weight(x + y / 3, x + 1 + y / 3);
            if (y + 1 < height) c.down[p] = c.up[p + width] = weight(y, y + 1);
        }
    }
    for (int stroke = 0; stroke < 6; ++stroke) {
        const std::uint32_t y = random() % height, begin = random() % width,
                            end = std::min(width, begin + 1 + random() % 20);
        for (std::uint32_t x = begin; x < end; ++x)
            (stroke % 2 == 0 ? c.source : c.sink)[std::size_t{y} * width + x] = 1024;
    }
    return grid;
}

struct Solution {
    std::vector<std::uint8_t> isBackground;
    std::uint16_t flow;
};

// A plain search; flow from coarser grids first; the same after a part of a plain search.
constexpr HeadStart kNone{.minPixels = std::numeric_limits<std::size_t>::max()};
constexpr HeadStart kAtOnce{.minPixels = 0, .coarsestPixels = 4, .workPerPixel = 0};
constexpr HeadStart kInMidSearch{.minPixels = 0, .coarsestPixels = 4, .workPerPixel = 0.5};

Solution Solve(const Grid& grid, std::uint32_t blockSize, std::uint32_t workers = kWorkers,
               const HeadStart& headStart = kNone) {
    Core::RefCounted<TestProgress> progress;
    Solver solver(grid.width, grid.height, workers, blockSize, progress, headStart);
    solver.SetCapacities(grid.capacities);
    solver.Compute();
    EXPECT_EQ(progress.steps, progress.total) << "all regions and boundaries were done";
    Solution solution{std::vector<std::uint8_t>(grid.GetPixels()), solver.GetFlow()};
    for (std::uint32_t y = 0; y < grid.height; ++y)
        solver.ReadRow(y, 0, 1, solution.isBackground.data() + std::size_t{y} * grid.width);
    return solution;
}

// The capacity of the edges and links from the foreground to the background.
std::int64_t CutValue(const Grid& grid, const std::vector<std::uint8_t>& isBackground) {
    const Capacities& c = grid.capacities;
    std::int64_t value = 0;
    for (std::size_t p = 0; p < grid.GetPixels(); ++p) {
        const auto crosses = [&](std::size_t q) { return !isBackground[p] && isBackground[q]; };
        value += isBackground[p] ? c.source[p] : c.sink[p];
        if (p % grid.width + 1 < grid.width && crosses(p + 1)) value += c.right[p];
        if (p % grid.width > 0 && crosses(p - 1)) value += c.left[p];
        if (p + grid.width < grid.GetPixels() && crosses(p + grid.width)) value += c.down[p];
        if (p >= grid.width && crosses(p - grid.width)) value += c.up[p];
    }
    return value;
}

// Solves the grid with and without head starts.
testing::AssertionResult FindsTheMinimumCut(const Grid& grid, std::uint32_t blockSize) {
    const BoostGridCut boost(grid.width, grid.height, grid.capacities);
    const std::int64_t flow = boost.GetFlow();
    const std::vector<std::uint8_t> expected = boost.FindBackground();
    for (const HeadStart& headStart : {kNone, kAtOnce, kInMidSearch}) {
        const Solution solution = Solve(grid, blockSize, kWorkers, headStart);
        const auto failure = [&] {
            return testing::AssertionFailure() << "head start after " << headStart.workPerPixel << " units a pixel: ";
        };
        const std::int64_t value = CutValue(grid, solution.isBackground);
        if (value != flow) return failure() << "the cut is worth " << value << ", the flow " << flow;
        if (solution.flow != static_cast<std::uint16_t>(flow)) {
            return failure() << "the flow ends in " << solution.flow << " instead of "
                             << static_cast<std::uint16_t>(flow);
        }
        const auto [ours, theirs] =
            std::mismatch(solution.isBackground.begin(), solution.isBackground.end(), expected.begin());
        if (ours == solution.isBackground.end()) continue;
        const auto p = static_cast<std::size_t>(ours - solution.isBackground.begin());
        return failure() << "pixel (" << p % grid.width << ", " << p / grid.width << ") should be "
                         << (*theirs ? "back" : "fore") << "ground";
    }
    return testing::AssertionSuccess();
}

TEST(GridGraph, LabelsRandomGridsLikeAnIndependentSolver) {
    // Block sizes of whole tiles, one that is none, and one that holds everything.
    constexpr std::uint32_t kBlockSizes[] = {8, 16, 24, 7, 640};
    Random random(1);
    for (unsigned round = 0; round < 60; ++round) {
        for (const Material& material : kMaterials) {
            const std::uint32_t width = 1 + random() % 45, height = 1 + random() % 45;
            const Grid grid = MakeGrid(width, height, material, round);
            const std::uint32_t blockSize = kBlockSizes[round % std::size(kBlockSizes)];
            ASSERT_TRUE(FindsTheMinimumCut(grid, blockSize))
                << material.name << ", " << grid.width << " x " << grid.height << ", round " << round << ", blocks of "
                << blockSize;
        }
    }
}

TEST(GridGraph, LabelsFlatAreasLikeAnIndependentSolver) {
    for (unsigned round = 0; round < 25; ++round) {
        const Grid grid = MakeFlatAreas(60 + 7 * round % 50, 50 + 11 * round % 60, round);
        for (const std::uint32_t blockSize : {16u, 24u, 640u}) {
            ASSERT_TRUE(FindsTheMinimumCut(grid, blockSize)) << "round " << round << ", blocks of " << blockSize;
        }
    }
}

TEST(GridGraph, HoldsAtTheEdgesOfTilesAndBlocks) {
    // 638 pixels are the most that one block of 640 nodes holds with the ring around them, 6 the most for one tile.
    constexpr std::pair<std::uint32_t, std::uint32_t> kShapes[] = {{1, 1},   {1, 2},   {2, 1},   {1, 60},  {60, 1},
                                                                   {6, 6},   {7, 7},   {8, 8},   {14, 15}, {638, 3},
                                                                   {639, 3}, {640, 3}, {3, 638}, {3, 639}, {1, 1300}};
    for (const auto& [width, height] : kShapes) {
        for (const Material& material : kMaterials) {
            const Grid grid = MakeGrid(width, height, material, width + height);
            for (const std::uint32_t blockSize : {8u, 640u}) {
                ASSERT_TRUE(FindsTheMinimumCut(grid, blockSize))
                    << material.name << ", " << width << " x " << height << ", blocks of " << blockSize;
            }
        }
    }
}

TEST(GridGraph, MergesBlocksOfFullSize) {
    const Grid grid = MakeFlatAreas(700, 660, 5);
    EXPECT_TRUE(FindsTheMinimumCut(grid, 640));
}

TEST(GridGraph, GivesTheSameLabelsWhateverTheWorkersDo) {
    const Grid flat = MakeFlatAreas(150, 130, 3), noise = MakeGrid(130, 150, kMaterials[2], 3);
    for (const Grid* grid : {&flat, &noise}) {
        const Solution first = Solve(*grid, 640, 1);
        for (const std::uint32_t workers : {1u, 2u, 12u, 12u, 12u, 12u, 40u}) {
            for (const std::uint32_t blockSize : {8u, 16u, 56u}) {
                for (const HeadStart& headStart : {kNone, kAtOnce, kInMidSearch}) {
                    const Solution solution = Solve(*grid, blockSize, workers, headStart);
                    ASSERT_EQ(solution.isBackground, first.isBackground)
                        << workers << " workers, blocks of " << blockSize;
                    ASSERT_EQ(solution.flow, first.flow);
                }
            }
        }
    }
}

TEST(GridGraph, LeavesPixelsThatCannotReachTheSinkInTheForeground) {
    Grid grid(20, 10);
    EXPECT_EQ(Solve(grid, 8).isBackground, std::vector<std::uint8_t>(200, 0)) << "no links, no edges";

    std::fill(grid.capacities.left.begin(), grid.capacities.left.end(), Capacity{5});
    grid.capacities.sink[3 * 20 + 11] = 1;
    grid.capacities.source[3 * 20 + 2] = grid.capacities.sink[3 * 20 + 2] = 9;
    std::vector<std::uint8_t> expected(200, 0);
    std::fill(expected.begin() + 3 * 20 + 11, expected.begin() + 4 * 20, std::uint8_t{1});
    const Solution solution = Solve(grid, 8);
    EXPECT_EQ(solution.isBackground, expected) << "only what lies upstream of the sink's link; equal links cancel out";
    EXPECT_EQ(solution.flow, 9);
}

TEST(GridGraph, StopsWhereverItIsCancelled) {
    // With one worker a given query is always the same point of the computation. Without links there is no flow to
    // search for, so that nearly all queries come from walks to the roots of merged regions.
    const Grid noise = MakeGrid(90, 70, kMaterials[0], 4), flat = MakeFlatAreas(90, 70, 4), empty(90, 70);
    std::size_t inRegions = 0, inMerges = 0, inWalks = 0;
    for (const Grid* grid : {&noise, &flat, &empty}) {
        for (const auto& [workers, headStart] :
             {std::pair{1u, kNone}, {kWorkers, kNone}, {1u, kAtOnce}, {kWorkers, kAtOnce}, {1u, kInMidSearch}}) {
            Core::RefCounted<TestProgress> counter;
            Solver complete(grid->width, grid->height, workers, 16, counter, headStart);
            complete.SetCapacities(grid->capacities);
            complete.Compute();
            const std::uint64_t regions = 6 * 5;
            ASSERT_EQ(counter.total, regions + 5 * 5 + 6 * 4);

            const bool hasHeadStart = headStart.minPixels == 0;
            const std::int64_t sparsity = hasHeadStart ? 8 : 1;  // coarser grids are searched by the same code
            for (std::int64_t query = 0; query < counter.queries;
                 query += 1 + sparsity * (query / 64 + counter.queries / 400)) {
                Core::RefCounted<TestProgress> progress(query);
                Solver solver(grid->width, grid->height, workers, 16, progress, headStart);
                solver.SetCapacities(grid->capacities);
                solver.Compute();
                const std::int64_t steps = progress.stepsWhenCancelled;
                if (workers > 1 && steps < 0)
                    continue;  // the order of merges, and with it the number of queries, differs between runs
                ASSERT_GE(steps, 0) << "query " << query << " of " << counter.queries << " was not reached";
                // Each coarser grid, of at most six, asks once more on the way out.
                EXPECT_LE(progress.queries - query, 3 * workers + (hasHeadStart ? 6 : 0))
                    << "whoever was told stopped at once";
                ++(steps < static_cast<std::int64_t>(regions) ? inRegions : grid != &empty ? inMerges : inWalks);
            }
        }
    }
    EXPECT_GT(inRegions, 100u);
    EXPECT_GT(inMerges, 100u);
    EXPECT_GT(inWalks, 100u);
}

TEST(GridGraph, PassesOnWhatTheControllerThrows) {
    const Grid grid = MakeFlatAreas(90, 70, 4);
    for (const std::int64_t query : {0, 40, 400}) {
        Core::RefCounted<TestProgress> progress(query, true);
        Solver solver(grid.width, grid.height, kWorkers, 16, progress);
        solver.SetCapacities(grid.capacities);
        EXPECT_THROW(solver.Compute(), std::runtime_error);
    }
}

TEST(GridGraph, RefusesWhatItCannotHold) {
    Core::RefCounted<TestProgress> progress;
    const std::uint32_t sides[][2] = {{0, 5},
                                      {5, 0},
                                      {65536, 65536},
                                      {4294967295u, 4294967295u},
                                      {7, 286331145}};  // 16 x 286331152 with the ring, just above 2^32 nodes
    for (const auto& [width, height] : sides)
        EXPECT_THROW(Solver::GetAllocationSize(width, height, 12, 640), EffectException) << width << " x " << height;
    EXPECT_THROW(Solver(65536, 65536, 12, 640, progress), EffectException);
    EXPECT_THROW(Solver(5, 5, 0, 640, progress), EffectException);
    EXPECT_THROW(Solver(5, 5, 12, 0, progress), EffectException);

    Solver solver(3, 2, 12, 640, progress);
    EXPECT_THROW(solver.SetCapacities(Capacities(5)), EffectException);
    Capacities capacities(6);
    capacities.right[0] = 65535;
    capacities.left[0] = 9;  // leads out of the picture
    EXPECT_NO_THROW(solver.SetCapacities(capacities));
    capacities.left[1] = 1;
    EXPECT_THROW(solver.SetCapacities(capacities), EffectException) << "flow could overflow the edge";
}

TEST(GridGraph, AllocatesWhatItSays) {
    // 16 bytes per node, 4 per boundary node, 64 for each of the 8 arrays.
    EXPECT_EQ(Solver::GetAllocationSize(1, 1, 12, 640), 64u * 16 + 512);
    EXPECT_EQ(Solver::GetAllocationSize(639, 5, 1, 640), 648u * 8 * 16 + 640 * 4 + 512);
    EXPECT_EQ(Solver::GetAllocationSize(30, 30, 2, 16), 32u * 32 * 16 + 4 * 16 * 4 + 512);
}

TEST(GridGraph, IgnoresEdgesOutOfThePicture) {
    for (const auto& [width, height] : {std::pair{3u, 3u}, {7u, 7u}, {8u, 1u}}) {
        for (const std::uint32_t blockSize :
             {1u, 3u, 8u}) {  // boundaries lie between the pixels and the ring around them, too
            Grid grid = MakeGrid(width, height, kMaterials[0], 2);
            for (std::size_t p = 0; p < grid.GetPixels(); ++p) {
                Capacities& c = grid.capacities;
                if (p % width == 0) c.left[p] = 999;
                if (p % width == width - 1) c.right[p] = 999;
                if (p < width) c.up[p] = 999;
                if (p + width >= grid.GetPixels()) c.down[p] = 999;
            }
            EXPECT_TRUE(FindsTheMinimumCut(grid, blockSize)) << width << " x " << height << ", blocks of " << blockSize;
        }
    }
}

#if defined(__linux__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(GridGraph, NamesTheBytesThatCannotBeHad) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
    rlimit limited = before;
    limited.rlim_cur = rlim_t{2} << 30;
    ASSERT_EQ(setrlimit(RLIMIT_AS, &limited), 0);
    Core::RefCounted<TestProgress> progress;
    std::string text;
    try {
        Solver(20000, 20000, 12, 640, progress);
    } catch (const std::bad_alloc& exception) {
        text = Describe(exception);
    }
    setrlimit(RLIMIT_AS, &before);
    EXPECT_NE(text.find(std::to_string(Solver::GetAllocationSize(20000, 20000, 12, 640))), std::string::npos) << text;
}
#endif

}  // namespace
}  // namespace Orvexa::Test
