#include <gtest/gtest.h>

#include <cmath>

#include "Host/Settings/Photo/SettingsEffectWhiteBalance.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

FramePtr Balance(const Color& color, FramePtr frame) {
    SettingsEffectWhiteBalance settings;
    settings.SetColor(color);
    return Apply(settings, std::move(frame));
}

// The curve in real numbers, rounded down: lines 0 -> 0, v -> g, 255 -> 255, or slope 2 above v where the upper line
// rises 5 or more a step.
int Expected(int v, int g, int x) {
    if (v > 0 && x <= v) return static_cast<int>(std::floor(static_cast<double>(g) * x / v));
    if (v > 0 && v < 255 && std::floor((255.0 - g) / (255.0 - v)) >= 5) return g + 2 * (x - v);
    return static_cast<int>(std::floor(g + (255.0 - g) * (x - v) / (255.0 - v)));
}

// Every level once in every channel.
FramePtr Levels(PixFmt pixFmt) {
    FramePtr frame = MakeFrame(pixFmt, 256, 1, Pattern::Noise);
    const Plane plane = frame->GetPlane(0);
    for (std::uint64_t x = 0; x < 256; ++x) {
        for (int k = 0; k < 3; ++k) plane.GetOffsetPtr(x, 0)[k] = static_cast<std::uint8_t>(x);
    }
    return frame;
}

TEST(WhiteBalance, SendsEveryLevelThroughTheCurveOfItsByte) {
    const Color colors[] = {
        {200, 180, 150}, {0, 90, 120}, {255, 30, 60},   {250, 40, 10}, {1, 254, 128}, {255, 255, 0},
        {254, 3, 3},     {0, 0, 0},    {255, 255, 255}, {230, 65, 65}, {230, 95, 95}};  // upper lines that rise by 5.4
                                                                                        // and by 4.6 a step
    for (const PixFmt pixFmt :
         {PixFmt::Rgb24, PixFmt::Bgr24, PixFmt::Rgba, PixFmt::Bgra, PixFmt::Rgba2, PixFmt::Bgra2}) {
        const FramePtr levels = Levels(pixFmt);
        for (const Color& color : colors) {
            const int grey = (color[0] + color[1] + color[2]) / 3;
            const FramePtr balanced = Balance(color, levels);
            EXPECT_EQ(balanced->GetPixFmt(), pixFmt);
            const ConstPlane before = std::as_const(*levels).GetPlane(0), after = std::as_const(*balanced).GetPlane(0);
            for (std::uint64_t x = 0; x < 256; ++x) {
                // Byte k of the colour drives byte k of the pixel, in BGR formats, too.
                for (int k = 0; k < 3; ++k) {
                    ASSERT_EQ(after.GetOffsetPtr(x, 0)[k], Expected(color[k], grey, static_cast<int>(x)))
                        << Name(pixFmt) << " level " << x << " byte " << k;
                }
                if (before.GetBytesPerPixel() == 4) {
                    ASSERT_EQ(after.GetOffsetPtr(x, 0)[3], before.GetOffsetPtr(x, 0)[3]);
                }
            }
        }
    }
}

TEST(WhiteBalance, MatchesResultsWorkedOutByHand) {
    const auto at = [](const Color& color, int level, int channel) {
        return static_cast<int>(
            Bytes(*Balance(color, Levels(PixFmt::Rgb24)))[static_cast<std::size_t>(level * 3 + channel)]);
    };
    EXPECT_EQ(at({0, 90, 120}, 0, 0), 70) << "a channel that lacks in the reference is lifted";
    EXPECT_EQ(at({0, 90, 120}, 255, 0), 255);
    EXPECT_EQ(at({0, 90, 120}, 90, 1), 70);
    EXPECT_EQ(at({255, 30, 15}, 255, 0), 100) << "white is not kept where the reference is full";
    EXPECT_EQ(at({250, 30, 20}, 250, 0), 100);
    EXPECT_EQ(at({250, 30, 20}, 255, 0), 110) << "slope 2 instead of 31";
    for (int grey = 0; grey < 256; ++grey) {
        const auto g = static_cast<std::uint8_t>(grey);
        ASSERT_TRUE(SameFrames(Balance({g, g, g}, Levels(PixFmt::Rgb24)), Levels(PixFmt::Rgb24)))
            << "a neutral reference changes nothing";
    }
}

TEST(WhiteBalance, GivesTheSameColoursFromEveryFormat) {
    const Color color(200, 180, 150);
    const FramePtr rgb = MakeFrame(PixFmt::Rgb24, 97, 61, Pattern::ColorCube);
    const FramePtr expected = Balance(color, rgb);
    for (const PixFmt pixFmt : {PixFmt::Rgba, PixFmt::Yuv444p, PixFmt::Yuva444p}) {
        const FramePtr balanced = Balance(color, Converted(rgb, pixFmt));
        EXPECT_EQ(balanced->GetPixFmt(), pixFmt);
        // Y'CbCr rounds three times: on the way in, where a curve of slope below 2 may double the error, and on the way
        // back and out.
        const int tolerance = PixFmtDescription::Get(pixFmt).IsPlanar() ? 4 : 0;
        EXPECT_TRUE(SameFrames(Converted(balanced, PixFmt::Rgb24), expected, tolerance)) << Name(pixFmt);
    }
}

TEST(WhiteBalance, IgnoresTheAlphaOfTheColour) {
    EXPECT_TRUE(
        SameFrames(Balance({200, 180, 150, 3}, Levels(PixFmt::Rgba)), Balance({200, 180, 150}, Levels(PixFmt::Rgba))));
}

}  // namespace
}  // namespace Orvexa::Test
