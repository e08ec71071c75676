// Two frames in one: image blender and composition.

#include <gtest/gtest.h>

#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsColorspaceConverter.h"
#include "Host/Settings/Common/SettingsEffectAlpha.h"
#include "Host/Settings/Common/SettingsEffectCompose.h"
#include "Host/Settings/Common/SettingsEffectImageBlender.h"
#include "Tests/Host/Effects/HostEffects.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

constexpr BlendAlphaMode kUse = BlendAlphaMode::UseAlpha, kIgnore = BlendAlphaMode::IgnoreAlpha;

// 255 is odd, so no quotient lies half way between two integers.
int Blend(double d, double s, double alpha, int strength) {
    return RoundHalfUp(d + (s - d) * RoundHalfUp(alpha * strength / 255.0) / 255.0);
}

struct Placement {
    int x, y, strength;
};
constexpr Placement kPlacements[] = {{0, 0, 255},  {0, 0, 127},   {5, 3, 200},   {-3, -2, 255},
                                     {-1, 4, 255}, {200, 0, 255}, {0, -200, 255}};

// Blends sample by sample. `alpha` is the opacity of the layer at full size, `chromaAlpha` at the size of its chroma
// planes.
void BlendExpected(IDataVideo& d, const IDataVideo& s, const Placement& placement, const Grid& alpha,
                   const Grid& chromaAlpha) {
    const PixFmtDescription& description = PixFmtDescription::Get(d.GetPixFmt());
    for (std::uint8_t i = 0; i < description.planes; ++i) {
        if (i == 3) continue;
        const int shiftX = description.GetShiftX(i), shiftY = description.GetShiftY(i);
        const Grid& opacity = shiftX + shiftY > 0 ? chromaAlpha : alpha;
        const int left = static_cast<int>(std::floor(placement.x / std::pow(2.0, shiftX))),
                  top = static_cast<int>(std::floor(placement.y / std::pow(2.0, shiftY)));
        for (int c = 0; c < static_cast<int>(d.GetPlane(i).GetBytesPerPixel()); ++c) {
            if (c == description.alpha) continue;
            Grid result = Read(d, i, c);
            const Grid layer = Read(s, i, c);
            for (int y = 0; y < layer.height; ++y) {
                for (int x = 0; x < layer.width; ++x) {
                    const int dx = left + x, dy = top + y;
                    if (dx < 0 || dy < 0 || dx >= result.width || dy >= result.height) continue;
                    result.At(dx, dy) = Blend(result.At(dx, dy), layer.At(x, y), opacity.At(x, y), placement.strength);
                }
            }
            Write(d, i, c, result);
        }
    }
}

Grid Opaque(std::uint32_t width, std::uint32_t height) {
    Grid grid(static_cast<int>(width), static_cast<int>(height));
    std::fill(grid.values.begin(), grid.values.end(), 255.0);
    return grid;
}
TEST(ImageBlender, EveryFormatFollowsTheFormulaAndWritesThroughTheView) {
    for (const PixFmt format : AllPixFmts()) {
        if (format == PixFmt::Pal8) continue;
        for (const auto& [width, height] : kSizes) {
            const GuardedFrame layer(format, width, height, Pattern::Noise);
            const FramePtr mask = MakeFrame(PixFmt::Gray8, width, height);
            for (const Placement& p : kPlacements) {
                for (const bool hasExtra : {false, true}) {
                    for (const BlendAlphaMode mode : {kIgnore, kUse}) {
                        const GuardedFrame d(format, 31, 22, Pattern::Ramp);
                        const FramePtr s = CloneFrame(*layer.GetFrame(), kCloneView),
                                       expected = CloneFrame(*d.GetFrame(), kCloneIndependent);
                        if (hasExtra) s->SetExtraAlpha(0, std::as_const(*mask).GetPlane(0));
                        const Grid alpha = hasExtra       ? Read(*mask, 0)
                                           : mode == kUse ? OwnAlpha(*s)
                                                          : Opaque(width, height);
                        BlendExpected(*expected, *s, p, alpha, AlphaOn(alpha, format, 1));
                        const FramePtr result =
                            RunHost(SettingsEffectImageBlender(p.x, p.y, static_cast<std::uint8_t>(p.strength), mode),
                                    d.GetFrame(), s);
                        EXPECT_EQ(result, d.GetFrame());
                        ASSERT_TRUE(SameFrames(result, expected))
                            << Name(format) << " at " << p.x << ", " << p.y << " extra " << hasExtra << " mode "
                            << static_cast<int>(mode);
                        EXPECT_TRUE(d.IsGuardIntact());
                    }
                }
            }
            EXPECT_TRUE(layer.IsGuardIntact());
        }
    }
}

TEST(ImageBlender, AttachedChromaAlphaCountsForSubsampledPlanesOnly) {
    const FramePtr mask = MakeFrame(PixFmt::Gray8, 7, 5), chromaMask = MakeFrame(PixFmt::Gray8, 4, 3, Pattern::Checker);
    for (const PixFmt format : {PixFmt::Yuv420p, PixFmt::Nv12, PixFmt::Yuva420p, PixFmt::Yuv444p, PixFmt::Bgra}) {
        const FramePtr layer = MakeFrame(format, 7, 5), d = MakeFrame(format, 9, 9, Pattern::Ramp),
                       expected = CloneFrame(*d, kCloneIndependent);
        layer->SetExtraAlpha(0, std::as_const(*mask).GetPlane(0));
        layer->SetExtraAlpha(1, std::as_const(*chromaMask).GetPlane(0));
        BlendExpected(*expected, *layer, {1, 1, 255}, Read(*mask, 0), Read(*chromaMask, 0));
        EXPECT_TRUE(SameFrames(RunHost(SettingsEffectImageBlender(1, 1, 255, kIgnore), d, layer), expected))
            << Name(format);
    }
}

TEST(ImageBlender, LayersOfOtherFormatsKeepTheirAlpha) {
    for (const PixFmt from : {PixFmt::Rgba, PixFmt::Abgr, PixFmt::Yuva422p, PixFmt::Pal8, PixFmt::Rgb24}) {
        for (const PixFmt to : {PixFmt::Yuv420p, PixFmt::Rgb24, PixFmt::Bgra2, PixFmt::Gray8, PixFmt::Nv21}) {
            for (const bool hasExtra : {false, true}) {
                const FramePtr layer = MakeFrame(from, 7, 5), mask = MakeFrame(PixFmt::Gray8, 7, 5, Pattern::Ramp);
                const FramePtr ownAlpha = RunHost(SettingsEffectAlphaExtractor(), layer);
                if (hasExtra) layer->SetExtraAlpha(0, std::as_const(*mask).GetPlane(0));
                const FramePtr d = MakeFrame(to, 16, 9), expected = CloneFrame(*d, kCloneIndependent);
                const Grid alpha = hasExtra ? Read(*mask, 0) : ownAlpha != nullptr ? Read(*ownAlpha, 0) : Opaque(7, 5);
                BlendExpected(*expected, *RunHost(SettingsColorspaceConverter(to, true), layer), {4, 2, 255}, alpha,
                              AlphaOn(alpha, to, 1));
                EXPECT_TRUE(SameFrames(RunHost(SettingsEffectImageBlender(4, 2, 255, kUse), d, layer), expected))
                    << Name(from) << " over " << Name(to) << " extra " << hasExtra;
            }
        }
    }
}

TEST(ImageBlender, AFrameCanBeLaidOverItself) {
    const FramePtr d = MakeFrame(PixFmt::Rgb24, 31, 22), copy = CloneFrame(*d, kCloneIndependent),
                   expected = CloneFrame(*d, kCloneIndependent);
    BlendExpected(*expected, *copy, {1, 1, 200}, Opaque(31, 22), Opaque(31, 22));
    EXPECT_TRUE(SameFrames(RunHost(SettingsEffectImageBlender(1, 1, 200, kUse), d, d), expected));
}

TEST(ImageBlender, RefusesIndexedBackgroundsAndMasksOfAnotherSize) {
    EXPECT_THROW(RunHost(SettingsEffectImageBlender(), MakeFrame(PixFmt::Pal8, 7, 5), MakeFrame(PixFmt::Rgb24, 7, 5)),
                 EffectException);
    const FramePtr layer = MakeFrame(PixFmt::Rgb24, 7, 5);
    layer->SetExtraAlpha(0, std::as_const(*MakeFrame(PixFmt::Gray8, 6, 5)).GetPlane(0));
    EXPECT_THROW(RunHost(SettingsEffectImageBlender(), MakeFrame(PixFmt::Rgb24, 7, 5), layer), EffectException);
}

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
