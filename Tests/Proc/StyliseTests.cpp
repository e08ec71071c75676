// Effects that leave the painting to the host's sub-effects: what they ask of them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Host/Settings/Common/SettingsEffectOilPaint.h"
#include "Host/Settings/Photo/SettingsEffectSketch.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::StartsWith;

std::vector<std::string> Transcript(SpiedEffect& spied, FramePtr frame, FramePtr* result = nullptr) {
    spied.factory->TakeTranscript();
    spied.effect->ProcessData(frame);
    if (result != nullptr) *result = frame;
    return spied.factory->TakeTranscript();
}

TEST(OilPaint, PaintsLargePicturesReduced) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectOilPaint::CLASS_ID);
    EXPECT_THAT(spied.factory->TakeTranscript(), Not(Contains(StartsWith("set ")))) << "when it was created";
    SettingsEffectOilPaint settings;
    settings.SetRadius(1);
    spied.effect->SetSettings(settings);
    FramePtr result;
    EXPECT_THAT(
        Transcript(spied, MakeFrame(PixFmt::Gray8, 2101, 2049), &result),
        ElementsAre(
            StartsWith("set SettingsEffectOilPaint#1 radius=1"),
            StartsWith("set SettingsResizer#1 resizeMethod=fastBilinear customMode=fit customInfo=1051,1025,1,1 "),
            StartsWith("set SettingsResizer#2 resizeMethod=bicubic customMode=exactToo customInfo=2102,2050,1,1 "),
            StartsWith("run SettingsResizer#1 gray8 2101x2049 -> "), StartsWith("run SettingsEffectOilPaint#1 "),
            testing::EndsWith("-> gray8 2102x2050")));
    EXPECT_EQ(result->GetFrameInfo(), FrameInfo(2101, 2049));
    EXPECT_EQ(Transcript(spied, MakeFrame(PixFmt::Gray8, 2101, 2049)).size(), 3u) << "all is configured";
    // As large as 2101 x 2049 when it is rounded up to even sides.
    EXPECT_EQ(Transcript(spied, MakeFrame(PixFmt::Gray8, 2102, 2050)).size(), 3u);
}

TEST(OilPaint, PaintsOthersAsTheyAre) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectOilPaint::CLASS_ID);
    EXPECT_EQ(Transcript(spied, MakeFrame(PixFmt::Rgb24, 31, 20)).back(),
              "run SettingsEffectOilPaint#1 rgb24 31x20 -> rgb24 31x20");
    EXPECT_THAT(Transcript(spied, MakeFrame(PixFmt::Rgb24, 31, 20)),
                ElementsAre(StartsWith("run SettingsEffectOilPaint#1 ")));
    spied.effect->ResetSettings();
    EXPECT_THAT(Transcript(spied, MakeFrame(PixFmt::Rgb24, 31, 20)),
                Contains(StartsWith("set SettingsEffectOilPaint#1 ")));
}

std::vector<std::string> RunsOf(const std::vector<std::string>& transcript) {
    std::vector<std::string> runs;
    for (const std::string& line : transcript) {
        // The sub-effects of the blur, which is the module's own, are its own matter.
        if (line.starts_with("run ") && line.find("Resizer") == line.npos && line.find("Pad#1") == line.npos &&
            line.find("ColorspaceConverter#2") == line.npos && line.find("ColorspaceConverter#3") == line.npos) {
            runs.push_back(line);
        }
    }
    return runs;
}

TEST(Sketch, DrawsStrokesOfLimitedSizeOverTheGreyPicture) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectSketch::CLASS_ID);
    FramePtr result;
    const std::vector<std::string> large = Transcript(spied, MakeFrame(PixFmt::Rgb24, 600, 300), &result);
    EXPECT_EQ(result->GetPixFmt(), PixFmt::Gray8);
    EXPECT_THAT(large, Contains("set SettingsEffectPad#2 margins=0,88,0,0 mode=texture color=#000000"));
    const std::vector<std::string> runs = RunsOf(large);
    ASSERT_EQ(runs.size(), 7u) << testing::PrintToString(runs);
    EXPECT_EQ(runs[0], "run SettingsEffectNoiseVideo#1 gray8 512x300 -> gray8 512x300");
    EXPECT_EQ(runs[1], "run SettingsEffectBlurRadial#1 gray8 512x300 -> gray8 512x300");
    EXPECT_EQ(runs[2], "run SettingsEffectCharcoal#1 gray8 512x300 -> gray8 512x300");
    EXPECT_EQ(runs[3], "run SettingsColorspaceConverter#1 gray8 512x300 -> gray8 512x300");
    EXPECT_EQ(runs[4], "run SettingsEffectPad#2 gray8 512x300 -> gray8 600x300");
    EXPECT_EQ(runs[5], "run SettingsColorspaceConverter#1 rgb24 600x300 -> gray8 600x300");
    EXPECT_THAT(runs[6], StartsWith("run SettingsEffectCompose#1 gray8 600x300"));
    // Strokes that are large enough are not continued.
    const std::vector<std::string> small = Transcript(spied, MakeFrame(PixFmt::Gray8, 512, 40));
    EXPECT_THAT(small, Not(Contains(StartsWith("run SettingsEffectPad#2"))));
    EXPECT_THAT(small, Contains("run SettingsEffectNoiseVideo#1 gray8 512x40 -> gray8 512x40"));
}

TEST(Sketch, DrawsStrokesOfEveryKindOfNoise) {
    const FramePtr grey = MakeFrame(PixFmt::Gray8, 96, 64, Color(128, 128, 128));
    for (const Field& field : SettingsEffectSketch().GetFields()) {
        if (field.key != "noise.type") continue;
        for (const auto& type : field.limits.names) {
            SettingsEffectSketch settings;
            SetField(settings, "noise.type", type.name);
            double sum = 0, squares = 0;
            const std::vector<std::uint8_t> bytes = Bytes(*Apply(settings, grey));
            for (const double level : bytes) sum += level, squares += level * level;
            const double mean = sum / static_cast<double>(bytes.size());
            EXPECT_GT(squares / static_cast<double>(bytes.size()) - mean * mean, 9.0) << type.name;  // three levels
        }
        return;
    }
    FAIL() << "no noise.type";
}

TEST(Sketch, HandsItsPartsOnWhenTheyChange) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectSketch::CLASS_ID);
    SettingsEffectSketch settings;
    settings.GetNoise().SetSeed(7);
    settings.GetRadial().SetAngle(30);
    settings.GetCharcoal().SetRadius(2);
    settings.GetCompose().SetOpacity(40);
    spied.factory->TakeTranscript();
    spied.effect->SetSettings(settings);
    EXPECT_THAT(spied.factory->TakeTranscript(),
                ElementsAre("set SettingsEffectNoiseVideo#1 " + FormatSettings(settings.GetNoise()),
                            "set SettingsEffectBlurRadial#1 " + FormatSettings(settings.GetRadial()),
                            "set SettingsEffectCharcoal#1 " + FormatSettings(settings.GetCharcoal()),
                            "set SettingsEffectCompose#1 " + FormatSettings(settings.GetCompose())));
    spied.effect->SetSettings(settings);
    EXPECT_THAT(spied.factory->TakeTranscript(), ElementsAre());
    spied.effect->ResetSettings();
    EXPECT_THAT(spied.factory->TakeTranscript(), ElementsAre()) << "resetting alone hands nothing on";
}

}  // namespace
}  // namespace Orvexa::Test
