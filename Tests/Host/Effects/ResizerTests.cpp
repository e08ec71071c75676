#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsResizer.h"
#include "Tests/Host/Effects/HostEffects.h"

namespace Orvexa::Test {
namespace {

using Methods = SettingsResizer::ResizeMethods;

SettingsResizer ToSize(Methods method, std::uint32_t width, std::uint32_t height) {
    SettingsResizer settings(method);
    settings.SetCustomMode(1, FrameInfo(width, height));
    return settings;
}

// One new sample from the samples of a line, by the method's defining formula.
struct Average {
    int newSize;
    template <class Get>
    double operator()(const Get& get, int size, int i) const {
        const double begin = static_cast<double>(i) * size / newSize, end = static_cast<double>(i + 1) * size / newSize;
        double sum = 0.0;
        for (int k = 0; k < size; ++k)
            sum += get(k) * std::max(0.0, std::min(end, k + 1.0) - std::max(begin, static_cast<double>(k)));
        return sum / (end - begin);
    }
};
struct Nearest {
    int newSize;
    template <class Get>
    double operator()(const Get& get, int size, int i) const {
        return get(static_cast<int>((i + 0.5) * size / newSize));
    }
};
// Linear for reach 1, the cubic of Keys with its free parameter at -0.75 for reach 2.
struct Interpolation {
    int newSize, reach;
    static double Cubic(double d) {
        constexpr double a = -0.75;
        d = std::abs(d);
        return d <= 1 ? ((a + 2) * d - (a + 3)) * d * d + 1 : d < 2 ? ((a * d - 5 * a) * d + 8 * a) * d - 4 * a : 0.0;
    }
    template <class Get>
    double operator()(const Get& get, int size, int i) const {
        const double position = (i + 0.5) * size / newSize - 0.5;
        double sum = 0.0;
        for (int k = static_cast<int>(std::floor(position)) - reach + 1;
             k <= static_cast<int>(std::floor(position)) + reach; ++k) {
            const double distance = position - k;
            sum += get(std::min(std::max(k, 0), size - 1)) *
                   (reach == 1 ? std::max(0.0, 1.0 - std::abs(distance)) : Cubic(distance));
        }
        return sum;
    }
};

// Lets alpha be 128..255, so that no mean of it is near 0.
void RaiseAlpha(IDataVideo& frame) {
    const PixFmtDescription& d = PixFmtDescription::Get(frame.GetPixFmt());
    if (!d.HasAlpha()) return;
    const auto plane = static_cast<std::uint8_t>(d.IsPlanar() ? 3 : 0);
    Grid alpha = Read(frame, plane, d.IsPlanar() ? 0 : d.alpha);
    for (double& value : alpha.values) value = 128 + std::floor(value / 2);
    Write(frame, plane, d.IsPlanar() ? 0 : d.alpha, alpha);
}

// Every plane of `source` through a formula for each axis, colours weighted by alpha unless `isWeighted` is false.
template <class AxisX, class AxisY>
FramePtr Expected(const IDataVideo& source, std::uint32_t width, std::uint32_t height, AxisX axisX, AxisY axisY,
                  bool isWeighted = true) {
    const PixFmtDescription& d = PixFmtDescription::Get(source.GetPixFmt());
    const FramePtr expected = NewFrame(TestAllocator(), source.GetPixFmt(), FrameInfo(width, height));
    for (std::uint8_t i = 0; i < GetPlanesCount(source); ++i) {
        const int w = static_cast<int>(expected->GetPlane(i).GetPixelsPerRow()),
                  h = static_cast<int>(expected->GetPlane(i).GetHeight());
        for (int c = 0; c < static_cast<int>(source.GetPlane(i).GetBytesPerPixel()); ++c) {
            const auto resized = [&](const Grid& grid) { return AlongY(AlongX(grid, w, axisX(w, i)), h, axisY(h, i)); };
            Grid samples = Read(source, i, c);
            if (!isWeighted || !d.HasAlpha() || i == 3 || c == d.alpha) {
                Write(*expected, i, c, resized(samples));
                continue;
            }
            const Grid weights = AlphaOn(OwnAlpha(source), source.GetPixFmt(), i), sums = resized(weights);
            for (std::size_t k = 0; k < samples.values.size(); ++k) samples.values[k] *= weights.values[k];
            Grid means = resized(samples);
            for (std::size_t k = 0; k < means.values.size(); ++k) means.values[k] /= sums.values[k];
            Write(*expected, i, c, means);
        }
    }
    return expected;
}

TEST(Resizer, ComputesTheNewSize) {
    struct Case {
        std::uint32_t width, height;
        int mode;
        FrameInfo info;
        double scale;
        std::uint32_t newWidth, newHeight;
    };
    const Case cases[] = {
        {97, 61, 0, {40, 30}, 3.0, 40, 30},     {97, 61, 1, {200, 10}, 1.0, 200, 10},   // exact, whatever the scale
        {100, 50, 5, {40, 40}, 1.0, 40, 20},    {50, 100, 5, {40, 40}, 1.0, 20, 40},    // into the box
        {100, 50, 5, {512, 512}, 1.0, 100, 50}, {100, 50, 5, {512, 25}, 1.0, 50, 25},   // never larger
        {99, 50, 5, {33, 33}, 1.0, 33, 17},     {1000, 2, 5, {100, 100}, 1.0, 100, 1},  // rounded; at least one
        {97, 61, 0, {0, 0}, 0.5, 49, 31},       {97, 61, 0, {0, 0}, 2.0, 194, 122},     // half rounds up
        {97, 61, 0, {0, 0}, 0.0, 1, 1},         {97, 61, 5, {0, 0}, 0.25, 24, 15},      //
    };
    for (const Case& test : cases) {
        SettingsResizer settings(Methods::Area);
        settings.SetCustomScale(test.scale);
        settings.SetCustomMode(test.mode, test.info);
        const FramePtr input = NewFrame(TestAllocator(), PixFmt::Gray8, FrameInfo(test.width, test.height, {4, 3}));
        input->Fill(Color(9, 9, 9));
        EXPECT_EQ(RunHost(settings, input)->GetFrameInfo(), FrameInfo(test.newWidth, test.newHeight, {4, 3}))
            << test.width << "x" << test.height << " mode " << test.mode;
    }
}

TEST(Resizer, SameSizePassesTheFrame) {
    for (const PixFmt format : AllPixFmts()) {
        const FramePtr frame = MakeFrame(format, 7, 5);
        EXPECT_EQ(RunHost(ToSize(Methods::Bicubic, 7, 5), frame), frame) << Name(format);
        EXPECT_EQ(RunHost(SettingsResizer(), frame), frame) << Name(format);
    }
}

TEST(Resizer, EveryReductionAveragesAreas) {
    const auto average = [](int size, std::uint8_t) { return Average{size}; };
    for (const PixFmt format : AllPixFmts()) {
        if (format == PixFmt::Pal8) continue;
        const GuardedFrame source(format, 97, 61);
        RaiseAlpha(*source.GetFrame());
        for (const auto& [width, height] : {std::pair{48u, 30u}, {33u, 61u}, {1u, 1u}, {12u, 7u}}) {
            // Weights of areas are single precision and may end on the other side of a half.
            const FramePtr expected = Expected(*source.GetFrame(), width, height, average, average);
            for (const Methods method : {Methods::FastBilinear, Methods::BicubicLuma, Methods::Lanczos}) {
                EXPECT_TRUE(SameFrames(RunHost(ToSize(method, width, height), source.GetFrame()), expected, 1))
                    << Name(format);
            }
        }
        EXPECT_TRUE(source.IsGuardIntact());
    }
}

TEST(Resizer, EnlargementsFollowTheirMethod) {
    const auto linear = [](int size, std::uint8_t) { return Interpolation{size, 1}; };
    const auto cubic = [](int size, std::uint8_t) { return Interpolation{size, 2}; };
    for (const PixFmt format : AllPixFmts()) {
        if (format == PixFmt::Pal8) continue;
        const PixFmtDescription& d = PixFmtDescription::Get(format);
        const auto cubicLuma = [&](int size, std::uint8_t plane) {
            return Interpolation{size, d.IsChroma(plane) ? 1 : 2};
        };
        for (const auto& [width, height] : {std::pair{1u, 1u}, {7u, 5u}, {40u, 23u}}) {
            const GuardedFrame source(format, width, height);
            RaiseAlpha(*source.GetFrame());
            const std::uint32_t w = width * 2 + 3, h = height * 3 + 2;
            const auto run = [&](Methods method) { return RunHost(ToSize(method, w, h), source.GetFrame()); };
            EXPECT_TRUE(SameFrames(run(Methods::Bilinear), Expected(*source.GetFrame(), w, h, linear, linear), 1))
                << Name(format);
            // Cubic weights have 11 bits: up to 1.5 levels over four taps an axis.
            EXPECT_TRUE(SameFrames(run(Methods::Bicubic), Expected(*source.GetFrame(), w, h, cubic, cubic), 2))
                << Name(format);
            EXPECT_TRUE(
                SameFrames(run(Methods::BicubicLuma), Expected(*source.GetFrame(), w, h, cubicLuma, cubicLuma), 2))
                << Name(format);
            EXPECT_TRUE(source.IsGuardIntact());
        }
    }
}

TEST(Resizer, OneAxisMayShrinkWhileTheOtherGrows) {
    const FramePtr source = MakeFrame(PixFmt::Rgb24, 96, 20);
    const auto average = [](int size, std::uint8_t) { return Average{size}; };
    const auto linear = [](int size, std::uint8_t) { return Interpolation{size, 1}; };
    // Rounded twice, once for each axis.
    EXPECT_TRUE(
        SameFrames(RunHost(ToSize(Methods::Bilinear, 31, 50), source), Expected(*source, 31, 50, average, linear), 1));
}

TEST(Resizer, NearestTakesSamplesAndKeepsIndices) {
    const auto nearest = [](int size, std::uint8_t) { return Nearest{size}; };
    for (const PixFmt format : AllPixFmts()) {
        if (format == PixFmt::Pal8) continue;
        // At these factors no new centre is half way between two old ones, where either would be right.
        const GuardedFrame source(format, 40, 24);
        EXPECT_TRUE(SameFrames(RunHost(ToSize(Methods::Nearest, 80, 96), source.GetFrame()),
                               Expected(*source.GetFrame(), 80, 96, nearest, nearest, false)))
            << Name(format);
        EXPECT_TRUE(source.IsGuardIntact());
    }
    const FramePtr gray = MakeFrame(PixFmt::Gray8, 97, 61);
    EXPECT_TRUE(SameFrames(RunHost(ToSize(Methods::Nearest, 30, 17), gray), Expected(*gray, 30, 17, nearest, nearest)));

    const FramePtr indexed = MakeFrame(PixFmt::Pal8, 97, 61),
                   small = RunHost(ToSize(Methods::Nearest, 30, 17), indexed);
    ASSERT_EQ(small->GetPixFmt(), PixFmt::Pal8);
    EXPECT_EQ(Bytes(std::as_const(*small).GetPlane(1)), Bytes(std::as_const(*indexed).GetPlane(1)));
    EXPECT_EQ(Read(*small, 0).values, AlongY(AlongX(Read(*indexed, 0), 30, Nearest{30}), 17, Nearest{17}).values);
    EXPECT_EQ(RunHost(ToSize(Methods::Bilinear, 30, 17), indexed)->GetPixFmt(), PixFmt::Rgba);
}

TEST(Resizer, FlatPicturesStayFlatInEveryMethod) {
    const Color color(13, 200, 77, 250);
    for (const Methods method :
         {Methods::FastBilinear, Methods::Bilinear, Methods::Bicubic, Methods::Nearest, Methods::Area,
          Methods::BicubicLuma, Methods::Gaussian, Methods::Sinc, Methods::Lanczos, Methods::Spline}) {
        for (const auto& [width, height] : {std::pair{150u, 90u}, {20u, 9u}, {20u, 90u}}) {
            EXPECT_TRUE(SameFrames(RunHost(ToSize(method, width, height), MakeFrame(PixFmt::Yuva420p, 97, 61, color)),
                                   MakeFrame(PixFmt::Yuva420p, width, height, color)))
                << static_cast<int>(method);
        }
    }
}

TEST(Resizer, HiddenColoursStayHidden) {
    const Color shown(200, 100, 50), hidden(0, 255, 255);
    for (const PixFmt pixFmt : {PixFmt::Rgba, PixFmt::Bgra, PixFmt::Argb2, PixFmt::Yuva444p, PixFmt::Yuva420p}) {
        const FramePtr source = MakeHalfHidden(pixFmt, 12, 4, shown, hidden),
                       plain = Converted(MakeFrame(pixFmt, 1, 1, shown), PixFmt::Rgba);
        for (const Methods method : {Methods::FastBilinear, Methods::Bicubic, Methods::Lanczos, Methods::Area}) {
            for (const auto& [width, height] : {std::pair{5u, 2u}, {29u, 9u}, {7u, 9u}}) {
                const FramePtr result = Converted(RunHost(ToSize(method, width, height), source), PixFmt::Rgba);
                for (std::uint32_t y = 0; y < height; ++y) {
                    for (std::uint32_t x = 0; x < width; ++x) {
                        if (SampleAt(result, x, y, 3) < 16)
                            continue;  // cubic and Lanczos overshoot where hardly anything shows
                        for (int k = 0; k < 3; ++k) {
                            // Converted chroma of 4:2:0 is interpolated towards hidden samples.
                            if (pixFmt == PixFmt::Yuva420p && x + 2 >= width / 2) continue;
                            ASSERT_NEAR(SampleAt(result, x, y, k), SampleAt(plain, 0, 0, k), 2)
                                << Name(pixFmt) << ' ' << static_cast<int>(method) << ' ' << width << ": " << x << ' '
                                << k;
                        }
                    }
                }
            }
        }
    }
    // Opaque pictures are those without alpha, byte by byte.
    const FramePtr rgb = MakeFrame(PixFmt::Rgb24, 40, 23);
    for (const auto& [width, height] : {std::pair{17u, 9u}, {81u, 50u}}) {
        EXPECT_TRUE(SameFrames(RunHost(ToSize(Methods::Bicubic, width, height), Converted(rgb, PixFmt::Rgba)),
                               Converted(RunHost(ToSize(Methods::Bicubic, width, height), rgb), PixFmt::Rgba)));
    }
}

TEST(Resizer, RefusesUnknownModesMethodsAndSizes) {
    const FramePtr frame = MakeFrame(PixFmt::Gray8, 7, 5);
    SettingsResizer settings;
    settings.SetCustomMode(2, FrameInfo(3, 3));
    EXPECT_THROW(RunHost(settings, frame), EffectException);
    EXPECT_THROW(RunHost(ToSize(static_cast<Methods>(3), 14, 10), frame), EffectException);
    EXPECT_THROW(RunHost(ToSize(Methods::Area, 0, 5), frame), EffectException);
    settings = SettingsResizer();
    settings.SetCustomScale(1e300);
    EXPECT_THROW(RunHost(settings, frame), EffectException);
}

}  // namespace
}  // namespace Orvexa::Test
