// The template bases, through effects that live in this file.

#include "Proc/Effects/EffectsPhoto/EffectBase.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Host/Core/Exception.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/Logs.h"

namespace Orvexa::Test {

using testing::ElementsAre;

class SettingsEffectProbe final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectProbe, "", "Test", "Asks for one thing or for nothing.")
    ORVEXA_EQUALITY(SettingsEffectProbe)
    ORVEXA_FIELD(int, Level, 1, Any(), "", "0 asks for nothing.")
    bool IsEmpty() const override { return GetLevel() == 0; }
};

class SettingsEffectProbeWithoutEquality final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectProbeWithoutEquality, "", "Test", "Cannot be compared.")
    ORVEXA_FIELD(int, Level, 1, Any(), "", "A level.")
};

namespace {

// Counts its resets; the algorithm is a function that a test sets.
template <class Base>
class Probe : public Base {
public:
    using Base::Base;
    using Base::SetSettings;
    void ResetSettings() override {
        ++resets;
        Base::ResetSettings();
    }
    int resets = 0;
};

class OneInputProbe : public Probe<EffectBaseOneInput<SettingsEffectProbe>> {
public:
    using Probe::Probe;
    std::function<void(FramePtr&)> algorithm;

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        if (algorithm) algorithm(frame);
    }
};

class TwoInputProbe : public Probe<EffectBaseTwoInput<SettingsEffectProbe>> {
public:
    using Probe::Probe;

private:
    void ProcessInternalImpl(FramePtr& frame, const ConstFramePtr& second) override {
        CopyDataVideo(second, frame, 0, 0);
    }
};

class VarInputProbe : public Probe<EffectBaseVarInput<SettingsEffectProbe>> {
public:
    using Probe::Probe;

private:
    DataPtr ProcessInternalImpl(std::vector<DataPtr>& frames) override { return frames.back(); }
};

class IncomparableProbe : public Probe<EffectBaseOneInput<SettingsEffectProbeWithoutEquality>> {
public:
    using Probe::Probe;

private:
    void ProcessInternalImpl(FramePtr&) override {}
};

template <class Effect>
auto Make() {
    return Core::MakeRefCounted<Effect>(ModuleFactory(), TestAllocator());
}

SettingsEffectProbe Level(int level) {
    SettingsEffectProbe settings;
    settings.SetLevel(level);
    return settings;
}

TEST(EffectBase, ResetsOnlyForSettingsThatDiffer) {
    const auto effect = Make<OneInputProbe>();
    effect->SetSettings(Level(1));
    EXPECT_EQ(effect->resets, 0) << "equal to the defaults";
    effect->SetSettings(static_cast<const Settings&>(Level(2)));
    EXPECT_EQ(effect->resets, 1);
    effect->SetSettings(Level(2));
    EXPECT_EQ(effect->resets, 1);
    EXPECT_EQ(dynamic_cast<const SettingsEffectProbe&>(effect->GetSettingsBase()).GetLevel(), 2);
    effect->SetSettings(effect->GetSettingsBase());
    EXPECT_EQ(effect->resets, 1);

    const auto incomparable = Make<IncomparableProbe>();
    SettingsEffectProbeWithoutEquality settings;
    settings.SetLevel(7);
    incomparable->SetSettings(settings);
    incomparable->SetSettings(incomparable->GetSettingsBase());
    EXPECT_EQ(incomparable->resets, 2) << "settings without equality always count as new";
    EXPECT_EQ(dynamic_cast<const SettingsEffectProbeWithoutEquality&>(incomparable->GetSettingsBase()).GetLevel(), 7);
}

TEST(EffectBase, LogsAtItsOwnLineThatThereIsNothingToDo) {
    const std::string file = "Proc/Effects/EffectsPhoto/EffectBase.h:", name = " SettingsEffectProbe_Orvexa";
    const auto one = Make<OneInputProbe>();
    const auto two = Make<TwoInputProbe>();
    const auto var = Make<VarInputProbe>();
    FramePtr frame = MakeFrame(PixFmt::Gray8, 2, 2);
    std::vector<DataPtr> frames{frame};
    one->SetSettings(Level(0));
    two->SetSettings(Level(0));
    var->SetSettings(Level(0));
    const LogCapture log(31);
    one->ProcessData(frame);
    two->ProcessData(frame, ConstFramePtr(frame));
    EXPECT_EQ(var->Process(frames), nullptr);
    EXPECT_THAT(log.GetLines(), ElementsAre(file + "111" + name + " starts", file + "114" + name + " is empty",
                                            file + "143" + name + " starts", file + "146" + name + " is empty",
                                            file + "171" + name + " starts", file + "174" + name + " is empty"));
    EXPECT_EQ(CountOf(*one), "0") << "calls with empty settings do not count";
}

TEST(EffectBase, LeavesTheFrameWithTheCallerWhenTheAlgorithmFails) {
    const auto effect = Make<OneInputProbe>();
    FramePtr frame = MakeFrame(PixFmt::Gray8, 2, 2);
    IDataVideo* const before = frame.get();
    effect->algorithm = [](FramePtr&) { Throw("broken"); };
    const LogCapture log(30);
    EXPECT_THROW(effect->ProcessData(frame), EffectException);
    EXPECT_EQ(frame.get(), before);
    EXPECT_EQ(frame->GetRefCount(), 1u);
    EXPECT_EQ(CountOf(*effect), "0");
    EXPECT_EQ(log.GetLines().size(), 1u) << "no done line";
}

TEST(EffectBase, LendsTheFrameWithoutASecondHolder) {
    const auto effect = Make<OneInputProbe>();
    FramePtr frame = MakeFrame(PixFmt::Gray8, 2, 2);
    bool isExclusive = false;
    effect->algorithm = [&](FramePtr& f) { isExclusive = IsExclusive(f); };
    effect->ProcessData(frame);
    EXPECT_TRUE(isExclusive) << "so that sub-effects may work in place";
}

TEST(EffectBase, ChecksTheNumberOfFramesInAVector) {
    const auto two = Make<TwoInputProbe>();
    const DataPtr a = MakeFrame(PixFmt::Gray8, 2, 2, Pattern::Ramp),
                  b = MakeFrame(PixFmt::Gray8, 2, 2, Pattern::Checker);
    const LogCapture log(30);
    for (const std::vector<DataPtr>& wrong : {std::vector<DataPtr>{}, {a}, {a, b, a}}) {
        try {
            static_cast<ITwoInputEffect&>(*two).ProcessData(wrong);
            FAIL() << wrong.size();
        } catch (const std::logic_error& error) {
            EXPECT_STREQ(error.what(), "invalid data count");
        }
    }
    EXPECT_TRUE(log.GetLines().empty());
    const DataPtr result = static_cast<ITwoInputEffect&>(*two).ProcessData(std::vector<DataPtr>{a, b});
    EXPECT_EQ(result, a);
    EXPECT_TRUE(SameFrames(boost::dynamic_pointer_cast<IDataVideo>(a), boost::dynamic_pointer_cast<IDataVideo>(b)));
    EXPECT_THROW(static_cast<IOneInputEffect&>(*Make<OneInputProbe>()).ProcessData(std::vector<DataPtr>{a, b}),
                 std::logic_error);
}

// A colour-space effect that notes what it gets.
class CscProbe : public EffectBaseCSCOneInput<SettingsEffectProbe> {
public:
    using EffectBaseCSCOneInput::EffectBaseCSCOneInput;
    using EffectBaseCSCOneInput::Notify;
    using EffectBaseCSCOneInput::ReleaseInput;
    std::vector<PixFmt> formats{PixFmt::Rgb24, PixFmt::Yuv444p};
    bool isConvertBack = true;
    std::function<void(FramePtr&, const ConstFramePtr&)> algorithm = [](FramePtr&, const ConstFramePtr&) {};

private:
    bool IsConvertBack() const override { return isConvertBack; }
    const std::vector<PixFmt>& GetWorkingPixFmts() const override { return formats; }
    void ProcessInternalCSC(FramePtr& frame, const ConstFramePtr& input) override { algorithm(frame, input); }
};

std::vector<std::string> Without(std::vector<std::string> lines, const std::string& word) {
    std::erase_if(lines, [&](const std::string& line) { return line.find(word) != std::string::npos; });
    return lines;
}

TEST(ColourSpaceLayer, SendsSettingsOnlyWhenTheFormatChanges) {
    const auto spy = Core::MakeRefCounted<SpyFactory>();
    const auto effect = Core::MakeRefCounted<CscProbe>(spy, TestAllocator());
    const std::string back = "SettingsColorspaceConverter#1", forward = "SettingsColorspaceConverter#2";
    EXPECT_THAT(spy->TakeTranscript(), ElementsAre("create " + back));
    effect->Notify(1);  // before the first frame there is no forward converter to tell
    EXPECT_THAT(spy->TakeTranscript(), ElementsAre("notify " + back + " 1"));

    FramePtr frame = MakeFrame(PixFmt::Rgba, 4, 4);
    effect->ProcessData(frame);
    EXPECT_EQ(frame->GetPixFmt(), PixFmt::Rgba);
    EXPECT_THAT(spy->TakeTranscript(),
                ElementsAre("create " + forward, "set " + forward + " pixFmts=2,5 accurate=true",
                            "run " + forward + " rgba 4x4 -> rgb24 4x4", "set " + back + " pixFmts=26 accurate=true",
                            "run " + back + " rgb24 4x4 -> rgba 4x4"));
    effect->ProcessData(frame);
    EXPECT_THAT(Without(spy->TakeTranscript(), "run"), ElementsAre()) << "the same format again";
    effect->Notify(2);
    EXPECT_THAT(spy->TakeTranscript(), ElementsAre("notify " + forward + " 2", "notify " + back + " 2"));

    FramePtr listed = MakeFrame(PixFmt::Yuv444p, 4, 4);
    effect->algorithm = [&](FramePtr& f, const ConstFramePtr& input) {
        EXPECT_EQ(f, input) << "a frame in a working format is passed on";
    };
    effect->ProcessData(listed);
    EXPECT_THAT(spy->TakeTranscript(), ElementsAre("set " + forward + " pixFmts=2,5 accurate=true",
                                                   "run " + forward + " yuv444p 4x4 -> yuv444p 4x4"));

    effect->algorithm = [](FramePtr& f, const ConstFramePtr&) { f = MakeFrame(PixFmt::Gray8, 4, 4); };
    effect->ProcessData(listed);
    EXPECT_EQ(listed->GetPixFmt(), PixFmt::Yuv444p) << "a result in a third format comes back, too";
    EXPECT_THAT(Without(spy->TakeTranscript(), "run"), ElementsAre("set " + back + " pixFmts=5 accurate=true"));
}

TEST(ColourSpaceLayer, GivesEveryInputItsOwnFormatBack) {
    const auto effect = Make<CscProbe>();
    effect->formats = {PixFmt::Rgb24};
    for (const PixFmt pixFmt : {PixFmt::Yuv420p, PixFmt::Yuv444p, PixFmt::Rgb24, PixFmt::Yuv420p}) {
        FramePtr frame = MakeFrame(pixFmt, 4, 4);
        effect->ProcessData(frame);
        EXPECT_EQ(frame->GetPixFmt(), pixFmt);
    }
}

TEST(ColourSpaceLayer, KeepsTheWorkingFormatOfEffectsThatDoNotConvertBack) {
    const auto effect = Make<CscProbe>();
    effect->isConvertBack = false;
    FramePtr frame = MakeFrame(PixFmt::Rgba, 4, 4);
    effect->ProcessData(frame);
    EXPECT_EQ(frame->GetPixFmt(), PixFmt::Rgb24);
}

TEST(ColourSpaceLayer, DoesNotConvertForAnEmptyList) {
    const auto spy = Core::MakeRefCounted<SpyFactory>();
    const auto effect = Core::MakeRefCounted<CscProbe>(spy, TestAllocator());
    effect->formats.clear();
    spy->TakeTranscript();
    FramePtr frame = MakeFrame(PixFmt::Rgba, 4, 4);
    effect->ProcessData(frame);
    EXPECT_THAT(spy->TakeTranscript(), ElementsAre());
}

TEST(ColourSpaceLayer, KeepsTheInputUntilItIsReleased) {
    const auto effect = Make<CscProbe>();
    const FramePtr input = MakeFrame(PixFmt::Rgba, 4, 4);
    FramePtr frame = input;
    effect->algorithm = [&](FramePtr& f, const ConstFramePtr& unconverted) {
        EXPECT_EQ(unconverted, input);
        EXPECT_NE(f, input);
        Throw("refused");
    };
    EXPECT_THROW(effect->ProcessData(frame), EffectException);
    EXPECT_EQ(frame, input) << "the caller's own frame is back";
    effect->algorithm = [&](FramePtr& f, const ConstFramePtr& unconverted) {
        effect->ReleaseInput(f);
        EXPECT_EQ(unconverted, nullptr);
    };
    effect->ProcessData(frame);
    EXPECT_EQ(input->GetRefCount(), 1u) << "nobody keeps it";
    FramePtr listed = MakeFrame(PixFmt::Rgb24, 4, 4);
    effect->algorithm = [&](FramePtr& f, const ConstFramePtr& unconverted) {
        effect->ReleaseInput(f);
        EXPECT_EQ(unconverted, f) << "so that Writable still tells the caller's frame";
    };
    effect->ProcessData(listed);
}

TEST(ColourSpaceLayer, LendsACopyOfAFrameThatOthersSeeAndElseTheFrameItself) {
    const auto effect = Make<CscProbe>();
    effect->algorithm = [](FramePtr& f, const ConstFramePtr& input) {
        f = Writable(f, input);
        f->Fill(Color(1, 2, 3));
    };
    FramePtr alone = MakeFrame(PixFmt::Rgb24, 4, 4);
    IDataVideo* const before = alone.get();
    effect->ProcessData(alone);
    EXPECT_EQ(alone.get(), before) << "nobody else can see it: no copy";

    FramePtr kept = MakeFrame(PixFmt::Rgb24, 4, 4), viewed = MakeFrame(PixFmt::Rgb24, 4, 4);
    const FramePtr other = kept, view = CloneFrame(*viewed, kCloneView);
    const std::vector<std::uint8_t> keptBytes = Bytes(*kept), viewedBytes = Bytes(*viewed);
    effect->ProcessData(kept);
    effect->ProcessData(viewed);
    EXPECT_EQ(Bytes(*other), keptBytes);
    EXPECT_EQ(Bytes(*view), viewedBytes);
}

// A luma-keeping effect whose algorithm inverts everything.
class LumaProbe : public EffectBaseCSCLuma<SettingsEffectProbe> {
public:
    using EffectBaseCSCLuma::EffectBaseCSCLuma;

private:
    const std::vector<PixFmt>& GetWorkingPixFmts() const override {
        static const std::vector<PixFmt> formats{PixFmt::Rgb24, PixFmt::Rgba};
        return formats;
    }
    void ProcessInternalColor(FramePtr& frame) override {
        FramePtr inverted = CloneFrame(*frame, kCloneIndependent);
        const Plane plane = inverted->GetPlane(0);
        const std::uint64_t bpp = plane.GetBytesPerPixel();
        for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
            for (std::uint64_t b = 0; b < plane.GetWidth(); ++b) {
                if (b % bpp < 3) plane.GetRow(y)[b] = static_cast<std::uint8_t>(255 - plane.GetRow(y)[b]);
            }
        }
        frame = inverted;
    }
};

TEST(LumaLayer, GivesThePictureItsLumaBackInEveryFormat) {
    for (const PixFmt pixFmt : {PixFmt::Rgb24, PixFmt::Rgba, PixFmt::Bgr24, PixFmt::Yuv444p, PixFmt::Yuva444p}) {
        // Muted colours, so that the combination of luma and inverted chroma stays within RGB.
        const FramePtr input = MakeFrame(pixFmt, 31, 17);
        for (std::uint8_t i = 0; i < GetPlanesCount(*input); ++i) {
            const Plane plane = input->GetPlane(i);
            for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
                for (std::uint64_t b = 0; b < plane.GetWidth(); ++b)
                    plane.GetRow(y)[b] = static_cast<std::uint8_t>(110 + plane.GetRow(y)[b] % 36);
            }
        }
        FramePtr output = input;
        const std::vector<std::uint8_t> before = Bytes(*input);
        Make<LumaProbe>()->ProcessData(output);
        EXPECT_EQ(output->GetPixFmt(), pixFmt);
        EXPECT_EQ(Bytes(*input), before) << "the caller's frame stays";
        EXPECT_NE(Bytes(*output), before) << "the colour changed";
        const bool isPlanar = PixFmtDescription::Get(pixFmt).IsPlanar();
        const auto expected = Bytes(std::as_const(*Converted(input, PixFmt::Yuv444p)).GetPlane(0)),
                   actual = Bytes(std::as_const(*Converted(output, PixFmt::Yuv444p)).GetPlane(0));
        for (std::size_t i = 0; i < expected.size(); ++i) {
            // Going back to RGB and to Y'CbCr again rounds each channel once.
            ASSERT_NEAR(actual[i], expected[i], isPlanar ? 0 : 1) << Name(pixFmt) << " sample " << i;
        }
    }
}

}  // namespace
}  // namespace Orvexa::Test
