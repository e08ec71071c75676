// The estimator of tilts, on scenes that are drawn at a known angle.

#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <numbers>

#include "Host/Proc/Neural.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/TestModels.h"

namespace Orvexa::Test {
namespace {

using namespace Neural;

struct Answer {
    double angle;
    bool isCertain;
};

Answer Ask(FramePtr frame) {
    static const Models models;
    models.WriteManifest(R"({"types": {"1": {"builtin": "line-segments"}, "6": {"builtin": "line-segments"}}})");
    const auto ask = [&](NeuralType type) {
        return CreateNeural(type, ImplName::Default, models.GetRoot())->Process(frame);
    };
    return {ask(NeuralType::TiltAngle)->GetDouble(), ask(NeuralType::HorizonFlag)->GetBool()};
}

// A scene, turned counter-clockwise and seen through pixels that take the mean of nine places.
FramePtr Turned(PixFmt pixFmt, std::uint32_t width, std::uint32_t height, double degrees,
                const std::function<double(double x, double y)>& scene) {
    const double angle = degrees * std::numbers::pi / 180, cosine = std::cos(angle), sine = std::sin(angle);
    return DrawFrame(pixFmt, width, height, [&](int column, int row, int) {
        double sum = 0;
        for (int i = 0; i < 9; ++i) {
            const double x = column - width / 2.0 + i % 3 / 3.0, y = row - height / 2.0 + i / 3 / 3.0;
            sum += scene(cosine * x - sine * y, sine * x + cosine * y);
        }
        return sum / 9;
    });
}

// Windows in rows and columns.
double Facade(double x, double y) {
    const double column = std::abs(std::fmod(std::abs(x), 90) - 45), row = std::abs(std::fmod(std::abs(y), 120) - 60);
    return column < 20 && row < 35 ? 60 : 170;
}
// Sky over sea.
double Horizon(double, double y) { return y < 40 ? 200 : 90; }

TEST(LineSegments, TellByHowMuchAPictureIsTurned) {
    for (const double degrees : {-12.0, -7.0, -2.3, 0.0, 0.6, 4.0, 7.0}) {
        for (const auto& [scene, pixFmt] : {std::pair{&Facade, PixFmt::Gray8}, {&Horizon, PixFmt::Bgr24}}) {
            const Answer answer = Ask(Turned(pixFmt, 640, 480, degrees, scene));
            EXPECT_NEAR(answer.angle, degrees, 0.1) << Name(pixFmt);
            EXPECT_TRUE(answer.isCertain) << degrees << ' ' << Name(pixFmt);
        }
    }
    EXPECT_NEAR(Ask(Turned(PixFmt::Yuv420p, 1700, 300, 3, Facade)).angle, 3, 0.1) << "reduced first";
}

TEST(LineSegments, AreUncertainWhereNothingIsStraight) {
    const auto rings = [](double x, double y) { return 128 + 100 * std::sin(std::hypot(x, y) / 9); };
    const auto slanted = [](double x, double y) { return Facade((x + y) * 0.7, (x - y) * 0.7); };
    const auto box = [](double x, double y) { return std::abs(x) < 30 && std::abs(y) < 20 ? 60 : 170; };
    // As many edges for one tilt as for another.
    const auto torn = [](double x, double y) {
        return x < 0 ? Facade(x - 0.1 * y, y + 0.1 * x) : Facade(x + 0.1 * y, y - 0.1 * x);
    };
    EXPECT_FALSE(Ask(Turned(PixFmt::Gray8, 640, 480, 0, rings)).isCertain);
    EXPECT_FALSE(Ask(Turned(PixFmt::Gray8, 640, 480, 0, slanted)).isCertain);
    EXPECT_FALSE(Ask(Turned(PixFmt::Gray8, 640, 480, 0, box)).isCertain) << "straight, but small";
    EXPECT_FALSE(Ask(Turned(PixFmt::Gray8, 640, 480, 0, torn)).isCertain);
    EXPECT_FALSE(Ask(MakeFrame(PixFmt::Gray8, 640, 480)).isCertain) << "noise";
    for (const auto& [width, height] : kSizes) {
        const Answer answer = Ask(MakeFrame(PixFmt::Rgb24, width, height, Color(9, 99, 9)));
        EXPECT_EQ(answer.angle, 0) << width;
        EXPECT_FALSE(answer.isCertain);
    }
    EXPECT_FALSE(Ask(MakeFrame(PixFmt::Rgb24, 2000, 1)).isCertain);
}

}  // namespace
}  // namespace Orvexa::Test
