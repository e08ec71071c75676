#include <algorithm>

#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsEffectMorphology.h"
#include "Tests/Host/Effects/HostEffects.h"

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

}  // namespace
}  // namespace Orvexa::Test
