#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/exception/get_error_info.hpp>
#include <boost/throw_exception.hpp>
#include <cmath>
#include <numbers>
#include <set>

#include "Host/Core/Exception.h"
#include "Host/Settings/Photo/SettingsEffectBlurRadial.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

using testing::Contains;
using testing::Not;
using testing::StartsWith;

// The samples are rounded to pixels, and so is their mean; positions in the effect have single precision.
constexpr double kTolerance = 0.51 + 0.2;

struct Blur {
    BlurRadialMode mode;
    double angle, strength, x, y;
    std::uint32_t width, height;
};

SettingsEffectBlurRadial SettingsOf(const Blur& blur) {
    SettingsEffectBlurRadial settings;
    settings.SetMode(blur.mode);
    settings.SetAngle(blur.angle);
    settings.SetStrength(blur.strength);
    settings.SetX(blur.x);
    settings.SetY(blur.y);
    return settings;
}

int CountOf(const Blur& blur) { return static_cast<int>(std::max(blur.width, blur.height) * blur.strength + 0.5) / 2; }

// The turn at a place of the tables, in which `count` entries for a distance of 0 come first, then those for 1, and so
// on. Beyond their end nothing is turned.
double AngleAt(const Blur& tables, int place) {
    const int count = CountOf(tables);
    const double reach = std::hypot(std::max(1 - tables.x, tables.x) * tables.width + 1,
                                    std::max(1 - tables.y, tables.y) * tables.height + 1);
    if (place >= count * static_cast<int>(reach)) return 0;
    const double last = tables.angle * std::numbers::pi / 180 * (place / count) / tables.width;
    return last * (place % count + 1) / count;
}

// A mean of coordinates is the mean of where the samples are. Around a centre: a pixel and samples that go towards the
// centre, and with tables turn about it. Those that would lie outside count as the pixel itself.
void ExpectMeansAround(const FramePtr& result, const Blur& blur, const Blur* tables) {
    const int width = static_cast<int>(blur.width), height = static_cast<int>(blur.height), count = CountOf(blur);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double dx = width * blur.x - x, dy = height * blur.y - y;
            const int distance = static_cast<int>(std::hypot(dx, dy) + 0.5);
            double sumX = x, sumY = y;
            for (int k = 1; k <= (distance < 2 ? 0 : count); ++k) {
                const double cosine = tables != nullptr ? std::cos(AngleAt(*tables, count * distance)) : 1;
                const double sine = tables != nullptr ? std::sin(AngleAt(*tables, count * distance + 2 * (k - 1))) : 0;
                const double toX = std::trunc(x + 0.5 + 2.0 * k / height * (cosine * dx - sine * dy)),
                             toY = std::trunc(y + 0.5 + 2.0 * k / height * (sine * dx + cosine * dy));
                const bool isInside = toX >= 0 && toX < width && toY >= 0 && toY < height;
                sumX += isInside ? toX : x;
                sumY += isInside ? toY : y;
            }
            const int samples = distance < 2 ? 1 : count + 1;
            ASSERT_NEAR(SampleAt(result, x, y, 0), sumX / samples - 0.5, kTolerance) << x << ", " << y;
            ASSERT_NEAR(SampleAt(result, x, y, 1), sumY / samples - 0.5, kTolerance) << x << ", " << y;
        }
    }
}

constexpr Blur kZoom{BlurRadialMode::Zoom, 0, 0.3, 0.5, 0.5, 97, 61};
constexpr Blur kSpin{BlurRadialMode::Spin, 40, 0.3, 0.5, 0.5, 97, 61};

TEST(BlurRadial, TakesTheMeanOfSamplesAroundTheCentre) {
    for (const Blur& blur : {kZoom, Blur{BlurRadialMode::Zoom, 0, 1.0, 0.1, 1.3, 61, 97},
                             Blur{BlurRadialMode::Zoom, 0.000009, 0.2, -0.5, 0.5, 30, 20},
                             Blur{BlurRadialMode::Zoom, 0, 0.3, 0.5, 0.5, 3, 1}}) {
        SCOPED_TRACE(testing::Message() << "zoom " << blur.strength);
        ExpectMeansAround(Apply(SettingsOf(blur), MakeCoordinates(blur.width, blur.height)), blur, nullptr);
    }
    for (const Blur& blur : {kSpin, Blur{BlurRadialMode::Zoom, -90, 0.5, 0.2, 0.9, 61, 97},
                             Blur{BlurRadialMode::Spin, 0, 0.3, 0.5, 0.5, 96, 64},
                             Blur{BlurRadialMode::Spin, 200, 1.0, 0.5, 0.5, 96, 64}}) {
        SCOPED_TRACE(testing::Message() << "spin " << blur.angle);
        ExpectMeansAround(Apply(SettingsOf(blur), MakeCoordinates(blur.width, blur.height)), blur, &blur);
    }
}

// One bright pixel becomes the line that each pixel is the mean of.
TEST(BlurRadial, TakesTheMeanOfALineInLinearMode) {
    FramePtr dot = MakeFrame(PixFmt::Rgb24, 97, 61, Color(0, 0, 0));
    *dot->GetPlane(0).GetOffsetPtr(48, 30) = 255;
    for (const double angle : {0.0, 30.0, 90.0, -135.0}) {
        const double length = CountOf({BlurRadialMode::Linear, angle, 0.4, 0.5, 0.5, 97, 61}),
                     alongX = std::cos(angle * std::numbers::pi / 180),
                     alongY = std::sin(angle * std::numbers::pi / 180);
        const FramePtr line = Apply(SettingsOf({BlurRadialMode::Linear, angle, 0.4, 0.5, 0.5, 97, 61}), dot);
        std::set<int> levels;
        int count = 0;
        for (int i = 0; i < 97 * 61; ++i) {
            const int level = SampleAt(line, i % 97, i / 97), x = i % 97 - 48, y = i / 97 - 30;
            if (level == 0) continue;
            levels.insert(level);
            ++count;
            EXPECT_LE(std::abs(x * alongY - y * alongX), 0.71) << angle << ": " << x << ", " << y;
            EXPECT_LE(std::abs(x * alongX + y * alongY), length + 0.71) << angle << ": " << x << ", " << y;
        }
        const double steps = 2 * length * std::max(std::abs(alongX), std::abs(alongY)) + 1;
        EXPECT_GE(count, steps - 1) << angle;
        EXPECT_EQ(levels, std::set<int>{255 / count}) << "all of the same weight";
        const FramePtr flat = MakeFrame(PixFmt::Rgb24, 97, 61, Color(9, 99, 199));
        EXPECT_TRUE(SameFrames(Apply(SettingsOf({BlurRadialMode::Linear, angle, 0.4, 0.5, 0.5, 97, 61}), flat), flat));
    }
}

TEST(BlurRadial, LeavesThePictureAloneWithoutStrength) {
    for (const BlurRadialMode mode : {BlurRadialMode::Zoom, BlurRadialMode::Linear, BlurRadialMode::Spin}) {
        for (const double strength : {0.0, -0.5}) {
            const FramePtr source = MakeFrame(PixFmt::Bgr24, 40, 30);
            EXPECT_TRUE(SameFrames(Apply(SettingsOf({mode, 20, strength, 0.5, 0.5, 40, 30}), source), source));
        }
    }
}

TEST(BlurRadial, KeepsItsTablesUntilTheSizeChanges) {
    const OneInputPtr effect = CreateModuleEffect(SettingsEffectBlurRadial::CLASS_ID);
    const FramePtr source = MakeCoordinates(97, 61);
    const auto blurred = [&](const Blur& blur) {
        effect->SetSettings(SettingsOf(blur));
        FramePtr frame = source;
        effect->ProcessData(frame);
        return frame;
    };
    blurred(kSpin);
    for (const Blur& later :
         {Blur{BlurRadialMode::Spin, 300, 0.3, 0.5, 0.5, 97, 61}, Blur{BlurRadialMode::Spin, 40, 0.9, 0.5, 0.5, 97, 61},
          Blur{BlurRadialMode::Spin, 40, 0.05, 0.2, 0.2, 97, 61}}) {
        SCOPED_TRACE(testing::Message() << later.angle << ", " << later.strength);
        ExpectMeansAround(blurred(later), later, &kSpin);
    }
    FramePtr other = MakeFrame(PixFmt::Rgb24, 30, 20);
    effect->ProcessData(other);
    ExpectMeansAround(blurred(kSpin), kSpin, &kSpin);
}

TEST(BlurRadial, BlursLargePicturesReduced) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectBlurRadial::CLASS_ID);
    spied.effect->SetSettings(SettingsOf(kZoom));
    spied.factory->TakeTranscript();
    for (int i = 0; i < 2; ++i) {
        FramePtr frame = MakeFrame(PixFmt::Rgb24, 1001, 301);
        spied.effect->ProcessData(frame);
        EXPECT_EQ(frame->GetFrameInfo(), FrameInfo(1001, 301));
        const std::vector<std::string> transcript = spied.factory->TakeTranscript();
        EXPECT_THAT(transcript, Contains("run SettingsResizer#1 rgb24 1001x301 -> rgb24 512x154"));
        EXPECT_THAT(transcript, Contains("run SettingsResizer#2 rgb24 512x154 -> rgb24 1001x301"));
        const auto isReconfigured = Contains(
            StartsWith("set SettingsResizer#1 resizeMethod=fastBilinear customMode=fit customInfo=512,512,1,1 "));
        if (i == 0) {
            EXPECT_THAT(transcript, isReconfigured);
        } else {
            EXPECT_THAT(transcript, Not(Contains(StartsWith("set SettingsResizer"))));
        }
    }
}

TEST(BlurRadial, RefusesUnknownModesAndKeepsItsLines) {
    const OneInputPtr effect = CreateModuleEffect(SettingsEffectBlurRadial::CLASS_ID);
    FramePtr frame = MakeFrame(PixFmt::Rgb24, 97, 61);
    EXPECT_EQ(MessageOf([&] { effect->ProcessData(frame); }), "Settings are not set!") << "no lines were ever chosen";

    effect->SetSettings(SettingsOf(kZoom));
    Blur unknown = kZoom;
    unknown.mode = static_cast<BlurRadialMode>(3);
    unknown.strength = 0.6;
    try {
        effect->SetSettings(SettingsOf(unknown));
        ADD_FAILURE() << "the mode was taken";
    } catch (const std::logic_error& error) {
        EXPECT_STREQ(error.what(), "Unknown mode");
        const int* line = boost::get_error_info<boost::throw_line>(error);
        ASSERT_NE(line, nullptr);
        EXPECT_EQ(*line, 110);
    }
    FramePtr blurred = MakeCoordinates(97, 61);
    effect->ProcessData(blurred);
    ExpectMeansAround(blurred, unknown, nullptr);  // zoom with the new strength
}

}  // namespace
}  // namespace Orvexa::Test
