// JSON from outside, and threads.

#include <gmock/gmock.h>

#include <sched.h>
#include <atomic>
#include <chrono>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Host/Core/Json.h"
#include "Host/Core/Threads.h"
#include "Tests/Support/Messages.h"
#include "Tests/Support/TempFolder.h"

namespace Orvexa::Test {
namespace {

using testing::HasSubstr;

std::string Nested(std::size_t levels, const std::string& opening, const std::string& closing) {
    std::string text;
    for (std::size_t i = 0; i < levels; ++i) text += opening;
    text += "1";
    for (std::size_t i = 0; i < levels; ++i) text += closing;
    return text;
}

std::string ManyMembers(std::size_t count) {
    std::string text = "{";
    for (std::size_t i = 0; i < count; ++i) text += (i > 0 ? ",\"" : "\"") + std::to_string(i) + "\":0";
    return text + "}";
}

TEST(Json, IsTakenWithinLimitsOnly) {
    constexpr std::size_t kDepth = Core::kMaxJsonDepth, kMembers = Core::kMaxJsonMembers;
    const std::pair<std::string, std::string> cases[] = {
        {Nested(kDepth, "[", "]"), "nothing"},
        {Nested(kDepth + 1, "[", "]"), "more than 64 deep"},
        {Nested(100000, "[", "]"), "more than 64 deep"},
        {Nested(100000, "{\"a\":[", "]}"), "more than 64 deep"},
        {std::string(100000, '['), "more than 64 deep"},
        {ManyMembers(kMembers), "nothing"},
        {ManyMembers(kMembers + 1), "more than 4096 members"},
        {R"({"a": {"a": 1}, "b": {"a": 2}})", "nothing"},
        {R"([{"a": 1}, {"a": 2}])", "nothing"},
        {R"({"a": {"b": 1, "b": 1}})", "the key \"b\" is given twice in one object"},
        {R"({"a": {}, "b": [{}], "a": 1})", "the key \"a\" is given twice in one object"},
        {"[1e308, 1e-999]", "nothing"},
        {"[-1e999]", "the number '-1e999' is too large"},
        {"[1", "parse error at line 1, column 3"},
        {"\"\xff\"", "invalid string"},
        {"", "parse error"},
    };
    for (const auto& [text, complaint] : cases)
        EXPECT_THAT(MessageOf([&, &json = text] { Core::ParseJson(json); }), HasSubstr(complaint))
            << text.substr(0, 80);
    EXPECT_EQ(Core::ParseJson(R"({"z": [1, -2.5, "\u00e9", null], "a": true})").dump(),
              R"({"z":[1,-2.5,"é",null],"a":true})");
}

TEST(Json, IsReadFromFilesOfModestSize) {
    const TempFolder folder;
    WriteFile(folder.File("good.json"), std::string("[1]"));
    const auto complaint = [](const std::string& file) {
        return MessageOf([&] { Core::ReadJsonText(Core::ioPath(file)); });
    };
    EXPECT_EQ(Core::ReadJsonText(Core::ioPath(folder.File("good.json"))), "[1]");
    EXPECT_EQ(complaint(folder.File("none.json")), "No such file or directory");
    EXPECT_EQ(complaint(folder.GetPath()), "it is a folder, not a JSON file");
    EXPECT_EQ(complaint("/dev/zero"), "it is larger than 4 MiB");
    std::istringstream largest(std::string(Core::kMaxJsonBytes, ' '));
    EXPECT_EQ(Core::ReadJsonText(largest).size(), Core::kMaxJsonBytes);
}

TEST(Threads, AreAsManyAsTheProcessorsThatTheProcessMayUse) {
    cpu_set_t all, one;
    ASSERT_EQ(sched_getaffinity(0, sizeof all, &all), 0);
    int processor = 0;
    while (!CPU_ISSET(processor, &all)) ++processor;
    CPU_ZERO(&one);
    CPU_SET(processor, &one);
    EXPECT_EQ(Core::CountProcessors(), CPU_COUNT(&all));
    ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
    EXPECT_EQ(Core::CountProcessors(), 1);
    EXPECT_EQ(sched_setaffinity(0, sizeof all, &all), 0);
}

class ParallelFor : public testing::TestWithParam<int> {
protected:
    ParallelFor() { Core::SetLibraryThreads(GetParam()); }
    ~ParallelFor() override { Core::SetLibraryThreads(before_); }

private:
    const int before_ = Core::GetLibraryThreads();
};

TEST_P(ParallelFor, CallsEveryIndexOnceAndAsManyAtATimeAsThereAreThreads) {
    std::vector<std::atomic<int>> calls(1000);
    Core::ParallelFor(calls.size(), [&](std::size_t i) { ++calls[i]; });
    for (const std::atomic<int>& count : calls) ASSERT_EQ(count, 1);
    Core::ParallelFor(0, [](std::size_t) { FAIL(); });

    // Each waits for the others, but not for ever.
    std::atomic<int> waiting = 0;
    Core::ParallelFor(static_cast<std::size_t>(GetParam()), [&](std::size_t) {
        const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        for (++waiting; waiting < GetParam() && std::chrono::steady_clock::now() < patience;) std::this_thread::yield();
    });
    EXPECT_EQ(waiting, GetParam());
}

TEST_P(ParallelFor, StaysOnItsThreadInsideAnother) {
    std::atomic<int> others = 0;
    Core::ParallelFor(8, [&](std::size_t) {
        const auto outer = std::this_thread::get_id();
        Core::ParallelFor(8, [&](std::size_t) { others += std::this_thread::get_id() != outer; });
    });
    EXPECT_EQ(others, 0);
}

TEST_P(ParallelFor, RethrowsTheFailureOfTheLowestIndexAndStartsNoMore) {
    for (int run = 0; run < 50; ++run) {
        std::atomic<std::size_t> calls = 0;
        try {
            Core::ParallelFor(100'000, [&](std::size_t i) {
                ++calls;
                if (i >= 30 && i % 2 == 1) throw std::runtime_error(std::to_string(i));
            });
            FAIL();
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "31");
        }
        EXPECT_LT(calls, 100'000u);
    }
}

INSTANTIATE_TEST_SUITE_P(Threads, ParallelFor, testing::Values(1, 4));

}  // namespace
}  // namespace Orvexa::Test
