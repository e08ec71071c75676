#include <gtest/gtest.h>

#include "Host/Core/Exception.h"
#include "Proc/Effects/EffectsPhoto/Segmentation/AutoImpl.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/Paths.h"

namespace Orvexa::Test {
namespace {

using Auto::AutoImpl;

// The tests' network sees a subject where the picture is bright.
SettingsEffectSegmentation TestSettings() {
    SettingsEffectSegmentation settings;
    settings.SetAlgorithm(SegmentationAlgorithm::Auto);
    settings.SetModelsRoot(SourcePath("Tests/Support/Models"));
    settings.SetForeground(9);
    settings.SetBackground(200);
    return settings;
}

TwoInputPtr MakeAuto(const FactoryPtr& factory = HostFactory()) {
    const TwoInputPtr effect = MakeEffect<AutoImpl>(factory, TestAllocator());
    effect->SetSettings(TestSettings());
    return effect;
}

// Dark, with a bright rectangle from (left, top) to the lower right corner.
FramePtr MakePicture(PixFmt format, std::uint32_t width, std::uint32_t height, std::uint32_t left, std::uint32_t top) {
    const FramePtr frame = MakeFrame(format, width, height, Color(40, 40, 40));
    if (left < width && top < height) {
        const FramePtr part = CloneFrame(*frame, kCloneView);
        part->Crop(left, top, width - left, height - top);
        part->Fill(Color(220, 220, 220));
    }
    return frame;
}

TEST(AutoImpl, MarksTheSubjectAtThePicturesSize) {
    const struct {
        std::uint32_t width, height, left, top;
    } cases[] = {
        {320, 320, 100, 33},  {640, 960, 320, 480},  // on the mask's own grid
        {639, 417, 200, 100}, {97, 61, 40, 9},       // off it
        {1, 1, 0, 0},         {1, 1, 1, 1},         {7, 5, 0, 0}, {3, 1000, 0, 501},
    };
    for (const PixFmt format : {PixFmt::Rgb24, PixFmt::Gray8, PixFmt::Bgra, PixFmt::Yuv420p}) {
        const TwoInputPtr effect = MakeAuto();  // one for all sizes
        for (const auto& [width, height, left, top] : cases) {
            const FramePtr picture = MakePicture(format, width, height, left, top),
                           before = CloneFrame(*picture, kCloneIndependent);
            FramePtr mask = picture;
            effect->ProcessData(mask, ConstFramePtr());
            ASSERT_EQ(mask->GetPixFmt(), PixFmt::Gray8);
            ASSERT_EQ(mask->GetFrameInfo(), picture->GetFrameInfo());
            // The mask has 320 pixels on each side, so the border may be off by as much as one of them, and by the step
            // of subsampled chroma.
            const int slackX = width == 320 || width == 640 ? 0 : static_cast<int>(width / 320) + 1;
            const int slackY = height == 320 || height == 960 ? 0 : static_cast<int>(height / 320) + 1;
            const std::vector<std::uint8_t> bytes = Bytes(std::as_const(*mask).GetPlane(0));
            for (int y = 0; y < static_cast<int>(height); ++y) {
                for (int x = 0; x < static_cast<int>(width); ++x) {
                    const int dx = x - static_cast<int>(left), dy = y - static_cast<int>(top);
                    const int value = bytes[static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x)];
                    if (dx >= slackX && dy >= slackY) {
                        ASSERT_EQ(value, 9)
                            << Name(format) << ' ' << width << 'x' << height << " at " << x << ", " << y;
                    } else if (dx < -slackX || dy < -slackY) {
                        ASSERT_EQ(value, 200)
                            << Name(format) << ' ' << width << 'x' << height << " at " << x << ", " << y;
                    } else {
                        ASSERT_TRUE(value == 9 || value == 200);
                    }
                }
            }
            EXPECT_TRUE(SameFrames(picture, before)) << "the caller's picture stays";
        }
    }
}

TEST(AutoImpl, DrawsTheLineAtOneHalf) {
    // The network's certainty is 128 for a grey of 128, and 112 for a grey of 127.
    for (const auto& [grey, expected] : {std::pair{127, 200}, {128, 9}}) {
        FramePtr frame = MakeFrame(PixFmt::Gray8, 50, 40, Color(0, 0, 0));
        frame->Fill(
            Color(static_cast<std::uint8_t>(grey), static_cast<std::uint8_t>(grey), static_cast<std::uint8_t>(grey)));
        MakeAuto()->ProcessData(frame, ConstFramePtr());
        EXPECT_EQ(Bytes(*frame), std::vector<std::uint8_t>(50 * 40, static_cast<std::uint8_t>(expected))) << grey;
    }
}

TEST(AutoImpl, SetsItsResizerWhenTheGeometryChanges) {
    const auto factory = Core::MakeRefCounted<SpyFactory>();
    const TwoInputPtr effect = MakeAuto(factory);
    EXPECT_EQ(factory->TakeTranscript(), std::vector<std::string>{"create SettingsResizer#1"});
    const auto set = [&](const FrameInfo& info) {
        FramePtr frame = NewFrame(TestAllocator(), PixFmt::Gray8, info);
        frame->Fill(Color(0, 0, 0));
        effect->ProcessData(frame, ConstFramePtr());
        std::string lines;
        for (const std::string& line : factory->TakeTranscript()) {
            if (line.starts_with("set")) lines += line;
        }
        return lines;
    };
    EXPECT_EQ(set(FrameInfo(30, 20)),
              "set SettingsResizer#1 resizeMethod=fastBilinear customMode=exactToo customInfo=30,20,1,1 customScale=1 "
              "accurate=true "
              "fullChroma=true");
    EXPECT_EQ(set(FrameInfo(30, 20)), "");
    EXPECT_NE(set(FrameInfo(30, 20, {4, 3})), "");
    EXPECT_NE(set(FrameInfo(31, 20)), "");
}

TEST(AutoImpl, LeavesThePictureWhenThereIsNoModel) {
    SettingsEffectSegmentation settings = TestSettings();
    settings.SetModelsRoot("/nowhere");
    EXPECT_FALSE(settings == TestSettings());
    const TwoInputPtr effect = MakeAuto();
    effect->SetSettings(settings);
    const FramePtr picture = MakeFrame(PixFmt::Rgb24, 9, 9);
    FramePtr frame = picture;
    EXPECT_THROW(effect->ProcessData(frame, ConstFramePtr()), EffectException);
    EXPECT_EQ(frame, picture);
    effect->SetSettings(TestSettings());
    effect->ProcessData(frame, ConstFramePtr());
    EXPECT_EQ(frame->GetPixFmt(), PixFmt::Gray8) << "usable again";
}

}  // namespace
}  // namespace Orvexa::Test
