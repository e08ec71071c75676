// What a preview knows of effects, and the parts that it computes with.

#include <gmock/gmock.h>

#include "Cli/ChainRunner.h"
#include "Cli/Errors.h"
#include "Cli/Preview/EffectTraits.h"
#include "Cli/Preview/PageChain.h"
#include "Cli/Preview/ReducedChain.h"
#include "Tests/Cli/Preview/Cut.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {

namespace {

using Kalvatri::Catalogue;
using Kalvatri::Chain;
using Kalvatri::ChainPoint;
using Kalvatri::ChainRunner;
using Kalvatri::CommandError;
using Kalvatri::EffectEntry;
using Kalvatri::EffectTraits;
using Kalvatri::Json;
using testing::HasSubstr;

const Catalogue& TestCatalogue() {
    static const Catalogue catalogue(*ModuleFactory());
    return catalogue;
}

FramePtr RunChain(const Chain& chain, FramePtr picture) {
    return ChainRunner(ModuleFactory(), chain, {}).Run({std::move(picture)}).front();
}

// Settings of each effect beside its defaults, for those with a margin.
Json VariationsOf(const std::string& effect) {
    static const Json variations = Json::parse(R"({
        "BalanceLuma": [{"shadows": 60, "highlights": -30, "exposure": 20}, {"autoContrast": true}],
        "BiColorToning": [{"shadowColor": "#ff0000", "highlightColor": "#00ff80"}],
        "BlackWhite": [{"threshold": 0.3, "colorBelow": "#102030"}],
        "ColoredGlass": [{"alpha": 70, "color": "#3060c0"}],
        "Gradient": [{"stops": {"0": "#000000", "100": "#ff0000", "256": "#ffffff"}}],
        "TintTemperature": [{"temperature": 40, "tint": -20}],
        "WhiteBalance": [{"color": "#c8b496"}],
        "Blur": [{"devX": 3, "devY": 3}, {"devX": 0.7, "devY": 5.5, "kernelLength": 2}],
        "ColorBalance": [{"brightness": 20, "contrast": 40, "saturation": -50, "gamma": 30}],
        "Grayscale": [{"method": "lightness"}],
        "Morphology": [{"operation": "open", "size": 3, "iterations": 2}, {"operation": "erode", "kernel": "ellipse"}],
        "OilPaint": [{"radius": 1}, {"radius": 4.5}],
        "SplitToning": [{"balance": -60}],
        "Vibrance": [{"strength": 80}]})");
    return variations.value(effect, Json::array());
}

// A part with its margin holds all that decides on the part of the result, to the byte.
TEST(EffectTraits, GiveMarginsThatAreWideEnough) {
    constexpr std::uint32_t kWidth = 331, kHeight = 257, kX = 137, kY = 101, kSide = 48;
    int withMargin = 0;
    for (const EffectEntry& entry : TestCatalogue().GetEntries()) {
        Json settings = VariationsOf(entry.GetName());
        settings.push_back(Json::object());
        for (Json step : settings) {
            step["effect"] = entry.GetName();
            if (entry.IsCppOnly()) continue;
            SCOPED_TRACE(step.dump());
            const Chain chain = ParseChain(TestCatalogue(), Json::array({step}));
            for (const PixFmt pixFmt : {PixFmt::Rgb24, PixFmt::Rgba, PixFmt::Gray8}) {
                const std::optional<int> margin = Kalvatri::GetMargin(chain, pixFmt != PixFmt::Rgba);
                if (!margin) continue;
                ++withMargin;
                const FramePtr picture = MakeFrame(pixFmt, kWidth, kHeight);
                const auto reach = static_cast<std::uint32_t>(*margin);
                // Corners as the renderer aligns them.
                const std::uint32_t left = (kX - std::min(kX, reach)) / 16 * 16,
                                    top = (kY - std::min(kY, reach)) / 16 * 16;
                const std::uint32_t right = std::min(kWidth, (kX + kSide + reach + 15) / 16 * 16),
                                    bottom = std::min(kHeight, (kY + kSide + reach + 15) / 16 * 16);
                const FramePtr whole = RunChain(chain, CloneFrame(*picture, kCloneCopy));
                const FramePtr part = RunChain(chain, Cut(picture, left, top, right - left, bottom - top));
                EXPECT_TRUE(SameFrames(Cut(part, kX - left, kY - top, kSide, kSide), Cut(whole, kX, kY, kSide, kSide)));
            }
        }
    }
    EXPECT_GT(withMargin, 60);
}

TEST(EffectTraits, AreThereForEveryEffect) {
    for (const EffectEntry& entry : TestCatalogue().GetEntries())
        EXPECT_TRUE(Kalvatri::HasTraits(entry)) << entry.GetName() << " needs a row in EffectTraits.cpp";
}

TEST(ChainPoint, IsWhereTheSameRunGoesOn) {
    const FramePtr photo = MakeFrame(PixFmt::Rgb24, 96, 64);
    const Json json = Json::parse(R"([{"effect": "Vignette"}, {"effect": "FaceThinning"}, {"effect": "BlackWhite"},
        {"effect": "Original"}, {"effect": "RemoveBackground"}, {"effect": "ColoredGlass"}])");
    const Chain chain = ParseChain(TestCatalogue(), json);
    std::vector<ChainPoint> points;
    ChainRunner whole(ModuleFactory(), chain, {}, {},
                      {"", false, 0, [&](const ChainPoint& point) { points.push_back(point); }});
    const FramePtr expected = whole.Run({photo}).front();
    ASSERT_EQ(points.size(), chain.size());
    for (const ChainPoint& point : points) {
        ChainRunner rest(ModuleFactory(), chain, {}, {}, {"", false, point.stepsDone});
        EXPECT_TRUE(SameFrames(rest.Resume(point, photo).front(), expected)) << point.stepsDone;
        EXPECT_EQ(rest.GetNotes(), whole.GetNotes());
        EXPECT_EQ(rest.GetFindings(), whole.GetFindings());
    }
    EXPECT_THAT(whole.GetNotes(), testing::Not(testing::IsEmpty())) << "no face was found";
}

TEST(ReducedChain, ScalesWhatIsMeasuredInPixelsOfThePhotograph) {
    const Json chain = Json::parse(R"([
        {"effect": "DirectionalAreaDeformation", "fromX": 401, "toY": -30, "size": 1},
        {"effect": "Blur", "devX": 6.5, "kernelLength": 4},
        {"effect": "EdgeRemove", "rect": [10, 21, 0, 400], "toX": 3},
        {"effect": "Crop", "x": "12.5%", "width": 101, "height": "rest"},
        {"effect": "Resize", "fit": "2001x1500"},
        {"effect": "BlurBokeh", "size": 0.2},
        {"effect": "FaceThinning", "strength": 0.25, "outline": [[100, 201], [110, 301], [90, 50]]},
        {"effect": "FaceMask", "face": 2}])");
    const Json expected = Json::parse(R"([
        {"effect": "DirectionalAreaDeformation", "fromX": 201, "fromY": 80, "toX": 140, "toY": -15, "size": 1},
        {"effect": "Blur", "devX": 3.25, "kernelLength": 4},
        {"effect": "EdgeRemove", "rect": [5, 11, 0, 200], "toX": 2, "radius": 5},
        {"effect": "Crop", "x": "12.5%", "width": 51},
        {"effect": "Resize", "fit": "1001x750"},
        {"effect": "BlurBokeh", "size": 0.2},
        {"effect": "FaceThinning", "strength": 0.25, "outline": [[50, 101], [55, 151], [45, 25]]},
        {"effect": "FaceMask", "face": 2}])");
    const Chain reduced = Kalvatri::MakeReducedChain(TestCatalogue(), chain, 0.5);
    const Chain wanted = ParseChain(TestCatalogue(), expected);
    // As full settings: which of them differ from the defaults does not matter.
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        EXPECT_EQ(Kalvatri::SettingsToJson(*reduced[i].settings), Kalvatri::SettingsToJson(*wanted[i].settings));
        EXPECT_EQ(reduced[i].faces.number, wanted[i].faces.number);
    }
    EXPECT_EQ(ChainToJson(Kalvatri::MakeReducedChain(TestCatalogue(), chain, 1.0)),
              ChainToJson(ParseChain(TestCatalogue(), chain)));
}

TEST(ReducedChain, LeavesNothingWithoutEffect) {
    const Json chain = Json::parse(
        R"([{"effect": "DirectionalAreaDeformation", "fromX": 1, "fromY": 0, "toX": -1, "toY": 40, "size": 8}])");
    const Json expected = Json::parse(
        R"([{"effect": "DirectionalAreaDeformation", "fromX": 1, "fromY": 0, "toX": -1, "toY": 4, "size": 1}])");
    EXPECT_EQ(Kalvatri::SettingsToJson(*Kalvatri::MakeReducedChain(TestCatalogue(), chain, 0.1)[0].settings),
              Kalvatri::SettingsToJson(*ParseChain(TestCatalogue(), expected)[0].settings));
}

TEST(PageChain, NamesNoFiles) {
    const std::pair<const char*, const char*> bad[] = {
        {R"([{"effect": "Segmentation", "with": "/etc/passwd"}])", "neither upload:N nor photo:N"},
        {R"([{"effect": "Segmentation", "with": "upload:1/../x"}])", "neither upload:N nor photo:N"},
        {R"([{"effect": "Segmentation", "with": "upload:"}])", "neither upload:N nor photo:N"},
        {R"([{"effect": "DeepDenoiser", "modelsRoot": "/etc"}])", "cannot choose folders"},
        {R"([{"effect": "FaceThinning", "faces": "/etc/passwd"}])", "not as a file"},
        {R"([{"effect": "FaceThinning", "face": "faces.json"}])", "not as a file"},
        {R"([{"effect": "Segmentation"}])", "second picture"},
        {R"({"effect": "Vignette"})", "array of objects"},
        {R"([{"effect": "Custom"}])", "C++ function"},
    };
    for (const auto& [json, reason] : bad) {
        SCOPED_TRACE(json);
        try {
            Kalvatri::ParsePageChain(TestCatalogue(), Json::parse(json));
            ADD_FAILURE() << "was taken";
        } catch (const CommandError& error) {
            EXPECT_THAT(error.what(), HasSubstr(reason));
            EXPECT_EQ(error.GetExitCode(), Kalvatri::ExitCode::WrongUsage);
        }
    }
    EXPECT_THROW(Kalvatri::ParsePageChain(TestCatalogue(),
                                          Json(std::vector<Json>(65, Json::parse(R"({"effect": "EmptyEffect"})")))),
                 CommandError);
    const char good[] = R"([{"effect": "Segmentation", "with": "upload:12"}, {"effect": "FaceThinning", "face": 1,
                            "faces": []}, {"effect": "Compose", "with": ["photo:0"]}])";
    const Chain chain = Kalvatri::ParsePageChain(TestCatalogue(), Json::parse(good));
    EXPECT_EQ(Kalvatri::GetPictureNames(chain), (std::vector<std::string>{"upload:12", "photo:0"}));
}

TEST(PageChain, TakesPlainNamesOfFilesOnly) {
    for (const char* name : {"", "a/b.png", "/etc/x.png", "..", "../a.png", ".hidden.png", "a\nb.png", "a{}.png"})
        EXPECT_THROW(Kalvatri::CheckTarget(name), CommandError) << name;
    EXPECT_THROW(Kalvatri::CheckTarget(std::string(300, 'a') + ".png"), CommandError);
    for (const char* name : {"a.png", "a b'c.png", "-x.png", "\u00f6.png", "a..b.png"})
        EXPECT_NO_THROW(Kalvatri::CheckTarget(name)) << name;
}

}  // namespace

}  // namespace Orvexa::Test
