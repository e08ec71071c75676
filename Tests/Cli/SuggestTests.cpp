// kalvatri suggest, with networks whose answers follow from the picture's mean level.

#include "Tests/Cli/Fixtures.h"
#include "Tests/Support/TestModels.h"

namespace Orvexa::Test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// All adjustments are proposed at a quarter, which brightens. `score` makes the score of a mean level; `horizon` is
// above one half where there is one, 4 degrees off.
class Suggest : public Program {
protected:
    static std::string Patch(const std::string& score, double horizon) {
        return R"({"types": {"0": {"scale": [0, 0, 0], "outputOffset": 0.25}, "1": {"outputScale": 0, "outputOffset": 4},
                   "6": {"outputScale": 0, "outputOffset": )" +
               std::to_string(horizon) + R"(}, "7": )" + score + "}}";
    }
    Outcome Run(const Models& models, const Words& words = {}) const {
        return RunKalvatri(Words{"suggest", picture_, "--models", models.GetRoot().string()} + words);
    }
    static std::vector<std::string> EffectsOf(const Json& chain) {
        std::vector<std::string> names;
        for (const Json& step : chain) names.push_back(step["effect"]);
        return names;
    }

    const std::string picture_ = Make("grey.png", MakeFrame(PixFmt::Rgb24, 60, 40, Color(100, 90, 80)));
    const std::string brighterIsBetter_ = R"({"outputScale": 1, "outputOffset": 0})",
                      darkerIsBetter_ = R"({"outputScale": -1, "outputOffset": 300})",
                      brighterIsHardlyBetter_ = R"({"outputScale": 0.01, "outputOffset": 300})";
};

TEST_F(Suggest, ProposesWhatRaisesTheScore) {
    const Models models(Patch(brighterIsBetter_, 0));
    const Outcome outcome = Run(models);
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("grey.png: score 87.500 before, "), HasSubstr(" after\n")));
    const Json chain = Json::parse(outcome.out);
    EXPECT_EQ(chain, Json::parse(R"([{"effect": "Vibrance", "strength": 20},
                                     {"effect": "BalanceLuma", "shadows": 25, "highlights": 35},
                                     {"effect": "ColorBalanceAuto", "exposure": 7},
                                     {"effect": "ColorBalance", "brightness": 15, "contrast": 15}])"));

    const Json report = Json::parse(Run(models, {"--json", "-o", folder_.File("recipe.json")}).out);
    EXPECT_EQ(report["chain"], chain);
    EXPECT_EQ(report["scoreBefore"], 87.5);
    EXPECT_EQ(report["horizonDetected"], false);
    const FileBytes recipe = ReadFile(folder_.File("recipe.json"));
    EXPECT_EQ(std::string(recipe.begin(), recipe.end()), outcome.out);
    // The score is that of the picture which the recipe makes, blue weighing one half.
    const Outcome applied = RunKalvatri(
        {"apply", "-q", "-i", picture_, "-o", folder_.File("out.png"), "--settings", folder_.File("recipe.json")});
    ASSERT_EQ(applied.exitCode, 0) << applied.err;
    const FramePtr result = Read("out.png");
    const std::uint8_t* const pixel = std::as_const(*result).GetPlane(0).GetRow(0);
    EXPECT_NEAR(report["scoreAfter"].get<double>(), 0.25 * pixel[0] + 0.25 * pixel[1] + 0.5 * pixel[2], 1e-3);
    EXPECT_GT(report["scoreAfter"], 100);
}

TEST_F(Suggest, ProposesNothingThatDoesNotRaiseTheScore) {
    for (const std::string& score : {darkerIsBetter_, brighterIsHardlyBetter_}) {
        const Models models(Patch(score, 0));
        const Outcome outcome = Run(models);
        ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
        EXPECT_THAT(outcome.err, HasSubstr("nothing to suggest")) << score;
        EXPECT_THAT(EffectsOf(Json::parse(outcome.out)), ElementsAre("EmptyEffect"))
            << "a recipe that runs all the same";
        const Json report = Json::parse(Run(models, {"--json"}).out);
        EXPECT_THAT(report["chain"], IsEmpty());
        EXPECT_EQ(report["scoreBefore"], report["scoreAfter"]);
    }
}

TEST_F(Suggest, LevelsFirst) {
    const Json report = Json::parse(Run(Models(Patch(brighterIsBetter_, 1)), {"--json", "-q"}).out);
    EXPECT_EQ(report["angle"], 4);
    EXPECT_EQ(report["chain"][0], Json::parse(R"({"effect": "Rotate", "angle": -4.0, "outputSizeMode": "inscribed"})"));
    EXPECT_EQ(report["chain"].size(), 5u);
}

TEST_F(Suggest, SaysWhatIsMissing) {
    const Models models("{}");
    const std::tuple<Words, int, std::string> cases[] = {
        {{"suggest"}, 2, "the picture is missing"},
        {{"suggest", folder_.File("none.png")}, 1, "reading " + folder_.File("none.png")},
        {{"suggest", picture_, "--models", folder_.File("nowhere")}, 1, folder_.File("nowhere")},
        {{"suggest", picture_, picture_}, 2, picture_},
    };
    for (const auto& [words, exitCode, expected] : cases) {
        const Outcome outcome = RunKalvatri(words);
        EXPECT_EQ(outcome.exitCode, exitCode);
        EXPECT_THAT(outcome.err, HasSubstr(expected));
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1);
    }
}

}  // namespace
}  // namespace Orvexa::Test
