// What all of the host's sub-effects have in common.

#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsColorspaceConverter.h"
#include "Host/Settings/Common/SettingsEffectAlpha.h"
#include "Host/Settings/Common/SettingsEffectImageBlender.h"
#include "Host/Settings/Common/SettingsEffectPad.h"
#include "Host/Settings/Common/SettingsResizer.h"
#include "Tests/Host/Effects/HostEffects.h"

namespace Orvexa::Test {
namespace {

class ForeignSettings final : public Settings {
    ORVEXA_SETTINGS(ForeignSettings, "", "Test", "Belongs to no effect.")
};

// Settings that replace an RGBA frame.
std::vector<std::unique_ptr<Settings>> ReplacingSettings() {
    SettingsResizer half;
    half.SetCustomScale(0.5);
    std::vector<std::unique_ptr<Settings>> all;
    all.push_back(SettingsColorspaceConverter(PixFmt::Yuv420p, true).Copy());
    all.push_back(SettingsEffectPad({1, 2, 3, 4}, PadMode::Mirror, Color()).Copy());
    all.push_back(SettingsEffectAlphaExtractor().Copy());
    all.push_back(half.Copy());
    return all;
}

std::string CountOf(const IEffect& effect) { return effect.GetStatistic().FindChild("count")->GetValue(); }

TEST(HostEffects, EveryRowMakesAnEffectOfItsOwnSettings) {
    for (const Registration& row : HostFactory()->GetRegistrations()) {
        boost::intrusive_ptr<IEffect> effect;
        if (row.kind == EffectKind::OneInput) {
            OneInputPtr created;
            HostFactory()->CreateOneInputEffect(created, row.classId, ImplNames::DEFAULT, {});
            effect = std::move(created);
        } else {
            TwoInputPtr created;
            HostFactory()->CreateTwoInputEffect(created, row.classId, ImplNames::DEFAULT, {});
            effect = std::move(created);
        }
        EXPECT_EQ(effect->GetRefCount(), 1u) << row.classId;
        EXPECT_EQ(effect->GetSettingsBase().GetClassId(), row.classId);
        EXPECT_THROW(effect->SetSettings(ForeignSettings()), std::bad_cast) << row.classId;
        EXPECT_EQ(CountOf(*effect), "0") << row.classId;
        EXPECT_EQ(effect->GetStatistic().GetName(), row.classId + "_" + row.implName);
    }
}

TEST(HostEffects, ReplacedFramesKeepTheirTimingAndAspectAndLeaveTheInputAlone) {
    for (const auto& settings : ReplacingSettings()) {
        const FramePtr input = NewFrame(TestAllocator(), PixFmt::Rgba, FrameInfo(8, 6, {4, 3}));
        input->Fill(Color(10, 20, 30, 40));
        input->SetTimestamp(123);
        input->SetDuration(456);
        const auto before = Bytes(*input);
        const FramePtr view = CloneFrame(*input, kCloneView);
        const FramePtr output = RunHost(*settings, view);
        EXPECT_NE(output, view) << settings->GetClassId();
        EXPECT_EQ(output->GetTimestamp(), 123) << settings->GetClassId();
        EXPECT_EQ(output->GetDuration(), 456) << settings->GetClassId();
        EXPECT_EQ(output->GetFrameInfo().aspect, Conf::Rational(4, 3)) << settings->GetClassId();
        EXPECT_EQ(Bytes(*input), before) << settings->GetClassId();
    }
}

TEST(HostEffects, StatisticsCountTheFramesAndResetRestoresDefaults) {
    const OneInputPtr resizer = CreateOneInput(*ReplacingSettings().back());
    for (int i = 0; i < 3; ++i) {
        FramePtr frame = MakeFrame(PixFmt::Gray8, 4, 4);
        resizer->ProcessData(frame);
    }
    EXPECT_EQ(CountOf(*resizer), "3");
    resizer->ResetSettings();
    EXPECT_EQ(dynamic_cast<const SettingsResizer&>(resizer->GetSettingsBase()), SettingsResizer());
}

TEST(HostEffects, MissingFramesAreRefusedAndAFailureLeavesTheFrame) {
    for (const auto& settings : ReplacingSettings())
        EXPECT_THROW(RunHost(*settings, FramePtr()), EffectException) << settings->GetClassId();
    const FramePtr frame = MakeFrame(PixFmt::Rgba, 3, 3);
    EXPECT_THROW(RunHost(SettingsEffectImageBlender(), frame, {}), EffectException);
    EXPECT_THROW(RunHost(SettingsEffectImageBlender(), {}, frame), EffectException);

    FramePtr kept = frame;
    EXPECT_THROW(CreateOneInput(SettingsColorspaceConverter(PixFmt::None, true))->ProcessData(kept), EffectException);
    EXPECT_EQ(kept, frame);
}

}  // namespace
}  // namespace Orvexa::Test
