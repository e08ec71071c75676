// Effects that treat parts of a picture: TiltShift, Vignette, Pixelate, Implode.

#include <gmock/gmock.h>

#include <cmath>

#include "Host/Settings/Photo/SettingsEffectImplode.h"
#include "Host/Settings/Photo/SettingsEffectPixelate.h"
#include "Host/Settings/Photo/SettingsEffectTiltShift.h"
#include "Host/Settings/Photo/SettingsEffectVignette.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"
#include "Tests/Support/Logs.h"

namespace Orvexa::Test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
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

SettingsEffectVignette Edges(const Color& color) {
    SettingsEffectVignette settings;
    settings.SetColor(color);
    settings.GetShape().SetBackground(255);
    return settings;
}

// The runs and settings of sub-effects, shortened to the verb and the name.
std::vector<std::string> Calls(SpiedEffect& spied) {
    std::vector<std::string> calls;
    for (const std::string& line : spied.factory->TakeTranscript())
        calls.push_back(line.substr(0, line.find(' ', line.find(' ') + 1)));
    return calls;
}

TEST(Vignette, BlendsTheColourByTheShapesMask) {
    const SettingsEffectVignette settings = Edges(Color(200, 100, 50, 0));
    const FramePtr mask = Apply(settings.GetShape(), MakeFrame(PixFmt::Gray8, 97, 61));
    for (const PixFmt pixFmt : {PixFmt::Rgb24, PixFmt::Bgra, PixFmt::Gray8}) {
        const FramePtr source = MakeFrame(pixFmt, 97, 61);
        const FramePtr layer = MakeFrame(pixFmt, 97, 61, settings.GetColor());
        const FramePtr result = Apply(settings, source);
        const PixFmtDescription& description = PixFmtDescription::Get(pixFmt);
        ASSERT_EQ(result->GetPixFmt(), pixFmt);
        // The blender rounds the opacity and the product.
        const FramePtr expected = DrawFrame(pixFmt, 97, 61, [&](int x, int y, int k) {
            const double from = SampleAt(source, x, y, k), to = SampleAt(layer, x, y, k);
            return k == description.alpha ? from : from + (to - from) * SampleAt(mask, x, y) / 255.0;
        });
        EXPECT_TRUE(SameFrames(result, expected, 1));
    }
}

TEST(Vignette, KeepsMaskAndLayerAsLongAsTheyFit) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectVignette::CLASS_ID);
    const auto run = [&](PixFmt pixFmt, std::uint32_t width) {
        FramePtr frame = MakeFrame(pixFmt, width, 8);
        spied.effect->ProcessData(frame);
        return Calls(spied);
    };
    const std::vector<std::string> kept{"run SettingsColorspaceConverter#1", "run SettingsEffectImageBlender#1"};
    const std::vector<std::string> newMask{"run SettingsColorspaceConverter#1",
                                           "set SettingsEffectShapeMask#1",
                                           "set SettingsResizer#1",  // the shape mask's own
                                           "run SettingsEffectShapeMask#1",
                                           "set SettingsEffectExtraAlphaExtractor#1",
                                           "run SettingsEffectExtraAlphaExtractor#1",
                                           "run SettingsEffectAlphaInserter#1",
                                           "run SettingsEffectImageBlender#1"};
    std::vector<std::string> newFormat = newMask, newLayer{kept[0], "run SettingsEffectAlphaInserter#1", kept[1]};
    newFormat.erase(newFormat.begin() + 1, newFormat.begin() + 4);
    std::vector<std::string> newMaskOfTheFormat = newMask;
    newMaskOfTheFormat.erase(newMaskOfTheFormat.begin() + 4);  // the extractor is ready for it

    spied.effect->SetSettings(Edges(Color(1, 2, 3)));
    EXPECT_THAT(spied.factory->TakeTranscript(),
                testing::Contains(StartsWith("set SettingsColorspaceConverter#1 pixFmts=8,25,26,27,28,2,3")))
        << "when it was created";
    EXPECT_EQ(run(PixFmt::Rgb24, 12), newMask);
    EXPECT_EQ(run(PixFmt::Rgb24, 12), kept);
    EXPECT_EQ(run(PixFmt::Rgba, 12), newFormat);
    EXPECT_EQ(run(PixFmt::Rgba, 13), newMaskOfTheFormat);
    spied.effect->SetSettings(Edges(Color(1, 2, 3)));
    EXPECT_EQ(run(PixFmt::Rgba, 13), kept) << "equal settings change nothing";
    // A change of settings drops both masks, and with them the layer.
    spied.effect->SetSettings(Edges(Color(3, 2, 1)));
    EXPECT_EQ(run(PixFmt::Rgba, 13), newMaskOfTheFormat);
}

TEST(Vignette, ConvertsOtherFormats) {
    const FramePtr result = Apply(SettingsEffectVignette(), MakeFrame(PixFmt::Yuva420p, 20, 14));
    EXPECT_EQ(PixFmtDescription::Get(result->GetPixFmt()).HasAlpha(), true);
    EXPECT_EQ(PixFmtDescription::Get(result->GetPixFmt()).kind, PixFmtDescription::Kind::Packed);
}

SettingsEffectPixelate Strength(double strength) {
    SettingsEffectPixelate settings;
    settings.SetStrength(strength);
    return settings;
}

TEST(Pixelate, TellsTheScaleThatFollowsTheStrength) {
    struct {
        double strength;
        std::uint32_t width, height;
        const char* scale;
    } const cases[] = {
        {0, 640, 480, "1"},
        {100, 640, 480, "0.0666667"},  // 32 / 480
        {150, 640, 480, "0.0666667"},
        {-0.5, 640, 480, "1"},
        {-2, 640, 480, "0.0666667"},
        {100, 40, 16, "2"},
        {100, 32, 64, "1"},
        {100, 2, 9000, "14.5636"},  // 16 would give a side of 144000; no frame's exceeds 131072
        // p = 2, t = (2 - 100 / 101) / (100 - 100 / 101) = 0.0102; 0.5 * (1 - w) + w, w = t * t * (3 - 2 * t) =
        // 0.00030999
        {49, 64, 64, "0.500155"},
    };
    for (const auto& [strength, width, height, scale] : cases) {
        const LogCapture log(0);
        Apply(Strength(strength), MakeFrame(PixFmt::Gray8, width, height));
        ASSERT_THAT(log.GetLines(), ElementsAre(EndsWith(std::string("Pixelate scale: ") + scale))) << strength;
        EXPECT_THAT(log.GetLines()[0], testing::HasSubstr("Pixelate.cpp:81 "));
    }
}

TEST(Pixelate, FillsCellsWithTheirMean) {
    const FramePtr source = MakeFrame(PixFmt::Gray8, 96, 64);
    const FramePtr result = Apply(Strength(100), source);
    const FramePtr expected = DrawFrame(PixFmt::Gray8, 96, 64, [&](int x, int y, int) {
        double sum = 0;
        for (const int i : {0, 1}) {
            for (const int k : {0, 1}) sum += SampleAt(source, x / 2 * 2 + i, y / 2 * 2 + k);
        }
        return sum / 4;
    });
    EXPECT_TRUE(SameFrames(result, expected, 1));  // halves may round either way
}

TEST(Pixelate, ConfiguresItsResizersForANewSizeAndAfterNewSettings) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectPixelate::CLASS_ID);
    const auto run = [&](std::uint32_t width) {
        FramePtr frame = MakeFrame(PixFmt::Rgb24, width, 64);
        spied.factory->TakeTranscript();
        spied.effect->ProcessData(frame);
        EXPECT_EQ(frame->GetFrameInfo(), FrameInfo(width, 64));
        return spied.factory->TakeTranscript();
    };
    spied.effect->SetSettings(Strength(100));
    const std::vector<std::string> first = run(128);
    ASSERT_EQ(first.size(), 4u);
    EXPECT_THAT(first[0], StartsWith("set SettingsResizer#1 resizeMethod=area "));
    EXPECT_THAT(first[1],
                StartsWith("set SettingsResizer#2 resizeMethod=nearest customMode=exactToo customInfo=128,64,1,1 "));
    EXPECT_EQ(first[2], "run SettingsResizer#1 rgb24 128x64 -> rgb24 64x32");
    EXPECT_EQ(first[3], "run SettingsResizer#2 rgb24 64x32 -> rgb24 128x64");
    EXPECT_EQ(run(128).size(), 2u);
    spied.effect->SetSettings(Strength(100));
    EXPECT_EQ(run(128).size(), 2u) << "equal settings";
    EXPECT_EQ(run(130).size(), 4u);
    spied.effect->SetSettings(Strength(20));
    EXPECT_EQ(run(130).size(), 4u);
    spied.effect->ResetSettings();
    EXPECT_EQ(FormatSettings(spied.effect->GetSettingsBase()), FormatSettings(Strength(20)))
        << "only the resizers are forgotten";
    EXPECT_EQ(run(130).size(), 4u);
}

FramePtr Imploded(ImplodeMode mode, double strength, const FramePtr& frame) {
    SettingsEffectImplode settings;
    settings.SetMode(mode);
    settings.SetStrength(strength);
    return Apply(settings, frame);
}

TEST(Implode, ShowsWhatLiesFartherOutOrNearer) {
    const FramePtr source = MakeCoordinates(240, 160);
    struct {
        ImplodeMode mode;
        double strength, amount;  // the amount at the centre
    } const cases[] = {{ImplodeMode::Implode, 100, 1.0},
                       {ImplodeMode::Implode, 30, 0.3},
                       {ImplodeMode::Explode, 100, -0.5},
                       {static_cast<ImplodeMode>(7), 50, -0.25}};
    for (const auto& c : cases) {
        const FramePtr expected = DrawFrame(PixFmt::Rgb24, 240, 160, [&](int x, int y, int k) {
            const double u = x / 120.0 - 1, v = y / 80.0 - 1, r = std::min(std::hypot(u, v), 1.0);
            const double scale = 1 + c.amount * (1 - r * r * (3 - 2 * r));
            return k == 0   ? std::clamp((u * scale + 1) * 120, 0.0, 239.0)
                   : k == 1 ? std::clamp((v * scale + 1) * 80, 0.0, 159.0)
                            : 0.0;
        });
        // Positions outside show the edge. Samples lie on a grid of 1/32 pixel and are rounded.
        EXPECT_TRUE(SameFrames(Imploded(c.mode, c.strength, source), expected, 1)) << c.amount;
    }
}

TEST(Implode, LeavesThePictureAloneOutsideTheEllipseAndWithoutStrength) {
    const FramePtr source = MakeFrame(PixFmt::Rgba, 97, 61);
    EXPECT_TRUE(SameFrames(Imploded(ImplodeMode::Implode, 0, source), source, 4)) << "up to the rounding of positions";
    const FramePtr result = Imploded(ImplodeMode::Implode, 100, source);
    for (std::uint32_t y = 0; y < 61; ++y) {
        for (std::uint32_t x = 0; x < 97; ++x) {
            if (std::hypot(x / 48.5 - 1, y / 30.5 - 1) < 1.001) continue;
            for (int k = 0; k < 4; ++k) {
                ASSERT_EQ(SampleAt(result, x, y, k), SampleAt(source, x, y, k));
            }
        }
    }
}

}  // namespace
}  // namespace Orvexa::Test
