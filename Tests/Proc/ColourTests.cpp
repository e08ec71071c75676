// Effects on the bytes of packed formats: WhiteBalance, ColorReduce, ColoredGlass, BlendPalette.

#include <gmock/gmock.h>

#include <cmath>

#include "Host/Core/Exception.h"
#include "Host/Settings/Photo/SettingsEffectBlendPalette.h"
#include "Host/Settings/Photo/SettingsEffectColorReduce.h"
#include "Host/Settings/Photo/SettingsEffectColoredGlass.h"
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
    return DrawFrame(pixFmt, 256, 1, [](int x, int, int k) { return k < 3 ? x : 255 - x; });
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
            // Byte k of the colour drives byte k of the pixel, in BGR formats, too.
            const FramePtr expected = DrawFrame(pixFmt, 256, 1, [&](int x, int, int k) {
                return k < 3 ? Expected(color[k], grey, x) : SampleAt(levels, x, 0, 3);
            });
            EXPECT_TRUE(SameFrames(Balance(color, levels), expected)) << Name(pixFmt);
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
                const int opacity = alpha * 255 / 100;
                // Division by 255, rounded down.
                const FramePtr expected = DrawFrame(format.pixFmt, width, height, [&](int x, int y, int k) {
                    return (SampleAt(input, x, y, k) * (255 - opacity) + format.pixel[k] * opacity) / 255;
                });
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

SettingsEffectBlendPalette Palette(int alpha, int x, int y) {
    SettingsEffectBlendPalette settings;
    settings.SetAlpha(alpha);
    settings.SetPositionX(x);
    settings.SetPositionY(y);
    SettingsEffectBlendPalette::PaletteMap palette;
    for (int index = 0; index < 256; index += 3) {
        const auto i = static_cast<std::uint8_t>(index);
        palette[i] = Color(i, static_cast<std::uint8_t>(255 - i), static_cast<std::uint8_t>(i * 7),
                           static_cast<std::uint8_t>(index % 2 == 0 ? 255 : i));
    }
    settings.SetPalette(palette);
    return settings;
}

FramePtr Blend(const SettingsEffectBlendPalette& settings, const FramePtr& picture, const FramePtr& indices) {
    TwoInputPtr effect;
    ModuleFactory()->CreateTwoInputEffect(effect, SettingsEffectBlendPalette::CLASS_ID, ImplNames::ORVEXA, {});
    effect->SetSettings(settings);
    FramePtr result = picture;
    effect->ProcessData(result, ConstFramePtr(indices));
    return result;
}

TEST(BlendPalette, EqualsTheDefinitionAtEveryPlacementFormatAndOpacity) {
    for (const PixFmt pixFmt :
         {PixFmt::Rgb24, PixFmt::Bgr24, PixFmt::Rgba, PixFmt::Rgba2, PixFmt::Bgra, PixFmt::Bgra2}) {
        for (const auto& [x, y] : {std::pair{0, 0},
                                   {13, 7},
                                   {-9, -4},
                                   {80, 50},
                                   {-60, 3},
                                   {97, 0},
                                   {0, -31},
                                   {-2147483647 - 1, 2147483647}}) {
            for (const int alpha : {0, 1, 128, 255}) {
                const SettingsEffectBlendPalette settings = Palette(alpha, x, y);
                const FramePtr indices = MakeFrame(PixFmt::Gray8, 40, 31);
                const GuardedFrame guarded(pixFmt, 97, 61);
                const bool isBlueFirst = PixFmtDescription::Get(pixFmt).red == 2;
                const FramePtr expected = DrawFrame(pixFmt, 97, 61, [&](int px, int py, int k) {
                    const int before = SampleAt(guarded.GetFrame(), px, py, k);
                    const std::int64_t ix = std::int64_t{px} - x, iy = std::int64_t{py} - y;
                    if (ix < 0 || iy < 0 || ix >= 40 || iy >= 31) return before;
                    const auto found = settings.GetPalette().find(static_cast<std::uint8_t>(SampleAt(indices, ix, iy)));
                    if (found == settings.GetPalette().end()) return before;
                    const Color& c = found->second;
                    const int level = k == 3                    ? c.alpha()
                                      : k == 1                  ? c.green()
                                      : (k == 0) == isBlueFirst ? c.blue()
                                                                : c.red();
                    const int opacity = c.alpha() * alpha / 255;
                    return ((255 - opacity) * before + opacity * level) / 255;
                });
                EXPECT_TRUE(SameFrames(Blend(settings, guarded.GetFrame(), indices), expected))
                    << Name(pixFmt) << ' ' << x << ' ' << y << ' ' << alpha;
                EXPECT_TRUE(guarded.IsGuardIntact());
            }
        }
    }
}

// Tables are kept once built. With four bytes a pixel the opacity is that of the colours' own table, not of an older
// palette's.
TEST(BlendPalette, TakesOpacityFromTheTableOfTheFormat) {
    TwoInputPtr effect;
    ModuleFactory()->CreateTwoInputEffect(effect, SettingsEffectBlendPalette::CLASS_ID, ImplNames::ORVEXA, {});
    const auto draw = [&](const Color& color, PixFmt pixFmt) {
        SettingsEffectBlendPalette settings;
        settings.SetAlpha(255);
        settings.SetPalette({{7, color}});
        effect->SetSettings(settings);
        FramePtr picture = MakeFrame(pixFmt, 1, 1, Color(255, 0, 0, 255));
        effect->ProcessData(picture, ConstFramePtr(MakeFrame(PixFmt::Gray8, 1, 1, {7})));
        return Bytes(*picture);
    };
    const Color opaqueBlue(0, 0, 255, 255), halfGreen(0, 255, 0, 128);
    EXPECT_EQ(draw(opaqueBlue, PixFmt::Rgb24), (std::vector<std::uint8_t>{0, 0, 255}));
    EXPECT_EQ(draw(halfGreen, PixFmt::Bgra),
              (std::vector<std::uint8_t>{0, 128, 127, 191}));  // (127 * 255 + 128 * 128) / 255
    EXPECT_EQ(draw(halfGreen, PixFmt::Rgb24), (std::vector<std::uint8_t>{0, 0, 255})) << "the first palette's";
    EXPECT_EQ(draw(opaqueBlue, PixFmt::Rgba), (std::vector<std::uint8_t>{0, 0, 255, 255})) << "the first palette's";
}

TEST(BlendPalette, RefusesOtherFormatsOnlyWhenThereIsSomethingToDraw) {
    const FramePtr indices = MakeFrame(PixFmt::Gray8, 4, 4), picture = MakeFrame(PixFmt::Yuv420p, 20, 20);
    EXPECT_THROW(Blend(Palette(255, 0, 0), picture, indices), EffectException);
    EXPECT_NO_THROW(Blend(Palette(0, 0, 0), picture, indices));
    EXPECT_NO_THROW(Blend(Palette(255, 20, 0), picture, indices));
}

}  // namespace
}  // namespace Orvexa::Test
