// What every effect of the module promises, whatever it does to a picture. New effects are found by themselves.

#include <gtest/gtest.h>

#include "Host/Core/Exception.h"
#include "Host/Settings/Photo/SettingsEffectBlendPalette.h"
#include "Host/Settings/Photo/SettingsEffectBlurBokeh.h"
#include "Host/Settings/Photo/SettingsEffectCreateVideo.h"
#include "Host/Settings/Photo/SettingsEffectCustom.h"
#include "Host/Settings/Photo/SettingsEffectDirectionalAreaDeformation.h"
#include "Host/Settings/Photo/SettingsEffectPixelate.h"
#include "Host/Settings/Photo/SettingsEffectStitcher.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/Logs.h"

namespace Orvexa::Test {
namespace {

// Settings of no effect.
class ForeignSettings final : public Settings {
    ORVEXA_SETTINGS(ForeignSettings, "", "Test", "Belongs to nothing.")
};

boost::intrusive_ptr<IEffect> Create(const Registration& registration) {
    OneInputPtr one;
    TwoInputPtr two;
    VarInputPtr var;
    switch (registration.kind) {
        case EffectKind::OneInput:
            ModuleFactory()->CreateOneInputEffect(one, registration.classId, registration.implName, {});
            return one;
        case EffectKind::TwoInput:
            ModuleFactory()->CreateTwoInputEffect(two, registration.classId, registration.implName, {});
            return two;
        case EffectKind::VarInput:
            ModuleFactory()->CreateVarInputEffect(var, registration.classId, registration.implName, {});
            return var;
    }
    return {};
}

// Settings that make a run on pictures of this size quick and meaningful, for the few effects whose defaults do not.
std::unique_ptr<Settings> SettingsFor(const std::string& classId, std::uint32_t width = 97, std::uint32_t height = 61) {
    std::unique_ptr<Settings> settings = SettingsCatalogue::Find(classId)->create();
    if (auto* custom = dynamic_cast<SettingsEffectCustom*>(settings.get())) custom->SetFunctor([](FramePtr&) {});
    if (auto* create = dynamic_cast<SettingsEffectCreateVideo*>(settings.get())) {
        create->SetWidth(20);
        create->SetHeight(10);
    }
    if (auto* push = dynamic_cast<SettingsEffectDirectionalAreaDeformation*>(settings.get())) {
        push->SetFromX(0);
        push->SetFromY(static_cast<std::int32_t>(height / 2));
        push->SetToX(static_cast<std::int32_t>(width));
        push->SetToY(static_cast<std::int32_t>(height / 2));
        push->SetSize(60);
    }
    if (auto* stitch = dynamic_cast<SettingsEffectStitcher*>(settings.get())) {  // two patches side by side
        stitch->SetOverlapX(width / 3);
        stitch->SetOverlapY(0);
        stitch->SetFrameWidth(2 * width - width / 3);
        stitch->SetFrameHeight(height);
    }
    return settings;
}

// Pushes add up from run to run.
bool RemembersRuns(const std::string& classId) { return classId == SettingsEffectDirectionalAreaDeformation::CLASS_ID; }

// A brush that is reset pushes nothing, and does not start to because of its default strength.
bool ResetsToSettingsOfItsOwn(const std::string& classId) {
    return classId == SettingsEffectDirectionalAreaDeformation::CLASS_ID;
}

// Whether an effect cannot take a picture of this format and width together with itself.
bool Refuses(const std::string& classId, PixFmt pixFmt, std::uint32_t width) {
    if (classId == SettingsEffectBlurBokeh::CLASS_ID) return width == 1;  // no larger than the blur's kernel
    if (classId == SettingsEffectBlendPalette::CLASS_ID)
        return PixFmtDescription::Get(pixFmt).kind != PixFmtDescription::Kind::Packed;
    return false;
}

// The frames that one run leaves; none when the effect refuses the input with an exception of its own.
std::vector<ConstFramePtr> RunEffect(IEffect& effect, const FramePtr& input) {
    std::vector<ConstFramePtr> results;
    try {
        if (auto* one = dynamic_cast<IOneInputEffectVideo*>(&effect)) {
            FramePtr frame = input;
            one->ProcessData(frame);
            results.push_back(frame);
        } else if (auto* two = dynamic_cast<ITwoInputEffectVideo*>(&effect)) {
            FramePtr frame = input;
            // Indices of a palette, or seeds of a segmentation.
            two->ProcessData(frame, ConstFramePtr(MakeFrame(PixFmt::Gray8, input->GetFrameInfo().width,
                                                            input->GetFrameInfo().height)));
            results.push_back(frame);
        } else {
            std::vector<DataPtr> frames{input, input};
            const DataPtr result = dynamic_cast<IVarInputEffectVideo&>(effect).Process(frames);
            if (result != nullptr) frames.assign(1, result);
            for (const DataPtr& data : frames) results.push_back(boost::dynamic_pointer_cast<IDataVideo>(data));
        }
    } catch (const EffectException&) {
    }
    return results;
}

class EveryEffect : public testing::TestWithParam<Registration> {
protected:
    const std::string& Id() const { return GetParam().classId; }
    boost::intrusive_ptr<IEffect> Configured(std::uint32_t width = 97, std::uint32_t height = 61) const {
        auto effect = Create(GetParam());
        effect->SetSettings(*SettingsFor(Id(), width, height));
        return effect;
    }
};

TEST_P(EveryEffect, HasOneHolderWhenCreatedAndTheSettingsOfItsClass) {
    const auto effect = Create(GetParam());
    EXPECT_EQ(effect->GetRefCount(), 1u);
    EXPECT_EQ(effect->GetSettingsBase().GetClassId(), Id());
    // Resetting twice is resetting once, whatever an effect resets to.
    effect->SetSettings(*SettingsFor(Id()));
    effect->ResetSettings();
    const std::string reset = FormatSettings(effect->GetSettingsBase());
    effect->ResetSettings();
    EXPECT_EQ(FormatSettings(effect->GetSettingsBase()), reset);
    const std::string defaults = FormatSettings(Create(GetParam())->GetSettingsBase());
    EXPECT_EQ(reset == defaults, !ResetsToSettingsOfItsOwn(Id())) << reset;
    EXPECT_EQ(effect->GetProperties().GetName(), "");
    EXPECT_FALSE(effect->QueryCapability());
    EXPECT_FALSE(SettingsCatalogue::Find(Id())->effect.empty());
}

TEST_P(EveryEffect, RefusesForeignSettingsAndKeepsItsOwn) {
    const auto effect = Configured();
    const std::string before = FormatSettings(effect->GetSettingsBase());
    EXPECT_THROW(effect->SetSettings(ForeignSettings()), std::bad_cast);
    EXPECT_EQ(FormatSettings(effect->GetSettingsBase()), before);
}

TEST_P(EveryEffect, CountsAndLogsItsRuns) {
    const auto effect = Configured();
    const FramePtr input = MakeFrame(PixFmt::Rgb24, 97, 61);
    {
        const LogCapture log(29);
        RunEffect(*effect, input);
        // One effect tells its scale at all times.
        EXPECT_EQ(log.GetLines().size(), Id() == SettingsEffectPixelate::CLASS_ID ? 1u : 0u);
    }
    const LogCapture log(30);
    const bool isDone = !RunEffect(*effect, input).empty();
    EXPECT_EQ(isDone, !Refuses(Id(), PixFmt::Rgb24, 97));
    ASSERT_FALSE(log.GetLines().empty());
    EXPECT_TRUE(log.GetLines().front().ends_with(Id() + "_Orvexa starts")) << log.GetLines().front();
    if (isDone) {
        EXPECT_TRUE(log.GetLines().back().ends_with(Id() + "_Orvexa done")) << log.GetLines().back();
    }
    const Core::Property statistics = effect->GetStatistic();
    EXPECT_NE(statistics.GetName().find("class Orvexa::Proc::" + SettingsFor(Id())->GetClassId() + ">"),
              std::string::npos);
    EXPECT_EQ(statistics.FindChild("total")->GetValue(), "0");
    EXPECT_EQ(statistics.FindChild("count")->GetValue(), isDone ? "2" : "0");
    EXPECT_EQ(statistics.FindChild(Core::PerformanceTimer::IMPL_NAME)->GetValue(), Id() + "_Orvexa");
}

TEST_P(EveryEffect, KeepsTheTimingAndAspectOfOneFrame) {
    if (GetParam().kind != EffectKind::OneInput) return;
    FramePtr input = NewFrame(TestAllocator(), PixFmt::Rgb24, FrameInfo(97, 61, {4, 3}));
    CopyDataVideo(MakeFrame(PixFmt::Rgb24, 97, 61), input, 0, 0);
    input->SetTimestamp(123);
    input->SetDuration(456);
    const auto results = RunEffect(*Configured(), input);
    ASSERT_FALSE(results.empty());
    for (const ConstFramePtr& result : results) {
        EXPECT_EQ(result->GetTimestamp(), 123);
        EXPECT_EQ(result->GetDuration(), 456);
        // Pictures of another size are the effect's own.
        if (result->GetFrameInfo().width == 97) {
            EXPECT_EQ(result->GetFrameInfo(), FrameInfo(97, 61, {4, 3}));
        }
    }
}

TEST_P(EveryEffect, GivesTheSameBytesForTheSameInputAndLeavesTheCallersPixelsAlone) {
    for (const PixFmt pixFmt :
         {PixFmt::Rgb24, PixFmt::Bgr24, PixFmt::Rgba, PixFmt::Gray8, PixFmt::Yuv420p, PixFmt::Yuva444p}) {
        for (const auto& [width, height] : kSizes) {
            // The caller keeps a reference to a view with unaligned rows between bytes that belong to others.
            const GuardedFrame guarded(pixFmt, width, height);
            const std::vector<std::uint8_t> before = Bytes(*guarded.GetFrame());
            const auto effect = Configured(width, height);
            const auto first = RunEffect(*effect, guarded.GetFrame());
            const auto second = RunEffect(*effect, guarded.GetFrame());
            const auto fresh = RunEffect(*Configured(width, height), guarded.GetFrame());
            EXPECT_EQ(first.empty(), Refuses(Id(), pixFmt, width)) << Name(pixFmt) << ' ' << width << 'x' << height;
            ASSERT_EQ(first.size(), second.size());
            ASSERT_EQ(first.size(), fresh.size());
            for (std::size_t i = 0; i < first.size(); ++i) {
                if (!RemembersRuns(Id())) {
                    EXPECT_TRUE(SameFrames(second[i], first[i])) << Name(pixFmt) << ' ' << width << 'x' << height;
                }
                EXPECT_TRUE(SameFrames(fresh[i], first[i])) << Name(pixFmt) << ' ' << width << 'x' << height;
            }
            EXPECT_EQ(Bytes(*guarded.GetFrame()), before) << Name(pixFmt) << ' ' << width << 'x' << height;
            EXPECT_TRUE(guarded.IsGuardIntact()) << Name(pixFmt) << ' ' << width << 'x' << height;
        }
    }
}

TEST_P(EveryEffect, LeavesTheSameWhoeverElseHoldsTheFrame) {
    if (GetParam().kind != EffectKind::OneInput) return;
    const FramePtr mask = MakeFrame(PixFmt::Gray8, 97, 61);
    for (const PixFmt pixFmt : {PixFmt::Rgb24, PixFmt::Yuv444p, PixFmt::Yuva420p, PixFmt::Rgba}) {
        FramePtr alone = MakeFrame(pixFmt, 97, 61), held = MakeFrame(pixFmt, 97, 61);
        for (const FramePtr& frame : {alone, held}) frame->SetExtraAlpha(0, std::as_const(*mask).GetPlane(0));
        const FramePtr holder = held;
        for (FramePtr* frame : {&alone, &held}) dynamic_cast<IOneInputEffectVideo&>(*Configured()).ProcessData(*frame);
        EXPECT_TRUE(SameFrames(held, alone)) << Name(pixFmt);
        EXPECT_EQ(held->GetExtraAlpha(0).has_value(), alone->GetExtraAlpha(0).has_value()) << Name(pixFmt);
        EXPECT_FALSE(holder->GetExtraAlpha(1).has_value())
            << Name(pixFmt) << ": the caller's frame carries what it did before";
    }
}

std::vector<Registration> ModuleRegistrations() {
    std::vector<Registration> registrations = ModuleFactory()->GetRegistrations();
    std::erase_if(registrations, [](const Registration& r) { return r.implName != ImplNames::ORVEXA; });
    return registrations;
}
INSTANTIATE_TEST_SUITE_P(Module, EveryEffect, testing::ValuesIn(ModuleRegistrations()),
                         [](const auto& test) { return test.param.classId; });

}  // namespace
}  // namespace Orvexa::Test
