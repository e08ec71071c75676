#include "Host/Core/Threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace Orvexa::Test {
namespace {

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
