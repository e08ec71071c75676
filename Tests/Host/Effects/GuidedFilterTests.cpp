#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsEffectGuidedFilter.h"
#include "Tests/Host/Effects/HostEffects.h"

namespace Orvexa::Test {
namespace {

SettingsEffectGuidedFilter Filter(int radius, double epsilon) {
    SettingsEffectGuidedFilter settings;
    settings.SetRadius(radius);
    settings.SetEpsilon(epsilon);
    return settings;
}

// Means over windows, sample by sample.
Grid Mean(const Grid& of, int radius) {
    const auto along = [radius](const auto& get, int size, int i) {
        double sum = 0;
        const int first = std::max(i - radius, 0), last = std::min(i + radius, size - 1);
        for (int k = first; k <= last; ++k) sum += get(k);
        return sum / (last - first + 1);
    };
    return AlongY(AlongX(of, of.width, along), of.height, along);
}

template <class Function>
Grid Combined(const Grid& a, const Grid& b, Function function) {
    Grid result(a.width, a.height);
    for (std::size_t i = 0; i < a.values.size(); ++i) result.values[i] = function(a.values[i], b.values[i]);
    return result;
}
const auto Times = [](double a, double b) { return a * b; };
const auto Minus = [](double a, double b) { return a - b; };
const auto Plus = [](double a, double b) { return a + b; };

// The filter as its authors write it, with levels of 0..1.
Grid Expected(Grid input, Grid guide, int radius, double epsilon) {
    for (double& value : input.values) value /= 255;
    for (double& value : guide.values) value /= 255;
    const Grid meanGuide = Mean(guide, radius), meanInput = Mean(input, radius);
    const Grid covariance =
                   Combined(Mean(Combined(guide, input, Times), radius), Combined(meanGuide, meanInput, Times), Minus),
               variance =
                   Combined(Mean(Combined(guide, guide, Times), radius), Combined(meanGuide, meanGuide, Times), Minus);
    const Grid a = Combined(covariance, variance, [&](double c, double v) { return c / (v + epsilon); });
    const Grid b = Combined(meanInput, Combined(a, meanGuide, Times), Minus);
    Grid result = Combined(Combined(Mean(a, radius), guide, Times), Mean(b, radius), Plus);
    for (double& value : result.values) value = std::min(std::max(value * 255, 0.0), 255.0);
    return result;
}

void ExpectNear(const Grid& is, const Grid& expected, const std::string& what) {
    for (std::size_t i = 0; i < is.values.size(); ++i)
        ASSERT_NEAR(is.values[i], expected.values[i], 0.502) << what << ' ' << i;
}

TEST(GuidedFilter, IsThatOfItsAuthors) {
    for (const auto& [width, height] : {std::pair{1u, 1u}, {7u, 5u}, {97u, 61u}, {40u, 700u}}) {
        const FramePtr input = MakeFrame(PixFmt::Gray8, width, height),
                       guide = MakeFrame(PixFmt::Gray8, width, height, Pattern::Ramp);
        for (const auto& [radius, epsilon] : {std::pair{1, 1e-4}, {5, 0.02}, {30, 0.1}, {200, 0.01}}) {
            const Grid result = Read(*RunHost(Filter(radius, epsilon), input, guide), 0);
            ExpectNear(result, Expected(Read(*input, 0), Read(*guide, 0), radius, epsilon), std::to_string(radius));
        }
    }
}

TEST(GuidedFilter, FiltersEveryColourByTheGuidesLuma) {
    const FramePtr input = MakeFrame(PixFmt::Bgr24, 50, 40), guide = MakeFrame(PixFmt::Rgb24, 50, 40);
    const FramePtr result = RunHost(Filter(4, 0.01), input, guide);
    const Grid luma = Read(*Converted(guide, PixFmt::Gray8), 0);
    for (int k = 0; k < 3; ++k)
        ExpectNear(Read(*result, 0, k), Expected(Read(*input, 0, k), luma, 4, 0.01), std::to_string(k));
    // Coarser planes have a coarser guide and a smaller radius.
    const FramePtr planar = MakeFrame(PixFmt::Yuv420p, 50, 40), grey = MakeFrame(PixFmt::Gray8, 50, 40);
    Grid coarse = Resampled(Read(*grey, 0), 25, 20, 1, 1);
    for (double& value : coarse.values) value = RoundHalfUp(value);
    ExpectNear(Read(*RunHost(Filter(8, 0.01), planar, grey), 2), Expected(Read(*planar, 2), coarse, 4, 0.01), "chroma");
}

TEST(GuidedFilter, TreatsEveryFormatAndHiddenColoursStayHidden) {
    for (const PixFmt pixFmt : AllPixFmts()) {
        for (const auto& [width, height] : kSizes) {
            const GuardedFrame input(pixFmt, width, height);
            const FramePtr result = RunHost(Filter(6, 0.01), input.GetFrame(), MakeFrame(PixFmt::Gray8, width, height));
            EXPECT_EQ(result->GetPixFmt(), pixFmt == PixFmt::Pal8 ? PixFmt::Rgba : pixFmt);
            EXPECT_TRUE(input.IsGuardIntact());
        }
    }
    const Color shown(200, 100, 50);
    for (const PixFmt pixFmt : {PixFmt::Rgba, PixFmt::Yuva444p}) {
        const FramePtr input = MakeHalfHidden(pixFmt, 60, 10, shown, Color(0, 255, 255)),
                       flat = MakeFrame(pixFmt, 60, 10, shown);
        const FramePtr result = RunHost(Filter(5, 0.1), input, MakeFrame(PixFmt::Gray8, 60, 10));
        for (int x = 0; x < 30; ++x)
            EXPECT_NEAR(SampleAt(result, x, 5), SampleAt(flat, x, 5), 1) << Name(pixFmt) << ' ' << x;
    }
}

TEST(GuidedFilter, RefusesAGuideOfAnotherSizeAndKeepsThePictureAtRadiusZero) {
    const FramePtr input = MakeFrame(PixFmt::Gray8, 8, 8);
    EXPECT_EQ(RunHost(Filter(0, 0.1), input, input), input);
    EXPECT_EQ(MessageOf([&] { RunHost(Filter(3, 0.1), input, MakeFrame(PixFmt::Gray8, 8, 9)); }),
              "The guide must be as large as the picture!");
    EXPECT_TRUE(SameFrames(RunHost(Filter(3, 0.0), input, input), input)) << "every edge is kept";
}

}  // namespace
}  // namespace Orvexa::Test
