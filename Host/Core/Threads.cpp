#include "Host/Core/Threads.h"

#include <sched.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <limits>
#include <mutex>
#include <opencv2/core/utility.hpp>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace Orvexa::Core {

namespace {

std::atomic<int> libraryThreads = 0;  // 0 while nobody has set it

thread_local bool isInParallelFor = false;

class Loop {
public:
    Loop(std::size_t count, const std::function<void(std::size_t)>& body) : count_(count), body_(body) {}

    // Takes one index after another. Indices are handed out in ascending order and each call is run to its end, so
    // every index below a failed one has been tried, and which exception wins does not depend on the threads.
    void Work() {
        const bool wasInside = std::exchange(isInParallelFor, true);
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
        isInParallelFor = wasInside;
    }

    void Rethrow() const {
        if (failure_ != nullptr) std::rethrow_exception(failure_);
    }

private:
    const std::size_t count_;
    const std::function<void(std::size_t)>& body_;
    std::atomic<std::size_t> next_ = 0;
    std::mutex mutex_;  // guards what follows
    std::size_t failedIndex_ = std::numeric_limits<std::size_t>::max();
    std::exception_ptr failure_;
};

}  // namespace

int CountProcessors() {
    cpu_set_t set;
    if (sched_getaffinity(0, sizeof set, &set) == 0) return std::max(1, CPU_COUNT(&set));
    return std::max(
        1, static_cast<int>(std::thread::hardware_concurrency()));  // more processors than the set has room for
}

// The codecs and ImageMagick are held to one thread where they are started. OpenCV's scheduler complains on stderr when
// it is asked for more threads than there are processors.
void SetLibraryThreads(int threads) {
    libraryThreads = threads;
    cv::setNumThreads(std::min(threads, cv::getNumberOfCPUs()));
}

int GetLibraryThreads() {
    const int threads = libraryThreads;
    return threads > 0 ? threads : CountProcessors();
}

void ParallelFor(std::size_t count, const std::function<void(std::size_t)>& body) {
    Loop loop(count, body);
    {
        std::vector<std::jthread> helpers;
        const std::size_t wanted = isInParallelFor ? 1 : std::min(count, static_cast<std::size_t>(GetLibraryThreads()));
        try {
            while (helpers.size() + 1 < wanted) helpers.emplace_back([&loop] { loop.Work(); });
        } catch (const std::system_error&) {
            // The threads that there are do the work.
        }
        loop.Work();
    }
    loop.Rethrow();
}

}  // namespace Orvexa::Core
