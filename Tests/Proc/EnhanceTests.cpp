// Effects that mix what the host's sub-effects make: AutoEnhance, BiColorToning, DetailsEnhance and ReplaceChroma.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "Host/Settings/Common/SettingsEffectAlpha.h"
#include "Host/Settings/Common/SettingsEffectBlur.h"
#include "Host/Settings/Common/SettingsEffectCLAHE.h"
#include "Host/Settings/Common/SettingsEffectColorBalance.h"
#include "Host/Settings/Common/SettingsEffectImageBlender.h"
#include "Host/Settings/Common/SettingsResizer.h"
#include "Host/Settings/Photo/SettingsEffectAutoEnhance.h"
#include "Host/Settings/Photo/SettingsEffectBiColorToning.h"
#include "Host/Settings/Photo/SettingsEffectColorBalanceAuto.h"
#include "Host/Settings/Photo/SettingsEffectDetailsEnhance.h"
#include "Host/Settings/Photo/SettingsEffectReplaceChroma.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr PixFmt kFormats[] = {PixFmt::Gray8, PixFmt::Rgb24,   PixFmt::Rgba,
                               PixFmt::Bgra,  PixFmt::Yuv420p, PixFmt::Yuv444p};

// The lines of a transcript that start with `start`, without what follows the sub-effect's name but the settings in
// `keys`, and without sub-effects of sub-effects.
std::vector<std::string> Names(const std::vector<std::string>& transcript, const std::string& start) {
    std::vector<std::string> names;
    for (const std::string& line : transcript) {
        if (!line.starts_with(start)) continue;
        const std::size_t from = line.find("Settings") + 8;
        std::string name = line.substr(from, line.find_first_of(" ", from) - from);
        if (name.starts_with("Effect")) name.erase(0, 6);
        names.push_back(name);
    }
    return names;
}

// ---- AutoEnhance

TEST(AutoEnhance, FollowsItsRecipe) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectAutoEnhance::CLASS_ID);
    spied.factory->TakeTranscript();
    FramePtr frame = MakeFrame(PixFmt::Rgba, 97, 61);
    spied.effect->ProcessData(frame);
    const std::vector<std::string> transcript = spied.factory->TakeTranscript();
    std::vector<std::string> runs = Names(transcript, "run ");
    std::erase_if(runs, [](const std::string& name) {  // the automatic balance's own
        return name == "ColorspaceConverter#1" || name == "ColorspaceConverter#4";
    });
    EXPECT_THAT(runs, ElementsAre("AlphaExtractor#1", "ColorspaceConverter#3", "CLAHE#1", "ColorBalance#1", "Blur#1",
                                  "ColorBalance#1", "ColorBalance#1", "ImageBlender#1", "ColorspaceConverter#3",
                                  "ImageBlender#1", "ColorBalance#1", "ColorBalanceAuto#1", "ExtraAlphaExtractor#1",
                                  "ImageBlender#1", "ColorspaceConverter#3", "ImageBlender#1", "ColorBalanceAuto#1",
                                  "ColorspaceConverter#2", "AlphaInserter#1"));
    std::vector<std::string> gammas;
    for (const std::string& line : transcript) {
        if (line.starts_with("set SettingsEffectColorBalance#1")) gammas.push_back(line.substr(line.rfind(' ') + 1));
    }
    EXPECT_THAT(gammas, ElementsAre("gamma=-30", "gamma=-25", "gamma=25", "gamma=5"));
    std::vector<std::string> blends;
    for (const std::string& line : transcript) {
        if (line.starts_with("set SettingsEffectImageBlender#1")) blends.push_back(line.substr(line.find("strength")));
    }
    EXPECT_THAT(blends, ElementsAre("strength=255 alphaMode=ignore", "strength=127 alphaMode=ignore"));
    EXPECT_THAT(transcript, Contains(testing::AllOf(StartsWith("set SettingsEffectBlur#1"),
                                                    HasSubstr("devX=100 devY=100 kernelLength=2"))));
    EXPECT_EQ(frame->GetPixFmt(), PixFmt::Rgba);
    EXPECT_EQ(frame->GetFrameInfo(), FrameInfo(97, 61));
}

TEST(AutoEnhance, ShowsAsMuchAsTheIntensitySays) {
    for (const PixFmt pixFmt : kFormats) {
        const FramePtr input = MakeFrame(pixFmt, 97, 61);
        SettingsEffectAutoEnhance settings;
        settings.SetIntensity(0);
        EXPECT_TRUE(SameFrames(Apply(settings, input), input)) << Name(pixFmt);
        settings.SetIntensity(50);
        const FramePtr half = Apply(settings, input), whole = Apply(SettingsEffectAutoEnhance(), input);
        EXPECT_FALSE(SameFrames(whole, input)) << Name(pixFmt);
        // 127 of 255 parts of the input.
        const FramePtr expected = CloneFrame(*whole, kCloneIndependent);
        EXPECT_TRUE(SameFrames(
            half, RunHost(SettingsEffectImageBlender(0, 0, 127, BlendAlphaMode::IgnoreAlpha), expected, input)))
            << Name(pixFmt);
    }
}

TEST(AutoEnhance, BrightensTheDarkAndSparesTheBright) {
    // A picture that is mostly dark, with a bright part.
    FramePtr picture = MakeFrame(PixFmt::Rgb24, 200, 200, Pattern::ColorCube);
    const Plane plane = picture->GetPlane(0);
    for (std::uint64_t y = 0; y < 200; ++y)
        for (std::uint64_t x = 0; x < 600; ++x)
            plane.GetRow(y)[x] = static_cast<std::uint8_t>(plane.GetRow(y)[x] / 4 + 10);
    const FramePtr enhanced = Apply(SettingsEffectAutoEnhance(), picture);
    std::int64_t before = 0, after = 0;
    for (const std::uint8_t byte : Bytes(*picture)) before += byte;
    for (const std::uint8_t byte : Bytes(*enhanced)) after += byte;
    EXPECT_GT(after, before * 13 / 10);
}

// ---- BiColorToning

TEST(BiColorToning, FollowsItsRecipe) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectBiColorToning::CLASS_ID);
    const std::vector<std::string> made = spied.factory->TakeTranscript();
    EXPECT_THAT(made,
                Contains(testing::AllOf(StartsWith("set SettingsEffectImageBlender#1"), HasSubstr("strength=127"))));
    EXPECT_THAT(made, Contains(StartsWith("set SettingsEffectColorBalance#1 brightness=10 contrast=0")));
    EXPECT_THAT(made, Contains("set SettingsEffectVibrance#1 strength=50"));
    SettingsEffectBiColorToning settings;
    settings.SetShadowColor(Color(1, 2, 3));
    settings.SetHighlightColor(Color(4, 5, 6));
    spied.effect->SetSettings(settings);
    EXPECT_THAT(spied.factory->TakeTranscript(),
                ElementsAre(StartsWith("set SettingsEffectSplitToning#1 shadowColor=#010203 highlightColor=#040506")));
    for (const bool isFirst : {true, false}) {
        FramePtr frame = MakeFrame(PixFmt::Yuv420p, 20, 10);
        spied.effect->ProcessData(frame);
        const std::vector<std::string> transcript = spied.factory->TakeTranscript();
        EXPECT_EQ(Names(transcript, "set ").size(), isFirst ? 1u : 0u) << "the converter, once for a format";
        EXPECT_THAT(Names(transcript, "run "), ElementsAre("SplitToning#1", "ColorspaceConverter#1", "ImageBlender#1",
                                                           "Vibrance#1", "ColorBalance#1"));
        EXPECT_EQ(frame->GetPixFmt(), PixFmt::Yuv420p);
    }
}

TEST(BiColorToning, KeepsTheOrderOfLuma) {
    FramePtr ramp = MakeFrame(PixFmt::Gray8, 256, 1);
    for (int x = 0; x < 256; ++x) ramp->GetPlane(0).GetData()[x] = static_cast<std::uint8_t>(x);
    const FramePtr toned = Apply(SettingsEffectBiColorToning(), Converted(ramp, PixFmt::Rgb24));
    const FramePtr luma = Converted(toned, PixFmt::Gray8);
    for (std::uint64_t x = 1; x < 256; ++x) EXPECT_GE(SampleAt(luma, x, 0) + 1, SampleAt(luma, x - 1, 0)) << x;
    EXPECT_GT(SampleAt(toned, 50, 0, 2), SampleAt(toned, 50, 0, 0) + 8) << "blue shadows";
    EXPECT_GT(SampleAt(toned, 200, 0, 0), SampleAt(toned, 200, 0, 2) + 8) << "orange highlights";
}

// ---- DetailsEnhance

TEST(DetailsEnhance, ConfiguresItsPartsByStrength) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectDetailsEnhance::CLASS_ID);
    for (const auto& [strength, clip, gamma] :
         {std::tuple(100, "2.5", "-15"), {50, "1.25", "-7"}, {-10, "-0.25", "1"}, {0, "0", "0"}}) {
        SettingsEffectDetailsEnhance settings;
        settings.SetStrength(strength);
        spied.factory->TakeTranscript();
        spied.effect->SetSettings(settings);
        EXPECT_THAT(
            spied.factory->TakeTranscript(),
            ElementsAre(
                std::string("set SettingsEffectCLAHE#1 clip=") + clip,
                std::string("set SettingsEffectColorBalance#1 brightness=0 contrast=0 saturation=0 gamma=") + gamma));
    }
    // What a picture without alpha and one with alpha need is made when they come.
    FramePtr opaque = MakeFrame(PixFmt::Rgb24, 9, 7), transparent = MakeFrame(PixFmt::Rgba, 9, 7);
    spied.effect->ProcessData(opaque);
    EXPECT_THAT(Names(spied.factory->TakeTranscript(), "create "), ElementsAre("ExtraAlphaExtractor#1"));
    spied.effect->ProcessData(transparent);
    EXPECT_THAT(Names(spied.factory->TakeTranscript(), "create "), ElementsAre("AlphaInserter#1"));
}

TEST(DetailsEnhance, ChangesMidTonesAndLeavesBlackWhiteAndAlpha) {
    for (const PixFmt pixFmt :
         {PixFmt::Rgb24, PixFmt::Rgba, PixFmt::Argb, PixFmt::Yuv444p, PixFmt::Yuvj444p, PixFmt::Yuva420p}) {
        FramePtr picture = Converted(MakeFrame(PixFmt::Rgba, 64, 64), pixFmt);
        for (const Color& extreme : {Color(0, 0, 0), Color(255, 255, 255)}) {
            FramePtr corner = CloneFrame(*picture, kCloneView);
            corner->Crop(extreme.red() == 0 ? 0 : 32, 0, 16, 16);
            corner->Fill(extreme);
        }
        const std::vector<std::uint8_t> before = Bytes(*picture);
        SettingsEffectDetailsEnhance settings;
        settings.SetStrength(100);
        const FramePtr enhanced = Apply(settings, picture);
        EXPECT_EQ(Bytes(*picture), before) << "the caller's picture, " << Name(pixFmt);
        EXPECT_FALSE(SameFrames(enhanced, picture)) << Name(pixFmt);
        for (const std::uint32_t x : {0u, 32u}) {
            FramePtr was = CloneFrame(*picture, kCloneView), is = CloneFrame(*enhanced, kCloneView);
            was->Crop(x, 0, 16, 16);
            is->Crop(x, 0, 16, 16);
            EXPECT_TRUE(SameFrames(is, was, 1)) << Name(pixFmt) << " " << x;
        }
        if (PixFmtDescription::Get(pixFmt).HasAlpha()) {
            FramePtr was = picture, is = enhanced;
            EXPECT_EQ(Bytes(*RunHost(SettingsEffectAlphaExtractor(), is)),
                      Bytes(*RunHost(SettingsEffectAlphaExtractor(), was)));
        }
    }
}

TEST(DetailsEnhance, OfNoStrengthLeavesGreyPicturesAlone) {
    SettingsEffectDetailsEnhance settings;
    settings.SetStrength(0);
    const FramePtr grey = MakeFrame(PixFmt::Gray8, 97, 61);
    EXPECT_TRUE(SameFrames(Apply(settings, grey), grey));
    const FramePtr rgb = Converted(grey, PixFmt::Rgb24);
    EXPECT_TRUE(SameFrames(Apply(settings, rgb), rgb));
}

// ---- ReplaceChroma

SettingsEffectReplaceChroma NearBase() {
    SettingsEffectReplaceChroma settings(Color(10, 200, 40), Color(120, 60, 200));
    settings.SetUseBaseColor(true);
    settings.SetKeepLuma(false);
    settings.SetStrength(200);
    return settings;
}

double ClosenessOf(double distance, double largest) {
    const double t = distance / largest;
    return distance > largest ? 0.0 : std::trunc(255.0 * (2.0 * t * t * t - 3.0 * t * t + 1.0));
}

TEST(ReplaceChroma, WeightsColoursByTheirDistance) {
    for (const PixFmt pixFmt : {PixFmt::Rgba, PixFmt::Bgra, PixFmt::Argb, PixFmt::Abgr}) {
        const SettingsEffectReplaceChroma settings = NearBase();
        const FramePtr input = MakeFrame(pixFmt, 97, 61), actual = Apply(settings, input);
        const PixFmtDescription& layout = PixFmtDescription::Get(pixFmt);
        const int bytes[] = {layout.red, layout.green, layout.blue}, base[] = {120, 60, 200}, target[] = {10, 200, 40};
        const double largest = std::sqrt(135.0 * 135 + 195 * 195 + 200 * 200);
        const int near = static_cast<int>(ClosenessOf(0.1 * largest, largest)),
                  far = static_cast<int>(ClosenessOf(0.3 * largest, largest));
        int touched = 0;
        for (std::uint64_t y = 0; y < 61; ++y) {
            for (std::uint64_t x = 0; x < 97; ++x) {
                int sum = 0;
                for (int k = 0; k < 3; ++k)
                    sum += static_cast<int>(std::pow(base[k] - SampleAt(input, x, y, bytes[k]), 2));
                const int closeness = static_cast<int>(ClosenessOf(std::sqrt(sum), largest));
                const int weight = std::clamp((0 - 255) * (closeness - near) / (far - near) + 255, 0, 255);
                const int opacity = static_cast<int>(std::lround(weight * 200 / 255.0));
                touched += opacity > 0 && opacity < 200;
                for (int k = 0; k < 3; ++k) {
                    const int was = SampleAt(input, x, y, bytes[k]);
                    ASSERT_EQ(SampleAt(actual, x, y, bytes[k]), std::lround(was + (target[k] - was) * opacity / 255.0))
                        << Name(pixFmt) << " " << x << "," << y;
                }
                ASSERT_EQ(SampleAt(actual, x, y, layout.alpha), SampleAt(input, x, y, layout.alpha));
            }
        }
        EXPECT_GT(touched, 20);
    }
}

TEST(ReplaceChroma, FillsWithTheTargetOrKeepsLuma) {
    const FramePtr input = MakeFrame(PixFmt::Yuv420p, 30, 20);
    SettingsEffectReplaceChroma settings(Color(200, 40, 90), Color());
    settings.SetKeepLuma(false);
    const FramePtr plain = Apply(settings, input);
    const std::vector<std::uint8_t> reds = Bytes(std::as_const(*Converted(plain, PixFmt::Rgb24)).GetPlane(0));
    for (std::size_t i = 0; i < reds.size(); i += 3) ASSERT_NEAR(reds[i], 200, 2);
    settings.SetKeepLuma(true);
    const FramePtr colourised = Apply(settings, input);
    ASSERT_EQ(colourised->GetPixFmt(), PixFmt::Yuv420p);
    const std::vector<std::uint8_t>
        luma = Bytes(std::as_const(*colourised).GetPlane(0)),
        was = Bytes(std::as_const(*Converted(Converted(input, PixFmt::Rgba), PixFmt::Yuva444p)).GetPlane(0));
    EXPECT_EQ(luma, was);
    for (const std::uint8_t chroma : Bytes(std::as_const(*colourised).GetPlane(1)))
        ASSERT_NEAR(chroma, Color(200, 40, 90).u(), 1);
}

TEST(ReplaceChroma, StaysWithTheBaseColourOnceItHadOne) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectReplaceChroma::CLASS_ID);
    const FramePtr input = MakeFrame(PixFmt::Rgba, 600, 300, Pattern::ColorCube);
    spied.effect->SetSettings(NearBase());
    FramePtr first = input;
    spied.factory->TakeTranscript();
    spied.effect->ProcessData(first);
    const std::vector<std::string> transcript = spied.factory->TakeTranscript();
    EXPECT_THAT(transcript, Contains(testing::AllOf(StartsWith("set SettingsResizer#1 resizeMethod=bicubic"),
                                                    HasSubstr("customInfo=512,300,1,1"),
                                                    HasSubstr("accurate=true fullChroma=true"))));
    EXPECT_THAT(transcript, Contains(testing::AllOf(StartsWith("set SettingsResizer#2 resizeMethod=bicubic"),
                                                    HasSubstr("customInfo=600,300,1,1"))));
    SettingsEffectReplaceChroma without = NearBase();
    without.SetUseBaseColor(false);
    spied.effect->SetSettings(without);
    FramePtr second = input;
    spied.effect->ProcessData(second);
    EXPECT_TRUE(SameFrames(second, first));
    EXPECT_THAT(spied.factory->TakeTranscript(), Not(Contains(StartsWith("set "))));
}

TEST(ReplaceChroma, CorrectsBrightnessAtTheBasePoint) {
    const FramePtr input = MakeFrame(PixFmt::Rgba, 8, 8, Color(120, 60, 200));
    SettingsEffectReplaceChroma settings = NearBase();
    settings.SetTargetColor(Color(100, 140, 110));  // within the gamut also with the picture's luma
    settings.SetStrength(255);
    settings.SetKeepLuma(true);
    EXPECT_NEAR(SampleAt(Converted(Apply(settings, input), PixFmt::Gray8), 3, 3), Color(120, 60, 200).y(), 2);
    settings.SetCorrectLuma(true);
    settings.SetBasePointX(7);
    settings.SetBasePointY(7);
    EXPECT_NEAR(SampleAt(Converted(Apply(settings, input), PixFmt::Gray8), 3, 3), Color(100, 140, 110).y(), 6);
    settings.SetKeepLuma(false);
    const FramePtr uncorrected = Apply(settings, input);
    settings.SetCorrectLuma(false);
    EXPECT_TRUE(SameFrames(uncorrected, Apply(settings, input)));
    settings.SetKeepLuma(true);
    settings.SetCorrectLuma(true);
    settings.SetBasePointX(8);
    EXPECT_THAT(MessageOf([&] { Apply(settings, input); }), HasSubstr("8 x 8"));
    settings.SetMaxThreshold(settings.GetMinThreshold());
    EXPECT_EQ(MessageOf([&] { Apply(settings, input); }), "Thresholds are too close!");
}

}  // namespace
}  // namespace Orvexa::Test
