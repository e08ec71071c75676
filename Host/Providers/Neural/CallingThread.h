// Keeps OpenCV's work on the calling thread.
#pragma once

namespace Orvexa::Proc::Neural {

/// While an object lives, OpenCV works for this thread on this thread alone and sees no other. Layers divide their work
/// by the number of threads, and where a piece ends, sums are rounded in another order; so results would depend on it.
/// Other threads are not affected.
class OnCallingThread {
public:
    OnCallingThread();
    ~OnCallingThread();
    OnCallingThread(const OnCallingThread&) = delete;
    OnCallingThread& operator=(const OnCallingThread&) = delete;

private:
    const bool before_;
};

}  // namespace Orvexa::Proc::Neural
