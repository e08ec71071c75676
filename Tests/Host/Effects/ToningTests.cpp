// Vibrance, split toning, midway equalisation and grey-scale.

#include <algorithm>

#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsEffectAlpha.h"
#include "Host/Settings/Common/SettingsEffectGrayscale.h"
#include "Host/Settings/Common/SettingsEffectMidEqualizer.h"
#include "Host/Settings/Common/SettingsEffectSplitToning.h"
#include "Host/Settings/Common/SettingsEffectVibrance.h"
#include "Tests/Host/Effects/HostEffects.h"

namespace Orvexa::Test {
namespace {

SettingsEffectVibrance Vibrance(int strength) {
    SettingsEffectVibrance settings;
    settings.SetStrength(strength);
    return settings;
}

SettingsEffectSplitToning Toning(const Color& shadow, const Color& highlight, int balance = 0) {
    SettingsEffectSplitToning settings;
    settings.SetShadowColor(shadow);
    settings.SetHighlightColor(highlight);
    settings.SetBalance(balance);
    return settings;
}

struct Pixel {
    double red, green, blue;
    double Luma() const { return 0.299 * red + 0.587 * green + 0.114 * blue; }
    double Chroma() const { return std::hypot((blue - Luma()) / 1.772, (red - Luma()) / 1.402); }
};
Pixel RunPixel(const Settings& settings, int red, int green, int blue) {
    const FramePtr result = RunHost(settings, MakeFrame(PixFmt::Rgb24, 1, 1, std::vector<int>{red, green, blue}));
    return {double(SampleAt(result, 0, 0, 0)), double(SampleAt(result, 0, 0, 1)), double(SampleAt(result, 0, 0, 2))};
}

// What every one of these effects keeps: the format, the alpha and, where it says so, luma.
void ExpectKept(const Settings& settings, bool keepsLuma) {
    for (const PixFmt pixFmt : AllPixFmts()) {
        for (const auto& [width, height] : kSizes) {
            const GuardedFrame source(pixFmt, width, height);
            const FramePtr result = RunHost(settings, source.GetFrame());
            EXPECT_EQ(result->GetFrameInfo(), source.GetFrame()->GetFrameInfo());
            EXPECT_TRUE(source.IsGuardIntact());
            if (pixFmt == PixFmt::Pal8 || pixFmt == PixFmt::Gray8) continue;
            EXPECT_EQ(result->GetPixFmt(), pixFmt);
            FramePtr before = source.GetFrame(), after = result;
            CreateOneInput(SettingsEffectAlphaExtractor())->ProcessData(before);
            CreateOneInput(SettingsEffectAlphaExtractor())->ProcessData(after);
            if (before != nullptr) {
                EXPECT_TRUE(SameFrames(after, before)) << Name(pixFmt);
            }
            if (keepsLuma && PixFmtDescription::Get(pixFmt).GetRole(0) == PlaneRole::Luma) {
                EXPECT_EQ(Bytes(std::as_const(*result).GetPlane(0)),
                          Bytes(std::as_const(*source.GetFrame()).GetPlane(0)));
            }
        }
    }
}

// The chroma that packed and planar formats end with is the same.
void ExpectSameInPlanes(const Settings& settings, int tolerance) {
    const FramePtr source = MakeFrame(PixFmt::Rgb24, 64, 64);
    Grid level = Read(*source, 0);
    for (int k = 0; k < 3; ++k) {
        for (int y = 0; y < 64; ++y) {
            for (int x = 0; x < 64; ++x) level.At(x, y) = 60 + x + (k == 0 ? y : k == 1 ? y / 2 : 64 - y);
        }
        Write(*source, 0, k, level);
    }
    const FramePtr packed = Converted(RunHost(settings, source), PixFmt::Yuv444p);
    EXPECT_TRUE(SameFrames(RunHost(settings, Converted(source, PixFmt::Yuv444p)), packed, tolerance));
    const FramePtr nv12 = RunHost(settings, Converted(source, PixFmt::Nv12));
    EXPECT_TRUE(SameFrames(nv12, Converted(packed, PixFmt::Nv12), tolerance));
}

TEST(Vibrance, ChangesDullColoursMoreThanColourfulOnesAndGreysNotAtAll) {
    for (const int strength : {-100, -40, 50, 100}) {
        for (const int grey : {0, 77, 255}) {
            const Pixel pixel = RunPixel(Vibrance(strength), grey, grey, grey);
            EXPECT_TRUE(pixel.red == grey && pixel.green == grey && pixel.blue == grey);
        }
        // Green of rising saturation about one luma.
        double lastChange = strength, lastChroma = 0;
        for (const int distance : {10, 30, 50, 70}) {
            const Pixel from{double(128 - distance), double(128 + distance / 2), double(128 - distance)};
            const Pixel to = RunPixel(Vibrance(strength), 128 - distance, 128 + distance / 2, 128 - distance);
            EXPECT_NEAR(to.Luma(), from.Luma(), 1.5);
            const double change = 100 * (to.Chroma() / from.Chroma() - 1);
            EXPECT_LT(std::abs(change), std::abs(lastChange) + 2) << strength << ' ' << distance;
            EXPECT_GT(change * strength, 0);
            EXPECT_GT(to.Chroma(), lastChroma) << "no colour overtakes another";
            lastChange = change, lastChroma = to.Chroma();
        }
        EXPECT_LT(std::abs(lastChange), 0.5 * std::abs(strength));
        EXPECT_GT(std::abs(lastChange), 0.1 * std::abs(strength));
    }
    // Skin, and its opposite of the same luma and chroma.
    const Pixel skin{224, 172, 140}, sky{144, 196, 228};
    const double skinChange = RunPixel(Vibrance(100), 224, 172, 140).Chroma() / skin.Chroma() - 1,
                 skyChange = RunPixel(Vibrance(100), 144, 196, 228).Chroma() / sky.Chroma() - 1;
    EXPECT_GT(skinChange, 0.1);
    EXPECT_LT(skinChange, 0.7 * skyChange);
}

TEST(Vibrance, IsTheSameInEveryFormat) {
    ExpectKept(Vibrance(70), true);
    ExpectSameInPlanes(Vibrance(70), 3);
    const FramePtr source = MakeFrame(PixFmt::Rgb24, 9, 9), grey = MakeFrame(PixFmt::Gray8, 9, 9);
    EXPECT_EQ(RunHost(Vibrance(0), source), source);
    EXPECT_EQ(RunHost(Vibrance(50), grey), grey);
}

TEST(SplitToning, GivesShadowsAndHighlightsTheirHuesAndKeepsLuma) {
    const Color blue(0, 64, 200), amber(255, 160, 40);
    for (int level = 0; level < 256; level += 5) {
        const Pixel pixel = RunPixel(Toning(blue, amber), level, level, level);
        EXPECT_NEAR(pixel.Luma(), level, 1.0);
        if (level >= 30 && level < 80) {
            EXPECT_GT(pixel.blue, pixel.red + 15) << level;
        }
        if (level > 175 && level <= 225) {
            EXPECT_GT(pixel.red, pixel.blue + 15) << level;
        }
        const Pixel none = RunPixel(Toning(Color(9, 9, 9), Color(200, 200, 200)), level, level, level);
        EXPECT_EQ(none.red, level);
        EXPECT_EQ(none.blue, level);
    }
    // Each toning colour's own luma, far enough from the other end, shows half of that colour.
    const Pixel dark = RunPixel(Toning(Color(40, 30, 20), amber, -100), 31, 31, 31);
    EXPECT_NEAR(dark.red - dark.blue, 10, 1);
    // The balance moves the level at which both are equal.
    const auto warmth = [&](int balance) {
        const Pixel pixel = RunPixel(Toning(blue, amber, balance), 128, 128, 128);
        return pixel.red - pixel.blue;
    };
    EXPECT_LT(warmth(-80), -40);
    EXPECT_GT(warmth(80), 40);
    EXPECT_GT(warmth(20), warmth(0));
}

TEST(SplitToning, TreatsEveryFormatAndColoursGreyOnes) {
    const auto settings = Toning(Color(0, 64, 200), Color(255, 160, 40), 10);
    ExpectKept(settings, true);
    ExpectSameInPlanes(settings, 3);
    const FramePtr grey = MakeFrame(PixFmt::Gray8, 20, 20), toned = RunHost(settings, grey);
    EXPECT_EQ(toned->GetPixFmt(), PixFmt::Yuv444p);
    EXPECT_EQ(Bytes(std::as_const(*toned).GetPlane(0)), Bytes(std::as_const(*grey).GetPlane(0)));
    EXPECT_NE(Bytes(std::as_const(*toned).GetPlane(1)), std::vector<std::uint8_t>(400, 128));
}

TEST(MidEqualizer, MovesLevelsHalfWayToThoseOfTheSameRank) {
    const FramePtr first = MakeFrame(PixFmt::Rgb24, 60, 40), second = MakeFrame(PixFmt::Rgb24, 120, 100);
    for (int k = 0; k < 3; ++k) {
        Grid a = Read(*first, 0, k), b = Read(*second, 0, k);
        for (double& value : a.values) value = value / 4 + 10 * k;
        for (double& value : b.values) value = 255 - value * value / 400;
        Write(*first, 0, k, a);
        Write(*second, 0, k, b);
    }
    const FramePtr result = RunHost(SettingsEffectMidEqualizer(), first, second);
    ASSERT_EQ(result->GetFrameInfo(), first->GetFrameInfo());
    for (int k = 0; k < 3; ++k) {
        // Both sorted, every pixel of the first repeated as often as the second has more pixels.
        const Grid from = Read(*first, 0, k), to = Read(*result, 0, k);
        std::vector<double> ranked;
        for (const double value : from.values) ranked.insert(ranked.end(), 5, value);
        std::vector<double> others = Read(*second, 0, k).values;
        ASSERT_EQ(ranked.size(), others.size());
        std::ranges::sort(ranked);
        std::ranges::sort(others);
        for (std::size_t i = 0; i < from.values.size(); ++i) {
            const auto [begin, end] = std::ranges::equal_range(ranked, from.values[i]);
            double sum = 0;
            for (auto at = begin; at != end; ++at) sum += others[static_cast<std::size_t>(at - ranked.begin())];
            const double mean = sum / static_cast<double>(end - begin);
            ASSERT_NEAR(to.values[i], (from.values[i] + mean) / 2, 0.501) << k;
        }
    }
}

TEST(MidEqualizer, LeavesAPictureWithItselfAndIgnoresWhatIsHidden) {
    for (const PixFmt pixFmt : {PixFmt::Rgb24, PixFmt::Bgra, PixFmt::Gray8, PixFmt::Argb}) {
        const FramePtr source = MakeFrame(pixFmt, 50, 30);
        EXPECT_TRUE(SameFrames(RunHost(SettingsEffectMidEqualizer(), source, source), source)) << Name(pixFmt);
    }
    const Color shown(100, 50, 20), other(200, 60, 0);
    const auto halfHidden = [](const Color& color) {
        return MakeHalfHidden(PixFmt::Rgba, 20, 4, color, Color(255, 255, 255));
    };
    for (const FramePtr& second :
         {halfHidden(other), MakeFrame(PixFmt::Rgb24, 7, 7, other), MakeFrame(PixFmt::Bgr24, 7, 7, other)}) {
        const FramePtr result = RunHost(SettingsEffectMidEqualizer(), halfHidden(shown), second);
        EXPECT_EQ(SampleAt(result, 3, 1, 0), 150);
        EXPECT_EQ(SampleAt(result, 3, 1, 1), 55);
        EXPECT_EQ(SampleAt(result, 3, 1, 2), 10);
        EXPECT_EQ(SampleAt(result, 3, 1, 3), 255);
        EXPECT_EQ(SampleAt(result, 15, 1, 3), 0);
    }
    // Hidden black would push what shows to the upper ranks.
    const FramePtr dark = MakeHalfHidden(PixFmt::Rgba, 20, 4, shown, Color(0, 0, 0)),
                   steps = MakeFrame(PixFmt::Gray8, 2, 1, std::vector<int>{60, 200});
    EXPECT_EQ(SampleAt(RunHost(SettingsEffectMidEqualizer(), dark, steps), 3, 1), 115);
    for (const PixFmt pixFmt : AllPixFmts()) {
        const GuardedFrame source(pixFmt, 33, 21);
        const FramePtr result =
            RunHost(SettingsEffectMidEqualizer(), source.GetFrame(), MakeFrame(PixFmt::Rgb24, 8, 8, other));
        EXPECT_EQ(result->GetPixFmt(), pixFmt == PixFmt::Pal8 ? PixFmt::Rgba : pixFmt);
        EXPECT_TRUE(source.IsGuardIntact());
    }
}

TEST(Grayscale, HasThreeMeaningsOfGrey) {
    const FramePtr source = MakeFrame(PixFmt::Rgb24, 64, 64);
    const FramePtr average = RunHost(SettingsEffectGrayscale(0), source),
                   luma = RunHost(SettingsEffectGrayscale(1), source),
                   lightness = RunHost(SettingsEffectGrayscale(2), source);
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 64; ++x) {
            const double r = SampleAt(source, x, y, 0), g = SampleAt(source, x, y, 1), b = SampleAt(source, x, y, 2);
            ASSERT_EQ(SampleAt(average, x, y), RoundHalfUp((r + g + b) / 3));
            ASSERT_NEAR(SampleAt(luma, x, y), (Pixel{r, g, b}.Luma()), 0.53);
            ASSERT_EQ(SampleAt(lightness, x, y), RoundHalfUp((std::min({r, g, b}) + std::max({r, g, b})) / 2));
        }
    }
    for (const int method : {0, 1, 2}) {
        for (const PixFmt pixFmt : AllPixFmts()) {
            const FramePtr result =
                RunHost(SettingsEffectGrayscale(method), MakeFrame(pixFmt, 9, 7, Color(30, 30, 30, 99)));
            EXPECT_TRUE(SameFrames(result, MakeFrame(PixFmt::Gray8, 9, 7, Color(30, 30, 30)))) << Name(pixFmt);
        }
    }
    EXPECT_THROW(RunHost(SettingsEffectGrayscale(3), source), EffectException);
}

}  // namespace
}  // namespace Orvexa::Test
