// Threads for the stages of the grid graph.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace Orvexa::Proc::GridGraph {

/// Calls `work()` on `count` threads, or on the calling one if that is enough, and waits for them all. Where the system
/// refuses further threads, continues with fewer; throws if it refuses the first. The first exception of a thread is
/// passed on.
template <class Work>
void RunOnThreads(std::uint32_t count, Work&& work) {
    if (count == 1) return work();
    std::exception_ptr failure;
    std::once_flag hasFailed;
    {
        std::vector<std::jthread> threads;
        threads.reserve(count);
        while (threads.size() < count) {
            try {
                threads.emplace_back([&] {
                    try {
                        work();
                    } catch (...) {
                        std::call_once(hasFailed, [&] { failure = std::current_exception(); });
                    }
                });
            } catch (const std::system_error&) {
                if (threads.empty()) throw;
                break;
            }
        }
    }
    if (failure != nullptr) std::rethrow_exception(failure);
}

/// Calls `work(0)` to `work(parts - 1)`, each once, on up to `count` threads.
template <class Work>
void ShareOut(std::uint32_t count, std::uint32_t parts, Work&& work) {
    std::atomic<std::uint32_t> next{0};
    RunOnThreads(std::min(count, parts), [&] {
        for (std::uint32_t part; (part = next.fetch_add(1, std::memory_order_relaxed)) < parts;) work(part);
    });
}

}  // namespace Orvexa::Proc::GridGraph
