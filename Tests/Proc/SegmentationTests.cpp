#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Host/Core/Exception.h"
#include "Host/Core/Property.h"
#include "Host/Settings/Photo/SettingsEffectSegmentation.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/Progress.h"

namespace Orvexa::Test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::uint32_t kWidth = 24, kHeight = 10, kEdge = 11;

// Dark up to the edge, bright from there on.
FramePtr Halves(PixFmt pixFmt = PixFmt::Rgb24) {
    FramePtr picture = MakeFrame(PixFmt::Rgb24, kWidth, kHeight, Color(200, 180, 160));
    CopyDataVideo(MakeFrame(PixFmt::Rgb24, kEdge, kHeight, Color(20, 30, 40)), picture, 0, 0);
    return Converted(picture, pixFmt);
}

struct Stroke {
    std::uint32_t x, y;
    int value;
};
FramePtr Seeds(std::initializer_list<Stroke> strokes) {
    FramePtr seeds = MakeFrame(PixFmt::Gray8, kWidth, kHeight, Color::Black(Opacity::Opaque));
    for (const Stroke& stroke : strokes)
        *seeds->GetPlane(0).GetOffsetPtr(stroke.x, stroke.y) = static_cast<std::uint8_t>(stroke.value);
    return seeds;
}
const std::initializer_list<Stroke> kBoth = {{2, 5, 255}, {20, 5, 128}};

TwoInputPtr Create(const SettingsEffectSegmentation& settings, EffectFactory& factory) {
    TwoInputPtr effect;
    factory.CreateTwoInputEffect(effect, SettingsEffectSegmentation::CLASS_ID, ImplNames::ORVEXA, {});
    effect->SetSettings(settings);
    return effect;
}
FramePtr Segmented(const SettingsEffectSegmentation& settings, FramePtr picture, const FramePtr& seeds) {
    Create(settings, dynamic_cast<EffectFactory&>(*ModuleFactory()))->ProcessData(picture, ConstFramePtr(seeds));
    return picture;
}
FramePtr MaskOf(int left, int right, int edge = kEdge) {
    return DrawFrame(PixFmt::Gray8, kWidth, kHeight, [&](int x, int, int) { return x < edge ? left : right; });
}

TEST(Segmentation, GivesTheSubjectItsOpacity) {
    SettingsEffectSegmentation settings;
    for (const SegmentationAlgorithm algorithm :
         {SegmentationAlgorithm::GridGraph, SegmentationAlgorithm::Host, SegmentationAlgorithm::HostAlternative}) {
        settings.SetAlgorithm(algorithm);
        for (const int alpha : {255, 77}) {
            settings.SetAlpha(static_cast<std::uint8_t>(alpha));
            EXPECT_TRUE(SameFrames(Segmented(settings, Halves(), Seeds(kBoth)), MaskOf(alpha, 0)))
                << static_cast<int>(algorithm);
        }
    }
    // Other values of the strokes; the background's is not the mask's.
    settings = SettingsEffectSegmentation();
    settings.SetForeground(1);
    settings.SetBackground(255);
    EXPECT_TRUE(
        SameFrames(Segmented(settings, Halves(PixFmt::Yuv420p), Seeds({{20, 5, 1}, {2, 5, 255}})), MaskOf(0, 255)));
}

TEST(Segmentation, LeavesTransparentPixelsTransparent) {
    FramePtr picture = Halves(PixFmt::Bgra);
    picture->GetPlane(0).GetOffsetPtr(3, 4)[3] = 0;
    picture->GetPlane(0).GetOffsetPtr(4, 4)[3] = 1;
    const FramePtr expected = MaskOf(255, 0);
    *expected->GetPlane(0).GetOffsetPtr(3, 4) = 0;
    EXPECT_TRUE(SameFrames(Segmented(SettingsEffectSegmentation(), picture, Seeds(kBoth)), expected));
}

TEST(Segmentation, ReturnsSeedsOfOneKindAsTheyAre) {
    const auto factory = Core::MakeRefCounted<SpyFactory>();
    const auto effect = Create(SettingsEffectSegmentation(), *factory);
    const auto hasNote = [&] { return effect->GetStatistic().FindChild(Core::kNoteKey) != nullptr; };
    for (const FramePtr& seeds : {Seeds({}), Seeds({{1, 1, 255}}), Seeds({{1, 1, 128}, {2, 2, 77}})}) {
        factory->TakeTranscript();
        FramePtr frame = Halves();
        effect->ProcessData(frame, ConstFramePtr(seeds));
        EXPECT_TRUE(SameFrames(frame, seeds));
        EXPECT_NE(frame, seeds);
        EXPECT_FALSE(frame->SharesPixels());
        EXPECT_THAT(factory->TakeTranscript(), ElementsAre());
        EXPECT_TRUE(hasNote());
    }
    FramePtr frame = Halves();
    effect->ProcessData(frame, ConstFramePtr(Seeds(kBoth)));
    EXPECT_FALSE(hasNote());
}

TEST(Segmentation, SmoothsWithinAMargin) {
    const auto factory = Core::MakeRefCounted<SpyFactory>();
    SettingsEffectSegmentation settings;
    const auto effect = Create(settings, *factory);
    EXPECT_THAT(factory->TakeTranscript(), testing::Not(Contains(StartsWith("set SettingsEffectMorphology"))));
    settings.SetSmooth(3);
    effect->SetSettings(settings);
    EXPECT_THAT(
        factory->TakeTranscript(),
        Contains("set SettingsEffectMorphology#1 operation=close size=1 kernel=rectangle border=reflect iterations=3"));
    // A gap of four columns is closed, one at the border of the picture is not.
    FramePtr frame = MakeFrame(PixFmt::Gray8, kWidth, kHeight, Color(20, 20, 20));
    CopyDataVideo(MakeFrame(PixFmt::Gray8, 4, kHeight, Color(200, 200, 200)), frame, 10, 0);
    CopyDataVideo(MakeFrame(PixFmt::Gray8, 4, kHeight, Color(200, 200, 200)), frame, 0, 0);
    effect->ProcessData(frame, ConstFramePtr(Seeds({{6, 5, 255}, {20, 5, 255}, {12, 5, 128}, {1, 5, 128}})));
    EXPECT_THAT(factory->TakeTranscript(), Contains("run SettingsEffectMorphology#1 gray8 30x16 -> gray8 30x16"));
    EXPECT_TRUE(SameFrames(frame, MaskOf(0, 255, 4)));
}

TEST(Segmentation, KeepsTheStrokesWhenAsked) {
    SettingsEffectSegmentation settings;
    settings.SetAlpha(200);
    settings.SetKeepSelection(true);
    const FramePtr result = Segmented(settings, Halves(), Seeds({{2, 5, 255}, {20, 5, 128}, {3, 3, 7}, {18, 2, 9}}));
    const FramePtr expected = MaskOf(200, 0);
    for (const Stroke& stroke : {Stroke{2, 5, 255}, {20, 5, 128}, {3, 3, 7}, {18, 2, 9}}) {
        *expected->GetPlane(0).GetOffsetPtr(stroke.x, stroke.y) = static_cast<std::uint8_t>(stroke.value);
    }
    EXPECT_TRUE(SameFrames(result, expected));
}

TEST(Segmentation, PaintsTheSubjectInDemoMode) {
    SettingsEffectSegmentation settings;
    settings.SetDemoMode(true);
    settings.SetDemoColor(Color(255, 0, 0, 128));
    for (const PixFmt pixFmt : {PixFmt::Rgb24, PixFmt::Bgra, PixFmt::Yuv444p, PixFmt::Yuv420p}) {
        for (const int alpha : {255, 100}) {
            settings.SetAlpha(static_cast<std::uint8_t>(alpha));
            const FramePtr picture = Halves(pixFmt);
            const FramePtr result = Converted(Segmented(settings, picture, Seeds(kBoth)), PixFmt::Rgb24),
                           before = Converted(picture, PixFmt::Rgb24);
            const int red[] = {255, 0, 0};
            for (const std::uint32_t x : {2u, 8u, 14u, 22u}) {  // away from the edge, where chroma samples are shared
                const double share = x < kEdge ? alpha / 255.0 : 0;
                for (int k = 0; k < 3; ++k) {
                    const double from = SampleAt(before, x, 5, k);
                    EXPECT_NEAR(SampleAt(result, x, 5, k), from + (red[k] - from) * share, 2)
                        << Name(pixFmt) << ' ' << x;
                }
            }
        }
    }
}

TEST(Segmentation, ReportsProgressAndStopsWhenAsked) {
    const auto progress = Core::MakeRefCounted<TestProgress>();
    SettingsEffectSegmentation settings;
    const auto effect = Create(settings, dynamic_cast<EffectFactory&>(*ModuleFactory()));
    const auto run = [&] {
        FramePtr frame = Halves();
        effect->ProcessData(frame, ConstFramePtr(Seeds(kBoth)));
        return frame;
    };
    effect->SetProgressController(progress);
    run();
    EXPECT_GT(progress->steps, 50u);
    progress->cancelAt = 0;
    EXPECT_TRUE(SameFrames(run(), Halves())) << "cancelled: the picture stays";
    progress->cancelAt = TestProgress::kNever;
    progress->steps = 0;
    settings.SetShowProgress(false);
    effect->SetSettings(settings);
    EXPECT_TRUE(SameFrames(run(), MaskOf(255, 0)));
    EXPECT_EQ(progress->steps, 0u);
}

TEST(Segmentation, TakesItsInnerEffectByTheAlgorithm) {
    const auto factory = Core::MakeRefCounted<SpyFactory>();
    SettingsEffectSegmentation settings;
    const auto effect = Create(settings, *factory);
    const auto innerName = [&] { return effect->GetStatistic().GetChildren().back().GetName(); };
    EXPECT_THAT(factory->TakeTranscript(), ElementsAre(StartsWith("create SettingsEffectMorphology#1"),
                                                       StartsWith("create SettingsEffectAlphaExtractor#1"),
                                                       StartsWith("set SettingsEffectAlphaExtractor#1")));
    EXPECT_THAT(
        innerName(),
        HasSubstr(
            "EffectBase<class Orvexa::Proc::ITwoInputEffectVideo,class Orvexa::Proc::SettingsEffectSegmentation>"));
    settings.SetAlgorithm(SegmentationAlgorithm::HostAlternative);
    effect->SetSettings(settings);
    EXPECT_THAT(factory->TakeTranscript(), ElementsAre(StartsWith("create SettingsEffectSegmentation#1"),
                                                       StartsWith("set SettingsEffectSegmentation#1")));
    settings.SetAlgorithm(static_cast<SegmentationAlgorithm>(9));
    settings.SetForeground(3);
    effect->SetSettings(settings);
    EXPECT_THAT(factory->TakeTranscript(), ElementsAre(HasSubstr("foreground=3")))
        << "the inner effect stays and is told";
}

TEST(Segmentation, NeedsNoStrokesWithAModel) {
    SettingsEffectSegmentation settings;
    settings.SetAlgorithm(SegmentationAlgorithm::Auto);
    settings.SetModelsRoot(SourcePath("Tests/Support/Models"));
    const FramePtr mask = Segmented(settings, Halves(), {});
    ASSERT_EQ(mask->GetPixFmt(), PixFmt::Gray8);
    EXPECT_NE(Bytes(*mask), std::vector<std::uint8_t>(Bytes(*mask).size(), Bytes(*mask)[0]))
        << "one half is the subject";
    EXPECT_TRUE(SameFrames(Segmented(settings, Halves(), MakeFrame(PixFmt::Gray8, 3, 2)), mask))
        << "strokes do not count";
    settings.SetKeepSelection(true);
    EXPECT_THROW(Segmented(settings, Halves(), MakeFrame(PixFmt::Gray8, 3, 2)), EffectException)
        << "unless they are to be kept";
    EXPECT_EQ(*Segmented(settings, Halves(), Seeds({{4, 4, 99}}))->GetPlane(0).GetOffsetPtr(4, 4), 99);
}

TEST(Segmentation, SaysWhatIsWrongWithSeeds) {
    for (const FramePtr& seeds :
         {MakeFrame(PixFmt::Gray8, kWidth + 1, kHeight), MakeFrame(PixFmt::Rgb24, kWidth, kHeight)}) {
        EXPECT_THAT(MessageOf([&] { Segmented(SettingsEffectSegmentation(), Halves(), seeds); }),
                    HasSubstr("size of the picture, 24 x 10"));
    }
    EXPECT_THROW(Segmented(SettingsEffectSegmentation(), Halves(), {}), EffectException);
}

}  // namespace
}  // namespace Orvexa::Test
