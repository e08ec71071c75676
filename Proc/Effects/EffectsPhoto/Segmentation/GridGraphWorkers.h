// Threads for the stages of the grid graph.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>

#include "Host/Core/Threads.h"

namespace Orvexa::Proc::GridGraph {

/// Calls `work(0)` to `work(parts - 1)`, each once, on up to `count` threads.
template <class Work>
void ShareOut(std::uint32_t count, std::uint32_t parts, Work&& work) {
    std::atomic<std::uint32_t> next{0};
    Core::RunOnThreads(std::min(count, parts), [&] {
        for (std::uint32_t part; (part = next.fetch_add(1, std::memory_order_relaxed)) < parts;) work(part);
    });
}

}  // namespace Orvexa::Proc::GridGraph
