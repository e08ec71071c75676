// A batch divided into parts, as for several machines.

#include "Tests/Cli/Fixtures.h"

namespace Orvexa::Test {

namespace {

using testing::HasSubstr;
using testing::IsEmpty;

class BatchParts : public Batch {
protected:
    static constexpr int kParts = 4;

    static bool IsLedger(const std::string& name) { return name.starts_with(".kalvatri-batch."); }
    Words Part(int number, const Words& options = {}) const {
        return Command(Words{"--part", std::to_string(number) + "/" + std::to_string(kParts)} + options);
    }
    // The results, without ledgers.
    static std::map<std::string, FileBytes> Results(const std::filesystem::path& folder) {
        auto results = Contents(folder);
        std::erase_if(results, [](const auto& file) { return IsLedger(file.first); });
        return results;
    }
    // Which part each picture falls into; each into one.
    std::map<std::string, int> Places() const {
        std::map<std::string, int> places;
        for (int number = 1; number <= kParts; ++number) {
            for (const auto& [name, status] : Statuses(Part(number, {"--json", "--dry-run"})))
                EXPECT_TRUE(places.emplace(name, number).second) << name << " twice";
        }
        return places;
    }
};

TEST_F(BatchParts, TogetherAreOneBatch) {
    for (int i = 0; i < 40; ++i) Make("picture" + std::to_string(i) + ".png", 20 + static_cast<std::uint32_t>(i));
    ASSERT_EQ(RunKalvatri(To("whole") + Words{"-q", "--name", "{n}-{stem}.png", in_.string()} + chain_).exitCode, 0);
    for (int number = kParts; number >= 1; --number) {
        const Outcome outcome = RunKalvatri(Part(number, {"-q", "--name", "{n}-{stem}.png"}));
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        EXPECT_THAT(outcome.err, IsEmpty());
    }
    EXPECT_TRUE(Results(out_) == Results(folder_.File("whole")));
    std::map<int, int> sizes;
    const std::map<std::string, int> before = Places();
    for (const auto& [name, number] : before) ++sizes[number];
    EXPECT_EQ(before.size(), 40u);
    EXPECT_EQ(sizes.size(), std::size_t{kParts}) << "no part without pictures";

    // All records count for everybody, so that a run of everything finds nothing to do.
    for (const auto& [name, status] : Statuses(Command({"--json", "--name", "{n}-{stem}.png"})))
        EXPECT_EQ(status, "skipped") << name;

    for (int i = 40; i < 50; ++i) Make("picture" + std::to_string(i) + ".png");
    const std::map<std::string, int> after = Places();
    for (const auto& [name, number] : before) EXPECT_EQ(after.at(name), number) << name;
}

// What a later run of everything has made from another chain is not taken for a part's own.
TEST_F(BatchParts, TrustTheLatestRecord) {
    Make("a.png");
    const int number = Places().at("a.png");
    const Words other = To("out") + Words{"-q", in_.string(), "--", "EmptyEffect"};
    ASSERT_EQ(RunKalvatri(Part(number)).exitCode, 0);
    const auto first = Results(out_);
    ASSERT_EQ(RunKalvatri(other).exitCode, 0);
    EXPECT_EQ(Statuses(Part(number, {"--json"})).at("a.png"), "done");
    EXPECT_TRUE(Results(out_) == first);
}

TEST_F(BatchParts, AreRefusedWhereTheyCannotEndWell) {
    const std::string good = Make("good.png");
    for (const char* part : {"0/0", "0/8", "9/8", "3", "1/0", "-1/8", "1/2/3", "a/b", "1/1000000"}) {
        const Outcome outcome = RunKalvatri(Command({"--part", part}));
        EXPECT_EQ(outcome.exitCode, 2) << part;
        EXPECT_THAT(outcome.err, HasSubstr("--part: \"" + std::string(part) + "\" is not a part; 3/8"));
    }
    // A part that waits at a pipe, so that it is running for certain.
    const std::string pipe = MakePipe("pipe.png");
    const auto run = [&](int part, const Words& options = {}) {
        return To("out") + Words{"--part", std::to_string(part) + "/4"} + options + Words{pipe, good} + chain_;
    };
    int number = 1;
    while (Statuses(run(number, {"--json", "--dry-run"})).count("pipe.png") == 0) ++number;
    const int sibling = number % kParts + 1;
    KalvatriProcess process(run(number));
    const std::string ledger = ".kalvatri-batch." + std::to_string(number) + "-of-" + std::to_string(kParts) + ".jsonl";
    WaitUntil(process, [&] { return std::filesystem::exists(out_ / ledger) && ReadFile(out_ / ledger).size() > 10; });
    const std::string otherChain = "another chain or other options is being written into this folder";
    const std::pair<Words, std::string> cases[] = {
        {run(number), "part " + std::to_string(number) + "/4 of a batch is being written into this folder already"},
        {run(sibling, {"--quality", "50"}), "part " + std::to_string(number) + "/4 of a batch with " + otherChain},
        {To("out") + Words{pipe, good} + chain_, "another batch is writing into this folder"},
    };
    for (const auto& [words, text] : cases) {
        const Outcome outcome = RunKalvatri(words);
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_THAT(outcome.err, HasSubstr(text));
    }
    EXPECT_EQ(RunKalvatri(run(sibling)).exitCode, 0) << "parts run side by side";
    process.Send(SIGKILL);
    process.Wait();
    const Outcome later = RunKalvatri(run(sibling, {"--quality", "50"}));
    EXPECT_EQ(later.exitCode, 0);
    EXPECT_THAT(later.err, HasSubstr("another chain or of other options by part " + std::to_string(number) + "/4"));
}

}  // namespace

}  // namespace Orvexa::Test
