// Bands of rows, for work that is distributed over threads.
#pragma once

#include <algorithm>

#include "Host/Core/Threads.h"

namespace Orvexa::Proc {

/// Splits `rows` rows into bands of at most `height` rows and calls `work(first, end)` for each. What a band writes
/// must not depend on another's.
template <class Work>
void ForEachBand(int rows, int height, Work&& work) {
    const int bands = (rows + height - 1) / height;
    Core::ParallelFor(static_cast<std::size_t>(bands), [&](std::size_t band) {
        const int first = static_cast<int>(band) * height;
        work(first, std::min(first + height, rows));
    });
}

}  // namespace Orvexa::Proc
