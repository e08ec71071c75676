#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Host/Settings/Photo/SettingsEffectTiltShift.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

FramePtr RunOn(SpiedEffect& spied, FramePtr frame) {
    spied.effect->ProcessData(frame);
    return frame;
}

TEST(TiltShift, TalksToItsSubEffectsInThisOrder) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectTiltShift::CLASS_ID);
    EXPECT_THAT(spied.factory->TakeTranscript(),
                Contains("set SettingsEffectSmartBlur#1 lumaRadius=100 lumaBlur=100 lumaSharpen=0 chromaRadius=100 "
                         "chromaBlur=100 chromaSharpen=0"));
    RunOn(spied, MakeFrame(PixFmt::Rgb24, 2001, 601));
    EXPECT_THAT(
        spied.factory->TakeTranscript(),
        ElementsAre(
            StartsWith("set SettingsResizer#2 resizeMethod=fastBilinear customMode=fit customInfo=1024,768,1,1 "),
            StartsWith("set SettingsResizer#3 resizeMethod=bicubicLuma customMode=exact customInfo=2002,602,1,1 "),
            "run SettingsResizer#2 rgb24 2001x601 -> rgb24 1024x308",
            "run SettingsEffectSmartBlur#1 rgb24 1024x308 -> rgb24 1024x308",
            "run SettingsResizer#3 rgb24 1024x308 -> rgb24 2002x602", StartsWith("set SettingsColorspaceConverter#1 "),
            StartsWith("run SettingsColorspaceConverter#1 "), StartsWith("set SettingsEffectShapeMask#1 "),
            StartsWith("set SettingsResizer#1 "), StartsWith("run SettingsResizer#1 "),  // the shape mask's own
            "run SettingsEffectShapeMask#1 rgb24 2001x601 -> gray8 2001x601",
            StartsWith("set SettingsEffectExtraAlphaExtractor#1 "),
            StartsWith("run SettingsEffectExtraAlphaExtractor#1 "), StartsWith("run SettingsEffectAlphaInserter#1 "),
            StartsWith("run SettingsEffectImageBlender#1 ")));
    RunOn(spied, MakeFrame(PixFmt::Rgb24, 2001, 601));
    EXPECT_THAT(spied.factory->TakeTranscript(), Not(Contains(StartsWith("set ")))) << "everything fits";
}

TEST(TiltShift, KeepsBlurAndMaskWhenTheSettingsChange) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectTiltShift::CLASS_ID);
    const FramePtr source = MakeFrame(PixFmt::Rgb24, 60, 40);
    const FramePtr before = RunOn(spied, source);
    spied.factory->TakeTranscript();
    SettingsEffectTiltShift settings;
    settings.SetBlur(10);
    settings.SetSharpen(80);
    settings.GetShape().SetHeight(0.7);
    spied.effect->SetSettings(settings);
    EXPECT_THAT(spied.factory->TakeTranscript(), ElementsAre());
    EXPECT_TRUE(SameFrames(RunOn(spied, source), before));
    // The new shape comes with the next size.
    RunOn(spied, MakeFrame(PixFmt::Rgb24, 61, 40));
    EXPECT_THAT(spied.factory->TakeTranscript(), Contains(HasSubstr("height=0.7")));
}

TEST(TiltShift, BlursOutsideTheShapeOnlyAndNarrowPicturesAtFullSize) {
    const FramePtr source = MakeFrame(PixFmt::Rgb24, 80, 60, Pattern::Checker);
    const FramePtr result = Apply(SettingsEffectTiltShift(), source);
    const auto contrast = [](const IDataVideo& frame, std::uint64_t y) {
        const std::uint8_t* row = frame.GetPlane(0).GetRow(y);
        return std::abs(row[40 * 3] - row[41 * 3]);
    };
    EXPECT_EQ(contrast(*result, 33), 255) << "in the band";
    EXPECT_LT(contrast(*result, 2), 20) << "far above it";

    SpiedEffect spied = CreateSpiedEffect(SettingsEffectTiltShift::CLASS_ID);
    spied.factory->TakeTranscript();
    RunOn(spied, MakeFrame(PixFmt::Rgb24, 4, 30));
    EXPECT_THAT(spied.factory->TakeTranscript(), Not(Contains(HasSubstr("run SettingsResizer"))));
}

}  // namespace
}  // namespace Orvexa::Test
