#include <gtest/gtest.h>

#include <cmath>

#include "Host/Settings/Photo/SettingsEffectImplode.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

FramePtr Imploded(ImplodeMode mode, double strength, const FramePtr& frame) {
    SettingsEffectImplode settings;
    settings.SetMode(mode);
    settings.SetStrength(strength);
    return Apply(settings, frame);
}

// Red tells the column, green the row.
FramePtr Coordinates(std::uint32_t width, std::uint32_t height) {
    std::vector<int> samples;
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x)
            samples.insert(samples.end(), {static_cast<int>(x), static_cast<int>(y), 0});
    }
    return MakeFrame(PixFmt::Rgb24, width, height, samples);
}

TEST(Implode, ShowsWhatLiesFartherOutOrNearer) {
    const FramePtr source = Coordinates(240, 160);
    struct {
        ImplodeMode mode;
        double strength, amount;  // the amount at the centre
    } const cases[] = {{ImplodeMode::Implode, 100, 1.0},
                       {ImplodeMode::Implode, 30, 0.3},
                       {ImplodeMode::Explode, 100, -0.5},
                       {static_cast<ImplodeMode>(7), 50, -0.25}};
    for (const auto& [mode, strength, amount] : cases) {
        const FramePtr result = Imploded(mode, strength, source);
        for (std::uint32_t y = 0; y < 160; ++y) {
            for (std::uint32_t x = 0; x < 240; ++x) {
                const double u = x / 120.0 - 1, v = y / 80.0 - 1, r = std::min(std::hypot(u, v), 1.0);
                const double scale = 1 + amount * (1 - r * r * (3 - 2 * r));
                const std::uint8_t* pixel = std::as_const(*result).GetPlane(0).GetOffsetPtr(x, y);
                // Positions outside show the edge. Samples lie on a grid of 1/32 pixel and are rounded.
                ASSERT_NEAR(pixel[0], std::clamp((u * scale + 1) * 120, 0.0, 239.0), 1.0)
                    << x << ", " << y << ", " << amount;
                ASSERT_NEAR(pixel[1], std::clamp((v * scale + 1) * 80, 0.0, 159.0), 1.0)
                    << x << ", " << y << ", " << amount;
            }
        }
    }
}

TEST(Implode, LeavesThePictureAloneOutsideTheEllipseAndWithoutStrength) {
    const FramePtr source = MakeFrame(PixFmt::Rgba, 97, 61);
    EXPECT_TRUE(SameFrames(Imploded(ImplodeMode::Implode, 0, source), source, 4)) << "up to the rounding of positions";
    const FramePtr result = Imploded(ImplodeMode::Implode, 100, source);
    for (std::uint32_t y = 0; y < 61; ++y) {
        for (std::uint32_t x = 0; x < 97; ++x) {
            if (std::hypot(x / 48.5 - 1, y / 30.5 - 1) < 1.001) continue;
            for (int k = 0; k < 4; ++k) {
                ASSERT_EQ(SampleAt(result, x, y, k), SampleAt(source, x, y, k));
            }
        }
    }
}

}  // namespace
}  // namespace Orvexa::Test
