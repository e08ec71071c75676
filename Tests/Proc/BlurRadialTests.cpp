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
float Radians(double degrees) { return static_cast<float>(degrees * std::numbers::pi / 180.0); }

// Entries of the sine and cosine tables by their place in a list of N to each distance, without any list.
class Trigonometry {
public:
    explicit Trigonometry(const Blur& blur) : blur_(blur), count_(CountOf(blur)) {
        const double reachX = std::max(1 - blur.x, blur.x) * blur.width + 1,
                     reachY = std::max(1 - blur.y, blur.y) * blur.height + 1;
        distances_ = static_cast<int>(std::hypot(reachX, reachY));
    }
    float Sine(int place) const { return IsInside(place) ? std::sin(AngleAt(place)) : 0.0f; }
    float Cosine(int place) const { return IsInside(place) ? std::cos(AngleAt(place)) : 1.0f; }

private:
    bool IsInside(int place) const { return place < count_ * distances_; }
    float AngleAt(int place) const {
        const int distance = place / count_, k = place % count_ + 1;
        const float step = Radians(blur_.angle) / static_cast<float>(count_) * static_cast<float>(distance) /
                           static_cast<float>(blur_.width);
        return static_cast<float>(k) * step;
    }

    Blur blur_;
    int count_, distances_;
};

const std::uint8_t* Pixel(const ConstFramePtr& frame, int x, int y) {
    return frame->GetPlane(0).GetOffsetPtr(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y));
}

// Zoom, or with tables spin: the mean of a pixel and its samples.
FramePtr BlurredAround(const ConstFramePtr& source, const Blur& blur, const Trigonometry* tables) {
    const int width = static_cast<int>(blur.width), height = static_cast<int>(blur.height), count = CountOf(blur);
    const auto centerX = static_cast<float>(width * blur.x), centerY = static_cast<float>(height * blur.y);
    FramePtr result = CloneFrame(*source, kCloneIndependent);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const float dx = centerX - static_cast<float>(x), dy = centerY - static_cast<float>(y);
            const int distance = static_cast<int>(std::sqrt(static_cast<double>(dx * dx + dy * dy)) + 0.5);
            if (distance < 2) continue;
            int sums[3] = {Pixel(source, x, y)[0], Pixel(source, x, y)[1], Pixel(source, x, y)[2]};
            for (int k = 1; k <= count; ++k) {
                float toX = static_cast<float>(k) * (dx * (2 / static_cast<float>(height)));
                float toY = static_cast<float>(k) * (dy * (2 / static_cast<float>(height)));
                if (tables != nullptr) {
                    const float c = tables->Cosine(count * distance), s = tables->Sine(count * distance + 2 * (k - 1));
                    const float ux = static_cast<float>(k) * (dx / static_cast<float>(distance));
                    const float uy = static_cast<float>(k) * (dy / static_cast<float>(distance));
                    const float gain = (2 * static_cast<float>(distance)) / static_cast<float>(height);
                    toX = (c * ux - s * uy) * gain;
                    toY = (s * ux + c * uy) * gain;
                }
                int sampleX = static_cast<int>(toX + static_cast<float>(x) + 0.5),
                    sampleY = static_cast<int>(toY + static_cast<float>(y) + 0.5);
                if (sampleX < 0 || sampleX >= width || sampleY < 0 || sampleY >= height) sampleX = x, sampleY = y;
                for (int i = 0; i < 3; ++i) sums[i] += Pixel(source, sampleX, sampleY)[i];
            }
            for (int i = 0; i < 3; ++i)
                const_cast<std::uint8_t*>(Pixel(result, x, y))[i] = static_cast<std::uint8_t>(sums[i] / (count + 1));
        }
    }
    return result;
}

FramePtr BlurredAlong(const ConstFramePtr& source, const Blur& blur) {
    const int width = static_cast<int>(blur.width), height = static_cast<int>(blur.height), count = CountOf(blur);
    std::vector<std::pair<int, int>> line;
    for (int t = -count; t <= count; ++t) {
        line.emplace_back(std::lround(static_cast<float>(t) * std::cos(Radians(blur.angle))),
                          std::lround(static_cast<float>(t) * std::sin(Radians(blur.angle))));
    }
    line.erase(std::unique(line.begin(), line.end()), line.end());
    FramePtr result = CloneFrame(*source, kCloneIndependent);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            for (int i = 0; i < 3; ++i) {
                std::size_t sum = 0;
                for (const auto& [dx, dy] : line)
                    sum += Pixel(source, std::clamp(x + dx, 0, width - 1), std::clamp(y + dy, 0, height - 1))[i];
                const_cast<std::uint8_t*>(Pixel(result, x, y))[i] = static_cast<std::uint8_t>(sum / line.size());
            }
        }
    }
    return result;
}

constexpr Blur kZoom{BlurRadialMode::Zoom, 0, 0.3, 0.5, 0.5, 97, 61};
constexpr Blur kSpin{BlurRadialMode::Spin, 40, 0.3, 0.5, 0.5, 97, 61};

TEST(BlurRadial, TakesTheMeanOfASample) {
    for (const Blur& blur : {kZoom, Blur{BlurRadialMode::Zoom, 0, 1.0, 0.1, 1.3, 61, 97},
                             Blur{BlurRadialMode::Zoom, 0.000009, 0.2, -0.5, 0.5, 30, 20},
                             Blur{BlurRadialMode::Zoom, 0, 0.3, 0.5, 0.5, 3, 1}}) {
        const FramePtr source = MakeFrame(PixFmt::Rgb24, blur.width, blur.height);
        EXPECT_TRUE(SameFrames(Apply(SettingsOf(blur), source), BlurredAround(source, blur, nullptr)))
            << "zoom " << blur.strength;
    }
    for (const Blur& blur : {kSpin, Blur{BlurRadialMode::Zoom, -90, 0.5, 0.2, 0.9, 61, 97},
                             Blur{BlurRadialMode::Spin, 0, 0.3, 0.5, 0.5, 96, 64},
                             Blur{BlurRadialMode::Spin, 200, 1.0, 0.5, 0.5, 96, 64}}) {
        const FramePtr source = MakeFrame(PixFmt::Rgb24, blur.width, blur.height);
        const Trigonometry tables(blur);
        EXPECT_TRUE(SameFrames(Apply(SettingsOf(blur), source), BlurredAround(source, blur, &tables)))
            << "spin " << blur.angle;
    }
    for (const double angle : {0.0, 30.0, 90.0, -135.0}) {
        const Blur blur{BlurRadialMode::Linear, angle, 0.4, 0.5, 0.5, 97, 61};
        const FramePtr source = MakeFrame(PixFmt::Rgb24, blur.width, blur.height);
        EXPECT_TRUE(SameFrames(Apply(SettingsOf(blur), source), BlurredAlong(source, blur))) << "linear " << angle;
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
    const FramePtr source = MakeFrame(PixFmt::Rgb24, 97, 61);
    const auto blurred = [&](const Blur& blur) {
        effect->SetSettings(SettingsOf(blur));
        FramePtr frame = source;
        effect->ProcessData(frame);
        return frame;
    };
    const Trigonometry first(kSpin);
    blurred(kSpin);
    for (const Blur& later :
         {Blur{BlurRadialMode::Spin, 300, 0.3, 0.5, 0.5, 97, 61}, Blur{BlurRadialMode::Spin, 40, 0.9, 0.5, 0.5, 97, 61},
          Blur{BlurRadialMode::Spin, 40, 0.05, 0.2, 0.2, 97, 61}}) {
        EXPECT_TRUE(SameFrames(blurred(later), BlurredAround(source, later, &first)))
            << later.angle << ", " << later.strength;
    }
    FramePtr other = MakeFrame(PixFmt::Rgb24, 30, 20);
    effect->ProcessData(other);
    const Trigonometry second(kSpin);
    EXPECT_TRUE(SameFrames(blurred(kSpin), BlurredAround(source, kSpin, &second)));
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
        EXPECT_THAT(transcript, Contains("run SettingsResizer#2 rgb24 1001x301 -> rgb24 512x154"));
        EXPECT_THAT(transcript, Contains("run SettingsResizer#1 rgb24 512x154 -> rgb24 1001x301"));
        const auto isReconfigured = Contains(
            StartsWith("set SettingsResizer#2 resizeMethod=fastBilinear customMode=fit customInfo=512,512,1,1 "));
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
    const FramePtr source = MakeFrame(PixFmt::Rgb24, 97, 61);
    FramePtr blurred = source;
    effect->ProcessData(blurred);
    EXPECT_TRUE(SameFrames(blurred, BlurredAround(source, unknown, nullptr))) << "zoom with the new strength";
}

}  // namespace
}  // namespace Orvexa::Test
