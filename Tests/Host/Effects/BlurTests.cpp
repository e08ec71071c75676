#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsEffectBlur.h"
#include "Tests/Host/Effects/HostEffects.h"

namespace Orvexa::Test {
namespace {

SettingsEffectBlur Blurring(double devX, double devY, double length = 3.0) {
    SettingsEffectBlur settings(1);
    settings.SetDevX(devX);
    settings.SetDevY(devY);
    settings.SetKernelLength(length);
    return settings;
}

// The plain sum of weighted samples, mirrored at the edges, as far as `reach` says.
auto Gaussian(double deviation, int reach) {
    return [=](const auto& get, int size, int i) {
        if (deviation == 0) return get(i);
        double sum = 0, weights = 0;
        for (int k = -reach; k <= reach; ++k) {
            const double weight = std::exp(-k * k / (2 * deviation * deviation));
            int at = i + k;
            while (at < 0 || at >= size) at = at < 0 ? -1 - at : 2 * size - 1 - at;
            sum += weight * get(at);
            weights += weight;
        }
        return sum / weights;
    };
}
Grid Blurred(const Grid& from, double devX, double devY, double length = 3.0) {
    const auto reach = [&](double deviation) { return static_cast<int>(std::ceil(length * deviation)); };
    return AlongY(AlongX(from, from.width, Gaussian(devX, reach(devX))), from.height, Gaussian(devY, reach(devY)));
}

double LargestDifference(const Grid& a, const Grid& b) {
    double largest = 0;
    for (std::size_t i = 0; i < a.values.size(); ++i) largest = std::max(largest, std::abs(a.values[i] - b.values[i]));
    return largest;
}

// A little noise over coarse steps, as strong as contrasts get.
FramePtr MakeSteps(int width, int height) {
    const FramePtr frame =
        MakeFrame(PixFmt::Gray8, static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height));
    Grid picture = Read(*frame, 0);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) picture.At(x, y) = ((x / 45 + y / 37) % 2 ? 25 : 200) + picture.At(x, y) / 16;
    }
    Write(*frame, 0, 0, picture);
    return frame;
}

TEST(Blur, IsTheSumOfWeightedPixelsWhereDeviationsAreSmall) {
    for (const auto& [width, height] : {std::pair{1, 1}, {7, 5}, {97, 61}}) {
        const FramePtr source = MakeSteps(width, height);
        for (const auto& [devX, devY, length] :
             {std::tuple{1.0, 1.0, 3.0}, {0.4, 2.5, 2.0}, {3.9, 0.0, 3.0}, {0.0, 2.0, 1.0}}) {
            const Grid result = Read(*RunHost(Blurring(devX, devY, length), source), 0);
            EXPECT_LT(LargestDifference(result, Blurred(Read(*source, 0), devX, devY, length)), 0.502)
                << width << ' ' << devX << ' ' << devY;
        }
    }
}

TEST(Blur, StaysWithinALevelOfThatSumWhereDeviationsAreLarge) {
    const FramePtr source = MakeSteps(211, 133);
    for (const auto& [devX, devY, length] : {std::tuple{4.0, 4.0, 3.0},
                                             {8.5, 6.0, 3.0},
                                             {0.0, 30.0, 3.0},
                                             {100.0, 70.0, 2.0},
                                             {17.0, 2.0, 2.5},
                                             {150.0, 11.0, 3.0}}) {
        const Grid result = Read(*RunHost(Blurring(devX, devY, length), source), 0);
        EXPECT_LT(LargestDifference(result, Blurred(Read(*source, 0), devX, devY, length)), 1.6)
            << "half a level is rounding, steps are harder than photographs: " << devX << ' ' << devY << ' ' << length;
    }
}

TEST(Blur, TakesDeviationsInPixelsOfThePictureOnEveryPlane) {
    for (const auto& [pixFmt, shiftX, shiftY] :
         {std::tuple{PixFmt::Yuv420p, 1, 1}, {PixFmt::Yuv411p, 2, 0}, {PixFmt::Rgb24, 0, 0}}) {
        const FramePtr source = MakeFrame(pixFmt, 97, 61), result = RunHost(Blurring(6.0, 3.0), source);
        const std::uint8_t plane = pixFmt == PixFmt::Rgb24 ? 0 : 2;
        const Grid expected = Blurred(Read(*source, plane, 0), std::ldexp(6.0, -shiftX), std::ldexp(3.0, -shiftY));
        EXPECT_LT(LargestDifference(Read(*result, plane, 0), expected), 2.0)
            << "noise is the worst case " << Name(pixFmt);
    }
}

TEST(Blur, ReducesThePictureWhereAskedTo) {
    SettingsEffectBlur settings = Blurring(3.0, 3.0);
    settings.SetScaleType(1);
    settings.SetScaleX(2.0);
    settings.SetScaleY(2.0);
    const FramePtr source = MakeSteps(98, 62);
    const Grid result = Read(*RunHost(settings, source), 0), expected = Blurred(Read(*source, 0), 3.0, 3.0);
    EXPECT_LT(LargestDifference(result, expected), 3.0);
    EXPECT_GT(LargestDifference(result, expected), 0.6) << "as a whole one would come";
}

TEST(Blur, LeavesPlanesThatAreNotMaskedInAndWholePicturesWithoutDeviation) {
    const FramePtr source = MakeFrame(PixFmt::Yuv444p, 40, 30);
    SettingsEffectBlur settings = Blurring(2.0, 2.0);
    settings.SetPlanesMask(1 | 4);
    const FramePtr result = RunHost(settings, source);
    for (const std::uint8_t plane : {0, 1, 2}) {
        EXPECT_EQ(Bytes(std::as_const(*result).GetPlane(plane)) == Bytes(std::as_const(*source).GetPlane(plane)),
                  plane == 1);
    }
    EXPECT_EQ(RunHost(Blurring(0.0, 0.0), source), source);
    settings.SetAlgorithm(0);
    EXPECT_EQ(RunHost(settings, source), source);
    EXPECT_THROW(RunHost(SettingsEffectBlur(2), source), EffectException);
}

TEST(Blur, TreatsEveryFormatAndHiddenColoursStayHidden) {
    for (const PixFmt pixFmt : AllPixFmts()) {
        for (const auto& [width, height] : kSizes) {
            for (const double deviation : {1.5, 40.0}) {
                const GuardedFrame source(pixFmt, width, height);
                const FramePtr result = RunHost(Blurring(deviation, deviation), source.GetFrame());
                EXPECT_EQ(result->GetPixFmt(), pixFmt == PixFmt::Pal8 ? PixFmt::Rgba : pixFmt);
                EXPECT_TRUE(source.IsGuardIntact());
            }
        }
    }
    const Color shown(200, 100, 50);
    for (const PixFmt pixFmt : {PixFmt::Rgba, PixFmt::Argb, PixFmt::Yuva420p}) {
        const FramePtr source = MakeHalfHidden(pixFmt, 120, 20, shown, Color(0, 255, 255)),
                       flat = MakeFrame(pixFmt, 120, 20, shown);
        const PixFmtDescription& description = PixFmtDescription::Get(pixFmt);
        for (const double deviation : {2.0, 12.0}) {
            const FramePtr result = RunHost(Blurring(deviation, deviation), source);
            for (std::uint8_t i = 0; i < description.planes; ++i) {
                for (int k = 0; k < description.GetBytesPerPixel(i); ++k) {
                    const Grid is = Read(*result, i, k);
                    const bool isAlpha = description.layout[i][static_cast<std::size_t>(k)] == 'A';
                    const Grid expected =
                        isAlpha ? Blurred(Read(*source, i, k), deviation, deviation) : Read(*flat, i, k);
                    for (int x = 0; x < is.width / 2 + 2; ++x)
                        EXPECT_NEAR(is.At(x, 5), expected.At(x, 5), 1.0) << Name(pixFmt) << ' ' << int{i} << ' ' << x;
                }
            }
        }
    }
}

}  // namespace
}  // namespace Orvexa::Test
