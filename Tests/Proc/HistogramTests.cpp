#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "Host/Settings/Photo/SettingsEffectHistogram.h"
#include "Proc/Effects/EffectsPhoto/Shared/SplineSmoother.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

SettingsEffectHistogram Bars(std::uint32_t height, std::int64_t flags, std::int32_t sharpen = 0,
                             std::uint32_t width = 256) {
    SettingsEffectHistogram settings;
    settings.SetHeightLevel(height);
    settings.SetHeightScale(3);
    settings.SetFlags(flags);
    settings.SetSharpen(sharpen);
    settings.SetWidth(width);
    return settings;
}

Color At(const FramePtr& picture, std::uint64_t x, std::uint64_t y) {
    const std::uint8_t* p = std::as_const(*picture).GetPlane(0).GetOffsetPtr(x, y);
    return Color(p[0], p[1], p[2], p[3]);
}

// Height of the bar of one channel in a column, counted in pixels of full brightness.
int BarHeight(const FramePtr& picture, std::uint64_t column, int channel, std::uint32_t height) {
    int count = 0;
    for (std::uint32_t y = 0; y < height; ++y) count += At(picture, column, y)[channel] > 200;
    return count;
}

TEST(Histogram, DrawsOneLightGreyBarForAUniformGrey) {
    const FramePtr picture = Apply(Bars(50, 7), MakeFrame(PixFmt::Rgb24, 40, 30, Color(90, 90, 90)));
    ASSERT_EQ(picture->GetPixFmt(), PixFmt::Rgba) << "not converted back";
    ASSERT_EQ(picture->GetFrameInfo(), FrameInfo(256, 53));
    for (std::uint64_t x = 0; x < 256; ++x) {
        EXPECT_EQ(At(picture, x, 0), Color(0, 0, 0)) << "a bin exactly at the height leaves the top row black";
        for (std::uint64_t y = 1; y < 50; ++y)
            ASSERT_EQ(At(picture, x, y), x == 90 ? Color(239, 239, 239) : Color(0, 0, 0)) << x << ' ' << y;
        const auto level = static_cast<std::uint8_t>(x);
        for (std::uint64_t y = 50; y < 53; ++y) ASSERT_EQ(At(picture, x, y), Color(level, level, level)) << "the ramp";
    }
}

TEST(Histogram, DrawsNothingWithoutFlagsAndForBlackAndWhite) {
    for (const auto& [color, flags] :
         {std::pair{Color(0, 0, 0), 7}, {Color(255, 255, 255), 7}, {Color(90, 10, 200), 0}, {Color(90, 10, 200), 8}}) {
        const FramePtr picture = Apply(Bars(20, flags), MakeFrame(PixFmt::Rgb24, 10, 10, color));
        for (std::uint64_t x = 0; x < 256; ++x) {
            for (std::uint64_t y = 0; y < 20; ++y) ASSERT_EQ(At(picture, x, y), Color(0, 0, 0));
        }
    }
}

TEST(Histogram, ScalesBarsByTheTallestInnerBinOfTheShownChannels) {
    // Red: 40 of level 10, 20 of level 20, 30 of level 255. Green: 80 of level 5, 10 of level 6. Blue: all of level 0.
    std::vector<int> samples;
    for (int i = 0; i < 90; ++i) samples.insert(samples.end(), {i < 40 ? 10 : i < 60 ? 20 : 255, i < 80 ? 5 : 6, 0});
    const FramePtr input = MakeFrame(PixFmt::Rgb24, 90, 1, samples);
    const FramePtr red = Apply(Bars(80, 1), input);
    EXPECT_EQ(BarHeight(red, 10, 0, 80), 79);
    EXPECT_EQ(BarHeight(red, 20, 0, 80), 39);
    EXPECT_EQ(BarHeight(red, 255, 0, 80), 59);
    EXPECT_EQ(BarHeight(red, 5, 1, 80), 0) << "green is not shown";
    const FramePtr both = Apply(Bars(80, 3), input);
    EXPECT_EQ(BarHeight(both, 10, 0, 80), 39) << "now green's 80 fill the height";
    EXPECT_EQ(BarHeight(both, 5, 1, 80), 79);
    const FramePtr blue = Apply(Bars(80, 7), input);
    EXPECT_EQ(BarHeight(blue, 0, 2, 80), 79) << "an end bin is cut to the tallest inner one";
    EXPECT_EQ(At(blue, 5, 70), Color(0, 255, 0));
}

TEST(Histogram, SamplesLargePicturesOnAGridAndCountsSmallOnes) {
    // All grey but one column between the grid's columns: seen only when every pixel counts.
    for (const std::uint32_t height : {399u, 400u}) {
        for (const PixFmt pixFmt : {PixFmt::Rgb24, PixFmt::Yuv444p}) {
            FramePtr input = MakeFrame(pixFmt, 600, height, Color(100, 100, 100));
            for (std::uint64_t y = 0; y < height; ++y) *input->GetPlane(0).GetOffsetPtr(1, y) = 50;
            const FramePtr picture = Apply(Bars(1000, 1), input);
            EXPECT_EQ(BarHeight(picture, 50, 0, 1000) > 0, height == 399) << Name(pixFmt);
        }
    }
}

TEST(Histogram, TakesThePointsOfItsGridFromTheSizeOfThePlane) {
    struct {
        PixFmt pixFmt;
        std::uint32_t width, column;  // of the plane's
        int channel;
    } const cases[] = {{PixFmt::Rgb24, 600, 300, 0},  // 50 * 600 / 100; a grid over 599 has 299
                       {PixFmt::Yuv444p, 600, 300, 0},
                       {PixFmt::Yuv420p, 600, 3, 1},     // 1 * 300 / 100; a grid over 600 has 6
                       {PixFmt::Yuv420p, 699, 174, 1}};  // 50 * 349 / 100; a grid over 350 has 175
    for (const auto& [pixFmt, width, column, channel] : cases) {
        const FramePtr input = MakeFrame(pixFmt, width, 500, Color(100, 100, 100));
        const Plane plane = input->GetPlane(static_cast<std::uint8_t>(channel));
        for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) *plane.GetOffsetPtr(column, y) = 50;
        const FramePtr picture = Apply(Bars(1000, 1 << channel), input);
        EXPECT_GT(BarHeight(picture, 50, channel, 1000), 0) << Name(pixFmt) << ' ' << column;
    }
}

TEST(Histogram, ResizesToTheWidthAskedFor) {
    const FramePtr small = Apply(Bars(40, 7, 0, 128), MakeFrame(PixFmt::Rgba, 10, 10, Color(90, 90, 90)));
    EXPECT_EQ(small->GetFrameInfo(), FrameInfo(128, 43));
    const FramePtr large = Apply(Bars(40, 7, 0, 512), MakeFrame(PixFmt::Rgba, 10, 10, Color(90, 90, 90)));
    EXPECT_NEAR(At(large, 179, 20)[0], 62, 3)
        << "a quarter of a column away from the bar: 0.26 of it, with cubic weights";
}

TEST(Histogram, SmoothsWithOneKnotMoreThanAskedFor) {
    const FramePtr input = MakeFrame(PixFmt::Rgb24, 60, 40);
    std::vector<double> counts(256), positions(256);
    for (std::size_t i = 0; i < 256; ++i) positions[i] = static_cast<double>(i);
    for (int i = 0; i < 60 * 40; ++i) counts[static_cast<std::size_t>(SampleAt(input, i % 60, i / 60))] += 1;
    const double tallest = *std::max_element(counts.begin() + 1, counts.end() - 1);
    counts.front() = std::min(counts.front(), tallest);
    counts.back() = std::min(counts.back(), tallest);
    const std::vector<double> smooth = Shared::SplineSmoother(positions, 6 + 1).Smooth(counts);
    const FramePtr picture = Apply(Bars(400, 1, 6), input);
    for (std::size_t i = 0; i < 256; ++i)
        EXPECT_NEAR(BarHeight(picture, i, 0, 400), smooth[i] * 400 / tallest - 0.5, 0.51) << i;
}

TEST(Histogram, KeepsItsSmootherWhenSmoothingIsSetBackToZero) {
    const OneInputPtr effect = CreateModuleEffect(SettingsEffectHistogram::CLASS_ID);
    const auto run = [&](const SettingsEffectHistogram& settings) {
        effect->SetSettings(settings);
        FramePtr frame = MakeFrame(PixFmt::Rgb24, 60, 40);
        effect->ProcessData(frame);
        return frame;
    };
    const FramePtr plain = run(Bars(60, 7)), smoothed = run(Bars(60, 7, 6));
    EXPECT_FALSE(SameFrames(smoothed, plain));
    EXPECT_TRUE(SameFrames(run(Bars(60, 7, 0)), smoothed));
}

TEST(SplineSmoother, ReproducesCubicsAndLeavesLeastSquaredErrors) {
    std::vector<double> positions(256), cubic(256), noisy(256);
    for (std::size_t i = 0; i < 256; ++i) {
        const double x = static_cast<double>(i);
        positions[i] = x;
        cubic[i] = 3 + 0.5 * x - 0.01 * x * x + 0.00004 * x * x * x;
        noisy[i] = cubic[i] + std::sin(x * 12.9898) * 20;
    }
    const Shared::SplineSmoother one(positions, 2);
    const std::vector<double> same = one.Smooth(cubic);
    for (std::size_t i = 0; i < 256; ++i)
        EXPECT_NEAR(same[i], cubic[i], 1e-3) << i;  // the tolerance of the solver, in counts
    // The residual of a least-squares fit is orthogonal to everything that the spline can represent, such as cubics.
    const std::vector<double> fit = Shared::SplineSmoother(positions, 9).Smooth(noisy);
    for (int power = 0; power < 4; ++power) {
        double product = 0, scale = 0;
        for (std::size_t i = 0; i < 256; ++i) {
            const double basis = std::pow(positions[i] / 255, power);
            product += (noisy[i] - fit[i]) * basis;
            scale += std::abs(noisy[i] - fit[i]);
        }
        EXPECT_LT(std::abs(product), 1e-4 * scale) << power;
    }
}

}  // namespace
}  // namespace Orvexa::Test
