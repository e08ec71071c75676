// Chains: from words and JSON to settings, and through effects of every kind.

#include "Cli/Chain.h"

#include <gmock/gmock.h>

#include "Cli/BatchBudget.h"
#include "Cli/ChainProgress.h"
#include "Cli/ChainRunner.h"
#include "Cli/Errors.h"
#include "Host/Core/Threads.h"
#include "Tests/Cli/ChainEffects.h"
#include "Tests/Support/Progress.h"

namespace Orvexa::Test {

using Kalvatri::Catalogue;
using Kalvatri::Chain;
using Kalvatri::ChainRunner;
using Kalvatri::CommandError;
using Kalvatri::ExitCode;
using Kalvatri::Json;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

FramePtr Row(const std::vector<int>& samples) {
    return MakeFrame(PixFmt::Gray8, static_cast<std::uint32_t>(samples.size()), 1, samples);
}

using Samples = std::vector<std::uint8_t>;

class Chains : public testing::Test {
protected:
    // The samples of the pictures that the chain gives; a `with` file is a picture of the one sample that is its name.
    std::vector<Samples> RunWords(const std::vector<std::string>& words, std::vector<FramePtr> pictures) const {
        const Chain chain = Kalvatri::ParseChain(catalogue_, words);
        Kalvatri::CheckPictures(chain, pictures.size());
        ChainRunner runner(factory_, chain, [](const Core::ioPath& file) { return Row({std::stoi(file.string())}); });
        std::vector<Samples> results;
        for (const FramePtr& picture : runner.Run(std::move(pictures))) results.push_back(Bytes(*picture));
        return results;
    }
    std::string ErrorOf(const std::vector<std::string>& words, std::vector<FramePtr> pictures,
                        ExitCode expected) const {
        try {
            RunWords(words, std::move(pictures));
        } catch (const CommandError& error) {
            EXPECT_EQ(error.GetExitCode(), expected);
            return error.what();
        }
        return "no error";
    }
    SettingsTestTone ToneOf(const std::string& json) const {
        return static_cast<const SettingsTestTone&>(
            *Kalvatri::ParseChain(catalogue_, Kalvatri::ParseJson(json)).at(0).settings);
    }

    FactoryPtr factory_ = TestFactory();
    Catalogue catalogue_{*factory_};
};

TEST_F(Chains, RunStepsOfEveryKind) {
    EXPECT_THAT(RunWords({"TestTone", "level=5", "testtone", "level=-1"}, {Row({10, 20})}),
                ElementsAre(Samples{14, 24}));
    EXPECT_THAT(RunWords({"TestOver", "with=7", "TestTone"}, {Row({10, 20})}), ElementsAre(Samples{8, 21}));
    EXPECT_THAT(RunWords({"TestBeside", "with=7", "with=8"}, {Row({1}), Row({2, 3})}),
                ElementsAre(Samples{8, 7, 2, 3, 1}));
    // A step for one picture runs on each of many, and one for many takes them all.
    EXPECT_THAT(RunWords({"TestColumns", "TestTone", "level=1"}, {Row({10, 20, 30})}),
                ElementsAre(Samples{11}, Samples{21}, Samples{31}));
    EXPECT_THAT(RunWords({"TestColumns", "TestOver", "with=9", "TestBeside"}, {Row({10, 20})}),
                ElementsAre(Samples{9, 9}));
    EXPECT_THAT(RunWords({"TestColumns", "TestBeside"}, {Row({10, 20, 30})}), ElementsAre(Samples{30, 20, 10}));
    // The first picture as it was, before the present one; the host's own steps run like effects.
    EXPECT_THAT(RunWords({"TestTone", "level=5", "Original", "TestBeside"}, {Row({1, 2})}),
                ElementsAre(Samples{6, 7, 1, 2}));
    EXPECT_THAT(RunWords({"Crop", "x=1", "width=1", "TestTone", "level=5"}, {Row({1, 2, 3})}), ElementsAre(Samples{7}));
}

class ThreadCount {
public:
    explicit ThreadCount(int threads) { Core::SetLibraryThreads(threads); }
    ~ThreadCount() { Core::SetLibraryThreads(before_); }

private:
    const int before_ = Core::GetLibraryThreads();
};

TEST_F(Chains, GiveEveryPictureEffectsOfItsOwnAndKeepSharedPixelsShared) {
    std::vector<int> columns(50);
    for (std::size_t i = 0; i < columns.size(); ++i) columns[i] = static_cast<int>(2 * i);
    for (const int threads : {1, 4}) {
        const ThreadCount count(threads);
        std::vector<FramePtr> pictures;
        pictures.push_back(Row(columns));  // nobody but the chain holds the picture
        const auto results = RunWords({"TestColumns", "TestSeen"}, std::move(pictures));
        EXPECT_THAT(results, testing::AllOf(testing::SizeIs(columns.size()), testing::Each(Samples{101})));
    }
}

TEST_F(Chains, TellTheFirstPicturesErrorAndSumTheCounters) {
    const ThreadCount count(4);
    EXPECT_THAT(ErrorOf({"TestColumns", "TestPicky"}, {Row({2, 4, 6, 7, 8, 9, 11, 13})}, ExitCode::Failed),
                HasSubstr("running TestPicky: odd 7"));
    const Chain chain = Kalvatri::ParseChain(
        catalogue_, std::vector<std::string>{"TestColumns", "TestPicky", "TestBeside", "TestTone"});
    ChainRunner runner(factory_, chain, {});
    const auto counts = [&] {
        std::vector<std::string> texts;
        for (const Json& step : runner.GetStatistics()) {
            for (const Json& child : step["statistics"]["children"]) {
                if (child["name"] == "count") texts.push_back(child["value"]);
            }
        }
        return texts;
    };
    EXPECT_THAT(counts(), ElementsAre("0", "0", "0", "0"));
    runner.Run({Row({2, 4, 6})});
    EXPECT_THAT(counts(), ElementsAre("1", "3", "1", "1"));
    runner.Run({Row({2})});
    EXPECT_THAT(counts(), ElementsAre("2", "4", "2", "2"));
}

TEST_F(Chains, EstimateTheMemoryOfTheHungriestStepAtTheLargestSize) {
    const auto estimate = [&](const std::vector<std::string>& words, std::uint64_t pixels, std::uint64_t further) {
        return Kalvatri::EstimateMemory(Kalvatri::ParseChain(catalogue_, words), pixels, further);
    };
    constexpr std::uint64_t kMillion = 1'000'000;
    const std::uint64_t base = estimate({"TestTone"}, 0, 0);
    EXPECT_GE(base, 45 * kMillion) << "the program itself";
    EXPECT_GE(estimate({"TestTone"}, kMillion, 0) - base, 8 * kMillion);
    EXPECT_EQ(estimate({"TestTone", "TestHungry", "pixels=1", "TestTone"}, kMillion, 0) - base, 50 * kMillion);
    EXPECT_EQ(estimate({"TestHungry", "pixels=3000000"}, kMillion, 0) - base, 150 * kMillion);
    EXPECT_EQ(estimate({"TestHungry", "pixels=1000000", "TestTone", "TestHungry", "pixels=1"}, 10, 0) - base,
              50 * kMillion);
    EXPECT_GE(estimate({"TestTone"}, kMillion, kMillion), estimate({"TestTone"}, kMillion, 0) + 4 * kMillion);
}

TEST_F(Chains, CountThePicturesThatAStepIsGiven) {
    const FramePtr picture = Row({1});
    EXPECT_THAT(ErrorOf({"TestOver"}, {picture}, ExitCode::WrongUsage),
                HasSubstr("takes a second picture, given once as with=FILE"));
    EXPECT_THAT(ErrorOf({"TestOver", "with=1", "with=2"}, {picture}, ExitCode::WrongUsage), HasSubstr("given once"));
    EXPECT_THAT(ErrorOf({"TestTone", "with=1"}, {picture}, ExitCode::WrongUsage), HasSubstr("takes one picture"));
    EXPECT_THAT(ErrorOf({"TestOver", "with="}, {picture}, ExitCode::WrongUsage), HasSubstr("needs the name of a file"));
    EXPECT_THAT(ErrorOf({"TestTone"}, {picture, picture}, ExitCode::WrongUsage), HasSubstr("takes one -i"));
    EXPECT_THAT(ErrorOf({"TestNothing"}, {picture}, ExitCode::Failed), HasSubstr("the effect gave no picture"));
}

TEST_F(Chains, TakeSettingsFromJsonByWayOfTheirTexts) {
    SettingsTestTone expected;
    expected.SetLevel(-40);
    expected.SetGain(0.25);
    expected.SetSoft(true);
    expected.SetMode(4);
    expected.SetTint(Color(0xaa, 0xbb, 0xcc));
    expected.SetTitle("a=b, c");
    expected.SetTaps({1, 2, 3});
    expected.SetStops({{0, Color(0, 0, 0)}, {128, Color(255, 0, 0)}});
    expected.GetInner().SetDepth(7);
    const std::string json =
        R"([{"effect": "testTONE", "level": -40, "gain": 0.25, "soft": true, "mode": "rich", "tint": "#aabbcc",
        "title": "a=b, c", "taps": [1, 2, 3], "stops": {"0": "#000000", "128": "#ff0000"}, "inner": {"depth": 7}}])";
    EXPECT_EQ(ToneOf(json), expected);
    EXPECT_EQ(ToneOf(R"([{"effect": "TestTone", "inner.depth": 7}])").GetInner().GetDepth(), 7);

    Json back = Kalvatri::SettingsToJson(expected);
    EXPECT_EQ(back.dump(),
              R"({"level":-40,"gain":0.25,"soft":true,"mode":"rich","tint":"#aabbcc","title":"a=b, c","taps":[1,2,3],)"
              R"("stops":"0:#000000,128:#ff0000","inner":{"depth":7}})");
    back["effect"] = "TestTone";
    EXPECT_EQ(ToneOf(Json::array({back}).dump()), expected);
}

TEST_F(Chains, AreWrittenDownWithWhatDiffersFromTheStart) {
    const std::vector<std::string> words = {"testtone",   "level=1",         "gain=0.25", "inner.depth=7",
                                            "title=",     "stops=3:#ff0000", "TestOver",  "with=7",
                                            "TestBeside", "with=8",          "with=9",    "TestTone"};
    const Json json = Kalvatri::ChainToJson(Kalvatri::ParseChain(catalogue_, words));
    EXPECT_EQ(json.dump(),
              R"([{"effect":"TestTone","gain":0.25,"stops":"3:#ff0000","inner":{"depth":7}},)"
              R"({"effect":"TestOver","with":["7"]},{"effect":"TestBeside","with":["8","9"]},{"effect":"TestTone"}])");
    EXPECT_EQ(Kalvatri::ChainToJson(Kalvatri::ParseChain(catalogue_, json)), json);
}

TEST_F(Chains, SayWhatIsWrongWithJson) {
    const std::pair<const char*, const char*> cases[] = {
        {R"({"effect": "TestTone"})", "array of objects"},
        {R"([{"effect": "TestTon"}])", "did you mean TestTone?"},
        {R"([{"effect": "TestTone", "levle": 1}])", "did you mean level?"},
        {R"([{"effect": "TestTone", "inner": {"depth": 1}, "inner.depth": 2}])", "inner.depth: is given twice"},
        {R"([{"effect": "TestTone", "level": null}])", "instead of null"},
        {R"([{"effect": "TestTone", "taps": [[1]]}])", "instead of [1]"},
        {R"([{"effect": "TestOver", "with": 7}])", "\"with\" takes the name of a file"},
    };
    for (const auto& [json, reason] : cases) {
        try {
            Kalvatri::WithContext("parsing", ExitCode::WrongUsage,
                                  [&, text = json] { Kalvatri::ParseChain(catalogue_, Kalvatri::ParseJson(text)); });
            ADD_FAILURE() << json;
        } catch (const CommandError& error) {
            EXPECT_EQ(error.GetExitCode(), ExitCode::WrongUsage);
            EXPECT_THAT(error.what(), HasSubstr(reason)) << json;
        }
    }
}

TEST_F(Chains, TellTheirStagesAndCanBeCancelled) {
    const Chain chain =
        Kalvatri::ParseChain(catalogue_, std::vector<std::string>{"TestTone", "TestBeside", "TestTone"});
    const auto progress = Core::MakeRefCounted<TestProgress>();
    ChainRunner runner(factory_, chain, {}, progress);
    runner.Run({Row({1})});
    EXPECT_THAT(progress->stages, ElementsAre("TestTone", "TestBeside", "TestTone", "end"));
    progress->Clear();
    progress->cancelAfterStages = 1;
    EXPECT_THROW(runner.Run({Row({1})}), CommandError);
    EXPECT_THAT(progress->stages, ElementsAre("TestTone", "TestBeside"));
}

TEST_F(Chains, ShowPicturesThatGoSideBySideOnOneBar) {
    const ThreadCount count(4);
    const Chain chain =
        Kalvatri::ParseChain(catalogue_, std::vector<std::string>{"TestColumns", "TestPicky", "TestTone", "level=2"});
    const auto progress = Core::MakeRefCounted<TestProgress>();
    ChainRunner runner(factory_, chain, {}, progress);
    runner.Run({Row({2, 4, 6})});
    EXPECT_THAT(progress->stages, ElementsAre("TestColumns", "TestPicky, TestTone", "end"));
    EXPECT_GT(progress->total, 0u);
    EXPECT_EQ(progress->steps, progress->total) << "though the effect does three of ten steps";

    progress->Clear();
    progress->cancelAfterStages = 1;
    EXPECT_THROW(runner.Run({Row({2, 4, 6})}), CommandError);

    const Kalvatri::SharedProgress shared(progress, 1, 2);
    const auto part = shared.MakePart();
    progress->steps = 0;
    const auto doneAfter = [&](const auto& act) {
        act();
        return progress->steps * 20 / progress->total;
    };
    EXPECT_EQ(doneAfter([&] { part->SetTotal(10), part->Step(5); }), 5u) << "half of the first of two steps";
    EXPECT_EQ(doneAfter([&] { part->SetTotal(10), part->Step(2); }), 5u) << "never goes back";
    EXPECT_EQ(doneAfter([&] { part->Step(20); }), 10u) << "never more than the step";
    EXPECT_EQ(doneAfter([&] { part->FinishStep(), part->FinishStep(); }), 20u);
}

}  // namespace

}  // namespace Orvexa::Test
