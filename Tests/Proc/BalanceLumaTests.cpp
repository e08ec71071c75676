#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "Host/Settings/Photo/SettingsEffectBalanceLuma.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

SettingsEffectBalanceLuma Tone(int shadows, int highlights, int exposure, bool autoContrast = false) {
    SettingsEffectBalanceLuma settings;
    settings.SetShadows(shadows);
    settings.SetHighlights(highlights);
    settings.SetExposure(exposure);
    settings.SetAutoContrast(autoContrast);
    return settings;
}

// What each level becomes: a picture of 256 levels, each as often.
std::vector<int> CurveOf(const SettingsEffectBalanceLuma& settings) {
    std::vector<int> levels(256);
    std::iota(levels.begin(), levels.end(), 0);
    const FramePtr ramp = MakeFrame(PixFmt::Yuv444p, 256, 1);
    for (std::size_t i = 0; i < levels.size(); ++i) ramp->GetPlane(0).GetRow(0)[i] = static_cast<std::uint8_t>(i);
    const std::vector<std::uint8_t> luma = Bytes(std::as_const(*Apply(settings, ramp)).GetPlane(0));
    return std::vector<int>(luma.begin(), luma.end());
}

TEST(BalanceLuma, MatchesResultsWorkedOutByHand) {
    const struct {
        int shadows, highlights, exposure, level, expected;
    } cases[] = {
        {100, 0, 0, 0, 41},
        {100, 0, 0, 128, 149},  // 100 * 10 / 7 * 0.29 = 41.43 at black, half of it in the middle
        {0, 1, 0, 100, 99},
        {0, 1, 0, 255, 254},
        {0, 1, 0, 0, 0},  // the rounding half lowers every level
        {0, 100, 0, 128, 148},
        {0, 100, 0, 255, 255},
        {0, 0, 25, 128, 255},
        {0, 0, 25, 100, 200},
        {0, 0, -25, 101, 51},
        {0, 0, -25, 255, 128},
        // Half of 41.43 is 20.71, and the rounding half goes up for shadows and down for highlights.
        {-100, 0, 0, 128, 107},
        {0, -100, 0, 128, 106},
        {4, 0, 0, 0, 0},
        {36, 0, 0, 0, 9},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(CurveOf(Tone(c.shadows, c.highlights, c.exposure))[static_cast<std::size_t>(c.level)], c.expected)
            << c.shadows << ' ' << c.highlights << ' ' << c.exposure << " at " << c.level;
    }
}

TEST(BalanceLuma, KeepsChromaAndAlphaInEveryWorkingFormat) {
    for (const PixFmt pixFmt :
         {PixFmt::Yuv444p, PixFmt::Yuv420p, PixFmt::Yuv422p, PixFmt::Yuv440p, PixFmt::Yuva444p, PixFmt::Yuva420p}) {
        const FramePtr input = MakeFrame(pixFmt, 97, 61);
        const FramePtr output = Apply(Tone(50, -20, 10, true), input);
        ASSERT_EQ(output->GetPixFmt(), pixFmt);
        for (std::uint8_t i = 1; i < GetPlanesCount(*input); ++i) {
            EXPECT_EQ(Bytes(std::as_const(*output).GetPlane(i)), Bytes(std::as_const(*input).GetPlane(i)))
                << Name(pixFmt) << int{i};
        }
        EXPECT_TRUE(SameFrames(Apply(Tone(0, 0, 0), input), input)) << "neutral settings";
    }
}

// A picture of 200 x 100 with the given counts of levels; the rest has level 128.
FramePtr Counted(const std::vector<std::pair<int, int>>& levels) {
    const FramePtr frame = MakeFrame(PixFmt::Yuv444p, 200, 100, Color(128, 128, 128));
    std::size_t at = 0;
    for (const auto& [level, count] : levels) {
        for (int i = 0; i < count; ++i, ++at)
            frame->GetPlane(0).GetRow(at / 200)[at % 200] = static_cast<std::uint8_t>(level);
    }
    return frame;
}

TEST(BalanceLuma, StretchesBetweenTheQuotasOfTheUntouchedLuma) {
    // 20000 pixels: 20 may lie below black, 2 above white.
    const FramePtr input = Counted({{3, 19}, {16, 1}, {235, 1}, {250, 1}, {50, 1}});
    const auto lumaOf = [](const FramePtr& frame) { return Bytes(std::as_const(*frame).GetPlane(0)); };
    const auto stretched = lumaOf(Apply(Tone(0, 0, 0, true), input));
    EXPECT_EQ(stretched[0], 0);
    EXPECT_EQ(stretched[19], 0) << "16 is black";
    EXPECT_EQ(stretched[20], 255) << "235 is white";
    EXPECT_EQ(stretched[21], 255);
    EXPECT_EQ(stretched[22], std::lround((50 - 16) * 255.0 / (235 - 16)));
    // Exposure goes first, but the limits stay those of the input.
    EXPECT_EQ(lumaOf(Apply(Tone(0, 0, 25, true), input))[22], std::lround((2 * 50 - 16) * 255.0 / (235 - 16)));
}

TEST(BalanceLuma, DoesNotStretchFlatOrSmallPictures) {
    const FramePtr flat = MakeFrame(PixFmt::Yuv444p, 200, 100, Color(77, 77, 77));
    EXPECT_TRUE(SameFrames(Apply(Tone(0, 0, 0, true), flat), flat));
    const FramePtr small = MakeFrame(PixFmt::Yuv444p, 30, 30, Pattern::Noise);  // both quotas are 0
    EXPECT_TRUE(SameFrames(Apply(Tone(0, 0, 0, true), small), small));
}

}  // namespace
}  // namespace Orvexa::Test
