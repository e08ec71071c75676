#include <gtest/gtest.h>

#include "Host/Core/Exception.h"
#include "Host/Settings/Photo/SettingsEffectSegmentation.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

// A disc of noisy red on noisy blue.
constexpr int kSide = 60;
bool IsDisc(int x, int y) { return (x - 30) * (x - 30) + (y - 25) * (y - 25) < 18 * 18; }

FramePtr Picture(PixFmt pixFmt) {
    const std::vector<std::uint8_t> noise = Bytes(*MakeFrame(PixFmt::Rgb24, kSide, kSide));
    std::vector<int> samples;
    for (int i = 0; i < kSide * kSide; ++i) {
        const bool isDisc = IsDisc(i % kSide, i / kSide);
        samples.insert(samples.end(), {(isDisc ? 190 : 30) + noise[3 * i] / 8, 30 + noise[3 * i + 1] / 8,
                                       (isDisc ? 30 : 160) + noise[3 * i + 2] / 8});
    }
    return Converted(MakeFrame(PixFmt::Rgb24, kSide, kSide, samples), pixFmt);
}

// A stroke within the disc, and a frame around the picture.
FramePtr Strokes(int inside, int around, int elsewhere) {
    std::vector<int> samples;
    for (int i = 0; i < kSide * kSide; ++i) {
        const int x = i % kSide, y = i / kSide;
        samples.push_back(x >= 25 && x < 36 && y >= 20 && y < 30 ? inside
                          : x < 3 || y < 3 || x > 56 || y > 56   ? around
                                                                 : elsewhere);
    }
    return MakeFrame(PixFmt::Gray8, kSide, kSide, samples);
}

FramePtr Expected(int inside, int outside) {
    std::vector<int> samples;
    for (int i = 0; i < kSide * kSide; ++i) samples.push_back(IsDisc(i % kSide, i / kSide) ? inside : outside);
    return MakeFrame(PixFmt::Gray8, kSide, kSide, samples);
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
