#include <gmock/gmock.h>

#include <cmath>

#include "Host/Core/Exception.h"
#include "Host/Io/ImageFiles.h"
#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphImpl.h"
#include "Tests/Support/BoostGridCut.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/Logs.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/Progress.h"

namespace Orvexa::Test {
namespace {

using GridGraph::Capacities;
using GridGraph::GridGraphImpl;
using testing::ElementsAre;
using testing::HasSubstr;

// Foreground strokes in the upper left, background strokes at the lower right; some of neither.
FramePtr MakeSeeds(std::uint32_t width, std::uint32_t height) {
    const FramePtr seeds = MakeFrame(PixFmt::Gray8, width, height, Color(0, 0, 0));
    const Plane plane = seeds->GetPlane(0);
    for (std::uint32_t x = 0; x < std::max(width / 3, 1u); ++x) {
        *plane.GetOffsetPtr(width - 1 - x, height - 1) = 128;
        *plane.GetOffsetPtr(x, 0) = 255;
        *plane.GetOffsetPtr(x, height / 2) = 77;
    }
    return seeds;
}

// The formula, pixel by pixel.
Capacities ExpectedCapacities(const FramePtr& image, const FramePtr& seeds) {
    const std::size_t width = image->GetFrameInfo().width, height = image->GetFrameInfo().height;
    const int number = static_cast<int>(image->GetPixFmt());
    const std::size_t first = number == 25 || number == 27 || number == 120 || number == 122 ? 1 : 0;
    const std::size_t samples = number == 8 ? 1 : 3;
    const Plane pixels = image->GetPlane(0);
    const auto weight = [&](const std::uint8_t* a, const std::uint8_t* b) {
        double sum = 0;
        for (std::size_t k = first; k < first + samples; ++k) sum += std::pow(static_cast<double>(a[k]) - b[k], 2);
        if (samples == 3) sum /= 9.0;
        return static_cast<GridGraph::Capacity>(std::exp(-sum * 0.0625) * 1024 + 1.0);
    };
    Capacities c(width * height);
    for (std::size_t y = 0, p = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x, ++p) {
            const std::uint8_t seed = *seeds->GetPlane(0).GetOffsetPtr(x, y);
            c.source[p] = seed == 255 ? 1024 : 0;
            c.sink[p] = seed == 128 ? 1024 : 0;
            if (x > 0) c.right[p - 1] = c.left[p] = weight(pixels.GetOffsetPtr(x - 1, y), pixels.GetOffsetPtr(x, y));
            if (y > 0) c.down[p - width] = c.up[p] = weight(pixels.GetOffsetPtr(x, y - 1), pixels.GetOffsetPtr(x, y));
        }
    }
    return c;
}

TEST(GridGraphImpl, CutsPicturesOfEveryFormatWhereTheFormulaSays) {
    for (const int number : {2, 3, 8, 25, 26, 27, 28, 120, 121, 122, 123}) {
        for (const Pattern pattern : {Pattern::Ramp, Pattern::Noise, Pattern::ColorCube}) {
            for (const auto& [width, height] : kSizes) {
                const FramePtr image = MakeFrame(static_cast<PixFmt>(number), width, height, pattern),
                               seeds = MakeSeeds(width, height);
                const Capacities expected = ExpectedCapacities(image, seeds);
                Core::RefCounted<TestProgress> progress;
                const auto capacities = GridGraph::MakeCapacities(*image, seeds->GetPlane(0), 255, 128, progress);
                ASSERT_TRUE(capacities.has_value());
                ASSERT_TRUE(capacities->source == expected.source && capacities->sink == expected.sink) << number;
                ASSERT_TRUE(capacities->left == expected.left && capacities->right == expected.right) << number;
                ASSERT_TRUE(capacities->up == expected.up && capacities->down == expected.down) << number;
                EXPECT_EQ(progress.total, height - 1);
                EXPECT_EQ(progress.steps, height);

                FramePtr mask = image;
                MakeEffect<GridGraphImpl>(ModuleFactory(), TestAllocator())->ProcessData(mask, ConstFramePtr(seeds));
                std::vector<std::uint8_t> labels = BoostGridCut(width, height, expected).FindBackground();
                for (std::uint8_t& label : labels) label = label != 0 ? 128 : 255;
                ASSERT_EQ(mask->GetPixFmt(), PixFmt::Gray8);
                ASSERT_EQ(Bytes(*mask), labels) << number << ", " << width << " x " << height;
            }
        }
    }
}

TEST(GridGraphImpl, CutsPhotographsLikeAnIndependentSolver) {
    const Core::ioPath samples = SourcePath("samples");
    for (const char* name : {"astronaut.png", "chelsea.png", "coffee.png"}) {
        const FramePtr photo = Io::ReadImage(samples / name, TestAllocator()).frame;
        const FramePtr seeds = Io::ReadImage(samples / "seeds" / name, TestAllocator()).frame;
        FramePtr mask = photo;
        MakeEffect<GridGraphImpl>(ModuleFactory(), TestAllocator())->ProcessData(mask, ConstFramePtr(seeds));
        const FrameInfo info = photo->GetFrameInfo();
        std::vector<std::uint8_t> labels =
            BoostGridCut(info.width, info.height, ExpectedCapacities(photo, seeds)).FindBackground();
        for (std::uint8_t& label : labels) label = label != 0 ? 128 : 255;
        EXPECT_EQ(Bytes(*mask), labels) << name;
    }
}

TEST(GridGraphImpl, TakesSeedsThatAreBothForForeground) {
    const FramePtr image = MakeFrame(PixFmt::Gray8, 9, 9, Color(7, 7, 7)),
                   seeds = MakeFrame(PixFmt::Gray8, 9, 9, Color(5, 5, 5));
    Core::RefCounted<TestProgress> progress;
    const auto capacities = GridGraph::MakeCapacities(*image, seeds->GetPlane(0), 5, 5, progress);
    EXPECT_EQ(capacities->source, std::vector<GridGraph::Capacity>(81, 1024));
    EXPECT_EQ(capacities->sink, std::vector<GridGraph::Capacity>(81, 0));
    EXPECT_EQ(capacities->right[0], 1025);
}

TEST(GridGraphImpl, ConvertsOtherFormatsWithOneKeptConverter) {
    const auto factory = Core::MakeRefCounted<SpyFactory>();
    const TwoInputPtr effect = MakeEffect<GridGraphImpl>(factory, TestAllocator());
    const ConstFramePtr seeds = MakeSeeds(30, 20);
    std::vector<std::string> words;
    for (int run = 0; run < 2; ++run) {
        FramePtr frame = MakeFrame(PixFmt::Yuv444p, 30, 20, Pattern::Ramp), grey = Converted(frame, PixFmt::Gray8);
        effect->ProcessData(frame, seeds);
        MakeEffect<GridGraphImpl>(ModuleFactory(), TestAllocator())->ProcessData(grey, seeds);
        EXPECT_TRUE(SameFrames(frame, grey));
    }
    for (const std::string& line : factory->TakeTranscript()) words.push_back(line.substr(0, line.find(' ')));
    EXPECT_THAT(words, ElementsAre("create", "set", "run", "run"));
}

TEST(GridGraphImpl, LogsItsStages) {
    LogCapture log(30);
    FramePtr frame = MakeFrame(PixFmt::Gray8, 700, 3);
    MakeEffect<GridGraphImpl>(ModuleFactory(), TestAllocator())->ProcessData(frame, ConstFramePtr(MakeSeeds(700, 3)));
    // 2 x 1 regions: (640 x 1 + 0 + 700 x 3 x 9) x 4 + 1984.
    EXPECT_THAT(log.GetLines(),
                ElementsAre(HasSubstr(" starts"), HasSubstr("Allocate memory for GridGraph: 80144"),
                            HasSubstr("Prepare GridGraph graph"), HasSubstr("Compute GridGraph graph"),
                            HasSubstr("Prepare GridGraph result"), HasSubstr("GridGraph done"), HasSubstr(" done")));
}

TEST(GridGraphImpl, LeavesThePictureWhenCancelledAndCountsToAHundred) {
    const FramePtr picture = MakeFrame(PixFmt::Gray8, 60, 50);
    const auto run = [&](std::int64_t cancelAt) {
        const auto progress = Core::MakeRefCounted<TestProgress>(cancelAt);
        const TwoInputPtr effect = MakeEffect<GridGraphImpl>(ModuleFactory(), TestAllocator());
        effect->SetProgressController(progress);
        FramePtr frame = picture;
        effect->ProcessData(frame, ConstFramePtr(MakeSeeds(60, 50)));
        EXPECT_EQ(frame == picture, cancelAt != TestProgress::kNever) << "cancelled at query " << cancelAt;
        return progress;
    };
    const auto counted = run(TestProgress::kNever);
    EXPECT_EQ(counted->total, 100u);
    EXPECT_NEAR(static_cast<double>(counted->steps), 100.0, 2.0)
        << "the rows are one more than their total, fractions stay behind";
    ASSERT_GT(counted->queries, 3000) << "every pixel asks, then the solver";
    for (const std::int64_t query : {std::int64_t{0}, std::int64_t{2000}, counted->queries - 100}) run(query);
}

TEST(GridGraphImpl, RefusesSeedsThatDoNotFit) {
    const TwoInputPtr effect = MakeEffect<GridGraphImpl>(ModuleFactory(), TestAllocator());
    for (const FramePtr& seeds : {FramePtr(), MakeSeeds(9, 10), MakeSeeds(10, 9), MakeFrame(PixFmt::Rgb24, 10, 10)}) {
        FramePtr frame = MakeFrame(PixFmt::Gray8, 10, 10);
        EXPECT_THROW(effect->ProcessData(frame, ConstFramePtr(seeds)), EffectException);
        EXPECT_NE(frame, nullptr);
    }
}

TEST(GridGraphProgress, PassesWholeStepsOn) {
    const auto parent = Core::MakeRefCounted<TestProgress>();
    GridGraph::ProgressController* const child = new Core::RefCounted<GridGraph::ProgressController>(parent, 34.0);
    const Core::ProgressPtr owner(child);
    child->Step(2);
    EXPECT_EQ(parent->steps, 2u) << "steps count as they are until a total is set";
    child->SetTotal(68);
    child->Step(1);
    child->Step(1);
    EXPECT_EQ(parent->steps, 2u) << "a fraction of exactly 1 does not exceed it";
    child->Step(1);
    EXPECT_EQ(parent->steps, 3u);
    child->SetTotal(0);
    child->Step(1);
    EXPECT_EQ(parent->steps, 37u) << "a total of nothing takes the whole share in one step";
}

}  // namespace
}  // namespace Orvexa::Test
