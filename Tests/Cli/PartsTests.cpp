// The parts of the program that count, name and tell.

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <map>

#include "Cli/BatchBudget.h"
#include "Cli/BatchNames.h"
#include "Cli/BatchProgress.h"
#include "Cli/ChainProgress.h"
#include "Cli/Errors.h"
#include "Host/Core/Exception.h"

namespace Orvexa::Test {

namespace {

using Kalvatri::BatchTotals;
using Kalvatri::MemoryBudget;
using Kalvatri::NameTemplate;
using Proc::EffectException;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

TEST(ToLine, MakesTextFitForATerminal) {
    const std::pair<std::string, std::string> cases[] = {
        {"plain \\ text", "plain \\ text"},
        {"two\r\nlines", "two  lines"},
        {"\x1b]0;title\a\t\x7f", "\\x1b]0;title\\x07\\x09\\x7f"},
        {std::string("a\0b", 3), "a\\x00b"},
        {"Gr\u00f6\u00dfe \u20ac \U0001f468\u200d\U0001f469", "Gr\u00f6\u00dfe \u20ac \U0001f468\u200d\U0001f469"},
        {"a\u009b31m \u202egnp.exe \u2028", "a\\u009b31m \\u202egnp.exe \\u2028"},
        // A byte that begins nothing, a cut character, an overlong one, a surrogate, one beyond Unicode.
        {"\x80 \xe2\x82 \xc0\xaf \xed\xa0\x80 \xf4\x90\x80\x80 \xff",
         "\\x80 \\xe2\\x82 \\xc0\\xaf \\xed\\xa0\\x80 \\xf4\\x90\\x80\\x80 \\xff"},
    };
    for (const auto& [text, line] : cases) {
        EXPECT_EQ(Kalvatri::ToLine(text), line);
        EXPECT_EQ(Kalvatri::ToLine(line), line);
    }
    for (const char* character : {"x", "\u00f6", "\u20ac", "\x1b"}) {
        std::string text = "beginning ";
        while (text.size() < 1000000) text += character;
        const std::string line = Kalvatri::ToLine(text + " end");
        EXPECT_THAT(line, StartsWith("beginning "));
        EXPECT_THAT(line, testing::EndsWith(" end"));
        EXPECT_THAT(line, testing::AllOf(HasSubstr(" bytes ...] "), testing::SizeIs(testing::Lt(20000u))));
        EXPECT_EQ(line.find("\\xc3") + line.find("\\xe2"), 2 * std::string::npos) << "cut between characters";
    }
}

TEST(Progress, FillsItsBar) {
    EXPECT_EQ(Kalvatri::FormatBar("Segmentation", 0, 100), "Segmentation [....................] 0 %");
    EXPECT_EQ(Kalvatri::FormatBar("Segmentation", 47, 100), "Segmentation [#########...........] 47 %");
    EXPECT_EQ(Kalvatri::FormatBar("x", 101, 100), "x [####################] 100 %") << "never more than all";
    EXPECT_EQ(Kalvatri::FormatBar("x", 3, 0), "x [....................] 0 %") << "before a total is known";
}

TEST(BatchProgress, TellsTimesInTheUnitsPeopleUse) {
    const std::pair<double, const char*> cases[] = {
        {-1, "0 s"},          {0.2, "1 s"},           {59, "59 s"},
        {59.5, "1 min 00 s"}, {200, "3 min 20 s"},    {3599.5, "1 h 00 min"},
        {7500, "2 h 05 min"}, {90000, "25 h 00 min"}, {std::nan(""), "0 s"}};
    for (const auto& [seconds, text] : cases) EXPECT_EQ(Kalvatri::FormatDuration(seconds), text);
    EXPECT_THAT(Kalvatri::FormatDuration(std::numeric_limits<double>::infinity()), MatchesRegex("[0-9]+ h [0-9]+ min"));
}

TEST(BatchProgress, DerivesTheSpeedFromWhatWasWorkedOn) {
    const std::pair<BatchTotals, const char*> cases[] = {
        {{.inputs = 9, .seconds = 5}, "0 of 9"},
        {{.inputs = 9, .skipped = 3, .failed = 1, .finishedAtStart = 4, .seconds = 5}, "4 of 9"},
        {{.inputs = 9, .done = 1}, "1 of 9"},
        {{.inputs = 100, .done = 10, .skipped = 30, .finishedAtStart = 30, .seconds = 4},
         "40 of 100, 2.5 files/s, 24 s left"},
        {{.inputs = 100, .done = 9, .failed = 1, .seconds = 0.5}, "10 of 100, 20 files/s, 5 s left"},
        {{.inputs = 3, .done = 1, .seconds = 80}, "1 of 3, 0.013 files/s, 2 min 40 s left"},
        {{.inputs = 2, .done = 2, .seconds = 1}, "2 of 2, 2.0 files/s, 0 s left"},
    };
    for (const auto& [totals, text] : cases) EXPECT_EQ(Kalvatri::FormatProgress(totals), text);
    EXPECT_EQ(Kalvatri::FormatSummary({.inputs = 1, .failed = 1, .seconds = 2}),
              "1 picture: 0 done, 0 skipped, 1 failed in 2 s");
    EXPECT_EQ(Kalvatri::FormatSummary({.inputs = 9, .skipped = 9, .existing = 2, .seconds = 0}),
              "9 pictures: 0 done, 9 skipped (2 exist already), 0 failed in 0 s");
}

TEST(BatchBudget, ReadsAmountsOfMemory) {
    const std::pair<const char*, std::uint64_t> good[] = {
        {"1", 1}, {"3k", 3 << 10}, {"512M", 512 << 20}, {"2G", std::uint64_t{2} << 30}, {"1T", std::uint64_t{1} << 40}};
    for (const auto& [text, bytes] : good) EXPECT_EQ(Kalvatri::ParseMemory(text), bytes) << text;
    for (const char* text :
         {"", "0", "0G", "G", "-1G", "1.5G", "1X", "1GB", " 1G", "99999999999999999999", "17179869184G"})
        EXPECT_THROW(Kalvatri::ParseMemory(text), EffectException) << text;
}

TEST(BatchBudget, IsGrantedInOrderAndExceededOnlyByOneThatIsAlone) {
    constexpr std::uint64_t kLimit = 100;
    constexpr int kWorkers = 5;
    MemoryBudget budget(kLimit);
    std::map<int, std::uint64_t> wishes, shares;
    std::vector<int> order;  // of those that wait
    std::size_t granted = 0, exceeding = 0;
    unsigned seed = 1;
    const auto draw = [&](unsigned end) { return ((seed = seed * 1103515245 + 12345) >> 16) % end; };
    for (int step = 0; step < 3000; ++step) {
        // Anybody with a share gives it back or asks for another; somebody who waits may have died.
        const int worker = static_cast<int>(draw(kWorkers));
        const bool isWaiting = wishes.contains(worker);
        if (isWaiting && draw(8) != 0) continue;
        std::erase(order, worker);
        wishes.erase(worker);
        shares.erase(worker);
        if (isWaiting || draw(3) == 0) {
            budget.Release(worker);
        } else {
            wishes[worker] = draw(130);  // some exceed the whole budget
            order.push_back(worker);
            budget.Request(worker, wishes[worker]);
        }
        for (const int next : budget.TakeGranted()) {
            ASSERT_EQ(next, order.front());
            order.erase(order.begin());
            shares[next] = wishes[next];
            wishes.erase(next);
            ++granted;
        }
        std::uint64_t taken = 0;
        for (const auto& [holder, bytes] : shares) taken += bytes;
        ASSERT_TRUE(taken <= kLimit || shares.size() == 1) << step;
        exceeding += taken > kLimit ? 1 : 0;
        ASSERT_EQ(budget.IsAnyoneWaiting(), !order.empty());
        ASSERT_TRUE(order.empty() || (!shares.empty() && taken + wishes[order.front()] > kLimit))
            << "one waits that would fit";
    }
    EXPECT_GT(granted, 500u);
    EXPECT_GT(exceeding, 0u);
}

TEST(BatchNames, FillsTheTemplate) {
    const NameTemplate::Values values{"photos/rome/a.b {n}.JPG", "JPG", 7, 120};
    const std::pair<const char*, const char*> good[] = {{"{stem}.{ext}", "a.b {n}.JPG"},
                                                        {"{stem}-web.{ext}", "a.b {n}-web.JPG"},
                                                        {"{folder}_{n}.webp", "rome_007.webp"},
                                                        {"{n}{stem}{n}", "007a.b {n}007"}};
    for (const auto& [text, name] : good) EXPECT_EQ(NameTemplate(text).Fill(values), name);
    for (const char* text :
         {"", "web.{ext}", "{stem", "{stem}}.jpg", "{}{stem}", "{Stem}.jpg", "{name}.jpg", "a/{stem}.jpg"})
        EXPECT_THROW(NameTemplate{text}, EffectException) << text;
}

}  // namespace

}  // namespace Orvexa::Test
