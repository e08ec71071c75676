#include "Host/Core/Threads.h"

#include <sched.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <limits>
#include <memory>
#include <mutex>
#include <opencv2/core/parallel/parallel_backend.hpp>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace Orvexa::Core {

namespace {

std::atomic<int> libraryThreads = 0;  // 0 until set

thread_local bool staysAlone = false;

class Loop {
public:
    Loop(std::size_t count, const std::function<void(std::size_t)>& body) : count_(count), body_(body) {}

    // Takes one index after another. Indices are handed out in ascending order and each call runs to its end, so every
    // index below a failed one has been tried, and which exception is rethrown does not depend on the threads.
    void Work() {
        const OnCallingThread alone;
        for (std::size_t index = next_++; index < count_; index = next_++) {
            try {
                body_(index);
            } catch (...) {
                next_ = count_;
                const std::lock_guard lock(mutex_);
                if (index < failedIndex_) {
                    failedIndex_ = index;
                    failure_ = std::current_exception();
                }
            }
        }
    }

    void Rethrow() const {
        if (failure_ != nullptr) std::rethrow_exception(failure_);
    }

private:
    const std::size_t count_;
    const std::function<void(std::size_t)>& body_;
    std::atomic<std::size_t> next_ = 0;
    std::mutex mutex_;  // guards the members below
    std::size_t failedIndex_ = std::numeric_limits<std::size_t>::max();
    std::exception_ptr failure_;
};

// Runs OpenCV's loops on this system's threads instead of OpenCV's own scheduler: a single thread count applies to
// both, and a loop restricted to its thread stays there. cv::setNumThreads would apply to the whole process.
class OpenCvLoops : public cv::parallel::ParallelForAPI {
public:
    void parallel_for(int tasks, FN_parallel_for_body_cb_t body, void* data) override {
        const int threads = std::min(tasks, getNumThreads());
        if (threads <= 1) {
            body(0, tasks, data);
            return;
        }
        const int piece = std::max(1, tasks / (kPiecesPerThread * threads));
        std::atomic<int> nextThread = 0, nextTask = 0;
        RunOnThreads(static_cast<std::size_t>(threads), [&] {
            const OnCallingThread alone;
            const int numberBefore = std::exchange(threadNumber_, nextThread++);
            for (int first; (first = nextTask.fetch_add(piece)) < tasks;)
                body(first, std::min(first + piece, tasks), data);  // the body itself catches exceptions
            threadNumber_ = numberBefore;
        });
    }
    int getThreadNum() const override { return threadNumber_; }
    int getNumThreads() const override { return staysAlone ? 1 : GetLibraryThreads(); }
    int setNumThreads(int) override { return getNumThreads(); }
    const char* getName() const override { return "kalvatri"; }

private:
    static constexpr int kPiecesPerThread = 4;  // so that threads finish at about the same time
    static inline thread_local int threadNumber_ = 0;
};

void TakeOverOpenCvLoops() {
    [[maybe_unused]] static const bool isDone = [] {
        cv::parallel::setParallelForBackend(std::make_shared<OpenCvLoops>(), false);
        return true;
    }();
}

}  // namespace

int CountProcessors() {
    cpu_set_t set;
    if (sched_getaffinity(0, sizeof set, &set) == 0) return std::max(1, CPU_COUNT(&set));
    return std::max(1, static_cast<int>(std::thread::hardware_concurrency()));  // more processors than the set can hold
}

// The codecs and ImageMagick are limited to one thread where they are initialised.
void SetLibraryThreads(int threads) {
    libraryThreads = threads;
    TakeOverOpenCvLoops();
}

int GetLibraryThreads() {
    const int threads = libraryThreads;
    return threads > 0 ? threads : CountProcessors();
}

void RunOnThreads(std::size_t count, const std::function<void()>& work) {
    std::exception_ptr failure;
    std::once_flag hasFailed;
    const auto run = [&] {
        try {
            work();
        } catch (...) {
            std::call_once(hasFailed, [&] { failure = std::current_exception(); });
        }
    };
    {
        std::vector<std::jthread> helpers;
        try {
            while (helpers.size() + 1 < count) helpers.emplace_back(run);
        } catch (const std::system_error&) {
            // The existing threads do the work.
        }
        run();
    }
    if (failure != nullptr) std::rethrow_exception(failure);
}

void ParallelFor(std::size_t count, const std::function<void(std::size_t)>& body) {
    if (count == 1) return body(0);
    Loop loop(count, body);
    RunOnThreads(staysAlone ? 1 : std::min(count, static_cast<std::size_t>(GetLibraryThreads())), [&] { loop.Work(); });
    loop.Rethrow();
}

OnCallingThread::OnCallingThread() : before_(std::exchange(staysAlone, true)) { TakeOverOpenCvLoops(); }
OnCallingThread::~OnCallingThread() { staysAlone = before_; }

}  // namespace Orvexa::Core
