// Cutter and Stitcher.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "Host/Settings/Photo/SettingsEffectCutter.h"
#include "Host/Settings/Photo/SettingsEffectStitcher.h"
#include "Proc/Effects/EffectsPhoto/Shared/Tiling.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Frames = std::vector<FramePtr>;

struct Tiling {
    std::uint32_t width, height, patchWidth, patchHeight, overlapX, overlapY;
};

VarInputPtr Create(const Settings& settings, EffectFactory& factory) {
    VarInputPtr effect;
    factory.CreateVarInputEffect(effect, settings.GetClassId(), ImplNames::ORVEXA, {});
    effect->SetSettings(settings);
    return effect;
}

SettingsEffectCutter CutterOf(const Tiling& tiling) {
    SettingsEffectCutter settings;
    settings.SetPatchWidth(tiling.patchWidth);
    settings.SetPatchHeight(tiling.patchHeight);
    settings.SetOverlapX(tiling.overlapX);
    settings.SetOverlapY(tiling.overlapY);
    return settings;
}

SettingsEffectStitcher StitcherOf(const Tiling& tiling, bool isOverlapped = true) {
    SettingsEffectStitcher settings;
    settings.SetFrameWidth(tiling.width);
    settings.SetFrameHeight(tiling.height);
    settings.SetOverlapX(tiling.overlapX);
    settings.SetOverlapY(tiling.overlapY);
    settings.SetOverlapped(isOverlapped);
    return settings;
}

Frames Cut(const SettingsEffectCutter& settings, const FramePtr& picture) {
    std::vector<DataPtr> data{picture};
    EXPECT_EQ(Create(settings, dynamic_cast<EffectFactory&>(*ModuleFactory()))->Process(data), nullptr);
    Frames patches;
    for (const DataPtr& item : data) patches.push_back(boost::dynamic_pointer_cast<IDataVideo>(item));
    return patches;
}

FramePtr Stitched(const SettingsEffectStitcher& settings, const Frames& patches) {
    std::vector<DataPtr> data(patches.begin(), patches.end());
    const DataPtr result = Create(settings, dynamic_cast<EffectFactory&>(*ModuleFactory()))->Process(data);
    EXPECT_EQ(data.size(), patches.size());
    return boost::dynamic_pointer_cast<IDataVideo>(result);
}

TEST(Tiling, FindsTheLengthThatPatchesCover) {
    struct {
        std::uint32_t size, patch, overlap, length;
    } const cases[] = {{1000, 512, 64, 1408}, {1408, 512, 64, 1408}, {1409, 512, 64, 1856}, {512, 512, 511, 512},
                       {513, 512, 511, 513},  {1, 512, 64, 512},     {7, 1, 0, 7},          {100, 30, 0, 120}};
    for (const auto& [size, patch, overlap, length] : cases)
        EXPECT_EQ(Proc::Shared::Fit(size, patch, overlap), length) << size << ", " << patch;
    for (const std::uint32_t overlap : {64u, 65u}) {
        EXPECT_EQ(MessageOf([&] { Proc::Shared::Fit(100, 64, overlap); }), "Overlap must be smaller than the patch!");
    }
}

TEST(Cutter, CutsPatchesRowByRow) {
    const Tiling tiling{50, 21, 20, 12, 5, 3};  // 3 columns from 0, 15, 30 and 2 rows from 0, 9
    const FramePtr picture = MakeFrame(PixFmt::Rgb24, 50, 21);
    const Frames patches = Cut(CutterOf(tiling), picture);
    ASSERT_EQ(patches.size(), 6u);
    for (std::uint32_t i = 0; i < 6; ++i) {
        const FramePtr expected = CloneFrame(*picture, kCloneView);
        expected->Crop(i % 3 * 15, i / 3 * 9, 20, 12);
        EXPECT_TRUE(SameFrames(patches[i], expected)) << i;
        EXPECT_TRUE(patches[i]->SharesPixels()) << "patches are views";
    }
}

TEST(Cutter, ContinuesThePictureToTheRightAndBelow) {
    SettingsEffectCutter settings = CutterOf({5, 3, 4, 4, 1, 1});
    const FramePtr picture = MakeFrame(PixFmt::Gray8, 5, 3);
    const Frames replicated = Cut(settings, picture);
    ASSERT_EQ(replicated.size(), 2u);  // from 0 and 3, to 7 x 4
    for (std::uint32_t x = 2; x < 4; ++x) {
        for (std::uint32_t y = 0; y < 4; ++y)
            EXPECT_EQ(SampleAt(replicated[1], x, y), SampleAt(picture, 4, std::min(y, 2u)));
    }
    settings.SetPadMode(CutterPadMode::Fill);
    settings.SetPadColor(Color(77, 77, 77));
    const Frames filled = Cut(settings, picture);
    EXPECT_EQ(SampleAt(filled[1], 1, 2), SampleAt(picture, 4, 2));
    EXPECT_EQ(SampleAt(filled[1], 2, 0), 77);
    EXPECT_EQ(SampleAt(filled[0], 0, 3), 77);
    // Any other mode continues the edge, and a picture that fits is not continued at all.
    const auto factory = Core::MakeRefCounted<SpyFactory>();
    settings.SetPadMode(static_cast<CutterPadMode>(5));
    std::vector<DataPtr> data{picture};
    Create(settings, *factory)->Process(data);
    EXPECT_THAT(factory->TakeTranscript(),
                testing::Contains("set SettingsEffectPad#1 margins=0,2,0,1 mode=replicate color=#4d4d4d"));
    data = {MakeFrame(PixFmt::Gray8, 7, 4)};
    Create(settings, *factory)->Process(data);
    EXPECT_THAT(factory->TakeTranscript(), ElementsAre("create SettingsEffectPad#2"));
}

TEST(Cutter, RefusesOverlapsThatLeaveNoStep) {
    const FramePtr picture = MakeFrame(PixFmt::Gray8, 50, 40);
    EXPECT_EQ(MessageOf([&] {
                  Cut(CutterOf({50, 40, 20, 20, 20, 1}), picture);
              }),
              "Overlap must be smaller than the patch!");
    EXPECT_EQ(MessageOf([&] {
                  Cut(CutterOf({50, 40, 2'000'000, 20, 1, 1}), picture);
              }),
              "Frame size is not supported!");
}

TEST(Stitcher, UndoesCutting) {
    const Tiling tilings[] = {{97, 61, 32, 32, 8, 8},   {97, 61, 32, 20, 31, 19}, {97, 61, 97, 61, 8, 8},
                              {30, 20, 64, 64, 16, 16}, {97, 61, 10, 61, 0, 0},   {97, 61, 33, 7, 2, 6},
                              {200, 3, 24, 24, 12, 12}, {1, 1, 1, 1, 0, 0},       {128, 128, 32, 32, 24, 4}};
    for (const PixFmt pixFmt : {PixFmt::Gray8, PixFmt::Rgb24, PixFmt::Bgra, PixFmt::Yuva444p}) {
        for (const Tiling& tiling : tilings) {
            for (const bool isOverlapped : {true, false}) {
                const FramePtr picture = MakeFrame(pixFmt, tiling.width, tiling.height);
                EXPECT_TRUE(
                    SameFrames(Stitched(StitcherOf(tiling, isOverlapped), Cut(CutterOf(tiling), picture)), picture))
                    << Name(pixFmt) << ' ' << tiling.width << 'x' << tiling.height << " by " << tiling.patchWidth << 'x'
                    << tiling.patchHeight << ", " << tiling.overlapX << ", " << tiling.overlapY;
            }
        }
    }
    // Patches of subsampled formats have to start at whole chroma samples.
    for (const PixFmt pixFmt : {PixFmt::Yuv420p, PixFmt::Yuva420p, PixFmt::Nv12}) {
        const Tiling tiling{97, 61, 32, 24, 8, 6};
        const FramePtr picture = MakeFrame(pixFmt, tiling.width, tiling.height);
        EXPECT_TRUE(SameFrames(Stitched(StitcherOf(tiling), Cut(CutterOf(tiling), picture)), picture)) << Name(pixFmt);
    }
}

TEST(Stitcher, FadesOnePatchIntoTheNext) {
    const Tiling across{10, 1, 7, 1, 4, 0}, down{1, 10, 1, 7, 0, 4};
    for (const PixFmt pixFmt : {PixFmt::Gray8, PixFmt::Rgba}) {
        for (const Tiling& tiling : {across, down}) {
            const Frames patches{MakeFrame(pixFmt, tiling.patchWidth, tiling.patchHeight, Color(0, 0, 0, 0)),
                                 MakeFrame(pixFmt, tiling.patchWidth, tiling.patchHeight, Color(255, 255, 255, 255))};
            const std::vector<std::uint8_t> bytes = Bytes(*Stitched(StitcherOf(tiling), patches));
            const std::size_t channels = bytes.size() / 10;
            // (2 t^3 - 3 t^2 + 1) * 63 + (3 t^2 - 2 t^3) * 255 at t = 0, 1/4, 1/2, 3/4
            const std::uint8_t expected[] = {0, 0, 0, 63, 93, 159, 225, 255, 255, 255};
            for (std::size_t i = 0; i < bytes.size(); ++i)
                EXPECT_EQ(bytes[i], expected[i / channels]) << Name(pixFmt) << ' ' << i;
        }
    }
}

// Patches of different levels: the largest step between neighbours is that of the ramps, nowhere more, where four
// patches meet neither.
TEST(Stitcher, LeavesNoSeams) {
    const Tiling tiling{180, 150, 60, 50, 20, 16};
    const Frames cut = Cut(CutterOf(tiling), MakeFrame(PixFmt::Rgb24, tiling.width, tiling.height, Color(0, 0, 0)));
    Frames patches;
    for (std::size_t i = 0; i < cut.size(); ++i) {
        const auto level = static_cast<std::uint8_t>(100 + 37 * i % 41);
        patches.push_back(MakeFrame(PixFmt::Rgb24, 60, 50, Color(level, level, level)));
    }
    const FramePtr picture = Stitched(StitcherOf(tiling), patches);
    // A ramp rises by 1.5 / length at most, and starts at 1 / length; levels differ by 40 at most. Two roundings.
    const double across = 40 * 1.5 / 20 + 2, down = 40 * 1.5 / 16 + 2;
    for (std::uint32_t y = 0; y + 1 < tiling.height; ++y) {
        for (std::uint32_t x = 0; x + 1 < tiling.width; ++x) {
            ASSERT_LE(std::abs(SampleAt(picture, x + 1, y) - SampleAt(picture, x, y)), across) << x << ", " << y;
            ASSERT_LE(std::abs(SampleAt(picture, x, y + 1) - SampleAt(picture, x, y)), down) << x << ", " << y;
        }
    }
}

// The upper right corner of a patch is lowered for its right neighbour, which a lone column does not have.
TEST(Stitcher, FadesLoneColumnsAndRowsAlike) {
    struct {
        Tiling tiling;
        bool isColumn;
    } const cases[] = {{{512, 1500, 512, 512, 50, 64}, true},
                       {{300, 1500, 512, 512, 50, 64}, true},
                       {{1500, 512, 512, 512, 64, 50}, false}};
    for (const auto& [tiling, isColumn] : cases) {
        Frames patches;
        for (const std::uint8_t level : {80, 180, 80, 180}) {
            patches.push_back(
                MakeFrame(PixFmt::Gray8, tiling.patchWidth, tiling.patchHeight, Color(level, level, level)));
        }
        const FramePtr picture = Stitched(StitcherOf(tiling), patches);
        for (std::uint32_t i = 0; i < 1500; ++i) {
            const std::uint32_t across = (isColumn ? tiling.width : tiling.height) - 1;
            const int first = isColumn ? SampleAt(picture, 0, i) : SampleAt(picture, i, 0);
            ASSERT_EQ(isColumn ? SampleAt(picture, across, i) : SampleAt(picture, i, across), first) << i;
        }
    }
}

TEST(Stitcher, GivesUnchangedPatchesBackOrRefusesThem) {
    struct {
        Tiling tiling;
        CropInfo crop;
        const char* complaint;
    } const cases[] = {
        {{97, 61, 33, 25, 10, 8}, {3, 3, 2, 2}, "17 pixels apart do not fit together with a left margin of 3"},
        {{97, 61, 32, 26, 10, 8}, {2, 2, 3, 2}, "13 pixels apart do not fit together with a top margin of 3"},
        {{97, 61, 33, 25, 10, 8}, {2, 4, 2, 2}, "nothing"},
        {{97, 61, 32, 24, 10, 8}, {3, 3, 1, 3}, "nothing"}};
    for (const PixFmt pixFmt : {PixFmt::Yuv420p, PixFmt::Yuva420p, PixFmt::Nv12, PixFmt::Rgb24}) {
        for (const auto& [stitch, crop, complaint] : cases) {
            const bool isRefused = std::string_view(complaint) != "nothing" && pixFmt != PixFmt::Rgb24;
            Tiling cut = stitch;
            cut.overlapX += crop.left + crop.right;
            cut.overlapY += crop.top + crop.bottom;
            const FramePtr picture = MakeFrame(pixFmt, 97, 61);
            SettingsEffectStitcher settings = StitcherOf(stitch);
            settings.SetCrop(crop);
            Frames patches;
            for (const FramePtr& patch : Cut(CutterOf(cut), picture)) {
                // Pixels of the margins are worthless.
                const FramePtr spoilt = MakeFrame(pixFmt, cut.patchWidth, cut.patchHeight, Color(255, 0, 255));
                const FramePtr inner = CloneFrame(*patch, kCloneView);
                inner->Crop(crop.left, crop.top, cut.patchWidth - crop.left - crop.right,
                            cut.patchHeight - crop.top - crop.bottom);
                CopyDataVideo(inner, spoilt, static_cast<int>(crop.left), static_cast<int>(crop.top));
                patches.push_back(spoilt);
            }
            FramePtr result;
            EXPECT_THAT(MessageOf([&] { result = Stitched(settings, patches); }),
                        HasSubstr(isRefused ? complaint : "nothing"));
            if (result == nullptr) continue;
            EXPECT_EQ(SampleAt(result, 0, 0), SampleAt(MakeFrame(pixFmt, 1, 1, Color(0, 0, 0)), 0, 0));
            for (std::uint8_t i = 0; i < GetPlanesCount(*picture); ++i) {
                const ConstPlane actual = std::as_const(*result).GetPlane(i),
                                 expected = std::as_const(*picture).GetPlane(i);
                const PixFmtDescription& description = PixFmtDescription::Get(pixFmt);
                for (std::uint64_t y = crop.top >> description.GetShiftY(i); y < expected.GetHeight(); ++y) {
                    for (std::uint64_t x = crop.left >> description.GetShiftX(i); x < expected.GetPixelsPerRow(); ++x) {
                        ASSERT_EQ(*actual.GetOffsetPtr(x, y), *expected.GetOffsetPtr(x, y))
                            << Name(pixFmt) << ' ' << x << ' ' << y;
                    }
                }
            }
        }
    }
}

TEST(Stitcher, CannotBlendIndices) {
    const Tiling tiling{97, 61, 32, 24, 8, 6};
    const FramePtr picture = MakeFrame(PixFmt::Pal8, 97, 61);
    const Frames patches = Cut(CutterOf(tiling), picture);
    EXPECT_THAT(MessageOf([&] { Stitched(StitcherOf(tiling), patches); }),
                HasSubstr("Indexed patches cannot be blended"));
    EXPECT_TRUE(SameFrames(Stitched(StitcherOf(tiling, false), patches), picture));
}

TEST(Stitcher, SaysWhatIsWrongWithPatches) {
    const Tiling tiling{97, 61, 32, 32, 8, 8};
    const Frames patches = Cut(CutterOf(tiling), MakeFrame(PixFmt::Rgb24, 97, 61));
    ASSERT_EQ(patches.size(), 12u);
    const auto stitch = [&](SettingsEffectStitcher settings, const Frames& frames) {
        return MessageOf([&] { Stitched(settings, frames); });
    };
    Frames tooFew(patches.begin(), patches.begin() + 11), otherSize = patches, otherFormat = patches;
    otherSize[5] = MakeFrame(PixFmt::Rgb24, 32, 31);
    otherFormat[7] = MakeFrame(PixFmt::Bgr24, 32, 32);
    EXPECT_THAT(stitch(StitcherOf(tiling), tooFew),
                HasSubstr("has 12 patches, 4 x 3, of 32 x 32 pixels with these overlaps; there are 11"));
    EXPECT_THAT(stitch(StitcherOf(tiling), otherSize), HasSubstr("patch 5 has 32 x 31"));
    EXPECT_THAT(stitch(StitcherOf(tiling), otherFormat), HasSubstr("patch 7"));
    EXPECT_THAT(stitch(StitcherOf(tiling), {}), HasSubstr("no frame"));
    EXPECT_THAT(stitch(StitcherOf({0, 61, 32, 32, 8, 8}), patches), HasSubstr("frame width is 0"));
    EXPECT_EQ(stitch(StitcherOf({97, 61, 32, 32, 32, 8}), patches), "Overlap must be smaller than the patch!");
    SettingsEffectStitcher settings = StitcherOf(tiling);
    settings.SetCrop({0, 0, 20, 12});
    EXPECT_THAT(stitch(settings, patches), HasSubstr("leave nothing of a patch's height of 32"));
    settings.SetCrop({0xFFFFFFFF, 0xFFFFFFFF, 0, 0});
    EXPECT_THAT(stitch(settings, patches), HasSubstr("leave nothing of a patch's width"));
    settings.SetCrop({10, 14, 0, 0});
    EXPECT_EQ(stitch(settings, patches), "Overlap must be smaller than the patch!");
}

}  // namespace
}  // namespace Orvexa::Test
