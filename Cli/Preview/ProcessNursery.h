// Worker processes for a program with many threads.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Cli/BatchProcess.h"

namespace Kalvatri {

/// A process that was made while its parent had one thread, and has one thread itself: it can make further processes at
/// any time, and hands their channels to the parent. They all end with the parent.
class ProcessNursery {
public:
    struct Child {
        int number;
        std::unique_ptr<Channel> channel;
    };

    /// What a child does is one of `works`. The caller must have no other thread.
    ProcessNursery(std::vector<WorkerProcess::Work> works, bool isVerbose);
    ~ProcessNursery();
    ProcessNursery(const ProcessNursery&) = delete;
    ProcessNursery& operator=(const ProcessNursery&) = delete;

    /// A new child for works[work]. Throws `EffectException` when the system gives no further process. This and `End`
    /// may be called by several threads.
    Child Start(std::size_t work);
    /// Ends a child, which may have ended by itself, and says how it ended, as `WorkerProcess::WaitForEnd` does.
    std::string End(int number);

private:
    struct Descriptors {
        int parent, child;
    };
    static Descriptors MakeDescriptors();
    ProcessNursery(std::vector<WorkerProcess::Work> works, bool isVerbose, Descriptors descriptors);

    std::mutex mutex_;  // guards what follows
    const Descriptors descriptors_;
    WorkerProcess process_;
};

}  // namespace Kalvatri
