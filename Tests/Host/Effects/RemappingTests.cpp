#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsEffectRemapping.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

const std::uint8_t* Pixel(const ConstFramePtr& frame, std::uint32_t x, std::uint32_t y, std::uint8_t plane = 0) {
    return frame->GetPlane(plane).GetOffsetPtr(x, y);
}

TEST(Remapping, SamplesBetweenPixels) {
    // Positions on the sampler's grid of 1/32 pixel.
    const auto position = [](int x, int y) {
        return std::pair(static_cast<float>(x) * 0.625f + 3.25f, static_cast<float>(y) * 1.5f - 4.75f);
    };
    for (const PixFmt pixFmt : {PixFmt::Gray8, PixFmt::Rgb24, PixFmt::Rgba}) {
        const FramePtr source = MakeFrame(pixFmt, 97, 61);
        const FramePtr result = RunHost(SettingsEffectRemapping(position), source);
        for (std::uint32_t y = 0; y < 61; ++y) {
            for (std::uint32_t x = 0; x < 97; ++x) {
                const double fromX = std::clamp(x * 0.625 + 3.25, 0.0, 96.0),
                             fromY = std::clamp(y * 1.5 - 4.75, 0.0, 60.0);
                const auto left = static_cast<std::uint32_t>(fromX), top = static_cast<std::uint32_t>(fromY);
                const std::uint32_t right = std::min(left + 1, 96u), bottom = std::min(top + 1, 60u);
                const double tx = fromX - left, ty = fromY - top;
                for (int k = 0; k < PixFmtDescription::Get(pixFmt).bytesPerPixel; ++k) {
                    const double above = Pixel(source, left, top)[k] * (1 - tx) + Pixel(source, right, top)[k] * tx;
                    const double below =
                        Pixel(source, left, bottom)[k] * (1 - tx) + Pixel(source, right, bottom)[k] * tx;
                    ASSERT_NEAR(Pixel(result, x, y)[k], above * (1 - ty) + below * ty, 1.0) << x << ", " << y;
                }
            }
        }
    }
}

TEST(Remapping, TakesPositionsFromAnywhere) {
    // Mirrored: every pixel comes from the other end. The second is wider than what is counted in 16 bits.
    for (const std::uint32_t width : {5000u, 70000u}) {
        const FramePtr source = MakeFrame(PixFmt::Gray8, width, 3);
        const FramePtr result =
            RunHost(SettingsEffectRemapping([=](int x, int y) {
                        return std::pair(static_cast<float>(width - 1 - x), static_cast<float>(2 - y));
                    }),
                    source);
        for (std::uint32_t x = 0; x < width; ++x)
            ASSERT_EQ(*Pixel(result, x, 0), *Pixel(source, width - 1 - x, 2)) << x;
    }
    // What is no position shows the edge.
    const FramePtr source = MakeFrame(PixFmt::Gray8, 9, 2);
    const float positions[] = {-1e30f,
                               -5,
                               0,
                               8,
                               9,
                               1e30f,
                               std::numeric_limits<float>::infinity(),
                               -std::numeric_limits<float>::infinity(),
                               std::nanf("")};
    const FramePtr result = RunHost(
        SettingsEffectRemapping([&](int x, int y) { return std::pair(positions[x], static_cast<float>(y)); }), source);
    for (std::uint32_t x = 0; x < 9; ++x)
        EXPECT_EQ(*Pixel(result, x, 1), *Pixel(source, x >= 3 && x <= 6 ? 8 : 0, 1)) << x;
}

TEST(Remapping, MovesSubsampledPlanesByTheirShare) {
    const FramePtr source = MakeFrame(PixFmt::Yuva420p, 40, 30);
    const FramePtr result = RunHost(SettingsEffectRemapping([](int x, int y) {
                                        return std::pair(static_cast<float>(x + 4), static_cast<float>(y - 2));
                                    }),
                                    source);
    for (const auto& [plane, shiftX, shiftY, width, height] :
         {std::tuple(0, 4, 2, 40, 30), {1, 2, 1, 20, 15}, {2, 2, 1, 20, 15}, {3, 4, 2, 40, 30}}) {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                ASSERT_EQ(*Pixel(result, x, y, plane),
                          *Pixel(source, std::min(x + shiftX, width - 1), std::max(y - shiftY, 0), plane))
                    << plane << ": " << x << ", " << y;
            }
        }
    }
}

TEST(Remapping, IsNothingWithoutAFunction) {
    EXPECT_THROW(RunHost(SettingsEffectRemapping(), MakeFrame(PixFmt::Gray8, 3, 3)), EffectException);
}

}  // namespace
}  // namespace Orvexa::Test
