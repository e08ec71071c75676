#include <gtest/gtest.h>

#include "Host/Core/Exception.h"
#include "Host/Settings/Photo/SettingsEffectCreateVideo.h"
#include "Host/Settings/Photo/SettingsEffectCustom.h"
#include "Host/Settings/Photo/SettingsEffectEmpty.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

std::string Count(const IEffect& effect) { return effect.GetStatistic().FindChild("count")->GetValue(); }

TEST(EmptyEffect, PassesTheVeryFrameThrough) {
    FramePtr frame = MakeFrame(PixFmt::Yuv420p, 7, 5);
    const std::vector<std::uint8_t> before = Bytes(*frame);
    IDataVideo* const same = frame.get();
    frame = Apply(SettingsEffectEmpty(), frame);
    EXPECT_EQ(frame.get(), same);
    EXPECT_EQ(Bytes(*frame), before);
}

TEST(Custom, RunsTheFunctionOrReportsThatThereIsNone) {
    const OneInputPtr effect = CreateModuleEffect(SettingsEffectCustom::CLASS_ID);
    FramePtr frame = MakeFrame(PixFmt::Gray8, 2, 2);
    frame->SetTimestamp(9);
    EXPECT_THROW(effect->ProcessData(frame), std::bad_function_call);
    EXPECT_NE(frame, nullptr);
    EXPECT_EQ(Count(*effect), "0");

    effect->SetSettings(SettingsEffectCustom([](FramePtr& f) { f = MakeFrame(PixFmt::Rgb24, 3, 1); }));
    effect->ProcessData(frame);
    EXPECT_EQ(frame->GetFrameInfo(), FrameInfo(3, 1));
    EXPECT_EQ(frame->GetTimestamp(), 9);

    // A function may even give its own effect other settings.
    effect->SetSettings(SettingsEffectCustom([effect = effect.get()](FramePtr& f) {
        effect->SetSettings(SettingsEffectCustom([](FramePtr& g) { g->Fill(Color(9, 9, 9)); }));
        f->Fill(Color(7, 7, 7));
    }));
    effect->ProcessData(frame);
    EXPECT_EQ(Bytes(*frame)[0], 7);
    effect->ProcessData(frame);
    EXPECT_EQ(Bytes(*frame)[0], 9);

    effect->SetSettings(SettingsEffectCustom([](FramePtr&) { Throw("no"); }));
    EXPECT_THROW(effect->ProcessData(frame), EffectException);
    EXPECT_EQ(Count(*effect), "3");
}

TEST(CreateVideo, MakesAPlainPictureWithAlphaOnlyForColoursThatAreNotOpaque) {
    for (const auto& [color, pixFmt] :
         {std::pair{Color(10, 20, 30, 255), PixFmt::Bgr24}, {Color(10, 20, 30, 254), PixFmt::Bgra}}) {
        SettingsEffectCreateVideo settings;
        settings.SetWidth(13);
        settings.SetHeight(4);
        settings.SetColor(color);
        FramePtr input = MakeFrame(PixFmt::Gray8, 2, 2);
        input->SetTimestamp(5);
        input->SetDuration(6);
        const FramePtr created = Apply(settings, input);
        EXPECT_TRUE(SameFrames(created, MakeFrame(pixFmt, 13, 4, color)));
        EXPECT_EQ(created->GetFrameInfo().aspect, (Conf::Rational{1, 1}));
        EXPECT_EQ(created->GetTimestamp(), 5) << "the base keeps the input's timing";
        EXPECT_EQ(created->GetDuration(), 6);
    }
}

TEST(CreateVideo, RefusesSizesThatNoFrameCanHave) {
    for (const auto& [width, height] : {std::pair{0, 4}, {4, 0}, {-1, 4}, {4, 200000}}) {
        SettingsEffectCreateVideo settings;
        settings.SetWidth(width);
        settings.SetHeight(height);
        EXPECT_THROW(Apply(settings, MakeFrame(PixFmt::Gray8, 2, 2)), EffectException) << width << 'x' << height;
    }
}

}  // namespace
}  // namespace Orvexa::Test
