// Tone by itself and by the picture: BalanceLuma, ColorBalanceAuto.

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "Host/Settings/Common/SettingsEffectAlpha.h"
#include "Host/Settings/Photo/SettingsEffectBalanceLuma.h"
#include "Host/Settings/Photo/SettingsEffectColorBalanceAuto.h"
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

SettingsEffectColorBalanceAuto Auto(bool white, bool light, int exposure = 0) {
    SettingsEffectColorBalanceAuto settings;
    settings.SetWhiteBalance(white);
    settings.SetLightBalance(light);
    settings.SetExposure(exposure);
    return settings;
}

// All orders of bytes with the switches on: the picture in another order is the result in that order.
TEST(ColorBalanceAuto, TreatsEveryFormatAlikeAndLeavesAlphaAlone) {
    const FramePtr noise = MakeFrame(PixFmt::Rgba, 197, 161);
    // Each channel in a range of its own with thin tails, as in a dull photograph.
    const FramePtr dull = DrawFrame(PixFmt::Rgba, 197, 161, [&](int x, int y, int k) {
        const int v = SampleAt(noise, x, y, k);
        return k == 3 || v < 2 ? v : v > 253 ? 240 + k : 30 + k * 9 + v * (150 + k * 10) / 255;
    });
    for (const auto& settings : {Auto(true, false), Auto(false, true), Auto(true, true, 10), Auto(false, false, -20)}) {
        const FramePtr expected = Apply(settings, dull);
        EXPECT_FALSE(SameFrames(expected, dull));
        EXPECT_TRUE(SameFrames(RunHost(SettingsEffectAlphaExtractor(), expected),
                               RunHost(SettingsEffectAlphaExtractor(), dull)));
        for (const PixFmt pixFmt : {PixFmt::Rgb24, PixFmt::Bgr24, PixFmt::Bgra, PixFmt::Rgba2, PixFmt::Bgra2}) {
            EXPECT_TRUE(SameFrames(Apply(settings, Converted(dull, pixFmt)), Converted(expected, pixFmt)))
                << Name(pixFmt) << ' ' << FormatSettings(settings);
        }
    }
}

TEST(ColorBalanceAuto, MatchesResultsWorkedOutByHand) {
    // Greys from 40 to 201: light balance stretches from 20, half of the darkest, and to 228, half way from the
    // brightest to white, each channel and then luma.
    const FramePtr greys = DrawFrame(PixFmt::Rgb24, 162, 40, [](int x, int, int) { return 40 + x; });
    const auto gamma = [](double v) { return std::round(std::pow(v / 255, 1.0402365) * 255); };
    const auto stretched = [](double v) { return std::round((v - 20) * 255 / (228 - 20)); };
    const FramePtr balanced = Apply(Auto(false, true), greys);
    for (const int x : {0, 30, 60, 161}) {
        EXPECT_NEAR(SampleAt(balanced, x, 0), std::min(255.0, gamma(stretched(gamma(stretched(40 + x))))), 1) << x;
    }
    EXPECT_EQ(SampleAt(Apply(Auto(false, false, 10), greys), 60, 0), 130) << "1.3 * 100";
    EXPECT_EQ(SampleAt(Apply(Auto(false, false, -20), greys), 60, 0), 63) << "100 / 1.6 = 62.5";
}

TEST(ColorBalanceAuto, DividesTheQuotaByTheWeightOfTheChannel) {
    // 100 x 100 pixels: red needs 3 pixels to become black, green 1, blue 8; no quota is left for white.
    const FramePtr input = MakeFrame(PixFmt::Rgb24, 100, 100, Color(200, 200, 200));
    for (int i = 0; i < 7; ++i) {
        std::uint8_t* pixel = input->GetPlane(0).GetOffsetPtr(static_cast<std::uint64_t>(i), 0);
        pixel[0] = i < 3 ? 51 : 200;
        pixel[1] = i < 1 ? 51 : 200;
        pixel[2] = 51;
    }
    const std::vector<std::uint8_t> result = Bytes(*Apply(Auto(true, false), input));
    EXPECT_EQ(result[0], 0) << "red 51 is black";
    EXPECT_EQ(result[1], 0) << "green 51 is black";
    EXPECT_EQ(result[3 * 50], std::lround((200 - 51) * 255.0 / (255 - 51)));
    EXPECT_EQ(result[3 * 50 + 2], std::lround((200 - 200) * 255.0 / (255 - 200)))
        << "seven pixels are too few for blue: 200 is its black";
}

TEST(ColorBalanceAuto, LeavesOnlyTheDoubledGammaOnAFullRangePicture) {
    // Black and white three columns each, more than 0.5 % of the pixels; the other levels one column.
    FramePtr input = MakeFrame(PixFmt::Rgb24, 260, 40);
    for (std::uint64_t y = 0; y < 40; ++y) {
        for (int x = 0; x < 260; ++x) {
            std::fill_n(input->GetPlane(0).GetOffsetPtr(static_cast<std::uint64_t>(x), y), 3,
                        static_cast<std::uint8_t>(std::clamp(x - 2, 0, 255)));
        }
    }
    const std::vector<std::uint8_t> result = Bytes(*Apply(Auto(false, true), input));
    const int once = static_cast<int>(std::pow(128 / 255.0, 1.0402365) * 255 + 0.5);
    EXPECT_EQ(once, 124) << "124.9987 before the truncation";
    EXPECT_EQ(result[3 * 130], static_cast<int>(std::pow(once / 255.0, 1.0402365) * 255 + 0.5));
    EXPECT_EQ(result[0], 0);
    EXPECT_EQ(result[3 * 259], 255);
}

}  // namespace
}  // namespace Orvexa::Test
