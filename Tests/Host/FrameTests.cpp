#include <gtest/gtest.h>

#include "Host/Proc/VideoFrame.h"
#include "Host/Settings/Common/CropInfo.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/Messages.h"

namespace Orvexa::Test {
namespace {

TEST(PixFmtDescriptions, KnowEveryFormatAndItsPlanes) {
    // Bytes of a row of 7 pixels and rows of 5, plane by plane.
    struct Case {
        int pixFmt;
        bool hasAlpha, isPlanar;
        std::vector<std::pair<int, int>> planes;
    };
    const Case cases[] = {
        {0, false, true, {{7, 5}, {4, 3}, {4, 3}}},
        {2, false, false, {{21, 5}}},
        {3, false, false, {{21, 5}}},
        {4, false, true, {{7, 5}, {4, 5}, {4, 5}}},
        {5, false, true, {{7, 5}, {7, 5}, {7, 5}}},
        {6, false, true, {{7, 5}, {2, 2}, {2, 2}}},
        {7, false, true, {{7, 5}, {2, 5}, {2, 5}}},
        {8, false, false, {{7, 5}}},
        {11, true, false, {{7, 5}, {1024, 1}}},
        {23, false, true, {{7, 5}, {8, 3}}},
        {24, false, true, {{7, 5}, {8, 3}}},
        {25, true, false, {{28, 5}}},
        {28, true, false, {{28, 5}}},
        {31, false, true, {{7, 5}, {7, 3}, {7, 3}}},
        {32, false, true, {{7, 5}, {7, 3}, {7, 3}}},
        {33, true, true, {{7, 5}, {4, 3}, {4, 3}, {7, 5}}},
        {80, true, true, {{7, 5}, {4, 5}, {4, 5}, {7, 5}}},
        {81, true, true, {{7, 5}, {7, 5}, {7, 5}, {7, 5}}},
        {123, true, false, {{28, 5}}},
        {140, false, true, {{7, 5}, {2, 5}, {2, 5}}},
    };
    for (const Case& c : cases) {
        const PixFmtDescription* description = PixFmtDescription::Find(static_cast<PixFmt>(c.pixFmt));
        ASSERT_NE(description, nullptr) << c.pixFmt;
        EXPECT_EQ((description->flags & 8) != 0, c.hasAlpha) << c.pixFmt;
        EXPECT_EQ((description->flags & 16) != 0, c.isPlanar) << c.pixFmt;
        const FramePtr frame = MakeFrame(static_cast<PixFmt>(c.pixFmt), 7, 5);
        ASSERT_EQ(GetPlanesCount(*frame), c.planes.size()) << c.pixFmt;
        for (std::uint8_t i = 0; i < c.planes.size(); ++i) {
            const Plane plane = frame->GetPlane(i);
            EXPECT_EQ(plane.GetWidth(), static_cast<std::uint64_t>(c.planes[i].first))
                << c.pixFmt << " plane " << int{i};
            EXPECT_EQ(plane.GetHeight(), static_cast<std::uint64_t>(c.planes[i].second))
                << c.pixFmt << " plane " << int{i};
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(plane.GetRow(plane.GetHeight() - 1)) % 64, 0u)
                << "rows are aligned";
        }
    }
    EXPECT_EQ(PixFmtDescription::GetPixelFormatDescroptionsList().size(), 28u);
    EXPECT_EQ(PixFmtDescription::Find(PixFmt::None), nullptr);
    EXPECT_EQ(PixFmtDescription::Find(static_cast<PixFmt>(1)), nullptr);
}

TEST(Colors, PackInMemoryOrderAndConvertToFullRangeLuma) {
    const Color color(1, 2, 3, 4);
    EXPECT_EQ(color.rgba(), 0x04030201u);
    EXPECT_EQ(color.argb(), 0x03020104u);
    EXPECT_EQ(color.bgra(), 0x04010203u);
    EXPECT_EQ(color.abgr(), 0x01020304u);
    EXPECT_EQ(Color::FromRGBA(color.rgba()), color);
    EXPECT_EQ(Color::FromARGB(color.argb()), color);
    EXPECT_EQ(Color::FromBGRA(color.bgra()), color);
    EXPECT_EQ(Color::FromABGR(color.abgr()), color);
    EXPECT_EQ(Color::Black(Opacity::Transparent), Color(0, 0, 0, 0));
    EXPECT_EQ(Color::White(Opacity::Opaque), Color(255, 255, 255, 255));
    // Corners of the JPEG conversion: Y = 76.245, Cb = 84.97, Cr = 255.5 clamped for pure red.
    EXPECT_EQ((std::array{Color(255, 0, 0).y(), Color(255, 0, 0).u(), Color(255, 0, 0).v()}),
              (std::array<std::uint8_t, 3>{76, 85, 255}));
    EXPECT_EQ((std::array{Color(0, 0, 255).y(), Color(0, 0, 255).u(), Color(0, 0, 255).v()}),
              (std::array<std::uint8_t, 3>{29, 255, 107}));
    for (int grey = 0; grey < 256; ++grey) {
        const auto g = static_cast<std::uint8_t>(grey);
        EXPECT_EQ((std::array{Color(g, g, g).y(), Color(g, g, g).u(), Color(g, g, g).v()}),
                  (std::array<std::uint8_t, 3>{g, 128, 128}));
    }
}

TEST(CropInfos, GrowToHoldPixelsAndUniteToTheSmallestCommonRectangle) {
    CropInfo box = CropInfo::Nothing();
    EXPECT_EQ(box.Apart(7, 3), (CropInfo{7, 8, 3, 4}));
    box.Apart(2, 9);
    EXPECT_EQ(box, (CropInfo{2, 8, 3, 10}));
    EXPECT_EQ(box.Union({0, 3, 5, 20}), (CropInfo{0, 8, 3, 20}));
}

TEST(FrameInfos, KeepTheAspectInLowestTerms) {
    EXPECT_EQ((Conf::Rational{64, 48}), (Conf::Rational{4, 3}));
    EXPECT_EQ((Conf::Rational{0, 5}), (Conf::Rational{0, 1}));
    EXPECT_EQ(FrameInfo(4, 3).aspect, (Conf::Rational{1, 1}));
}

class EveryFormat : public testing::TestWithParam<PixFmt> {};

TEST_P(EveryFormat, FillSetsEveryPixelAndNothingElse) {
    const Color color(200, 100, 50, 70);
    for (const auto& [width, height] : kSizes) {
        const GuardedFrame guarded(GetParam(), width, height);
        const FramePtr& frame = guarded.GetFrame();
        frame->Fill(color);
        // Palettes belong to the whole frame, so only the indices are guarded.
        if (GetParam() != PixFmt::Pal8) {
            EXPECT_TRUE(guarded.IsGuardIntact());
        }
        // The bytes of each plane, over and over.
        using Levels = std::vector<std::uint8_t>;
        std::vector<Levels> expected{{color.y()}, {color.u()}, {color.v()}, {color.alpha()}};
        switch (static_cast<int>(GetParam())) {
            case 2: expected = {{200, 100, 50}}; break;
            case 3: expected = {{50, 100, 200}}; break;
            case 25:
            case 120: expected = {{70, 200, 100, 50}}; break;
            case 26:
            case 121: expected = {{200, 100, 50, 70}}; break;
            case 27:
            case 122: expected = {{70, 50, 100, 200}}; break;
            case 28:
            case 123: expected = {{50, 100, 200, 70}}; break;
            case 11: expected = {{0}}; break;
            case 23: expected[1] = {color.u(), color.v()}; break;
            case 24: expected[1] = {color.v(), color.u()}; break;
        }
        for (std::uint8_t i = 0; i < GetPlanesCount(*frame); ++i) {
            const Levels bytes = Bytes(std::as_const(*frame).GetPlane(i));
            if (GetParam() == PixFmt::Pal8 && i == 1) {
                EXPECT_EQ(Levels(bytes.begin(), bytes.begin() + 4), (Levels{200, 100, 50, 70}));
                continue;
            }
            for (std::size_t b = 0; b < bytes.size(); ++b)
                ASSERT_EQ(bytes[b], expected.at(i)[b % expected[i].size()]) << int{i} << ' ' << b;
        }
    }
}

TEST_P(EveryFormat, ClonesCopyOrShareAsAskedAndKeepTiming) {
    const FramePtr frame = MakeFrame(GetParam(), 97, 61);
    frame->SetDuration(5);
    frame->SetTimestamp(6);
    for (const CloneMode mode : {kCloneCopy, kCloneView, kCloneIndependent}) {
        frame->SetExtraAlpha(0, frame->GetPlane(0));
        const FramePtr clone = CloneFrame(*frame, mode);
        EXPECT_TRUE(SameFrames(clone, frame));
        EXPECT_EQ(clone->GetDuration(), 5);
        EXPECT_EQ(clone->GetTimestamp(), 6);
        EXPECT_FALSE(clone->GetExtraAlpha(0).has_value());
        EXPECT_EQ(frame->SharesPixels(), mode == kCloneView);
        EXPECT_EQ(IsExclusive(clone), mode != kCloneView);
        const std::uint8_t before = *frame->GetPlane(0).GetData();
        *clone->GetPlane(0).GetData() = static_cast<std::uint8_t>(before + 1);
        EXPECT_EQ(*frame->GetPlane(0).GetData() != before, mode == kCloneView) << "mode " << mode;
    }
}

TEST_P(EveryFormat, CropsSeeTheRectangleWithChromaRoundedOutward) {
    const FramePtr frame = MakeFrame(GetParam(), 97, 61);
    const FramePtr view = CloneFrame(*frame, kCloneView);
    view->Crop(3, 5, 50, 31);
    view->Crop(0, 0, 50, 31);  // the whole of itself
    view->Crop(2, 1, 9, 7);
    const PixFmtDescription& description = PixFmtDescription::Get(GetParam());
    EXPECT_EQ(view->GetFrameInfo(), FrameInfo(9, 7));
    for (std::uint8_t i = 0; i < GetPlanesCount(*view); ++i) {
        if (GetParam() == PixFmt::Pal8 && i == 1) continue;
        const ConstPlane whole = std::as_const(*frame).GetPlane(i), part = std::as_const(*view).GetPlane(i);
        const int sx = description.GetShiftX(i), sy = description.GetShiftY(i);
        // Two crops, each rounded on its own.
        const int x = (3 >> sx) + (2 >> sx), y = (5 >> sy) + (1 >> sy);
        EXPECT_EQ(part.GetData(), whole.GetOffsetPtr(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)))
            << int{i};
        EXPECT_EQ(part.GetPixelsPerRow(), static_cast<std::uint64_t>((9 + (1 << sx) - 1) >> sx)) << int{i};
        EXPECT_EQ(part.GetHeight(), static_cast<std::uint64_t>((7 + (1 << sy) - 1) >> sy)) << int{i};
    }
}

TEST_P(EveryFormat, CopiesAreClippedToTheDestination) {
    for (const auto& [x, y] : {std::pair{0, 0}, {5, 3}, {-4, -2}, {91, 58}, {-97, 0}, {200, 0}, {0, -300}}) {
        const FramePtr source = MakeFrame(GetParam(), 40, 31, Pattern::Ramp);
        const GuardedFrame guarded(GetParam(), 97, 61);
        const FramePtr before = CloneFrame(*guarded.GetFrame(), kCloneIndependent);
        CopyDataVideo(source, guarded.GetFrame(), x, y);
        if (GetParam() != PixFmt::Pal8) {
            EXPECT_TRUE(guarded.IsGuardIntact()) << x << ' ' << y;
        }
        const PixFmtDescription& description = PixFmtDescription::Get(GetParam());
        for (std::uint8_t i = 0; i < GetPlanesCount(*source); ++i) {
            if (GetParam() == PixFmt::Pal8 && i == 1) continue;
            const ConstPlane from = std::as_const(*source).GetPlane(i),
                             to = std::as_const(*guarded.GetFrame()).GetPlane(i),
                             old = std::as_const(*before).GetPlane(i);
            const std::int64_t left =
                (x >> description.GetShiftX(i)) * static_cast<std::int64_t>(from.GetBytesPerPixel());
            const std::int64_t top = y >> description.GetShiftY(i);
            for (std::int64_t row = 0; row < static_cast<std::int64_t>(to.GetHeight()); ++row) {
                for (std::int64_t b = 0; b < static_cast<std::int64_t>(to.GetWidth()); ++b) {
                    const bool isInside = row >= top && row - top < static_cast<std::int64_t>(from.GetHeight()) &&
                                          b >= left && b - left < static_cast<std::int64_t>(from.GetWidth());
                    const std::uint8_t expected = isInside
                                                      ? from.GetRow(static_cast<std::uint64_t>(row - top))[b - left]
                                                      : old.GetRow(static_cast<std::uint64_t>(row))[b];
                    ASSERT_EQ(to.GetRow(static_cast<std::uint64_t>(row))[b], expected)
                        << "plane " << int{i} << " at " << b << ' ' << row;
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Frames, EveryFormat, testing::ValuesIn(AllPixFmts()),
                         [](const auto& test) { return Name(test.param); });

TEST(Frames, RefuseCropsOutsideThemselves) {
    const FramePtr frame = MakeFrame(PixFmt::Rgb24, 10, 8);
    const std::uint32_t wrapped = static_cast<std::uint32_t>(-1);
    for (const auto& [x, y, w, h] : {std::array{0u, 0u, 0u, 8u},
                                     {0u, 0u, 10u, 0u},
                                     {1u, 0u, 10u, 8u},
                                     {0u, 1u, 10u, 8u},
                                     {10u, 0u, 1u, 1u},
                                     {wrapped, 0u, 2u, 1u},
                                     {0u, 0u, wrapped, 1u},
                                     {2u, 2u, wrapped, wrapped}}) {
        EXPECT_EQ(MessageOf([&] { frame->Crop(x, y, w, h); }), "Crop rectangle is outside the frame!")
            << x << ' ' << y << ' ' << w << ' ' << h;
        EXPECT_EQ(frame->GetFrameInfo(), FrameInfo(10, 8));
    }
}

TEST(Frames, RefuseSizesThatAreZeroOrAbsurdAndFormatsThatAreUnknown) {
    FramePtr frame;
    for (const auto& [w, h] : {std::pair{0u, 5u}, {5u, 0u}, {131073u, 1u}, {1u, 131073u}, {131072u, 131072u}}) {
        EXPECT_EQ(MessageOf([&] { TestAllocator()->AllocateFrame(frame, PixFmt::Gray8, FrameInfo(w, h)); }),
                  "Frame size is not supported!");
    }
    EXPECT_EQ(MessageOf([&] { TestAllocator()->AllocateFrame(frame, static_cast<PixFmt>(9), FrameInfo(1, 1)); }),
              "Pixel format is not supported!");
    EXPECT_NO_THROW(TestAllocator()->AllocateFrame(frame, PixFmt::Gray8, FrameInfo(131072, 1)));
}

TEST(Frames, OwnACopyOfTheirExtraAlpha) {
    const FramePtr frame = MakeFrame(PixFmt::Rgb24, 7, 5);
    FramePtr mask = MakeFrame(PixFmt::Gray8, 7, 5);
    const std::vector<std::uint8_t> bytes = Bytes(*mask);
    frame->SetExtraAlpha(1, std::as_const(*mask).GetPlane(0));
    mask->Fill(Color(0, 0, 0));
    mask.reset();
    EXPECT_FALSE(frame->GetExtraAlpha(0).has_value());
    ASSERT_TRUE(frame->GetExtraAlpha(1).has_value());
    EXPECT_EQ(Bytes(*frame->GetExtraAlpha(1)), bytes);
    // The same mask as both, then another as one of them.
    frame->SetExtraAlpha(0, *frame->GetExtraAlpha(1));
    EXPECT_EQ(Bytes(*frame->GetExtraAlpha(0)), bytes);
    const FramePtr other = MakeFrame(PixFmt::Gray8, 7, 5, Pattern::Ramp);
    frame->SetExtraAlpha(0, std::as_const(*other).GetPlane(0));
    EXPECT_EQ(Bytes(*frame->GetExtraAlpha(0)), Bytes(*other));
    EXPECT_EQ(Bytes(*frame->GetExtraAlpha(1)), bytes);
    EXPECT_NE(MessageOf([&] { frame->SetExtraAlpha(2, frame->GetPlane(0)); }), "nothing");
}

TEST(PixelPools, ReuseFreedBlocksAndStayBounded) {
    const auto pool = PixelPool::Create(std::size_t{8} << 20);
    const std::uint8_t* first = nullptr;
    {
        const auto block = pool->Allocate(std::size_t{3} << 20);
        first = block.get();
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(first) % PixelPool::kAlignment, 0u);
        EXPECT_EQ(pool->GetIdleBytes(), 0u);
    }
    EXPECT_EQ(pool->GetIdleBytes(), std::size_t{3} << 20);
    {
        const auto smaller = pool->Allocate(std::size_t{300} << 10);
        EXPECT_NE(smaller.get(), first) << "a much smaller request does not take a large block";
        const auto again = pool->Allocate((std::size_t{3} << 20) - 100);
        EXPECT_EQ(again.get(), first);
        const auto other = pool->Allocate(std::size_t{6} << 20);
    }
    EXPECT_LE(pool->GetIdleBytes(), std::size_t{8} << 20);
    pool->Clear();
    EXPECT_EQ(pool->GetIdleBytes(), 0u);
    const auto outliving = PixelPool::Create(std::size_t{64} << 20)->Allocate(std::size_t{1} << 20);
    outliving.get()[0] = 1;
    EXPECT_EQ(outliving.get()[0], 1);
}

TEST(PixelPools, MakeRoomBeforeTakingFreshMemory) {
    constexpr std::size_t kMegabyte = std::size_t{1} << 20;
    const auto pool = PixelPool::Create(64 * kMegabyte);
    pool->Allocate(8 * kMegabyte);
    const auto larger = pool->Allocate(12 * kMegabyte);
    EXPECT_EQ(pool->GetIdleBytes(), 0u) << "the block of 8 serves nothing of 12";
    pool->Allocate(8 * kMegabyte);
    const auto small = pool->Allocate(2 * kMegabyte);
    EXPECT_EQ(pool->GetIdleBytes(), 8 * kMegabyte) << "20 were taken before, and 2 more are within an eighth";
}

}  // namespace
}  // namespace Orvexa::Test
