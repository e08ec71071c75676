// What every effect of the module and every sub-effect of the host promises, whatever it does to a picture. New ones
// are found by themselves.

#include <gtest/gtest.h>

#include <map>

#include "Host/Settings/Common/SettingsEffectAlpha.h"
#include "Host/Settings/Common/SettingsEffectDrawContours.h"
#include "Host/Settings/Common/SettingsEffectDrawShape.h"
#include "Host/Settings/Common/SettingsEffectImageBlender.h"
#include "Host/Settings/Common/SettingsEffectRemapping.h"
#include "Host/Settings/Common/SettingsEffectVideoGenerator.h"
#include "Host/Settings/Photo/SettingsEffectAutoGlareRemove.h"
#include "Host/Settings/Photo/SettingsEffectBlendPalette.h"
#include "Host/Settings/Photo/SettingsEffectBlurBokeh.h"
#include "Host/Settings/Photo/SettingsEffectCustom.h"
#include "Host/Settings/Photo/SettingsEffectDeepEnhancer.h"
#include "Host/Settings/Photo/SettingsEffectDirectionalAreaDeformation.h"
#include "Host/Settings/Photo/SettingsEffectFaceMask.h"
#include "Host/Settings/Photo/SettingsEffectFaceRecognitionTrainer.h"
#include "Host/Settings/Photo/SettingsEffectMatting.h"
#include "Host/Settings/Photo/SettingsEffectPixelate.h"
#include "Tests/Proc/Faces.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/Logs.h"
#include "Tests/Support/Paths.h"

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

// Settings that make a run on pictures of this size quick, and its result another picture, where the defaults do not.
std::unique_ptr<Settings> SettingsFor(const std::string& classId, std::uint32_t width = 97, std::uint32_t height = 61) {
    const auto number = [](std::uint32_t value) { return std::to_string(value); };
    const std::string face = TextCodec<Face>::Format(MakeFace(width, height)),
                      models = SourcePath("Tests/Support/Models");
    const std::map<std::string, std::map<std::string, std::string>> changes = {
        {"SettingsEffectBalanceLuma", {{"shadows", "50"}}},
        {"SettingsEffectColorBalanceAuto", {{"whiteBalance", "true"}, {"exposure", "5"}}},
        {"SettingsEffectCreateVideo", {{"width", "20"}, {"height", "10"}}},
        {"SettingsEffectDeepNeuralFragmentor", {{"modelsRoot", models}, {"modelId", "1"}}},
        {"SettingsEffectDeepNeuralProcessor", {{"modelsRoot", models}, {"modelId", "1"}}},
        {"SettingsEffectDirectionalAreaDeformation",
         {{"fromX", "0"}, {"fromY", number(height / 2)}, {"toX", number(width)}, {"toY", number(height / 2)}}},
        {"SettingsEffectAutoGlareRemove", {{"face", face}}},
        {"SettingsEffectDrawFace", {{"faces", "[" + face + "]"}}},
        {"SettingsEffectEyeExtending", {{"eyes", face}}},
        {"SettingsEffectFaceMask", {{"face", face}}},
        {"SettingsEffectFaceRecognition", {{"faceRect", "[0,0," + number(width) + "," + number(height) + "]"}}},
        {"SettingsEffectFaceRecognitionTrainer", {{"face", face}}},
        {"SettingsEffectFaceThinning", {{"outline", face}}},
        {"SettingsEffectStitcher",  // two patches side by side
         {{"overlapX", number(width / 3)},
          {"overlapY", "0"},
          {"frameWidth", number(2 * width - width / 3)},
          {"frameHeight", number(height)}}},
        {"SettingsEffectTintTemperature", {{"temperature", "30"}}},
        {"SettingsEffectWhiteBalance", {{"color", "#c8b496"}}},
        {"SettingsColorspaceConverter", {{"pixFmts", "4"}}},
        {"SettingsEffectExtraAlphaExtractor", {{"pixelFormat", "0"}}},
        {"SettingsEffectPad", {{"margins", "1,2,3,4"}}},
        {"SettingsResizer", {{"customScale", "0.5"}}},
        {"SettingsEffectBlur", {{"devX", "2"}}},
        {"SettingsEffectColorBalance", {{"gamma", "30"}}},
        {"SettingsEffectCrop", {{"width", "50%"}}},
        {"SettingsEffectEdgeRemove", {{"toX", number(width)}, {"toY", number(height)}}},
        {"SettingsEffectResize", {{"scale", "0.5"}}},
        {"SettingsEffectRotate", {{"angle", "30"}}},
        {"SettingsEffectVibrance", {{"strength", "60"}}},
    };
    std::unique_ptr<Settings> settings = SettingsCatalogue::Find(classId)->create();
    if (const auto found = changes.find(classId); found != changes.end()) {
        for (const auto& [key, value] : found->second) SetField(*settings, key, value);
    }
    if (auto* custom = dynamic_cast<SettingsEffectCustom*>(settings.get())) custom->SetFunctor([](FramePtr&) {});
    if (auto* remap = dynamic_cast<SettingsEffectRemapping*>(settings.get())) {
        *remap = SettingsEffectRemapping(
            [](int x, int y) { return std::pair(static_cast<float>(x) + 1.5f, static_cast<float>(y)); });
    }
    return settings;
}

// Pushes add up from run to run, and what a picture chose holds for the next one.
bool RemembersRuns(const std::string& classId) {
    return classId == SettingsEffectDirectionalAreaDeformation::CLASS_ID ||
           classId == SettingsEffectDeepEnhancer::CLASS_ID;
}

// A brush that is reset pushes nothing, and does not start to because of its default strength.
bool ResetsToSettingsOfItsOwn(const std::string& classId) {
    return classId == SettingsEffectDirectionalAreaDeformation::CLASS_ID;
}

// Layers, contours and shapes are drawn into the picture that is given.
bool WritesThrough(const std::string& classId) {
    return classId == SettingsEffectImageBlender::CLASS_ID || classId == SettingsEffectDrawContours::CLASS_ID ||
           classId == SettingsEffectDrawShape::CLASS_ID;
}

// Makes pictures out of nothing, with a timing of its own.
bool Generates(const std::string& classId) { return classId == SettingsEffectVideoGenerator::CLASS_ID; }

// Whether an effect cannot take a picture of this format and width together with itself.
bool Refuses(const Registration& effect, PixFmt pixFmt, std::uint32_t width) {
    const std::string& classId = effect.classId;
    if (classId == SettingsEffectExtraAlphaExtractor::CLASS_ID) return pixFmt != PixFmt::Gray8;
    if (classId == SettingsEffectBlurBokeh::CLASS_ID) return width == 1;  // no larger than the blur's kernel
    if (classId == SettingsEffectMatting::CLASS_ID) return width == 1;    // no trimap has both regions
    if (classId == SettingsEffectFaceMask::CLASS_ID || classId == SettingsEffectAutoGlareRemove::CLASS_ID)
        return width == 1;  // all of the face is eyes and mouth
    if (classId == SettingsEffectFaceRecognitionTrainer::CLASS_ID) return width == 1;  // and they are at one place
    if (classId == SettingsEffectBlendPalette::CLASS_ID)
        return PixFmtDescription::Get(pixFmt).kind != PixFmtDescription::Kind::Packed;
    return false;
}

// Background on the left, foreground on the right, and unknown pixels between.
FramePtr MakeTrimap(const FrameInfo& info) {
    std::vector<int> levels;
    for (std::uint32_t y = 0; y < info.height; ++y) {
        for (std::uint32_t x = 0; x < info.width; ++x)
            levels.push_back(x < info.width / 3 ? 0 : x < 2 * info.width / 3 ? 128 : 255);
    }
    return MakeFrame(PixFmt::Gray8, info.width, info.height, levels);
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
            const bool needsTrimap = effect.GetSettingsBase().GetClassId() == SettingsEffectMatting::CLASS_ID;
            std::vector<DataPtr> frames{input, needsTrimap ? MakeTrimap(input->GetFrameInfo()) : input};
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
    bool IsOfTheModule() const { return GetParam().implName == ImplNames::ORVEXA; }
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
    EXPECT_TRUE(!IsOfTheModule() || !SettingsCatalogue::Find(Id())->effect.empty());
}

TEST_P(EveryEffect, RefusesForeignSettingsAndKeepsItsOwn) {
    const auto effect = Configured();
    const std::string before = FormatSettings(effect->GetSettingsBase());
    EXPECT_THROW(effect->SetSettings(ForeignSettings()), std::bad_cast);
    EXPECT_EQ(FormatSettings(effect->GetSettingsBase()), before);
}

TEST_P(EveryEffect, RefusesMissingFrames) {
    if (Generates(Id())) return;
    const auto effect = Configured();
    FramePtr none, frame = MakeFrame(PixFmt::Gray8, 97, 61);
    std::vector<DataPtr> missing{frame, nullptr}, empty;
    const auto expectRefusal = [](const std::function<void()>& call) {
        EXPECT_EQ(MessageOf(call), "There is no frame to process!");
    };
    if (auto* one = dynamic_cast<IOneInputEffectVideo*>(effect.get())) {
        expectRefusal([&] { one->ProcessData(none); });
    } else if (auto* two = dynamic_cast<ITwoInputEffectVideo*>(effect.get())) {
        expectRefusal([&] { two->ProcessData(none, ConstFramePtr(frame)); });
        expectRefusal([&] { two->ProcessData(frame, ConstFramePtr()); });
    } else {
        expectRefusal([&] { dynamic_cast<IVarInputEffectVideo&>(*effect).Process(missing); });
        expectRefusal([&] { dynamic_cast<IVarInputEffectVideo&>(*effect).Process(empty); });
    }
}

TEST_P(EveryEffect, CountsItsRuns) {
    const auto effect = Configured();
    const PixFmt pixFmt = Refuses(GetParam(), PixFmt::Rgb24, 97) ? PixFmt::Gray8 : PixFmt::Rgb24;
    const bool isDone = !RunEffect(*effect, MakeFrame(pixFmt, 97, 61)).empty();
    EXPECT_EQ(isDone, !Refuses(GetParam(), pixFmt, 97));
    const char* const interfaces[] = {"IOneInputEffectVideo", "ITwoInputEffectVideo", "IVarInputEffectVideo"};
    const std::string name = Id() + "_" + GetParam().implName;
    const Core::Property statistics = effect->GetStatistic();
    EXPECT_EQ(statistics.GetName(), IsOfTheModule() ? std::string("Orvexa::Proc::EffectBase<class Orvexa::Proc::") +
                                                          interfaces[static_cast<int>(GetParam().kind)] +
                                                          ",class Orvexa::Proc::" + Id() + ">::GetStatistic"
                                                    : name);
    EXPECT_EQ(statistics.FindChild("total")->GetValue(), "0");
    EXPECT_EQ(statistics.FindChild("count")->GetValue(), isDone ? "1" : "0");
    EXPECT_EQ(statistics.FindChild(Core::PerformanceTimer::IMPL_NAME)->GetValue(), name);
}

TEST_P(EveryEffect, LogsItsRunsWhenItIsOfTheModule) {
    const auto effect = Configured();
    const FramePtr input = MakeFrame(PixFmt::Rgb24, 97, 61);
    const LogCapture quiet(29);
    RunEffect(*effect, input);
    // One effect tells its scale at all times.
    EXPECT_EQ(quiet.GetLines().size(), Id() == SettingsEffectPixelate::CLASS_ID ? 1u : 0u);
    if (!IsOfTheModule()) return;

    const LogCapture log(30);
    const bool isDone = !RunEffect(*effect, input).empty();
    const char* const places[][2] = {{"111", "125"}, {"143", "153"}, {"171", "181"}};
    const auto line = [&](int event, const char* text) {
        return "Proc/Effects/EffectsPhoto/EffectBase.h:" +
               std::string(places[static_cast<int>(GetParam().kind)][event]) + " " + Id() + "_Orvexa" + text;
    };
    ASSERT_FALSE(log.GetLines().empty());
    EXPECT_EQ(log.GetLines().front(), line(0, " starts"));
    EXPECT_EQ(log.GetLines().back() == line(1, " done"), isDone) << log.GetLines().back();
}

TEST_P(EveryEffect, KeepsTheTimingAndAspectOfOneFrame) {
    if (GetParam().kind != EffectKind::OneInput || Generates(Id())) return;
    const PixFmt pixFmt = Refuses(GetParam(), PixFmt::Rgba, 97) ? PixFmt::Gray8 : PixFmt::Rgba;
    FramePtr input = NewFrame(TestAllocator(), pixFmt, FrameInfo(97, 61, {4, 3}));
    CopyDataVideo(MakeFrame(pixFmt, 97, 61), input, 0, 0);
    input->SetTimestamp(123);
    input->SetDuration(456);
    const auto results = RunEffect(*Configured(), input);
    ASSERT_FALSE(results.empty());
    for (const ConstFramePtr& result : results) {
        EXPECT_EQ(result->GetTimestamp(), 123);
        EXPECT_EQ(result->GetDuration(), 456);
        // Pictures of another size are the effect's own.
        if (result->GetFrameInfo().width == 97 || !IsOfTheModule()) {
            EXPECT_EQ(result->GetFrameInfo().aspect, Conf::Rational(4, 3));
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
            EXPECT_EQ(first.empty(), Refuses(GetParam(), pixFmt, width))
                << Name(pixFmt) << ' ' << width << 'x' << height;
            ASSERT_EQ(first.size(), second.size());
            ASSERT_EQ(first.size(), fresh.size());
            for (std::size_t i = 0; i < first.size(); ++i) {
                if (!RemembersRuns(Id()) && !WritesThrough(Id())) {
                    EXPECT_TRUE(SameFrames(second[i], first[i])) << Name(pixFmt) << ' ' << width << 'x' << height;
                }
                if (!WritesThrough(Id())) {
                    EXPECT_TRUE(SameFrames(fresh[i], first[i])) << Name(pixFmt) << ' ' << width << 'x' << height;
                }
            }
            if (!WritesThrough(Id())) {
                EXPECT_EQ(Bytes(*guarded.GetFrame()), before) << Name(pixFmt) << ' ' << width << 'x' << height;
            }
            EXPECT_TRUE(guarded.IsGuardIntact()) << Name(pixFmt) << ' ' << width << 'x' << height;
        }
    }
}

TEST_P(EveryEffect, LeavesTheSameWhoeverElseHoldsTheFrame) {
    if (GetParam().kind != EffectKind::OneInput || !IsOfTheModule()) return;
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

INSTANTIATE_TEST_SUITE_P(All, EveryEffect, testing::ValuesIn(ModuleFactory()->GetRegistrations()),
                         [](const auto& test) {
                             return test.param.classId +
                                    (test.param.implName == ImplNames::ORVEXA ? "" : "_" + test.param.implName);
                         });

}  // namespace
}  // namespace Orvexa::Test
