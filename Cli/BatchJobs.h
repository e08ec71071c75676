// Distributes the pictures of a batch to worker processes, within limits on their number and memory.
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "Cli/BatchBudget.h"
#include "Cli/BatchLedger.h"
#include "Cli/BatchWorker.h"

namespace Kalvatri {

/// A picture that is done or has failed, for whatever reason.
struct FinishedPicture {
    BatchReport report;
    FileStamp input;  ///< taken before reading, so that a later change is noticed
};

/// A worker processes many pictures. If one crashes it, only that picture fails, and another worker takes its place.
/// Everything happens in `Start` and `Wait`, on the caller's only thread.
class BatchJobs {
public:
    /// Will process those of `items` that are still open, at most `jobs` at a time; both references must outlive the
    /// object.
    BatchJobs(const BatchWork& work, const std::vector<BatchItem>& items, int jobs, std::uint64_t memory);
    BatchJobs(const BatchJobs&) = delete;
    BatchJobs& operator=(const BatchJobs&) = delete;
    /// Kills the workers, even if they are busy, and removes their incomplete files.
    ~BatchJobs();

    /// The pictures finished since the last call; waits briefly if there are none. Continues with fewer processes
    /// than asked for if the system has no more; throws `EffectException` if it has none at all.
    std::vector<FinishedPicture> Wait();

private:
    struct Job {
        int number;  // identifies it in the budget
        std::unique_ptr<WorkerProcess> process;
        bool isBusy = false;
        std::size_t picture = 0;
        FileStamp input;
        std::uint64_t requestedPixels = 0, grantedPixels = 0;
        double begin = 0;  // of the current picture, in seconds
    };

    void AssignOpenPictures();
    bool AddJob();
    bool Assign(Job& job);
    /// Whether the worker is still running.
    bool Serve(Job& job);
    void AnswerMemoryRequest(Job& job, std::uint64_t pixels);
    void SendGrants();
    void Finish(Job& job, BatchReport report);
    void Bury(Job& job);
    void RemoveIncompleteFile(const Job& job) const;

    const BatchWork& work_;
    const std::vector<BatchItem>& items_;
    MemoryBudget budget_;
    std::size_t maxJobs_;
    bool hasPeers_;
    int nextNumber_ = 0;
    std::deque<std::size_t> open_;
    std::vector<Job> jobs_;
    std::vector<FinishedPicture> finished_;
};

}  // namespace Kalvatri
