#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsEffectPad.h"
#include "Tests/Host/Effects/HostEffects.h"

namespace Orvexa::Test {
namespace {

// The sample of a line of `size` that stands at position i, inside the line or beyond its ends.
int Mirrored(int i, int size) {
    while (i < 0 || i >= size) i = size == 1 ? 0 : i < 0 ? -i : 2 * (size - 1) - i;
    return i;
}
int Replicated(int i, int size) { return std::min(std::max(i, 0), size - 1); }

constexpr CropInfo kMargins[] = {{2, 4, 6, 8}, {1, 0, 3, 2}, {0, 1, 0, 0}, {41, 38, 23, 30}};

TEST(Pad, EveryModeFillsTheMarginsOfEveryPlane) {
    const Color color(200, 100, 50, 150);
    for (const PixFmt format : AllPixFmts()) {
        const PixFmtDescription& d = PixFmtDescription::Get(format);
        for (const auto& [width, height] : {std::pair{1u, 1u}, std::pair{7u, 5u}, std::pair{18u, 11u}}) {
            const GuardedFrame source(format, width, height);
            for (const CropInfo& margins : kMargins) {
                for (const PadMode mode : {PadMode::Fill, PadMode::Mirror, PadMode::Replicate}) {
                    if (format == PixFmt::Pal8 && mode == PadMode::Fill) continue;
                    const FrameInfo info(width + margins.left + margins.right, height + margins.top + margins.bottom);
                    const FramePtr expected = NewFrame(TestAllocator(), format, info);
                    expected->Fill(color);
                    for (std::uint8_t i = 0; i < d.planes; ++i) {
                        const ConstPlane from = std::as_const(*source.GetFrame()).GetPlane(i);
                        const Plane to = expected->GetPlane(i);
                        const bool isPalette = format == PixFmt::Pal8 && i == 1;
                        const int left = isPalette ? 0 : static_cast<int>(margins.left >> d.GetShiftX(i)),
                                  top = isPalette ? 0 : static_cast<int>(margins.top >> d.GetShiftY(i));
                        const int w = static_cast<int>(from.GetPixelsPerRow()), h = static_cast<int>(from.GetHeight());
                        for (int y = 0; y < static_cast<int>(to.GetHeight()); ++y) {
                            for (int x = 0; x < static_cast<int>(to.GetPixelsPerRow()); ++x) {
                                int sx = x - left, sy = y - top;
                                if (mode == PadMode::Fill && (sx < 0 || sx >= w || sy < 0 || sy >= h)) continue;
                                sx = mode == PadMode::Mirror ? Mirrored(sx, w) : Replicated(sx, w);
                                sy = mode == PadMode::Mirror ? Mirrored(sy, h) : Replicated(sy, h);
                                std::copy_n(
                                    from.GetOffsetPtr(static_cast<std::uint64_t>(sx), static_cast<std::uint64_t>(sy)),
                                    from.GetBytesPerPixel(),
                                    to.GetOffsetPtr(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)));
                            }
                        }
                    }
                    EXPECT_TRUE(
                        SameFrames(RunHost(SettingsEffectPad(margins, mode, color), source.GetFrame()), expected))
                        << Name(format) << " mode " << static_cast<int>(mode);
                }
            }
            EXPECT_TRUE(source.IsGuardIntact());
        }
    }
}

struct Moments {
    double mean = 0, deviation = 0;
};
Moments MomentsOf(const Grid& grid, int left, int top, int right, int bottom) {
    double sum = 0, squares = 0;
    for (int y = top; y < bottom; ++y) {
        for (int x = left; x < right; ++x) sum += grid.At(x, y), squares += grid.At(x, y) * grid.At(x, y);
    }
    const double count = (right - left) * (bottom - top), mean = sum / count;
    return {mean, std::sqrt(squares / count - mean * mean)};
}

// How alike a rectangle and the one (dx, dy) beside it are: 1 for the same, 0 for strangers.
double Likeness(const Grid& grid, int left, int top, int size, int dx, int dy) {
    const Moments a = MomentsOf(grid, left, top, left + size, top + size),
                  b = MomentsOf(grid, left + dx, top + dy, left + dx + size, top + dy + size);
    double sum = 0;
    for (int y = top; y < top + size; ++y) {
        for (int x = left; x < left + size; ++x) sum += (grid.At(x, y) - a.mean) * (grid.At(x + dx, y + dy) - b.mean);
    }
    return sum / (size * size * a.deviation * b.deviation);
}

// Strokes downwards to the right: noise, smeared along the diagonal.
FramePtr Strokes(int side) {
    const Grid noise =
        Read(*MakeFrame(PixFmt::Gray8, static_cast<std::uint32_t>(side), static_cast<std::uint32_t>(side)), 0);
    const FramePtr frame =
        MakeFrame(PixFmt::Gray8, static_cast<std::uint32_t>(side), static_cast<std::uint32_t>(side), Color());
    Grid strokes(side, side);
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            double sum = 0;
            for (int i = 0; i < 9; ++i) sum += noise.At((x + i) % side, (y + i) % side);
            strokes.At(x, y) = sum / 9;
        }
    }
    Write(*frame, 0, 0, strokes);
    return frame;
}

TEST(Pad, ExtendsATextureWithoutSeamsMirrorAxesOrPeriod) {
    constexpr int kSide = 128;
    const FramePtr texture = Strokes(kSide);
    const Moments expected = MomentsOf(Read(*texture, 0), 0, 0, kSide, kSide);
    struct {
        CropInfo margins;
        int width, height;
    } const cases[] = {{{0, 472, 0, 372}, 600, 500}, {{200, 100, 150, 50}, 428, 328}};
    for (const auto& [margins, width, height] : cases) {
        const FramePtr extended = RunHost(SettingsEffectPad(margins, PadMode::Texture, Color()), texture);
        ASSERT_EQ(extended->GetFrameInfo(),
                  FrameInfo(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)));
        const Grid result = Read(*extended, 0);
        // The texture itself, but for what fades.
        const int left = static_cast<int>(margins.left), top = static_cast<int>(margins.top);
        for (int y = 16; y < kSide - 16; ++y) {
            for (int x = 16; x < kSide - 16; ++x)
                ASSERT_EQ(result.At(left + x, top + y), Read(*texture, 0).At(x, y)) << x << ' ' << y;
            if (HasFailure()) return;
        }
        const int cell = 32;
        double longest = 0, total = 0;
        for (int y = 0; y + cell <= height; y += cell / 2) {
            for (int x = 0; x + cell <= width; x += cell / 2) {
                // In fades, too: plain means have seven tenths of the contrast.
                const Moments moments = MomentsOf(result, x, y, x + cell, y + cell);
                ASSERT_NEAR(moments.mean, expected.mean, 0.5 * expected.deviation) << x << ' ' << y;
                ASSERT_NEAR(moments.deviation, expected.deviation, 0.35 * expected.deviation) << x << ' ' << y;
                // Strokes keep their direction: along it neighbours are alike, across it they are not. A mirror swaps
                // both.
                if (x + cell + 4 > width || y + cell + 4 > height || x < 4) continue;
                ASSERT_GT(Likeness(result, x, y, cell, 4, 4) - Likeness(result, x, y, cell, -4, 4), 0.1)
                    << x << ' ' << y;
            }
        }
        // The middle of the fades has the contrast of the whole: windows of half a side begin every 48 pixels and fade
        // over 16.
        double sum = 0, squares = 0, count = 0;
        for (int y = top + kSide; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                if (x % 48 < 4 || x % 48 >= 12) continue;
                sum += result.At(x, y), squares += result.At(x, y) * result.At(x, y), ++count;
            }
        }
        EXPECT_NEAR(std::sqrt(squares / count - sum / count * (sum / count)), expected.deviation,
                    0.12 * expected.deviation);
        // No step between any two columns or rows that exceeds the usual one.
        for (int x = 0; x + 1 < width; ++x) {
            double steps = 0;
            for (int y = 0; y < height; ++y) steps += std::abs(result.At(x + 1, y) - result.At(x, y));
            longest = std::max(longest, steps / height), total += steps / height;
        }
        EXPECT_LT(longest, 1.25 * total / (width - 1));
        // Nor does the whole come back at any one distance.
        for (int dx = 16; dx + 128 <= width - 16; ++dx) ASSERT_LT(Likeness(result, 16, 16, 112, dx, 0), 0.9) << dx;
    }
}

TEST(Pad, ExtendsFlatAndTinyTexturesOfEveryFormat) {
    for (const PixFmt format : AllPixFmts()) {
        const bool isIndexed = format == PixFmt::Pal8;
        for (const auto& [width, height] : {std::pair{1u, 1u}, {2u, 9u}, {64u, 40u}}) {
            const FramePtr flat = MakeFrame(format, width, height, Color(200, 100, 50, 150));
            const FramePtr extended = RunHost(SettingsEffectPad({3, 90, 5, 70}, PadMode::Texture, Color()), flat);
            EXPECT_TRUE(SameFrames(extended, MakeFrame(isIndexed ? PixFmt::Rgba : format, width + 93, height + 75,
                                                       Color(200, 100, 50, 150))))
                << Name(format) << ' ' << width;
        }
    }
}

TEST(Pad, FillsIndexedFramesWithTheNearestPaletteColor) {
    const FramePtr frame = MakeFrame(PixFmt::Pal8, 2, 2);
    std::uint8_t* palette = frame->GetPlane(1).GetData();
    std::fill_n(palette, 1024, std::uint8_t{0});
    const std::uint8_t entry[] = {200, 101, 50, 255};
    std::copy_n(entry, 4, palette + 4 * 77);
    const FramePtr padded = RunHost(SettingsEffectPad({0, 1, 0, 0}, PadMode::Fill, Color(199, 100, 52)), frame);
    EXPECT_EQ(Read(*padded, 0).At(2, 1), 77);
    EXPECT_EQ(Bytes(std::as_const(*padded).GetPlane(1)), Bytes(std::as_const(*frame).GetPlane(1)));
}

TEST(Pad, NoMarginsPassTheFrameAndAbsurdOnesAreRefused) {
    const FramePtr frame = MakeFrame(PixFmt::Rgb24, 7, 5);
    EXPECT_EQ(RunHost(SettingsEffectPad(CropInfo(), PadMode::Mirror, Color()), frame), frame);
    for (const CropInfo& margins : {CropInfo{~0u, 0, 0, 0}, CropInfo{~0u - 3, 0, 0, 0}, CropInfo{0, 0, 1u << 20, 0}}) {
        EXPECT_THROW(RunHost(SettingsEffectPad(margins, PadMode::Fill, Color()), frame), EffectException);
    }
    EXPECT_THROW(RunHost(SettingsEffectPad({1, 1, 1, 1}, static_cast<PadMode>(4), Color()), frame), EffectException);
}

}  // namespace
}  // namespace Orvexa::Test
