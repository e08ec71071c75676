#include <gtest/gtest.h>

#include "Host/Settings/Photo/SettingsEffectTintTemperature.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

SettingsEffectTintTemperature Shift(int temperature, int tint) {
    SettingsEffectTintTemperature settings;
    settings.SetTemperature(temperature);
    settings.SetTint(tint);
    return settings;
}

// Colours far enough from the corners of RGB that a shift stays representable.
FramePtr Muted(PixFmt pixFmt) {
    const FramePtr rgb = MakeFrame(PixFmt::Rgb24, 97, 61);
    for (std::uint64_t y = 0; y < 61; ++y) {
        for (std::uint64_t b = 0; b < 291; ++b)
            rgb->GetPlane(0).GetRow(y)[b] = static_cast<std::uint8_t>(100 + rgb->GetPlane(0).GetRow(y)[b] % 56);
    }
    return Converted(rgb, pixFmt);
}

TEST(TintTemperature, ShiftsColourAndKeepsLumaInEveryByteOrder) {
    for (const PixFmt pixFmt : {PixFmt::Rgb24, PixFmt::Bgr24, PixFmt::Rgba, PixFmt::Bgra, PixFmt::Bgra2, PixFmt::Yuv444p}) {
        const FramePtr input = Muted(pixFmt);
        const FramePtr warm = Apply(Shift(25, -10), input);
        ASSERT_EQ(warm->GetPixFmt(), pixFmt);
        const FramePtr before = Converted(input, PixFmt::Yuv444p), after = Converted(warm, PixFmt::Yuv444p);
        const FramePtr rgb = Converted(input, PixFmt::Rgb24), shifted = Converted(warm, PixFmt::Rgb24);
        for (std::uint64_t y = 0; y < 61; ++y) {
            for (std::uint64_t x = 0; x < 97; ++x) {
                ASSERT_NEAR(after->GetPlane(0).GetRow(y)[x], before->GetPlane(0).GetRow(y)[x], pixFmt == PixFmt::Yuv444p ? 0 : 1)
                    << Name(pixFmt);
                const std::uint8_t *p = rgb->GetPlane(0).GetOffsetPtr(x, y), *q = shifted->GetPlane(0).GetOffsetPtr(x, y);
                // Offsets (25, -10, -25) less their luma, -1.2; three roundings of Y'CbCr.
                ASSERT_NEAR(q[0] - p[0], 26, 4) << Name(pixFmt);
                ASSERT_NEAR(q[1] - p[1], -9, 4) << Name(pixFmt);
                ASSERT_NEAR(q[2] - p[2], -24, 4) << Name(pixFmt);
            }
        }
    }
}

TEST(TintTemperature, ChangesNothingAtZeroBeyondTheRoundingOfTheLumaFormat) {
    const FramePtr input = Muted(PixFmt::Rgb24);
    EXPECT_TRUE(SameFrames(Apply(Shift(0, 0), input), input, 1));
}

TEST(TintTemperature, AcceptsAnyNumberAndSaturates) {
    for (const int extreme : {300, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        const FramePtr result = Apply(Shift(extreme, 0), MakeFrame(PixFmt::Rgb24, 4, 4, Color(128, 128, 128)));
        const std::uint8_t* pixel = result->GetPlane(0).GetData();
        EXPECT_EQ(pixel[0] > pixel[2], extreme > 0);
    }
}

TEST(TintTemperature, HasBlackTablesBeforeItsFirstSettings) {
    FramePtr frame = MakeFrame(PixFmt::Rgb24, 4, 4, Color(200, 100, 50));
    const OneInputPtr effect = CreateModuleEffect(SettingsEffectTintTemperature::CLASS_ID);
    effect->ProcessData(frame);
    const std::uint8_t grey = Color(200, 100, 50).y();
    EXPECT_TRUE(SameFrames(frame, MakeFrame(PixFmt::Rgb24, 4, 4, Color(grey, grey, grey)), 1)) << "black, with the luma of the picture";
}

}  // namespace
}  // namespace Orvexa::Test
