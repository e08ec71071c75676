#include <gtest/gtest.h>

#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsEffectCompose.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

SettingsEffectCompose Settings(ComposeOperator composition, int opacity = 100) {
    SettingsEffectCompose settings;
    settings.SetOperator(composition);
    settings.SetOpacity(opacity);
    return settings;
}

int Composed(const SettingsEffectCompose& settings, int d, int s) {
    return Bytes(*RunHost(settings, MakeFrame(PixFmt::Gray8, 1, 1, {d}), MakeFrame(PixFmt::Gray8, 1, 1, {s})))[0];
}

TEST(Compose, MakesOneSampleOfTwo) {
    using enum ComposeOperator;
    struct {
        ComposeOperator composition;
        int d, s, result;
    } const cases[] = {
        {Multiply, 200, 100, 78},                                 // 78.4
        {Screen, 200, 100, 222},                                  // 255 - 55 * 155 / 255
        {Overlay, 200, 100, 188},                                 // 255 - 2 * 55 * 155 / 255
        {Overlay, 50, 100, 39},                                   // 2 * 50 * 100 / 255
        {HardLight, 200, 100, 157},                               // 2 * 200 * 100 / 255
        {HardLight, 100, 200, 188},  {SoftLight, 200, 100, 191},  // 200 - 55 * 200 * 55 / 255^2
        {SoftLight, 200, 228, 220},                               // 200 + 201 / 255 * (sqrt(200 * 255) - 200)
        {ColorDodge, 100, 51, 125},                               // 100 / 0.8
        {ColorDodge, 200, 200, 255}, {ColorDodge, 0, 255, 0},    {ColorDodge, 1, 255, 255},
        {ColorBurn, 200, 204, 186},  // 255 - 55 / 0.8
        {ColorBurn, 100, 50, 0},     {ColorBurn, 255, 0, 255},   {ColorBurn, 254, 0, 0},
        {Darken, 200, 100, 100},     {Lighten, 200, 100, 200},   {Difference, 100, 160, 60},
    };
    for (const auto& [composition, d, s, result] : cases) {
        EXPECT_EQ(Composed(Settings(composition), d, s), result)
            << static_cast<int>(composition) << ": " << d << ", " << s;
    }
    EXPECT_EQ(Composed(Settings(Darken, 0), 200, 100), 200);
    EXPECT_EQ(Composed(Settings(Darken, 25), 200, 100), 175);
    EXPECT_THROW(Composed(Settings(static_cast<ComposeOperator>(10)), 1, 2), EffectException);
}

TEST(Compose, KeepsAlphaAndWhatTheSecondInputDoesNotReach) {
    const FramePtr d = MakeFrame(PixFmt::Bgra, 7, 5), s = MakeFrame(PixFmt::Bgra, 4, 9, Pattern::Ramp);
    const FramePtr result = RunHost(Settings(ComposeOperator::Difference), d, s);
    for (std::uint32_t y = 0; y < 5; ++y) {
        for (std::uint32_t x = 0; x < 7; ++x) {
            for (int k = 0; k < 4; ++k) {
                const int under = SampleAt(d, x, y, k);
                const int over = x < 4 && k < 3 ? SampleAt(s, x, y, k) : 0;
                ASSERT_EQ(SampleAt(result, x, y, k), std::abs(under - over)) << x << ", " << y << ", " << k;
            }
        }
    }
}

TEST(Compose, ComposesOtherFormatsAsRgb) {
    const FramePtr d = MakeFrame(PixFmt::Yuv444p, 7, 5), s = MakeFrame(PixFmt::Gray8, 7, 5);
    const FramePtr result = RunHost(Settings(ComposeOperator::Multiply), d, s);
    const FramePtr expected = Converted(
        RunHost(Settings(ComposeOperator::Multiply), Converted(d, PixFmt::Rgb24), Converted(s, PixFmt::Rgb24)),
        PixFmt::Yuv444p);
    EXPECT_TRUE(SameFrames(result, expected));
}

}  // namespace
}  // namespace Orvexa::Test
