#include "Host/Settings/Common/SettingsEffectAlpha.h"
#include "Host/Settings/Common/SettingsEffectSmartBlur.h"
#include "Tests/Host/Effects/HostEffects.h"

namespace Orvexa::Test {
namespace {

SettingsEffectSmartBlur Blurring(int radius, int blur, int sharpen = 0) {
    SettingsEffectSmartBlur settings;
    settings.SetLumaRadius(radius);
    settings.SetLumaBlur(blur);
    settings.SetLumaSharpen(sharpen);
    settings.SetChromaRadius(radius);
    settings.SetChromaBlur(blur);
    settings.SetChromaSharpen(sharpen);
    return settings;
}

double Spread(const Grid& grid, int fromX, int toX) {
    double low = 255, high = 0;
    for (int y = 0; y < grid.height; ++y) {
        for (int x = fromX; x < toX; ++x) low = std::min(low, grid.At(x, y)), high = std::max(high, grid.At(x, y));
    }
    return high - low;
}

TEST(SmartBlur, AtFullStrengthIsTwoMeansOverTheWindow) {
    const FramePtr source = MakeFrame(PixFmt::Gray8, 61, 1);
    const Grid result = Read(*RunHost(Blurring(50, 100), source), 0);
    const auto mean = [](const auto& get, int size, int i) {
        double sum = 0;
        for (int k = i - 7; k <= i + 7; ++k)
            sum += get(k < 0 ? -k : k >= size ? 2 * (size - 1) - k : k);  // half of 14 pixels
        return sum / 15;
    };
    const Grid expected = AlongX(AlongX(Read(*source, 0), 61, mean), 61, mean);
    for (int x = 0; x < 61; ++x) EXPECT_NEAR(result.At(x, 0), expected.At(x, 0), 0.51) << x;
}

TEST(SmartBlur, KeepsAStrongEdgeAndSmoothsNoise) {
    const FramePtr frame = MakeFrame(PixFmt::Gray8, 80, 60);
    Grid picture = Read(*frame, 0);
    for (int y = 0; y < 60; ++y) {
        for (int x = 0; x < 80; ++x) picture.At(x, y) = (x < 40 ? 40 : 210) + picture.At(x, y) / 16;
    }
    Write(*frame, 0, 0, picture);
    const Grid smart = Read(*RunHost(Blurring(50, 30), frame), 0), full = Read(*RunHost(Blurring(50, 100), frame), 0);
    EXPECT_GT(smart.At(40, 30) - smart.At(39, 30), 130) << "the step is 170";
    EXPECT_LT(full.At(40, 30) - full.At(39, 30), 30);
    EXPECT_LT(Spread(smart, 0, 25), Spread(picture, 0, 25) / 3);
    const Grid sharp = Read(*RunHost(Blurring(50, 30, 100), frame), 0);
    EXPECT_GT(sharp.At(40, 30) - sharp.At(39, 30), smart.At(40, 30) - smart.At(39, 30));
}

TEST(SmartBlur, LeavesAlphaAloneAndTreatsEveryFormat) {
    for (const PixFmt pixFmt : AllPixFmts()) {
        for (const auto& [width, height] : kSizes) {
            const GuardedFrame source(pixFmt, width, height);
            const FramePtr result = RunHost(Blurring(100, 100), source.GetFrame());
            EXPECT_EQ(result->GetFrameInfo(), source.GetFrame()->GetFrameInfo());
            EXPECT_TRUE(source.IsGuardIntact());
            if (pixFmt == PixFmt::Pal8) continue;
            EXPECT_EQ(result->GetPixFmt(), pixFmt);
            FramePtr before = source.GetFrame(), after = result;
            CreateOneInput(SettingsEffectAlphaExtractor())->ProcessData(before);
            CreateOneInput(SettingsEffectAlphaExtractor())->ProcessData(after);
            if (before != nullptr) {
                EXPECT_TRUE(SameFrames(after, before)) << Name(pixFmt);
            }
        }
    }
}

TEST(SmartBlur, HiddenColoursStayHidden) {
    const Color shown(200, 100, 50);
    for (const PixFmt pixFmt : {PixFmt::Rgba, PixFmt::Yuva444p}) {
        const FramePtr source = MakeHalfHidden(pixFmt, 60, 10, shown, Color(0, 255, 255)),
                       flat = MakeFrame(pixFmt, 60, 10, shown);
        for (const auto& settings : {Blurring(50, 100), Blurring(50, 40), Blurring(0, 0, 100)}) {
            const FramePtr result = RunHost(settings, source);
            for (std::uint8_t i = 0; i < (pixFmt == PixFmt::Rgba ? 1 : 3); ++i) {
                for (int x = 0; x < 30; ++x)
                    EXPECT_NEAR(Read(*result, i).At(x, 5), Read(*flat, i).At(x, 5), 1) << Name(pixFmt) << ' ' << x;
            }
        }
    }
}

TEST(SmartBlur, CanSmoothColourAndKeepBrightness) {
    SettingsEffectSmartBlur settings = Blurring(0, 0);
    settings.SetChromaRadius(100);
    settings.SetChromaBlur(100);
    const FramePtr source = MakeFrame(PixFmt::Rgb24, 64, 48);
    const FramePtr result = RunHost(settings, source);
    EXPECT_LT(Spread(Read(*Converted(result, PixFmt::Yuv444p), 1), 16, 48),
              0.5 * Spread(Read(*Converted(source, PixFmt::Yuv444p), 1), 16, 48));
    EXPECT_TRUE(SameFrames(RunHost(Blurring(100, 0), source), source)) << "no blur at all";
}

}  // namespace
}  // namespace Orvexa::Test
