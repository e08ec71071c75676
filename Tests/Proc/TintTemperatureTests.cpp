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
    for (const PixFmt pixFmt :
         {PixFmt::Rgb24, PixFmt::Bgr24, PixFmt::Rgba, PixFmt::Bgra, PixFmt::Bgra2, PixFmt::Yuv444p}) {
        const FramePtr input = Muted(pixFmt);
        const PixFmtDescription& description = PixFmtDescription::Get(pixFmt);
        const FramePtr shifted =
            CloneFrame(*Converted(input, description.IsPlanar() ? PixFmt::Rgb24 : pixFmt), kCloneIndependent);
        const int red = description.IsPlanar() ? 0 : description.red;
        for (std::uint64_t i = 0; i < 97 * 61; ++i) {
            std::uint8_t* pixel = shifted->GetPlane(0).GetOffsetPtr(i % 97, i / 97);
            pixel[red] = static_cast<std::uint8_t>(pixel[red] + 25);
            pixel[1] = static_cast<std::uint8_t>(pixel[1] - 10);
            pixel[2 - red] = static_cast<std::uint8_t>(pixel[2 - red] - 25);
        }
        const PixFmt lumaFormat = description.HasAlpha() ? PixFmt::Yuva444p : PixFmt::Yuv444p;
        const FramePtr expected = Converted(shifted, lumaFormat);
        const FramePtr before =
            Converted(Converted(input, description.IsPlanar() ? PixFmt::Rgb24 : pixFmt), lumaFormat);
        CopyPlane(std::as_const(*before).GetPlane(0), expected->GetPlane(0));
        EXPECT_TRUE(SameFrames(Apply(Shift(25, -10), input), Converted(expected, pixFmt))) << Name(pixFmt);
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
    EXPECT_TRUE(SameFrames(frame, MakeFrame(PixFmt::Rgb24, 4, 4, Color(grey, grey, grey)), 1))
        << "black, with the luma of the picture";
}

}  // namespace
}  // namespace Orvexa::Test
