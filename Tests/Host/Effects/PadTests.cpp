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
                                std::copy_n(from.GetOffsetPtr(static_cast<std::uint64_t>(sx), static_cast<std::uint64_t>(sy)),
                                            from.GetBytesPerPixel(),
                                            to.GetOffsetPtr(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)));
                            }
                        }
                    }
                    EXPECT_TRUE(SameFrames(RunHost(SettingsEffectPad(margins, mode, color), source.GetFrame()), expected))
                        << Name(format) << " mode " << static_cast<int>(mode);
                }
            }
            EXPECT_TRUE(source.IsGuardIntact());
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
    EXPECT_THROW(RunHost(SettingsEffectPad({1, 1, 1, 1}, static_cast<PadMode>(3), Color()), frame), EffectException);
}

}  // namespace
}  // namespace Orvexa::Test
