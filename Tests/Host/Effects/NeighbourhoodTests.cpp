// Filters over the neighbours of a pixel: morphology, smart blur, remapping.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsEffectAlpha.h"
#include "Host/Settings/Common/SettingsEffectMorphology.h"
#include "Host/Settings/Common/SettingsEffectRemapping.h"
#include "Host/Settings/Common/SettingsEffectSmartBlur.h"
#include "Tests/Host/Effects/HostEffects.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

using enum MorphologyOperation;
using enum MorphologyBorder;

// The least or greatest sample of a square around each.
Grid Extremes(const Grid& grid, int size, bool isGreatest, MorphologyBorder border) {
    Grid result(grid.width, grid.height);
    const auto inside = [&](int i, int length) {
        if (border == Reflect) return i < 0 ? -1 - i : i >= length ? 2 * length - 1 - i : i;
        return std::clamp(i, 0,
                          length - 1);  // what lies outside decides nothing, which repeating the edge does not either
    };
    for (int y = 0; y < grid.height; ++y) {
        for (int x = 0; x < grid.width; ++x) {
            double extreme = grid.At(x, y);
            for (int v = y - size; v <= y + size; ++v) {
                for (int u = x - size; u <= x + size; ++u) {
                    const double sample = grid.At(inside(u, grid.width), inside(v, grid.height));
                    extreme = isGreatest ? std::max(extreme, sample) : std::min(extreme, sample);
                }
            }
            result.At(x, y) = extreme;
        }
    }
    return result;
}

TEST(Morphology, TakesExtremesOfSquares) {
    for (const MorphologyOperation operation : {Erode, Dilate, Open, Close}) {
        for (const MorphologyBorder border : {Constant, Replicate, Reflect}) {
            for (const auto& [size, iterations] : {std::pair(1, 1), {2, 1}, {1, 3}, {0, 2}, {2, 0}}) {
                SettingsEffectMorphology settings(operation, size, MorphologyKernel::Rectangle, border);
                settings.SetIterations(static_cast<std::uint32_t>(iterations));
                const FramePtr source = MakeFrame(PixFmt::Rgb24, 31, 19);
                const FramePtr result = RunHost(settings, source);
                for (int channel = 0; channel < 3; ++channel) {
                    Grid expected = Read(*source, 0, channel);
                    const bool startsBright = operation == Dilate || operation == Close;
                    const int passes = operation == Open || operation == Close ? 2 : 1;
                    for (int pass = 0; pass < passes; ++pass) {
                        for (int i = 0; i < iterations; ++i)
                            expected = Extremes(expected, size, startsBright == (pass == 0), border);
                    }
                    ASSERT_EQ(Read(*result, 0, channel).values, expected.values)
                        << static_cast<int>(operation) << ", " << static_cast<int>(border) << ", " << size << ", "
                        << iterations;
                }
            }
        }
    }
}

TEST(Morphology, DrawsTheShapeOfItsKernel) {
    std::vector<int> dot(49, 0), cross(49, 0);
    dot[24] = 255;
    for (const int i : {10, 17, 22, 23, 24, 25, 26, 31, 38}) cross[static_cast<std::size_t>(i)] = 255;
    EXPECT_TRUE(SameFrames(RunHost(SettingsEffectMorphology(Dilate, 2, MorphologyKernel::Cross, Constant),
                                   MakeFrame(PixFmt::Gray8, 7, 7, dot)),
                           MakeFrame(PixFmt::Gray8, 7, 7, cross)));
    const FramePtr disc = RunHost(SettingsEffectMorphology(Dilate, 3, MorphologyKernel::Ellipse, Constant),
                                  MakeFrame(PixFmt::Gray8, 7, 7, dot));
    EXPECT_EQ(SampleAt(disc, 0, 0), 0);
    EXPECT_EQ(SampleAt(disc, 0, 3), 255);
    EXPECT_EQ(SampleAt(disc, 1, 1), 255);
}

TEST(Morphology, RefusesWhatItDoesNotKnow) {
    const FramePtr frame = MakeFrame(PixFmt::Gray8, 5, 5);
    for (const SettingsEffectMorphology& settings :
         {SettingsEffectMorphology(static_cast<MorphologyOperation>(0), 1, MorphologyKernel::Rectangle, Constant),
          SettingsEffectMorphology(Erode, 1, static_cast<MorphologyKernel>(3), Constant),
          SettingsEffectMorphology(Erode, 1, MorphologyKernel::Rectangle, static_cast<MorphologyBorder>(3))}) {
        EXPECT_THROW(RunHost(settings, frame), EffectException);
    }
}

SettingsEffectSmartBlur Blurring(int radius, int blur, int sharpen = 0) {
    SettingsEffectSmartBlur settings;
    settings.SetLumaRadius(radius);
    settings.SetLumaBlur(blur);
    settings.SetLumaSharpen(sharpen);
    settings.SetChromaRadius(radius);
    settings.SetChromaBlur(blur);
    settings.SetChromaSharpen(sharpen);
    return settings;
}

double Spread(const Grid& grid, int fromX, int toX) {
    double low = 255, high = 0;
    for (int y = 0; y < grid.height; ++y) {
        for (int x = fromX; x < toX; ++x) low = std::min(low, grid.At(x, y)), high = std::max(high, grid.At(x, y));
    }
    return high - low;
}

TEST(SmartBlur, AtFullStrengthIsTwoMeansOverTheWindow) {
    const FramePtr source = MakeFrame(PixFmt::Gray8, 61, 1);
    const Grid result = Read(*RunHost(Blurring(50, 100), source), 0);
    const auto mean = [](const auto& get, int size, int i) {
        double sum = 0;
        for (int k = i - 7; k <= i + 7; ++k)
            sum += get(k < 0 ? -k : k >= size ? 2 * (size - 1) - k : k);  // half of 14 pixels
        return sum / 15;
    };
    const Grid expected = AlongX(AlongX(Read(*source, 0), 61, mean), 61, mean);
    for (int x = 0; x < 61; ++x) EXPECT_NEAR(result.At(x, 0), expected.At(x, 0), 0.51) << x;
}

TEST(SmartBlur, KeepsAStrongEdgeAndSmoothsNoise) {
    const FramePtr frame = MakeFrame(PixFmt::Gray8, 80, 60);
    Grid picture = Read(*frame, 0);
    for (int y = 0; y < 60; ++y) {
        for (int x = 0; x < 80; ++x) picture.At(x, y) = (x < 40 ? 40 : 210) + picture.At(x, y) / 16;
    }
    Write(*frame, 0, 0, picture);
    const Grid smart = Read(*RunHost(Blurring(50, 30), frame), 0), full = Read(*RunHost(Blurring(50, 100), frame), 0);
    EXPECT_GT(smart.At(40, 30) - smart.At(39, 30), 130) << "the step is 170";
    EXPECT_LT(full.At(40, 30) - full.At(39, 30), 30);
    EXPECT_LT(Spread(smart, 0, 25), Spread(picture, 0, 25) / 3);
    const Grid sharp = Read(*RunHost(Blurring(50, 30, 100), frame), 0);
    EXPECT_GT(sharp.At(40, 30) - sharp.At(39, 30), smart.At(40, 30) - smart.At(39, 30));
}

TEST(SmartBlur, LeavesAlphaAlone) {
    for (const PixFmt pixFmt : {PixFmt::Argb, PixFmt::Yuva420p}) {
        const FramePtr before = MakeFrame(pixFmt, 97, 61), after = RunHost(Blurring(100, 100), before);
        EXPECT_TRUE(SameFrames(RunHost(SettingsEffectAlphaExtractor(), after),
                               RunHost(SettingsEffectAlphaExtractor(), before)));
    }
}

TEST(SmartBlur, HiddenColoursStayHidden) {
    const Color shown(200, 100, 50);
    for (const PixFmt pixFmt : {PixFmt::Rgba, PixFmt::Yuva444p}) {
        const FramePtr source = MakeHalfHidden(pixFmt, 60, 10, shown, Color(0, 255, 255)),
                       flat = MakeFrame(pixFmt, 60, 10, shown);
        for (const auto& settings : {Blurring(50, 100), Blurring(50, 40), Blurring(0, 0, 100)}) {
            const FramePtr result = RunHost(settings, source);
            for (std::uint8_t i = 0; i < (pixFmt == PixFmt::Rgba ? 1 : 3); ++i) {
                for (int x = 0; x < 30; ++x)
                    EXPECT_NEAR(Read(*result, i).At(x, 5), Read(*flat, i).At(x, 5), 1) << Name(pixFmt) << ' ' << x;
            }
        }
    }
}

TEST(SmartBlur, CanSmoothColourAndKeepBrightness) {
    SettingsEffectSmartBlur settings = Blurring(0, 0);
    settings.SetChromaRadius(100);
    settings.SetChromaBlur(100);
    const FramePtr source = MakeFrame(PixFmt::Rgb24, 64, 48);
    const FramePtr result = RunHost(settings, source);
    EXPECT_LT(Spread(Read(*Converted(result, PixFmt::Yuv444p), 1), 16, 48),
              0.5 * Spread(Read(*Converted(source, PixFmt::Yuv444p), 1), 16, 48));
    EXPECT_TRUE(SameFrames(RunHost(Blurring(100, 0), source), source)) << "no blur at all";
}

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
        const FramePtr expected = DrawFrame(pixFmt, 97, 61, [&](int x, int y, int k) {
            const auto [freeX, freeY] = position(x, y);
            const double fromX = std::clamp<double>(freeX, 0, 96), fromY = std::clamp<double>(freeY, 0, 60);
            const int left = static_cast<int>(fromX), top = static_cast<int>(fromY);
            const int right = std::min(left + 1, 96), bottom = std::min(top + 1, 60);
            return std::lerp(
                std::lerp(SampleAt(source, left, top, k), SampleAt(source, right, top, k), fromX - left),
                std::lerp(SampleAt(source, left, bottom, k), SampleAt(source, right, bottom, k), fromX - left),
                fromY - top);
        });
        EXPECT_TRUE(SameFrames(RunHost(SettingsEffectRemapping(position), source), expected, 1));
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
