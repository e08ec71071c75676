// Sub-effects built on libraries: those of ImageMagick, and the segmentation of OpenCV.

#include <gtest/gtest.h>

#include "Host/Core/Exception.h"
#include "Host/Core/Threads.h"
#include "Host/Settings/Common/SettingsEffectCharcoal.h"
#include "Host/Settings/Common/SettingsEffectNoiseVideo.h"
#include "Host/Settings/Common/SettingsEffectOilPaint.h"
#include "Host/Settings/Photo/SettingsEffectSegmentation.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

FramePtr Painted(double radius, FramePtr frame) {
    OneInputPtr effect;
    HostFactory()->CreateOneInputEffect(effect, SettingsEffectOilPaint::CLASS_ID, ImplPhotoNames::IMAGEMAGICK, {});
    SettingsEffectOilPaint settings;
    settings.SetRadius(radius);
    effect->SetSettings(settings);
    effect->ProcessData(frame);
    return frame;
}

SettingsEffectNoiseVideo Noise(std::uint32_t seed, NoiseType type = NoiseType::Random) {
    SettingsEffectNoiseVideo settings;
    settings.SetSeed(seed);
    settings.SetType(type);
    return settings;
}

TEST(MagickEffects, NoiseIsMadeFromItsSeed) {
    const FramePtr black = MakeFrame(PixFmt::Gray8, 97, 61, Color::Black(Opacity::Opaque));
    const FramePtr first = RunHost(Noise(1), black), other = RunHost(Noise(2), black);
    EXPECT_TRUE(SameFrames(RunHost(Noise(1), black), first));
    EXPECT_FALSE(SameFrames(other, first));
    // All levels are there about equally often: 5917 pixels in four classes of about 1479, which deviate by about 33.
    int classes[4] = {};
    for (const std::uint8_t level : Bytes(*first)) ++classes[level / 64];
    for (const int count : classes) EXPECT_NEAR(count, 1479, 200);
    for (const int type : {2, 5, 7})
        EXPECT_THROW(RunHost(Noise(1, static_cast<NoiseType>(type)), black), EffectException);
}

TEST(MagickEffects, NoiseOfAnyKindMovesAroundThePicture) {
    const FramePtr grey = MakeFrame(PixFmt::Rgb24, 97, 61, Color(128, 128, 128));
    for (const NoiseType type : {NoiseType::Uniform, NoiseType::Gaussian, NoiseType::Impulse, NoiseType::Laplacian}) {
        const FramePtr noisy = RunHost(Noise(1, type), grey);
        EXPECT_FALSE(SameFrames(noisy, grey)) << static_cast<int>(type);
        double sum = 0;
        for (const std::uint8_t level : Bytes(*noisy)) sum += level;
        EXPECT_NEAR(sum / (97 * 61 * 3), 128, 8) << static_cast<int>(type);
    }
}

TEST(MagickEffects, KeepFormatAndAlpha) {
    for (const PixFmt pixFmt : {PixFmt::Gray8, PixFmt::Bgr24, PixFmt::Abgr, PixFmt::Yuva420p}) {
        const FramePtr source = MakeFrame(pixFmt, 40, 30);
        for (const FramePtr& result :
             {Painted(1, source), RunHost(SettingsEffectCharcoal(), source), RunHost(Noise(3), source)}) {
            ASSERT_EQ(result->GetPixFmt(), pixFmt);
            ASSERT_EQ(result->GetFrameInfo(), source->GetFrameInfo());
            const PixFmtDescription& description = PixFmtDescription::Get(pixFmt);
            if (!description.HasAlpha()) continue;
            const FramePtr before = Converted(source, PixFmt::Rgba), after = Converted(result, PixFmt::Rgba);
            for (std::size_t i = 3; i < Bytes(*before).size(); i += 4) ASSERT_EQ(Bytes(*after)[i], Bytes(*before)[i]);
        }
    }
}

TEST(MagickEffects, OilPaintTakesTheMostFrequentColour) {
    FramePtr speckled = MakeFrame(PixFmt::Rgb24, 40, 30, Color(200, 100, 50));
    for (const std::uint32_t x : {5u, 20u, 33u})
        std::fill_n(speckled->GetPlane(0).GetOffsetPtr(x, 15), 3, std::uint8_t{0});
    EXPECT_TRUE(SameFrames(Painted(3, speckled), MakeFrame(PixFmt::Rgb24, 40, 30, Color(200, 100, 50))));
}

TEST(MagickEffects, OilPaintInBandsIsOilPaint) {
    const int before = Core::GetLibraryThreads();
    for (const double radius : {0.5, 3.0, 7.5}) {
        for (const PixFmt pixFmt : {PixFmt::Gray8, PixFmt::Rgba}) {
            const FramePtr picture = MakeFrame(pixFmt, 41, 403);
            Core::SetLibraryThreads(1);
            const FramePtr whole = Painted(radius, picture);
            for (const int threads : {2, 7}) {
                Core::SetLibraryThreads(threads);
                EXPECT_TRUE(SameFrames(Painted(radius, picture), whole)) << radius << " on " << threads << " threads";
            }
        }
    }
    Core::SetLibraryThreads(before);
}

TEST(MagickEffects, OilPaintDoesNotPaintWithHiddenColours) {
    // Two columns show among many that do not, which would win the vote of a neighbourhood.
    const FramePtr source = DrawFrame(PixFmt::Rgba, 41, 31, [](int x, int, int k) {
        const int shown[] = {200, 100, 50, 255}, hidden[] = {0, 255, 255, 0};
        return (x / 2 == 10 ? shown : hidden)[k];
    });
    const FramePtr painted = Painted(3, source);
    for (const std::uint32_t x : {20u, 21u}) {
        for (int k = 0; k < 4; ++k) EXPECT_EQ(SampleAt(painted, x, 15, k), SampleAt(source, x, 15, k)) << x << ' ' << k;
    }
    EXPECT_EQ(SampleAt(painted, 30, 15, 3), 0);
}

TEST(MagickEffects, CharcoalDrawsEdgesOnWhite) {
    FramePtr step = MakeFrame(PixFmt::Gray8, 60, 40, Color::Black(Opacity::Opaque));
    for (std::uint32_t y = 0; y < 40; ++y) std::fill_n(step->GetPlane(0).GetOffsetPtr(30, y), 30, std::uint8_t{255});
    const FramePtr drawn = RunHost(SettingsEffectCharcoal(), step);
    const ConstPlane plane = std::as_const(*drawn).GetPlane(0);
    EXPECT_LT(*plane.GetOffsetPtr(30, 20), 100);
    EXPECT_GT(*plane.GetOffsetPtr(5, 20), 200);
    EXPECT_GT(*plane.GetOffsetPtr(55, 20), 200);
}

// A disc of noisy red on noisy blue.
constexpr int kSide = 60;
bool IsDisc(int x, int y) { return (x - 30) * (x - 30) + (y - 25) * (y - 25) < 18 * 18; }

FramePtr Picture(PixFmt pixFmt) {
    const FramePtr noise = MakeFrame(PixFmt::Rgb24, kSide, kSide);
    return Converted(DrawFrame(PixFmt::Rgb24, kSide, kSide,
                               [&](int x, int y, int k) {
                                   const int disc[] = {190, 30, 30}, around[] = {30, 30, 160};
                                   return (IsDisc(x, y) ? disc : around)[k] + SampleAt(noise, x, y, k) / 8;
                               }),
                     pixFmt);
}

// A stroke within the disc, and a frame around the picture.
FramePtr Strokes(int inside, int around, int elsewhere) {
    return DrawFrame(PixFmt::Gray8, kSide, kSide, [&](int x, int y, int) {
        if (x >= 25 && x < 36 && y >= 20 && y < 30) return inside;
        return x < 3 || y < 3 || x > 56 || y > 56 ? around : elsewhere;
    });
}

FramePtr Expected(int inside, int outside) {
    return DrawFrame(PixFmt::Gray8, kSide, kSide, [&](int x, int y, int) { return IsDisc(x, y) ? inside : outside; });
}

TEST(GrabCut, FindsTheSubjectBySeeds) {
    SettingsEffectSegmentation settings;
    settings.SetForeground(200);
    settings.SetBackground(100);
    for (const PixFmt pixFmt : {PixFmt::Rgb24, PixFmt::Bgra, PixFmt::Yuv444p}) {
        const FramePtr picture = Picture(pixFmt);
        EXPECT_TRUE(SameFrames(RunHost(settings, picture, Strokes(200, 100, 0)), Expected(200, 100))) << Name(pixFmt);
    }
    // Strokes of one kind alone leave nothing to compare with: what is not marked is background.
    EXPECT_TRUE(SameFrames(RunHost(settings, Picture(PixFmt::Rgb24), Strokes(0, 0, 0)),
                           MakeFrame(PixFmt::Gray8, kSide, kSide, Color(100, 100, 100))));
}

TEST(GrabCut, OverwritesLabelsThroughAView) {
    const GuardedFrame guarded(PixFmt::Gray8, kSide, kSide);
    CopyDataVideo(Strokes(1, 0, 3), guarded.GetFrame(), 0, 0);
    FramePtr labels = guarded.GetFrame();
    CreateTwoInput(SettingsEffectSegmentation())->ProcessData(labels, ConstFramePtr(Picture(PixFmt::Rgb24)));
    EXPECT_TRUE(SameFrames(guarded.GetFrame(), Expected(255, 0)));
    EXPECT_TRUE(guarded.IsGuardIntact());
}

TEST(GrabCut, KeepsThePicturesEdgesWhereItCutsAtASmallerScale) {
    constexpr int kWidth = 900, kHeight = 700;
    // An edge with teeth that are too fine for the smaller scale.
    const auto isSubject = [](int x, int y) { return x >= 450 + y / 5 % 2 * 6; };
    const FramePtr picture = DrawFrame(PixFmt::Rgb24, kWidth, kHeight, [&](int x, int y, int k) {
        const int subject[] = {190, 120, 30}, around[] = {30, 40, 160};
        return (isSubject(x, y) ? subject : around)[k] + (x * 7 + y * 5) % 9;
    });
    FramePtr labels = DrawFrame(PixFmt::Gray8, kWidth, kHeight, [](int x, int y, int) {
        if (y == 333 && (x == 350 || x == 550)) return x == 350 ? 1 : 0;  // certain, though it looks otherwise
        return x < 300 ? 0 : x >= 600 ? 1 : x < 430 ? 2 : 3;
    });
    CreateTwoInput(SettingsEffectSegmentation())->ProcessData(labels, ConstFramePtr(picture));
    EXPECT_EQ(SampleAt(labels, 350, 333), 255);
    EXPECT_EQ(SampleAt(labels, 550, 333), 0);
    int wrong = 0;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const int level = SampleAt(labels, static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y));
            ASSERT_TRUE(level == 0 || level == 255);
            wrong += (level == 255) != isSubject(x, y);
        }
    }
    EXPECT_LT(wrong, kHeight / 2) << "half a tooth would be three pixels a row";
}

TEST(GrabCut, RefusesWhatItCannotCut) {
    const auto cut = [](const FramePtr& first, const FramePtr& second) {
        RunHost(SettingsEffectSegmentation(), first, second);
    };
    EXPECT_THROW(cut(Picture(PixFmt::Rgb24), MakeFrame(PixFmt::Gray8, kSide, 59)), EffectException);
    EXPECT_THROW(cut(Picture(PixFmt::Rgb24), Picture(PixFmt::Rgb24)), EffectException);
    EXPECT_THROW(cut(Strokes(1, 0, 4), Picture(PixFmt::Rgb24)), EffectException) << "no label 4";
}

}  // namespace
}  // namespace Orvexa::Test
