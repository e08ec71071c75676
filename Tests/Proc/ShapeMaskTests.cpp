#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "Host/Settings/Photo/SettingsEffectShapeMask.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

SettingsEffectShapeMask Shape(std::initializer_list<std::pair<const char*, const char*>> values) {
    SettingsEffectShapeMask settings;
    for (const auto& [key, value] : values) SetField(settings, key, value);
    return settings;
}

int At(const FramePtr& mask, std::uint64_t x, std::uint64_t y) { return SampleAt(mask, x, y); }

TEST(ShapeMask, FallsOffFromTheEllipseAlongACubic) {
    // Half extents 50 x 25 around (100, 50); the falloff ends at twice the shape.
    const FramePtr mask =
        Apply(Shape({{"foreground", "200"}, {"background", "40"}}), MakeFrame(PixFmt::Rgb24, 200, 100));
    ASSERT_EQ(mask->GetPixFmt(), PixFmt::Gray8);
    ASSERT_EQ(mask->GetFrameInfo(), FrameInfo(200, 100));
    EXPECT_EQ(At(mask, 100, 50), 200);
    EXPECT_EQ(At(mask, 150, 50), 200) << "on the edge";
    EXPECT_EQ(At(mask, 175, 50), 120) << "half-way, level slopes";
    EXPECT_EQ(At(mask, 100, 87), std::lround(200 * (2 * std::pow(0.48, 3) - 3 * std::pow(0.48, 2) + 1) +
                                             40 * (3 * std::pow(0.48, 2) - 2 * std::pow(0.48, 3))));
    EXPECT_EQ(At(mask, 0, 0), 40);
    EXPECT_EQ(At(mask, 0, 50), 40) << "twice the shape";
    EXPECT_GT(At(mask, 1, 50), 39);
}

TEST(ShapeMask, MeasuresRectanglesFromSidesAndCorners) {
    const FramePtr mask =
        Apply(Shape({{"shape", "rectangle"}, {"width", "0.4"}, {"height", "0.4"}}), MakeFrame(PixFmt::Gray8, 200, 200));
    EXPECT_EQ(At(mask, 139, 139), 255) << "inside, near the corner";
    EXPECT_EQ(At(mask, 160, 100), 128) << "half-way beyond a side: 127.5 rounds up";
    EXPECT_EQ(At(mask, 100, 160), 128);
    const double d = std::sqrt(0.5 * 0.5 * 2);  // (160, 160)
    EXPECT_EQ(At(mask, 160, 160), std::lround(255 * (2 * d * d * d - 3 * d * d + 1)));
    EXPECT_EQ(At(mask, 175, 175), 0) << "the corner is round: further than the extent";
    EXPECT_EQ(At(mask, 180, 100), 0);
}

TEST(ShapeMask, TurnsCounterClockwiseAndTakesCirclesFromTheShorterSide) {
    const FramePtr turned = Apply(Shape({{"width", "0.8"}, {"height", "0.1"}, {"angle", "30"}, {"threshold", "1.01"}}),
                                  MakeFrame(PixFmt::Gray8, 200, 200));
    EXPECT_EQ(At(turned, 100 + 52, 100 - 30), 255) << "up on the right";
    EXPECT_EQ(At(turned, 100 + 52, 100 + 30), 0);
    const FramePtr circle = Apply(Shape({{"shape", "circle"}, {"threshold", "1"}}), MakeFrame(PixFmt::Gray8, 200, 100));
    EXPECT_EQ(At(circle, 100 + 25, 50), 255);
    EXPECT_EQ(At(circle, 100 + 26, 50), 0);
    EXPECT_EQ(At(circle, 100, 50 + 25), 255);
}

TEST(ShapeMask, ReadsTheThresholdByItsMode) {
    const auto edgeOf = [](const SettingsEffectShapeMask& settings) {
        const FramePtr mask = Apply(settings, MakeFrame(PixFmt::Gray8, 240, 240));
        int x = 120;
        while (x < 239 && At(mask, static_cast<std::uint64_t>(x), 120) > 0) ++x;
        return x - 120;
    };
    // Half extents of 24; the last values round to 0 a little before the end.
    EXPECT_NEAR(edgeOf(Shape({{"width", "0.2"}, {"height", "0.2"}, {"threshold", "2"}})), 48, 2);
    EXPECT_NEAR(
        edgeOf(Shape({{"width", "0.2"}, {"height", "0.2"}, {"threshold", "0.8"}, {"thresholdMode", "relative"}})), 96,
        4);
    EXPECT_NEAR(edgeOf(Shape({{"width", "0.2"}, {"height", "0.2"}, {"threshold", "9"}, {"thresholdMode", "wide"}})), 72,
                3);
}

TEST(ShapeMask, TiltsTheEndsOfTheFalloffAndClampsWhatOvershoots) {
    const auto at = [](const char* foregroundTilt, const char* backgroundTilt, std::uint64_t x) {
        return At(Apply(Shape({{"foreground", "200"},
                               {"background", "50"},
                               {"foregroundTilt", foregroundTilt},
                               {"backgroundTilt", backgroundTilt}}),
                        MakeFrame(PixFmt::Gray8, 200, 100)),
                  x, 50);
    };
    EXPECT_EQ(at("0", "0", 162), std::lround(200 - 150 * (3 * 0.24 * 0.24 - 2 * 0.24 * 0.24 * 0.24)));
    EXPECT_EQ(at("80", "0", 175), std::lround(125 + 80 * 0.125))
        << "h10 is 1/8 in the middle, the extent beyond the shape 1";
    EXPECT_EQ(at("0", "80", 175), std::lround(125 - 80 * 0.125));
    const FramePtr wide = Apply(Shape({{"width", "0.25"},
                                       {"threshold", "3"},
                                       {"foreground", "200"},
                                       {"background", "50"},
                                       {"foregroundTilt", "80"}}),
                                MakeFrame(PixFmt::Gray8, 200, 100));
    EXPECT_EQ(At(wide, 150, 50), std::lround(125 + 2 * 80 * 0.125))
        << "a tilt is per shape; the falloff is two shapes long";
    EXPECT_EQ(at("4000", "0", 165), 255);
    EXPECT_EQ(at("-4000", "0", 165), 0);
}

TEST(ShapeMask, FollowsNewSettingsAndSizes) {
    const SettingsEffectShapeMask left = Shape({{"centerX", "0.2"}}),
                                  right = Shape({{"centerX", "0.8"}, {"height", "0.3"}});
    const OneInputPtr effect = CreateModuleEffect(SettingsEffectShapeMask::CLASS_ID);
    for (const auto& [settings, width] : {std::pair{left, 90u}, {right, 90u}, {right, 120u}}) {
        const FramePtr input = MakeFrame(PixFmt::Gray8, width, 60);
        FramePtr mask = input;
        effect->SetSettings(settings);
        effect->ProcessData(mask);
        EXPECT_TRUE(SameFrames(mask, Apply(settings, input))) << width;
    }
}

TEST(ShapeMask, ReadsInsideAndOutsideFromTheSettingsOfTheMoment) {
    const OneInputPtr effect = CreateModuleEffect(SettingsEffectShapeMask::CLASS_ID);
    effect->SetSettings(Shape({{"foreground", "200"}, {"background", "40"}}));
    effect->ResetSettings();  // to 255 and 0; the falloff stays
    FramePtr mask = MakeFrame(PixFmt::Gray8, 200, 100);
    effect->ProcessData(mask);
    EXPECT_EQ(At(mask, 100, 50), 255);
    EXPECT_EQ(At(mask, 175, 50), 120);
    EXPECT_EQ(At(mask, 0, 0), 0);
}

TEST(ShapeMask, AShapeWithoutExtentIsOutsideEverywhere) {
    for (const char* mode : {"absolute", "relative", "wide"}) {
        for (const ShapeMaskShape shape : {ShapeMaskShape::Ellipse, ShapeMaskShape::Rectangle}) {
            SettingsEffectShapeMask settings =
                Shape({{"foreground", "200"}, {"background", "40"}, {"thresholdMode", mode}});
            settings.SetShape(shape);
            settings.SetWidth(0);
            settings.SetHeight(0);
            const FramePtr mask = Apply(settings, MakeFrame(PixFmt::Gray8, 8, 6));
            EXPECT_EQ(At(mask, 4, 3), 40) << mode << ": 0 / 0";
            EXPECT_EQ(At(mask, 1, 1), 40) << mode;
        }
    }
}

TEST(ShapeMask, EvaluatesLargeMasksAtAFractionOfTheirSize) {
    const auto resized = [](std::uint32_t width, std::uint32_t height) {
        SpiedEffect spied = CreateSpiedEffect(SettingsEffectShapeMask::CLASS_ID);
        spied.effect->SetSettings(Shape({}));
        spied.factory->TakeTranscript();
        FramePtr frame = MakeFrame(PixFmt::Gray8, width, height, Color(0, 0, 0));
        spied.effect->ProcessData(frame);
        EXPECT_EQ(frame->GetFrameInfo(), FrameInfo(width, height));
        const std::vector<std::string> transcript = spied.factory->TakeTranscript();
        return transcript.back().starts_with("run") ? transcript.back() : "at full size";
    };
    EXPECT_EQ(resized(1000, 700), "run SettingsResizer#1 gray8 500x350 -> gray8 1000x700");
    EXPECT_EQ(resized(1001, 701), "run SettingsResizer#1 gray8 500x350 -> gray8 1002x702");
    EXPECT_EQ(resized(600, 300), "at full size");
    EXPECT_EQ(resized(200, 100), "at full size");
    // The reduced mask stays close to the one evaluated pixel by pixel.
    const SettingsEffectShapeMask settings = Shape({{"angle", "20"}, {"width", "0.3"}});
    const FramePtr mask = Apply(settings, MakeFrame(PixFmt::Gray8, 1000, 700, Color(0, 0, 0)));
    const auto normalizer = settings.GetNormalizer({1000, 700});
    for (std::uint64_t i = 0; i < 500; ++i) {
        const std::uint64_t x = i * 37 % 1000, y = i * 53 % 700;
        const auto [u, v] = normalizer({static_cast<double>(x), static_cast<double>(y)});
        const double d = std::clamp(std::hypot(u, v) - 1, 0.0, 1.0);
        EXPECT_NEAR(At(mask, x, y), 255 * (2 * d * d * d - 3 * d * d + 1), 3) << x << ' ' << y;
    }
}

TEST(ShapeMask, FillsPlainMasksAndNeedsSettingsOtherwise) {
    const FramePtr input = MakeFrame(PixFmt::Rgb24, 7, 5);
    EXPECT_TRUE(SameFrames(Apply(Shape({{"foregroundOnly", "true"}, {"foreground", "77"}}), input),
                           MakeFrame(PixFmt::Gray8, 7, 5, Color(77, 77, 77))));
    EXPECT_TRUE(SameFrames(Apply(Shape({{"backgroundOnly", "true"}, {"background", "9"}}), input),
                           MakeFrame(PixFmt::Gray8, 7, 5, Color(9, 9, 9))));
    FramePtr frame = input;
    EXPECT_EQ(MessageOf([&] { CreateModuleEffect(SettingsEffectShapeMask::CLASS_ID)->ProcessData(frame); }),
              "Settings are not set!");
    // A shape of another number keeps the one before.
    const OneInputPtr effect = CreateModuleEffect(SettingsEffectShapeMask::CLASS_ID);
    SettingsEffectShapeMask settings = Shape({{"shape", "rectangle"}});
    effect->SetSettings(settings);
    FramePtr first = MakeFrame(PixFmt::Gray8, 97, 61), second = MakeFrame(PixFmt::Gray8, 97, 61);
    effect->ProcessData(first);
    settings.SetShape(static_cast<ShapeMaskShape>(4));
    effect->SetSettings(settings);
    effect->ProcessData(second);
    EXPECT_TRUE(SameFrames(second, first));
}

}  // namespace
}  // namespace Orvexa::Test
