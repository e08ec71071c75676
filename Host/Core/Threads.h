// How work is spread over threads.
#pragma once

#include <cstddef>
#include <functional>

namespace Orvexa::Core {

/// The processors that this process may run on, 1 or more.
int CountProcessors();

/// Sets how many threads one call of an effect may use, 1 or more: the imaging libraries' and those that effects start
/// themselves. Without it, one a processor. A program that runs several effects side by side gives each call one
/// thread. Results do not depend on it.
void SetLibraryThreads(int threads);
/// The number of threads that one call of an effect may use, its caller's included.
int GetLibraryThreads();

/// Calls `work` once on each of up to `count` threads, of which the calling thread is one, and returns when all calls
/// have ended; the first exception is rethrown then. Continues with fewer threads when the system has no more.
void RunOnThreads(std::size_t count, const std::function<void()>& work);

/// Calls `body` with 0 .. count - 1, starting in this order, on up to `GetLibraryThreads()` threads, of which the
/// calling thread is one; returns when all calls have ended. Called from inside a `body`, it stays on the calling
/// thread, and so does OpenCV. When calls throw, no further ones start and the exception of the lowest index is
/// rethrown. Continues with fewer threads when the system has no more.
void ParallelFor(std::size_t count, const std::function<void(std::size_t)>& body);

/// While an object lives, loops that its thread runs, OpenCV's included, stay on this thread and see no other. For
/// OpenCV's neural networks: their layers divide their work by the number of threads, and where a piece ends, sums are
/// rounded in another order.
class OnCallingThread {
public:
    OnCallingThread();
    ~OnCallingThread();
    OnCallingThread(const OnCallingThread&) = delete;
    OnCallingThread& operator=(const OnCallingThread&) = delete;

private:
    const bool before_;
};

}  // namespace Orvexa::Core
