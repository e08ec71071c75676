// Effects that cut out: RemoveBackground and Matting.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "Host/Settings/Common/SettingsEffectBlur.h"
#include "Host/Settings/Photo/SettingsEffectMatting.h"
#include "Host/Settings/Photo/SettingsEffectRemoveBackground.h"
#include "Tests/Proc/MaskEffects.h"

namespace Orvexa::Test {
namespace {

using testing::HasSubstr;

// ---- RemoveBackground

FramePtr Disc(std::uint32_t width, std::uint32_t height, double x, double y, double radius) {
    return Draw(width, height, [=](int px, int py) { return std::hypot(px - x, py - y) <= radius ? 255 : 0; });
}

TEST(RemoveBackground, HasTheMaskAsAlphaInItsBox) {
    for (const PixFmt pixFmt : {PixFmt::Rgb24, PixFmt::Gray8, PixFmt::Yuv444p}) {
        const FramePtr picture = MakeFrame(pixFmt, 60, 50), mask = Disc(60, 50, 30, 20, 12.3);
        mask->GetPlane(0).GetRow(20)[30] = 77;
        SettingsEffectRemoveBackground settings;
        settings.SetSmooth(0);
        const FramePtr cut = ApplyMany(settings, {picture, mask});
        ASSERT_EQ(cut->GetPixFmt(), PixFmt::Bgra);
        ASSERT_EQ(cut->GetFrameInfo(), FrameInfo(25, 25));
        const FramePtr whole = Converted(picture, PixFmt::Bgra);
        for (std::uint64_t y = 0; y < 25; ++y) {
            for (std::uint64_t x = 0; x < 25; ++x) {
                ASSERT_EQ(SampleAt(cut, x, y, 3), SampleAt(mask, x + 18, y + 8)) << x << "," << y;
                for (int k = 0; k < 3; ++k)
                    ASSERT_EQ(SampleAt(cut, x, y, k), SampleAt(whole, x + 18, y + 8, k)) << Name(pixFmt);
            }
        }
    }
}

TEST(RemoveBackground, ShapesAndSoftensTheMask) {
    // A square under a line that makes the box wider than it.
    const FramePtr picture = MakeFrame(PixFmt::Rgb24, 60, 60),
                   mask = Draw(60, 60, [](int x, int y) {
                       return (x >= 20 && x < 40 && y >= 20 && y < 40) || (y == 20 && x >= 10 && x < 50) ? 255 : 0;
                   });
    const auto row = [&](int morph, int smooth) {
        SettingsEffectRemoveBackground settings;
        settings.SetMorph(morph);
        settings.SetSmooth(smooth);
        const FramePtr cut = ApplyMany(settings, {picture, mask});
        EXPECT_EQ(cut->GetFrameInfo(), FrameInfo(40, 20)) << "the box is that of the mask as it was given";
        std::vector<int> alpha;
        for (std::uint64_t x = 0; x < 20; ++x) alpha.push_back(SampleAt(cut, x, 12, 3));
        return alpha;
    };
    const auto from = [](std::size_t first) {
        std::vector<int> expected(20, 0);
        std::fill(expected.begin() + static_cast<std::ptrdiff_t>(first), expected.end(), 255);
        return expected;
    };
    EXPECT_EQ(row(0, 0), from(10));
    EXPECT_EQ(row(-3, 0), from(13));
    EXPECT_EQ(row(3, 0), from(7));
    // A third, two thirds, all, blurred, which keeps the sum.
    const std::vector<int> soft = row(0, 2);
    EXPECT_TRUE(std::is_sorted(soft.begin(), soft.end())) << testing::PrintToString(soft);
    EXPECT_NEAR(std::accumulate(soft.begin(), soft.end(), 0), 85 + 170 + 8 * 255, 10) << testing::PrintToString(soft);
    EXPECT_NEAR(soft[11], 170, 8);
}

TEST(RemoveBackground, KeepsWhatIsTransparent) {
    const FramePtr picture = MakeHalfHidden(PixFmt::Rgba, 20, 10, Color(200, 10, 10), Color(10, 10, 200));
    SettingsEffectRemoveBackground settings;
    settings.SetSmooth(0);
    const FramePtr cut =
        ApplyMany(settings, {picture, MakeFrame(PixFmt::Gray8, 20, 10, Color::White(Opacity::Opaque))});
    EXPECT_EQ(SampleAt(cut, 2, 2, 3), 255);
    EXPECT_EQ(SampleAt(cut, 17, 2, 3), 0);
}

TEST(RemoveBackground, TakesOnTheColoursThatItWillCover) {
    const FramePtr picture = MakeFrame(PixFmt::Rgb24, 40, 40), mask = Disc(40, 40, 20, 20, 15);
    // Red on the left, blue on the right.
    const FramePtr background = MakeFrame(PixFmt::Rgb24, 200, 50, Color(220, 20, 20));
    FramePtr right = CloneFrame(*background, kCloneView);
    right->Crop(100, 0, 100, 50);
    right->Fill(Color(20, 20, 220));
    const std::vector<std::uint8_t> before = Bytes(*picture);
    const auto blueness = [&](double position, int adapt) {
        SettingsEffectRemoveBackground settings;
        settings.SetAdaptValue(adapt);
        settings.SetPositionX(position);
        const FramePtr cut = ApplyMany(settings, {picture, mask, background});
        int sum = 0;
        for (std::uint64_t i = 5; i < 25; ++i) sum += SampleAt(cut, i, i, 0) - SampleAt(cut, i, i, 2);
        return sum / 20;
    };
    const int neutral = blueness(0.2, 0);
    EXPECT_LT(blueness(0.2, 100), neutral - 40);
    EXPECT_GT(blueness(0.8, 100), neutral + 40);
    EXPECT_GT(blueness(0.2, 30), blueness(0.2, 100));
    EXPECT_EQ(blueness(9.0, 100), blueness(0.9, 100)) << "kept within the background";
    EXPECT_EQ(Bytes(*picture), before) << "the caller's picture";
}

TEST(RemoveBackground, SaysWhatIsMissing) {
    const FramePtr picture = MakeFrame(PixFmt::Rgb24, 8, 8), nothing = MakeFrame(PixFmt::Gray8, 8, 8, Color(0, 0, 0));
    const SettingsEffectRemoveBackground settings;
    EXPECT_EQ(MessageOf([&] { ApplyMany(settings, {picture, nothing}); }), "Mask is empty!");
    EXPECT_THAT(MessageOf([&] { ApplyMany(settings, {picture}); }), HasSubstr("needs a mask"));
    EXPECT_THAT(MessageOf([&] { ApplyMany(settings, {picture, MakeFrame(PixFmt::Gray8, 9, 8)}); }), HasSubstr("9 x 8"));
}

// ---- Matting

struct Composite {
    FramePtr picture, alpha, trimap;
};

// A bright layer over a dark one, each with a coarse texture, mixed by an alpha between 0 and 1; unknown is what lies
// within `band` pixels of a mixture.
Composite Compose(int width, int height, int band, const std::function<double(double x, double y)>& alphaAt) {
    const auto texture = [](int x, int y, int k, int period) { return ((x / period + y / period + k) % 3) * 12; };
    Composite composite;
    composite.alpha = Draw(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), [&](int x, int y) {
        return static_cast<int>(std::lround(255 * std::clamp(alphaAt(x, y), 0.0, 1.0)));
    });
    composite.picture = NewFrame(TestAllocator(), PixFmt::Rgb24, composite.alpha->GetFrameInfo());
    const auto alpha = [&](int x, int y) {
        return SampleAt(composite.alpha, static_cast<std::uint64_t>(std::clamp(x, 0, width - 1)),
                        static_cast<std::uint64_t>(std::clamp(y, 0, height - 1)));
    };
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double a = alpha(x, y) / 255.0;
            std::uint8_t* pixel = composite.picture->GetPlane(0).GetOffsetPtr(static_cast<std::uint64_t>(x),
                                                                              static_cast<std::uint64_t>(y));
            const int front[] = {200, 150, 60}, back[] = {40, 70, 120};
            for (int k = 0; k < 3; ++k) {
                pixel[k] = static_cast<std::uint8_t>(
                    std::lround(a * (front[k] + texture(x, y, k, 9)) + (1 - a) * (back[k] + texture(x, y, k, 14))));
            }
        }
    }
    composite.trimap = Draw(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), [&](int x, int y) {
        bool isForeground = true, isBackground = true;
        for (int dy = -band; dy <= band; ++dy) {
            for (int dx = -band; dx <= band; ++dx) {
                isForeground = isForeground && alpha(x + dx, y + dy) == 255;
                isBackground = isBackground && alpha(x + dx, y + dy) == 0;
            }
        }
        return isForeground ? 255 : isBackground ? 0 : 128;
    });
    return composite;
}

// Over the unknown pixels.
std::int64_t ErrorOf(const FramePtr& matte, const Composite& composite) {
    std::int64_t sum = 0;
    for (std::uint64_t y = 0; y < matte->GetFrameInfo().height; ++y) {
        for (std::uint64_t x = 0; x < matte->GetFrameInfo().width; ++x) {
            if (SampleAt(composite.trimap, x, y) == 128)
                sum += std::abs(SampleAt(matte, x, y) - SampleAt(composite.alpha, x, y));
        }
    }
    return sum;
}

TEST(Matting, FindsAlphaBetweenTexturedLayers) {
    const auto softDisc = [](double x, double y) { return (50 - std::hypot(x - 80, y - 70)) / 14; };
    const auto strands = [](double x, double y) {
        const double body = (25 - std::hypot(x - 80, y - 70)) / 3, around = std::atan2(y - 70, x - 80) * 12;
        const double reach = std::hypot(x - 80, y - 70) < 60 ? 1 : 0;
        return std::max(body, reach * (1.4 * std::abs(std::sin(around)) - 0.8));
    };
    for (const std::function<double(double, double)>& alphaAt :
         {std::function<double(double, double)>(softDisc), std::function<double(double, double)>(strands)}) {
        const Composite composite = Compose(160, 140, 3, alphaAt);
        SettingsEffectBlur blur(1);
        blur.SetDevX(6);
        blur.SetDevY(6);
        const std::int64_t ofRamp = ErrorOf(RunHost(blur, composite.trimap), composite);
        std::vector<std::int64_t> errors;
        for (const std::uint32_t seed : {1u, 2u, 3u}) {
            SettingsEffectMatting settings;
            settings.SetSeed(seed);
            const FramePtr matte = ApplyMany(settings, {composite.picture, composite.trimap});
            ASSERT_EQ(matte->GetPixFmt(), PixFmt::Gray8);
            errors.push_back(ErrorOf(matte, composite));
            for (std::uint64_t y = 0; y < 140; ++y) {
                for (std::uint64_t x = 0; x < 160; ++x) {
                    const int known = SampleAt(composite.trimap, x, y);
                    if (known != 128) {
                        ASSERT_EQ(SampleAt(matte, x, y), known) << x << "," << y;
                    }
                }
            }
            EXPECT_TRUE(SameFrames(ApplyMany(settings, {composite.picture, composite.trimap}), matte)) << "again";
        }
        const std::int64_t best = *std::min_element(errors.begin(), errors.end());
        EXPECT_LT(best, ofRamp * 35 / 100) << testing::PrintToString(errors) << " ramp " << ofRamp;
        EXPECT_LE(*std::max_element(errors.begin(), errors.end()), best * 11 / 10) << testing::PrintToString(errors);
    }
}

TEST(Matting, LeavesNoHaloInEvenSurroundings) {
    // Grain on both sides of a faint edge at 40; the band reaches from 20 to 60.
    const FramePtr picture = DrawFrame(PixFmt::Rgb24, 80, 40, [](int x, int y, int channel) {
        const int grain = (x * 7 + y * 13 + channel * 5 + x * y) % 5;
        return (x < 40 ? 100 : 140 - 5 * channel) + grain;
    });
    const FramePtr trimap = Draw(80, 40, [](int x, int) { return x < 20 ? 0 : x < 60 ? 128 : 255; });
    const FramePtr matte = ApplyMany(SettingsEffectMatting(), {picture, trimap});
    for (std::uint64_t y = 0; y < 40; ++y) {
        for (std::uint64_t x = 20; x < 24; ++x) {
            ASSERT_EQ(SampleAt(matte, x, y), 0) << x << ',' << y;
            ASSERT_EQ(SampleAt(matte, 79 - x, y), 255) << 79 - x << ',' << y;
        }
    }
}

TEST(Matting, WorksOnLongPicturesReduced) {
    const Composite composite =
        Compose(2200, 60, 2, [](double x, double y) { return (x + 3 * std::sin(y / 4) - 1090) / 12; });
    const FramePtr matte = ApplyMany(SettingsEffectMatting(), {composite.picture, composite.trimap});
    ASSERT_EQ(matte->GetFrameInfo(), composite.alpha->GetFrameInfo());
    const std::vector<std::uint8_t> known = Bytes(*composite.trimap), found = Bytes(*matte);
    std::int64_t unknown = 0;
    for (std::size_t i = 0; i < known.size(); ++i) {
        unknown += known[i] == 128;
        if (known[i] == 128) continue;
        ASSERT_EQ(found[i], known[i]) << "pixel " << i % 2200 << ", " << i / 2200;
    }
    EXPECT_LT(ErrorOf(matte, composite), unknown * 16) << unknown << " unknown pixels";
}

TEST(Matting, SaysWhatTheTrimapLacks) {
    const FramePtr picture = MakeFrame(PixFmt::Rgb24, 8, 6);
    const SettingsEffectMatting settings;
    for (const int level : {0, 128, 255}) {
        const FramePtr trimap = Draw(8, 6, [=](int x, int) { return x < 4 ? level : 128; });
        EXPECT_EQ(MessageOf([&] {
                      ApplyMany(settings, {picture, trimap});
                  }),
                  "Trimap needs both foreground and background!");
    }
    EXPECT_THAT(MessageOf([&] { ApplyMany(settings, {picture}); }), HasSubstr("needs a trimap"));
    EXPECT_THAT(MessageOf([&] { ApplyMany(settings, {picture, MakeFrame(PixFmt::Gray8, 6, 8)}); }), HasSubstr("6 x 8"));
    // Without anything unknown it is the mask.
    const FramePtr mask = Draw(8, 6, [](int x, int) { return x < 4 ? 0 : 255; });
    EXPECT_TRUE(SameFrames(ApplyMany(settings, {picture, Converted(mask, PixFmt::Rgb24)}), mask));
}

}  // namespace
}  // namespace Orvexa::Test
