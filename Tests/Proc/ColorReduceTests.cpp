#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "Host/Settings/Photo/SettingsEffectColorReduce.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

SettingsEffectColorReduce Reduce(int color, double threshold) {
    SettingsEffectColorReduce settings;
    settings.SetReducedColor(static_cast<ReducedColor>(color));
    settings.SetThreshold(threshold);
    return settings;
}

std::vector<int> ReducedPixels(int color, double threshold, const std::vector<int>& rgb) {
    const FramePtr result =
        Apply(Reduce(color, threshold), MakeFrame(PixFmt::Rgb24, static_cast<std::uint32_t>(rgb.size() / 3), 1, rgb));
    const std::vector<std::uint8_t> bytes = Bytes(*result);
    return std::vector<int>(bytes.begin(), bytes.end());
}

TEST(ColorReduce, MatchesResultsWorkedOutByHand) {
    EXPECT_EQ(ReducedPixels(0, 1.0, {255, 0, 0, 0, 0, 0}), (std::vector<int>{0, 0, 0, 0, 0, 0}))
        << "pure red over no others; black divides 0 by 0";
    EXPECT_EQ(ReducedPixels(0, 0.8, {100, 100, 100}), (std::vector<int>{117, 117, 117}))
        << "100 * 0.701 / 2 / 0.299 = 117.2";
    EXPECT_EQ(ReducedPixels(0, 0.9, {100, 100, 100}), (std::vector<int>{100, 100, 100})) << "0.4265 is not above 0.45";
    // The darkest pixel (20, 10, 10) gives red an offset of 10; the second becomes 0.5 * (0.587 + 0.114) * 100 / 0.299
    // = 117 and red 127.
    EXPECT_EQ(ReducedPixels(0, 1.0, {20, 10, 10, 200, 100, 100}), (std::vector<int>{22, 12, 12, 127, 117, 117}));
    // Equally dark: 10 * 0.587 + 4 * 0.114 = 4 * 0.299 + 45 * 0.114; the first pixel gives the offsets.
    EXPECT_EQ(ReducedPixels(0, 1.0, {0, 10, 4, 4, 0, 45, 200, 100, 100}),
              (std::vector<int>{0, 10, 4, 4, 0, 45, 117, 127, 121}));
    const double ratio = (100 * 0.299) / (100 * 0.114 + 100 * 0.587);
    EXPECT_EQ(ReducedPixels(0, 2 * ratio, {100, 100, 100}), (std::vector<int>{100, 100, 100}))
        << "at the threshold, not above it";
    // 0.5 * 0.886 * 250 / 0.114 is beyond 255: clamped, then the offset of 6 wraps.
    EXPECT_EQ(ReducedPixels(2, 0.1, {0, 0, 6, 250, 250, 250}), (std::vector<int>{0, 0, 6, 255, 255, 5}));
}

// The definition in real numbers, channel positions given outright.
TEST(ColorReduce, TreatsEveryFormatAlikeAndLeavesAlphaAlone) {
    const struct {
        PixFmt pixFmt;
        int positions[3];
    } formats[] = {{PixFmt::Rgb24, {0, 1, 2}}, {PixFmt::Bgr24, {2, 1, 0}}, {PixFmt::Rgba, {0, 1, 2}},
                   {PixFmt::Rgba2, {0, 1, 2}}, {PixFmt::Bgra, {2, 1, 0}},  {PixFmt::Bgra2, {2, 1, 0}},
                   {PixFmt::Argb, {1, 2, 3}},  {PixFmt::Argb2, {1, 2, 3}}, {PixFmt::Abgr, {3, 2, 1}},
                   {PixFmt::Abgr2, {3, 2, 1}}};
    const double weights[3] = {0.299, 0.587, 0.114};
    for (const auto& format : formats) {
        for (int reduced = 0; reduced < 3; ++reduced) {
            const FramePtr input = MakeFrame(format.pixFmt, 97, 61);
            const int a = format.positions[reduced], b = format.positions[reduced == 0 ? 1 : 0],
                      c = format.positions[reduced == 2 ? 1 : 2];
            const double wa = weights[reduced], wb = weights[reduced == 0 ? 1 : 0], wc = weights[reduced == 2 ? 1 : 2];
            const FramePtr expected = CloneFrame(*input, kCloneIndependent);
            const Plane plane = expected->GetPlane(0);
            const std::uint8_t* darkest = nullptr;
            double least = 1e9;
            for (std::uint64_t i = 0; i < 97 * 61; ++i) {
                const std::uint8_t* p = std::as_const(*input).GetPlane(0).GetOffsetPtr(i % 97, i / 97);
                const double luma = p[b] * wb + p[a] * wa + p[c] * wc;
                if (luma < least) {
                    least = luma;
                    darkest = p;
                }
            }
            const int floor = std::min({darkest[a], darkest[b], darkest[c]});
            for (std::uint64_t i = 0; i < 97 * 61; ++i) {
                std::uint8_t* p = plane.GetOffsetPtr(i % 97, i / 97);
                const double others = p[c] * wc + p[b] * wb;
                if (!(p[a] * wa / others > 0.35)) continue;
                const int grey = static_cast<int>(std::min(255.0, std::floor(others * 0.5 / wa + 0.5)));
                for (const int k : {a, b, c}) p[k] = static_cast<std::uint8_t>(grey + darkest[k] - floor);
            }
            EXPECT_TRUE(SameFrames(Apply(Reduce(reduced, 0.7), input), expected))
                << Name(format.pixFmt) << ' ' << reduced;
        }
    }
}

TEST(ColorReduce, AsksForItsFormatsInOrder) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectColorReduce::CLASS_ID);
    FramePtr frame = MakeFrame(PixFmt::Yuva444p, 4, 4);
    spied.effect->ProcessData(frame);
    EXPECT_THAT(
        spied.factory->TakeTranscript(),
        testing::Contains("set SettingsColorspaceConverter#2 pixFmts=2,3,26,121,28,123,25,120,27,122 accurate=true"));
}

TEST(ColorReduce, RefusesAColourThatIsNone) {
    const FramePtr input = MakeFrame(PixFmt::Yuv420p, 4, 4);
    const OneInputPtr effect = CreateModuleEffect(SettingsEffectColorReduce::CLASS_ID);
    effect->SetSettings(Reduce(3, 1.0));
    FramePtr frame = input;
    EXPECT_THROW(effect->ProcessData(frame), std::runtime_error);
    EXPECT_EQ(frame, input) << "the caller's own frame, not a converted one";
}

}  // namespace
}  // namespace Orvexa::Test
