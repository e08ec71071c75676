// Distributes work over threads.
#pragma once

#include <cstddef>
#include <functional>

namespace Orvexa::Core {

/// The number of processors available to this process, 1 or more.
int CountProcessors();

/// Sets the number of threads that one call of an effect may use, 1 or more, including threads of the imaging libraries
/// and those that effects start themselves. Default: one per processor. A program that runs several effects in parallel
/// gives each call one thread. Results do not depend on it.
void SetLibraryThreads(int threads);
/// The number of threads that one call of an effect may use, including its caller's.
int GetLibraryThreads();

/// Calls `work` once on each of up to `count` threads, including the calling thread, and returns when all calls have
/// ended; then rethrows the first exception. Continues with fewer threads if the system has no more.
void RunOnThreads(std::size_t count, const std::function<void()>& work);

/// Calls `body` with 0 .. count - 1, starting in this order, on up to `GetLibraryThreads()` threads, including the
/// calling thread; returns when all calls have ended. If called from inside a `body`, it stays on the calling thread,
/// and so does OpenCV. If a call throws, no further ones start, and the exception of the lowest index is rethrown.
/// Continues with fewer threads if the system has no more.
void ParallelFor(std::size_t count, const std::function<void(std::size_t)>& body);

/// During an object's lifetime, loops run by its thread, including OpenCV's, stay on this thread and see no other. For
/// OpenCV's neural networks: their layers divide their work by the number of threads, and the order in which sums are
/// rounded depends on where the pieces end.
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
