// Effects on tone and colour that look at luma: BlackWhite, TintTemperature, Gradient, GradientPosterize.

#include <gtest/gtest.h>

#include <cmath>

#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsEffectPosterize.h"
#include "Host/Settings/Photo/SettingsEffectBlackWhite.h"
#include "Host/Settings/Photo/SettingsEffectGradient.h"
#include "Host/Settings/Photo/SettingsEffectGradientPosterize.h"
#include "Host/Settings/Photo/SettingsEffectTintTemperature.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

SettingsEffectBlackWhite Threshold(double threshold) {
    SettingsEffectBlackWhite settings;
    settings.SetThreshold(threshold);
    settings.SetColorBelow(Color(10, 20, 30, 40));
    settings.SetColorAbove(Color(200, 190, 180, 255));
    return settings;
}

TEST(BlackWhite, SplitsAtTheRoundedThresholdOfLuma) {
    const struct {
        double threshold;
        int firstBright;
    } cases[] = {{0.5, 128}, {0.0, 0}, {1.0, 256}, {0.498, 127}, {0.5 / 256, 1}, {1.0 / 3, 85}};
    for (const auto& c : cases) {
        const FramePtr levels = DrawFrame(PixFmt::Rgba, 256, 1, [](int x, int, int) { return x; });
        const FramePtr expected = DrawFrame(PixFmt::Rgba, 256, 1, [&](int x, int, int k) {
            return x < c.firstBright ? Color(10, 20, 30, 40)[k] : Color(200, 190, 180, 255)[k];
        });
        EXPECT_TRUE(SameFrames(Apply(Threshold(c.threshold), levels), expected)) << c.threshold;
    }
}

TEST(BlackWhite, SplitsByTheLastThresholdSet) {
    const FramePtr levels = MakeFrame(PixFmt::Gray8, 97, 61);
    const OneInputPtr effect = CreateModuleEffect(SettingsEffectBlackWhite::CLASS_ID);
    for (const double threshold : {0.25, 0.75, 0.75}) {
        effect->SetSettings(Threshold(threshold));
        FramePtr frame = levels;
        effect->ProcessData(frame);
        EXPECT_TRUE(SameFrames(frame, Apply(Threshold(threshold), levels))) << threshold;
    }
    // Resetting alone leaves the split.
    SettingsEffectBlackWhite defaults;
    defaults.SetThreshold(0.75);
    effect->ResetSettings();
    FramePtr frame = levels;
    effect->ProcessData(frame);
    EXPECT_TRUE(SameFrames(frame, Apply(defaults, levels)));
}

TEST(BlackWhite, RefusesThresholdsOutsideOfTheRangeAndKeepsItsSettings) {
    const OneInputPtr effect = CreateModuleEffect(SettingsEffectBlackWhite::CLASS_ID);
    effect->SetSettings(Threshold(0.25));
    for (const double wrong : {-0.01, 1.01, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_THROW(effect->SetSettings(Threshold(wrong)), EffectException);
    EXPECT_EQ(dynamic_cast<const SettingsEffectBlackWhite&>(effect->GetSettingsBase()).GetThreshold(), 0.25);
}

SettingsEffectTintTemperature Shift(int temperature, int tint) {
    SettingsEffectTintTemperature settings;
    settings.SetTemperature(temperature);
    settings.SetTint(tint);
    return settings;
}

// Colours far enough from the corners of RGB that a shift stays representable.
FramePtr Muted(PixFmt pixFmt) {
    const FramePtr noise = MakeFrame(PixFmt::Rgb24, 97, 61);
    return Converted(
        DrawFrame(PixFmt::Rgb24, 97, 61, [&](int x, int y, int k) { return 100 + SampleAt(noise, x, y, k) % 56; }),
        pixFmt);
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

SettingsEffectGradient Stops(const SettingsEffectGradient::StopMap& stops) {
    SettingsEffectGradient settings;
    settings.SetStops(stops);
    return settings;
}

// Chroma of the colour that each level is mapped to, u and v as the first two bytes; luma is the level's own.
std::vector<Color> ChromaByLevel(const SettingsEffectGradient::StopMap& stops) {
    FramePtr ramp = MakeFrame(PixFmt::Yuv444p, 256, 1, Color(128, 128, 128));
    for (std::uint64_t x = 0; x < 256; ++x) *ramp->GetPlane(0).GetOffsetPtr(x, 0) = static_cast<std::uint8_t>(x);
    const FramePtr result = Apply(Stops(stops), ramp);
    std::vector<Color> chroma;
    for (std::uint64_t x = 0; x < 256; ++x) {
        EXPECT_EQ(*result->GetPlane(0).GetOffsetPtr(x, 0), x) << "luma is kept";
        chroma.emplace_back(*result->GetPlane(1).GetOffsetPtr(x, 0), *result->GetPlane(2).GetOffsetPtr(x, 0),
                            std::uint8_t{0});
    }
    return chroma;
}

void ExpectChroma(const std::vector<Color>& actual, std::size_t level, const Color& color) {
    EXPECT_NEAR(actual[level][0], color.u(), 1) << level;
    EXPECT_NEAR(actual[level][1], color.v(), 1) << level;
}

TEST(Gradient, InterpolatesBetweenStopsAndExtendsTheOuterOnes) {
    const Color red(255, 0, 0), blue(0, 0, 255);
    const auto palette = ChromaByLevel({{64, red}, {192, blue}});
    for (const std::size_t level : {0u, 30u, 64u}) ExpectChroma(palette, level, red);
    ExpectChroma(palette, 128, Color(128, 0, 127));  // 255 - 64 * 255 / 128 truncated toward zero
    for (const std::size_t level : {192u, 255u}) ExpectChroma(palette, level, blue);
    const auto single = ChromaByLevel({{100, Color(20, 200, 90)}});
    for (const std::size_t level : {0u, 100u, 255u}) ExpectChroma(single, level, Color(20, 200, 90));
    const auto touching = ChromaByLevel({{0, red}, {255, red}, {256, blue}});
    ExpectChroma(touching, 255, red);
}

// Without chroma on the way alpha tells the palette exactly.
TEST(Gradient, InterpolatesAlphaTruncatingTowardZero) {
    const FramePtr ramp = DrawFrame(PixFmt::Rgba, 256, 1, [](int x, int, int) { return x; });
    const FramePtr result =
        Apply(Stops({{0, Color(90, 90, 90, 250)}, {100, Color(90, 90, 90, 3)}, {200, Color(90, 90, 90, 100)}}), ramp);
    ASSERT_EQ(result->GetPixFmt(), PixFmt::Rgba);
    for (int x = 0; x < 256; ++x) {
        const double exact = x < 100 ? 250 + std::trunc(-2.47 * x) : x < 200 ? 3 + std::trunc(0.97 * (x - 100)) : 100;
        EXPECT_EQ(SampleAt(result, x, 0, 3), exact) << x;
    }
}

TEST(Gradient, ShowsRedStopsAsRedInEveryFormat) {
    for (const PixFmt pixFmt : {PixFmt::Rgb24, PixFmt::Bgr24, PixFmt::Rgba, PixFmt::Bgra}) {
        const FramePtr result =
            Apply(Stops({{0, Color(255, 0, 0)}}), MakeFrame(pixFmt, 4, 4, Color(76, 76, 76)));  // the luma of pure red
        ASSERT_EQ(result->GetPixFmt(), pixFmt);
        const int red = PixFmtDescription::Get(pixFmt).red;
        EXPECT_GT(result->GetPlane(0).GetData()[red], 240) << Name(pixFmt);
        EXPECT_LT(result->GetPlane(0).GetData()[2 - red], 15) << Name(pixFmt);
    }
}

TEST(Gradient, RefusesPositionsBeyondTheEndAndKeepsItsBlackPaletteForDefaults) {
    const OneInputPtr effect = CreateModuleEffect(SettingsEffectGradient::CLASS_ID);
    EXPECT_THROW(effect->SetSettings(Stops({{257, Color(1, 2, 3)}})), EffectException);
    effect->SetSettings(SettingsEffectGradient());
    FramePtr frame = MakeFrame(PixFmt::Yuv444p, 8, 8);
    effect->ProcessData(frame);
    EXPECT_EQ(Bytes(std::as_const(*frame).GetPlane(1)), std::vector<std::uint8_t>(64, 128)) << "black has no colour";
    EXPECT_FALSE(SettingsEffectGradient::Preset().GetStops().empty());
}

SettingsEffectGradientPosterize Tones(int count) {
    SettingsEffectGradientPosterize settings;
    settings.SetColorCount(static_cast<std::uint8_t>(count));
    return settings;
}

TEST(GradientPosterize, GivesEveryLevelItsMeanChroma) {
    for (const PixFmt pixFmt :
         {PixFmt::Yuv420p, PixFmt::Yuv444p, PixFmt::Yuva422p, PixFmt::Yuv410p, PixFmt::Yuvj411p, PixFmt::Yuv440p}) {
        for (const auto& [width, height] : kSizes) {
            for (const int count : {1, 8, 255}) {
                const FramePtr input = MakeFrame(pixFmt, width, height);
                const FramePtr output = Apply(Tones(count), input);
                ASSERT_EQ(output->GetPixFmt(), pixFmt);
                EXPECT_EQ(Bytes(std::as_const(*output).GetPlane(0)), Bytes(std::as_const(*input).GetPlane(0)))
                    << "luma stays";
                const PixFmtDescription& description = PixFmtDescription::Get(pixFmt);
                const ConstPlane luma = std::as_const(*input).GetPlane(0);
                for (std::uint8_t k = 1; k <= 2; ++k) {
                    const ConstPlane before = std::as_const(*input).GetPlane(k),
                                     after = std::as_const(*output).GetPlane(k);
                    const auto levelAt = [&](std::uint64_t x, std::uint64_t y) {
                        return luma.GetRow(y << description.chromaShiftY)[x << description.chromaShiftX] * count / 256;
                    };
                    std::vector<std::pair<unsigned, unsigned>> sums(256);
                    for (std::uint64_t y = 0; y < before.GetHeight(); ++y) {
                        for (std::uint64_t x = 0; x < before.GetWidth(); ++x) {
                            sums[static_cast<std::size_t>(levelAt(x, y))].first += before.GetRow(y)[x];
                            ++sums[static_cast<std::size_t>(levelAt(x, y))].second;
                        }
                    }
                    for (std::uint64_t y = 0; y < before.GetHeight(); ++y) {
                        for (std::uint64_t x = 0; x < before.GetWidth(); ++x) {
                            const auto& [sum, number] = sums[static_cast<std::size_t>(levelAt(x, y))];
                            ASSERT_EQ(after.GetRow(y)[x], sum / number) << Name(pixFmt) << ' ' << x << ' ' << y;
                        }
                    }
                }
            }
        }
    }
}

TEST(GradientPosterize, KeepsThePlanarFormatForPackedInput) {
    EXPECT_EQ(Apply(Tones(4), MakeFrame(PixFmt::Rgb24, 20, 20))->GetPixFmt(), PixFmt::Yuv444p);
    EXPECT_EQ(Apply(Tones(4), MakeFrame(PixFmt::Bgra, 20, 20))->GetPixFmt(), PixFmt::Yuva444p);
}

TEST(GradientPosterize, SendsTheNumberOfLevelsWithEverySetting) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectGradientPosterize::CLASS_ID);
    spied.factory->TakeTranscript();
    spied.effect->SetSettings(Tones(5));
    spied.effect->SetSettings(Tones(5));
    EXPECT_EQ(spied.factory->TakeTranscript(),
              std::vector<std::string>(2, "set SettingsEffectPosterize#1 colorsNumber=5 mode=index"));
}

TEST(Posterize, SpreadsLevelsOverTheFullRange) {
    SettingsEffectPosterize settings;
    settings.SetColorsNumber(3);
    const FramePtr frame = MakeFrame(PixFmt::Rgba, 3, 1, {0, 85, 86, 9, 170, 171, 255, 9, 128, 1, 254, 9});
    EXPECT_TRUE(SameFrames(RunHost(settings, frame),
                           MakeFrame(PixFmt::Rgba, 3, 1, {0, 0, 128, 9, 128, 255, 255, 9, 128, 0, 255, 9})));
}

}  // namespace
}  // namespace Orvexa::Test
