#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsEffectAlpha.h"
#include "Tests/Host/Effects/HostEffects.h"

namespace Orvexa::Test {
namespace {

// Plane and byte of the alpha channel.
struct AlphaPlace {
    PixFmt format;
    std::uint8_t plane;
    int channel;
};
constexpr AlphaPlace kAlphaPlaces[] = {{PixFmt::Argb, 0, 0},     {PixFmt::Rgba, 0, 3},    {PixFmt::Abgr, 0, 0},
                                       {PixFmt::Bgra, 0, 3},     {PixFmt::Argb2, 0, 0},   {PixFmt::Rgba2, 0, 3},
                                       {PixFmt::Abgr2, 0, 0},    {PixFmt::Bgra2, 0, 3},   {PixFmt::Yuva420p, 3, 0},
                                       {PixFmt::Yuva422p, 3, 0}, {PixFmt::Yuva444p, 3, 0}};

TEST(AlphaExtractor, TakesTheChannelOrNothing) {
    for (const AlphaPlace& place : kAlphaPlaces) {
        for (const auto& [width, height] : kSizes) {
            const GuardedFrame source(place.format, width, height);
            const FramePtr mask = RunHost(SettingsEffectAlphaExtractor(), source.GetFrame());
            ASSERT_EQ(mask->GetPixFmt(), PixFmt::Gray8);
            EXPECT_EQ(Read(*mask, 0).values, Read(*source.GetFrame(), place.plane, place.channel).values)
                << Name(place.format);
        }
    }
    for (const PixFmt format : {PixFmt::Rgb24, PixFmt::Yuv420p, PixFmt::Nv12, PixFmt::Gray8}) {
        EXPECT_EQ(RunHost(SettingsEffectAlphaExtractor(), MakeFrame(format, 7, 5)), nullptr) << Name(format);
    }
}

TEST(AlphaExtractor, LooksAlphaOfIndexedFramesUpInThePalette) {
    const FramePtr source = MakeFrame(PixFmt::Pal8, 7, 5);
    const Grid indices = Read(*source, 0), mask = Read(*RunHost(SettingsEffectAlphaExtractor(), source), 0);
    for (std::size_t i = 0; i < indices.values.size(); ++i)
        EXPECT_EQ(mask.values[i], source->GetPlane(1).GetData()[4 * static_cast<int>(indices.values[i]) + 3]);
}

TEST(AlphaInserter, WritesOnlyTheAlphaChannelOfAFrameOfItsOwn) {
    for (const AlphaPlace& place : kAlphaPlaces) {
        for (const auto& [width, height] : kSizes) {
            const GuardedFrame source(place.format, width, height);
            const GuardedFrame mask(PixFmt::Gray8, width, height);
            const FramePtr expected = CloneFrame(*source.GetFrame(), kCloneIndependent);
            Write(*expected, place.plane, place.channel, Read(*mask.GetFrame(), 0));
            EXPECT_TRUE(
                SameFrames(RunHost(SettingsEffectAlphaInserter(), source.GetFrame(), mask.GetFrame()), expected));
        }
    }
}

TEST(AlphaInserter, WorksInPlaceWhenNobodyElseSeesThePixels) {
    FramePtr own = MakeFrame(PixFmt::Rgba, 7, 5);
    const IDataVideo* address = own.get();
    CreateTwoInput(SettingsEffectAlphaInserter())->ProcessData(own, ConstFramePtr(MakeFrame(PixFmt::Gray8, 7, 5)));
    EXPECT_EQ(own.get(), address);
}

TEST(AlphaInserter, PassesFormatsWithoutAlphaAndRefusesOtherMasks) {
    const FramePtr mask = MakeFrame(PixFmt::Gray8, 7, 5);
    for (const PixFmt format : {PixFmt::Rgb24, PixFmt::Yuv444p, PixFmt::Nv21, PixFmt::Gray8}) {
        const FramePtr frame = MakeFrame(format, 7, 5);
        const auto before = Bytes(*frame);
        EXPECT_EQ(RunHost(SettingsEffectAlphaInserter(), frame, mask), frame) << Name(format);
        EXPECT_EQ(Bytes(*frame), before);
    }
    const FramePtr frame = MakeFrame(PixFmt::Rgba, 7, 5);
    EXPECT_THROW(RunHost(SettingsEffectAlphaInserter(), frame, MakeFrame(PixFmt::Gray8, 7, 4)), EffectException);
    EXPECT_THROW(RunHost(SettingsEffectAlphaInserter(), frame, MakeFrame(PixFmt::Rgb24, 7, 5)), EffectException);

    const FramePtr indexed = MakeFrame(PixFmt::Pal8, 7, 5),
                   opened = RunHost(SettingsEffectAlphaInserter(), indexed, mask);
    ASSERT_EQ(opened->GetPixFmt(), PixFmt::Rgba);
    EXPECT_EQ(Read(*opened, 0, 3).values, Read(*mask, 0).values);
}

TEST(ExtraAlphaExtractor, AveragesTheMaskUnderEachChromaSample) {
    for (const PixFmt format : AllPixFmts()) {
        const PixFmtDescription& d = PixFmtDescription::Get(format);
        for (const auto& [width, height] : kSizes) {
            const GuardedFrame mask(PixFmt::Gray8, width, height);
            const FramePtr result = RunHost(SettingsEffectExtraAlphaExtractor(format), mask.GetFrame());
            if (d.chromaShiftX == 0 && d.chromaShiftY == 0) {
                EXPECT_EQ(result, mask.GetFrame()) << Name(format);
                continue;
            }
            const int w = d.GetPlanWidthSize(static_cast<int>(width), 2),
                      h = d.GetPlaneHeight(static_cast<int>(height), 1);
            const Grid expected = Resampled(Read(*mask.GetFrame(), 0), w > 0 ? w : static_cast<int>(width + 1) / 2, h,
                                            d.chromaShiftX, d.chromaShiftY);
            const FramePtr frame =
                NewFrame(TestAllocator(), PixFmt::Gray8,
                         FrameInfo(static_cast<std::uint32_t>(expected.width), static_cast<std::uint32_t>(h)));
            Write(*frame, 0, 0, expected);
            EXPECT_TRUE(SameFrames(result, frame)) << Name(format);
        }
    }
    EXPECT_THROW(RunHost(SettingsEffectExtraAlphaExtractor(PixFmt::Yuv420p), MakeFrame(PixFmt::Rgb24, 4, 4)),
                 EffectException);
    EXPECT_THROW(RunHost(SettingsEffectExtraAlphaExtractor(PixFmt::None), MakeFrame(PixFmt::Gray8, 4, 4)),
                 EffectException);
}

}  // namespace
}  // namespace Orvexa::Test
