#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "Host/Settings/Photo/SettingsEffectVignette.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

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
        for (std::uint32_t y = 0; y < 61; ++y) {
            for (std::uint32_t x = 0; x < 97; ++x) {
                const double opacity = SampleAt(mask, x, y) / 255.0;
                for (int k = 0; k < description.bytesPerPixel; ++k) {
                    const double from = SampleAt(source, x, y, k);
                    const double to = k == description.alpha ? from : SampleAt(layer, x, y, k);
                    // The blender rounds the opacity and the product.
                    ASSERT_NEAR(SampleAt(result, x, y, k), from + (to - from) * opacity, 1.0) << x << ", " << y;
                }
            }
        }
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

    spied.effect->SetSettings(Edges(Color(1, 2, 3)));
    EXPECT_THAT(spied.factory->TakeTranscript(),
                testing::Contains(StartsWith("set SettingsColorspaceConverter#1 pixFmts=8,25,26,27,28,2,3")))
        << "when it was created";
    EXPECT_EQ(run(PixFmt::Rgb24, 12), newMask);
    EXPECT_EQ(run(PixFmt::Rgb24, 12), kept);
    EXPECT_EQ(run(PixFmt::Rgba, 12), newFormat);
    EXPECT_EQ(run(PixFmt::Rgba, 13), newMask);
    spied.effect->SetSettings(Edges(Color(1, 2, 3)));
    EXPECT_EQ(run(PixFmt::Rgba, 13), kept) << "equal settings change nothing";
    // A change of settings drops both masks, and with them the layer.
    spied.effect->SetSettings(Edges(Color(3, 2, 1)));
    EXPECT_EQ(run(PixFmt::Rgba, 13), newMask);
}

TEST(Vignette, ConvertsOtherFormats) {
    const FramePtr result = Apply(SettingsEffectVignette(), MakeFrame(PixFmt::Yuva420p, 20, 14));
    EXPECT_EQ(PixFmtDescription::Get(result->GetPixFmt()).HasAlpha(), true);
    EXPECT_EQ(PixFmtDescription::Get(result->GetPixFmt()).kind, PixFmtDescription::Kind::Packed);
}

}  // namespace
}  // namespace Orvexa::Test
