#include <gtest/gtest.h>

#include "Host/Settings/Photo/SettingsEffectColoredGlass.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

SettingsEffectColoredGlass Glass(int alpha, const Color& color) {
    SettingsEffectColoredGlass settings;
    settings.SetAlpha(alpha);
    settings.SetColor(color);
    return settings;
}

TEST(ColoredGlass, BlendsEveryByteTowardTheColourInTheFormatsOwnOrder) {
    const Color color(200, 20, 90, 60);
    const struct {
        PixFmt pixFmt;
        std::vector<int> pixel;
    } formats[] = {{PixFmt::Rgb24, {200, 20, 90}},    {PixFmt::Bgr24, {90, 20, 200}},
                   {PixFmt::Rgba, {200, 20, 90, 60}}, {PixFmt::Bgra, {90, 20, 200, 60}},
                   {PixFmt::Argb, {60, 200, 20, 90}}, {PixFmt::Abgr, {60, 90, 20, 200}}};
    for (const auto& format : formats) {
        for (const auto& [width, height] : kSizes) {
            for (const int alpha : {0, 1, 30, 50, 99, 100}) {
                const FramePtr input = MakeFrame(format.pixFmt, width, height);
                const FramePtr expected = CloneFrame(*input, kCloneIndependent);
                const Plane plane = expected->GetPlane(0);
                const int opacity = alpha * 255 / 100;
                for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
                    for (std::uint64_t b = 0; b < plane.GetWidth(); ++b) {
                        // Division by 255, rounded down.
                        const int sum =
                            plane.GetRow(y)[b] * (255 - opacity) + format.pixel[b % format.pixel.size()] * opacity;
                        plane.GetRow(y)[b] = static_cast<std::uint8_t>(sum / 255);
                    }
                }
                EXPECT_TRUE(SameFrames(Apply(Glass(alpha, color), input), expected)) << alpha;
            }
        }
    }
}

// Sums of 16 bits wrap: 100 * (255 - 382) + 10 * 382 = -8880 is 56656, a 255th of which is 222.
TEST(ColoredGlass, TakesOpacitiesBeyondTheWholeAsTheyAre) {
    for (const std::uint32_t width : {1u, 40u}) {  // one by one, and in vectors
        const FramePtr result =
            Apply(Glass(150, Color(10, 10, 10)), MakeFrame(PixFmt::Rgb24, width, 1, Color(100, 100, 100)));
        EXPECT_TRUE(SameFrames(result, MakeFrame(PixFmt::Rgb24, width, 1, Color(222, 222, 222)))) << width;
    }
}

TEST(ColoredGlass, LeavesItsWorkingFormatToTheHost) {
    EXPECT_EQ(Apply(Glass(50, Color(1, 2, 3)), MakeFrame(PixFmt::Yuv420p, 8, 8))->GetPixFmt(), PixFmt::Rgb24);
    EXPECT_EQ(Apply(Glass(50, Color(1, 2, 3)), MakeFrame(PixFmt::Yuva420p, 8, 8))->GetPixFmt(), PixFmt::Rgba);
}

}  // namespace
}  // namespace Orvexa::Test
