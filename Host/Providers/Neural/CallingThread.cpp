#include "Host/Providers/Neural/CallingThread.h"

#include <memory>
#include <opencv2/core/parallel/backend/parallel_for.tbb.hpp>

namespace Orvexa::Proc::Neural {

namespace {

thread_local bool isOnCallingThread = false;

// As OpenCV is without it, but for the threads that want to stay alone. cv::setNumThreads would change the number for
// the whole process, under the feet of whatever other threads have in OpenCV.
class Backend : public cv::parallel::tbb::ParallelForBackend {
    using Base = cv::parallel::tbb::ParallelForBackend;

public:
    void parallel_for(int tasks, FN_parallel_for_body_cb_t body, void* data) override {
        if (isOnCallingThread) {
            body(0, tasks, data);
        } else {
            Base::parallel_for(tasks, body, data);
        }
    }
    int getThreadNum() const override { return isOnCallingThread ? 0 : Base::getThreadNum(); }
    int getNumThreads() const override { return isOnCallingThread ? 1 : Base::getNumThreads(); }
};

}  // namespace

OnCallingThread::OnCallingThread() : before_(isOnCallingThread) {
    [[maybe_unused]] static const bool isInstalled = [] {
        cv::parallel::setParallelForBackend(std::make_shared<Backend>());
        return true;
    }();
    isOnCallingThread = true;
}

OnCallingThread::~OnCallingThread() { isOnCallingThread = before_; }

}  // namespace Orvexa::Proc::Neural
