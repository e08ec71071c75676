#include "Host/Settings/Common/SettingsEffectCLAHE.h"
#include "Host/Settings/Common/SettingsEffectColorBalance.h"
#include "Tests/Host/Effects/HostEffects.h"

namespace Orvexa::Test {
namespace {

SettingsEffectColorBalance Balance(int brightness, int contrast, int saturation, int gamma) {
    SettingsEffectColorBalance settings;
    settings.SetBrightness(brightness);
    settings.SetContrast(contrast);
    settings.SetSaturation(saturation);
    settings.SetGamma(gamma);
    return settings;
}

// In levels of 0..255, before and after saturation.
double Before(double level, const SettingsEffectColorBalance& s) {
    const double x = std::min(std::max(level + 2.55 * s.GetBrightness(), 0.0), 255.0) / 255;
    const double c = s.GetContrast() / 100.0;
    if (c <= 0) return 127.5 + (level + 2.55 * s.GetBrightness() - 127.5) * (1 + c);
    const double up = std::pow(x, 1 / (1 - c)), down = std::pow(1 - x, 1 / (1 - c));
    return 255 * up / (up + down);
}
double After(double level, const SettingsEffectColorBalance& s) {
    return 255 * std::pow(std::min(std::max(level, 0.0), 255.0) / 255, std::pow(2.0, s.GetGamma() / -50.0));
}

const SettingsEffectColorBalance kSome[] = {Balance(20, 0, 0, 0),    Balance(-35, 40, 0, 0), Balance(10, -50, 0, 25),
                                            Balance(0, 0, 60, 0),    Balance(0, 0, -100, 0), Balance(-7, 30, -40, -60),
                                            Balance(0, 99, 100, 100)};

TEST(ColorBalance, MovesColoursAsItsFormulaSays) {
    for (const auto& [pixFmt, red, alpha] :
         {std::tuple{PixFmt::Rgb24, 0, 3}, {PixFmt::Rgba, 0, 3}, {PixFmt::Argb, 1, 0}}) {
        const FramePtr source = MakeFrame(pixFmt, 41, 23);
        for (const auto& settings : kSome) {
            const FramePtr result = RunHost(settings, source);
            const double gain = 1 + settings.GetSaturation() / 100.0;
            for (int y = 0; y < 23; ++y) {
                for (int x = 0; x < 41; ++x) {
                    double color[3];
                    for (int k = 0; k < 3; ++k) {
                        color[k] = std::min(std::max(Before(SampleAt(source, x, y, red + k), settings), 0.0), 255.0);
                        if (gain != 1) color[k] = std::round(color[k]);  // luma is that of a picture
                    }
                    const double luma = 0.299 * color[0] + 0.587 * color[1] + 0.114 * color[2];
                    for (int k = 0; k < 3; ++k) {
                        // A level of luma or of colour rounded the other way shows through a steep curve.
                        const double moved = luma + (color[k] - luma) * gain, slack = gain == 1 ? 0 : 1.6;
                        const int is = SampleAt(result, x, y, red + k);
                        ASSERT_GE(is, After(moved - slack, settings) - 0.501) << FormatSettings(settings);
                        ASSERT_LE(is, After(moved + slack, settings) + 0.501) << FormatSettings(settings);
                    }
                    if (pixFmt != PixFmt::Rgb24) {
                        ASSERT_EQ(SampleAt(result, x, y, alpha), SampleAt(source, x, y, alpha));
                    }
                }
            }
        }
    }
}

TEST(ColorBalance, TreatsLumaAndChromaApart) {
    for (const PixFmt pixFmt : {PixFmt::Yuv420p, PixFmt::Nv12, PixFmt::Yuva444p, PixFmt::Gray8}) {
        const GuardedFrame source(pixFmt, 31, 17);
        for (const auto& settings : kSome) {
            const FramePtr result = RunHost(settings, source.GetFrame());
            const PixFmtDescription& description = PixFmtDescription::Get(pixFmt);
            for (std::uint8_t i = 0; i < description.planes; ++i) {
                const auto from = Bytes(std::as_const(*source.GetFrame()).GetPlane(i)),
                           to = Bytes(std::as_const(*result).GetPlane(i));
                for (std::size_t k = 0; k < from.size(); ++k) {
                    const double expected = i == 0 ? After(Before(from[k], settings), settings)
                                            : description.IsChroma(i)
                                                ? 128 + (from[k] - 128) * (1 + settings.GetSaturation() / 100.0)
                                                : from[k];
                    ASSERT_NEAR(to[k], std::min(std::max(expected, 0.0), 255.0), 0.501)
                        << Name(pixFmt) << ' ' << int{i} << ' ' << FormatSettings(settings);
                }
            }
        }
        EXPECT_TRUE(source.IsGuardIntact());
    }
}

TEST(ColorBalance, AtItsEndsAndAtNeutral) {
    const FramePtr source = MakeFrame(PixFmt::Rgb24, 64, 64, Pattern::ColorCube);
    EXPECT_EQ(RunHost(Balance(0, 0, 0, 0), source), source);
    const auto flat = [&](int level) {
        return MakeFrame(PixFmt::Rgb24, 64, 64,
                         Color(static_cast<std::uint8_t>(level), static_cast<std::uint8_t>(level),
                               static_cast<std::uint8_t>(level)));
    };
    EXPECT_TRUE(SameFrames(RunHost(Balance(100, 0, 0, 0), source), flat(255)));
    EXPECT_TRUE(SameFrames(RunHost(Balance(-100, 0, 0, 0), source), flat(0)));
    EXPECT_TRUE(SameFrames(RunHost(Balance(0, -100, 0, 0), source), flat(128)));
    const FramePtr hard = RunHost(Balance(0, 100, 0, 0), source), grey = RunHost(Balance(0, 0, -100, 0), source);
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 64; ++x) {
            EXPECT_EQ(SampleAt(hard, x, y), SampleAt(source, x, y) < 128 ? 0 : 255);
            EXPECT_EQ(SampleAt(grey, x, y, 0), SampleAt(grey, x, y, 1));
            EXPECT_EQ(SampleAt(grey, x, y, 0), SampleAt(grey, x, y, 2));
        }
    }
}

TEST(CLAHE, BringsOutContrastOfLumaEverywhereAndLeavesTheRest) {
    // Faint stripes on a ramp: they grow, and the ramp stays.
    const FramePtr source = MakeFrame(PixFmt::Yuv444p, 256, 128);
    Grid picture = Read(*source, 0);
    for (int y = 0; y < 128; ++y) {
        for (int x = 0; x < 256; ++x) picture.At(x, y) = 40 + x / 2 + (y / 4 % 2) * 6;
    }
    Write(*source, 0, 0, picture);
    for (const double clip : {0.01, 2.0, 4.0}) {
        // A curve's slope is at most the clip (no less than one of a tile's 512 pixels in 256 bins) and its share of
        // what was clipped, which is below 1.
        const double least = 6 * std::max(clip, 1.0) - 2, most = 6 * (std::max(clip, 0.5) + 1) + 2;
        const FramePtr result = RunHost(SettingsEffectCLAHE(clip), source);
        const Grid luma = Read(*result, 0);
        for (int x = 8; x < 256; x += 16) {
            EXPECT_GE(luma.At(x, 61) - luma.At(x, 57), least) << clip << ' ' << x;
            EXPECT_LE(luma.At(x, 61) - luma.At(x, 57), most) << clip << ' ' << x;
        }
        EXPECT_GT(luma.At(240, 60), luma.At(16, 60) + 60);
        for (const std::uint8_t chroma : {1, 2})
            EXPECT_EQ(Bytes(std::as_const(*result).GetPlane(chroma)), Bytes(std::as_const(*source).GetPlane(chroma)));
    }
    for (const double clip : {0.0, -0.25}) EXPECT_EQ(RunHost(SettingsEffectCLAHE(clip), source), source);
}

TEST(CLAHE, TreatsEveryFormatAndHiddenPixelsDoNotCount) {
    for (const PixFmt pixFmt : AllPixFmts()) {
        for (const auto& [width, height] : kSizes) {
            const GuardedFrame source(pixFmt, width, height);
            const FramePtr result = RunHost(SettingsEffectCLAHE(3), source.GetFrame());
            EXPECT_EQ(result->GetPixFmt(), pixFmt == PixFmt::Pal8 ? PixFmt::Rgba : pixFmt);
            EXPECT_TRUE(source.IsGuardIntact());
        }
    }
    const auto shownPart = [](std::uint8_t hidden) {
        const FramePtr source = MakeFrame(PixFmt::Rgba, 64, 64);
        for (std::uint64_t y = 0; y < 64; ++y) {
            for (std::uint64_t x = 0; x < 64; ++x) {
                std::uint8_t* pixel = source->GetPlane(0).GetOffsetPtr(x, y);
                pixel[3] = x < 30 ? 255 : 0;
                if (x >= 30) std::fill_n(pixel, 3, static_cast<std::uint8_t>(hidden + (x + y) % 9));
            }
        }
        const FramePtr result = RunHost(SettingsEffectCLAHE(3), source);
        EXPECT_EQ(SampleAt(result, 40, 9), hidden + 49 % 9);
        result->Crop(0, 0, 30, 64);
        return result;
    };
    EXPECT_TRUE(SameFrames(shownPart(10), shownPart(200)));
}

}  // namespace
}  // namespace Orvexa::Test
