// Worker processes for a program with many threads.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Cli/BatchProcess.h"

namespace Kalvatri {

/// A single-threaded process created while its parent was single-threaded, too: it can create further processes at
/// any time, and passes their channels to the parent. They all end with the parent.
class ProcessNursery {
public:
    struct Child {
        int number;
        std::unique_ptr<Channel> channel;
    };

    /// A child runs one of `works`. The caller must be single-threaded.
    ProcessNursery(std::vector<WorkerProcess::Work> works, bool isVerbose);
    ~ProcessNursery();
    ProcessNursery(const ProcessNursery&) = delete;
    ProcessNursery& operator=(const ProcessNursery&) = delete;

    /// A new child that runs works[work]. Throws `EffectException` if the system cannot create another process. This
    /// and `End` are thread safe.
    Child Start(std::size_t work);
    /// Ends a child, which may have ended already, and describes how it ended, as `WorkerProcess::WaitForEnd` does.
    std::string End(int number);

private:
    struct Descriptors {
        int parent, child;
    };
    static Descriptors MakeDescriptors();
    ProcessNursery(std::vector<WorkerProcess::Work> works, bool isVerbose, Descriptors descriptors);

    std::mutex mutex_;  // guards the members below
    const Descriptors descriptors_;
    WorkerProcess process_;
};

}  // namespace Kalvatri
