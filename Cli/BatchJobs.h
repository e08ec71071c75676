// Gives the pictures of a batch to worker processes, so many at a time and within the memory that they may take.
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "Cli/BatchBudget.h"
#include "Cli/BatchLedger.h"
#include "Cli/BatchWorker.h"

namespace Kalvatri {

/// A picture that is done or has failed, for whichever reason.
struct FinishedPicture {
    BatchReport report;
    FileStamp input;  ///< taken before reading, so that a change in the meantime shows later
};

/// A worker serves for many pictures. One that is ended by a picture fails that picture alone, and another takes its
/// place. Everything happens in `Start` and `Wait`, on the caller's only thread.
class BatchJobs {
public:
    /// Will work on the open ones of `items`, at most `jobs` at a time; both references must outlive the object.
    BatchJobs(const BatchWork& work, const std::vector<BatchItem>& items, int jobs, std::uint64_t memory);
    BatchJobs(const BatchJobs&) = delete;
    BatchJobs& operator=(const BatchJobs&) = delete;
    /// Ends the workers in the middle of what they do and removes their incomplete files.
    ~BatchJobs();

    /// What has been finished since the last call; waits a little when there is nothing. Fewer processes than asked for
    /// take longer, that is all; `EffectException` tells that the system gives none.
    std::vector<FinishedPicture> Wait();

private:
    struct Job {
        int number;  // tells it apart in the budget
        std::unique_ptr<WorkerProcess> process;
        bool isBusy = false;
        std::size_t picture = 0;
        FileStamp input;
        std::uint64_t requestedPixels = 0, grantedPixels = 0;
        double begin = 0;  // of the present picture, in seconds
    };

    void AssignOpenPictures();
    bool AddJob();
    bool Assign(Job& job);
    /// Whether the worker is still there.
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
