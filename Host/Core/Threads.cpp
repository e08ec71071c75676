#include "Host/Core/Threads.h"

#include <sched.h>

#include <algorithm>
#include <atomic>
#include <opencv2/core/utility.hpp>
#include <thread>

namespace Orvexa::Core {

namespace {

std::atomic<int> libraryThreads = 0;  // 0 while nobody has set it

}  // namespace

int CountProcessors() {
    cpu_set_t set;
    if (sched_getaffinity(0, sizeof set, &set) == 0) return std::max(1, CPU_COUNT(&set));
    return std::max(1, static_cast<int>(std::thread::hardware_concurrency()));  // more processors than the set has room for
}

// The codecs and ImageMagick are held to one thread where they are started.
void SetLibraryThreads(int threads) {
    libraryThreads = threads;
    cv::setNumThreads(threads);
}

int GetLibraryThreads() {
    const int threads = libraryThreads;
    return threads > 0 ? threads : CountProcessors();
}

}  // namespace Orvexa::Core
