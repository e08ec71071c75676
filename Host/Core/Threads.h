// How work is spread over threads.
#pragma once

#include <cstddef>
#include <functional>

namespace Orvexa::Core {

/// Sets how many threads one call into the host or the imaging libraries below it may use, 1 or more; without it, one per CPU. A program
/// that runs several effects side by side gives each call one thread. Results do not depend on it.
void SetLibraryThreads(int threads);

/// The number of threads that one call may use, at least 1.
int GetLibraryThreads();

/// Calls `body` with 0 .. count - 1, starting in this order, on up to `GetLibraryThreads()` threads, of which the calling thread is one;
/// returns when all calls have ended. Called from inside a `body`, it stays on the calling thread. When calls throw, no further ones start
/// and the exception of the lowest index is rethrown. Continues with fewer threads when the system has no more.
void ParallelFor(std::size_t count, const std::function<void(std::size_t)>& body);

}  // namespace Orvexa::Core
