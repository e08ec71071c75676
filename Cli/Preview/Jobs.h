// Results that are written in the background: one picture, or a whole batch.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Cli/Preview/PreviewWork.h"
#include "Cli/Preview/ProcessNursery.h"
#include "Cli/Preview/Uploads.h"
#include "Cli/SettingsJson.h"
#include "Host/Io/ImageFiles.h"

namespace Kalvatri {

struct JobRequest {
    std::vector<std::size_t> photos;
    Json chain;                ///< as in a settings file, with file names
    std::string target;        ///< name of a single result, or
    std::string nameTemplate;  ///< for many results
    int quality = Orvexa::Io::WriteOptions().quality;
    bool isOverwriting = false;
};

/// The main function of a process that runs one job, using the batch's machinery.
void WorkOnJob(Channel& parent, const PreviewWork& work);

/// Thread safe.
class Jobs {
public:
    /// `work` is the index of the jobs' work in the nursery, which must outlive the object.
    Jobs(ProcessNursery& nursery, std::size_t work) : nursery_(nursery), work_(work) {}
    ~Jobs() { Stop(); }
    Jobs(const Jobs&) = delete;
    Jobs& operator=(const Jobs&) = delete;

    /// Starts a job and returns its number; none if too many are running. `uploads` are the uploaded pictures that its
    /// chain uses, by name; messages mention these names instead of files.
    std::optional<std::uint64_t> Start(const JobRequest& request, std::map<std::string, UploadPtr> uploads);
    /// The job's state and progress; null if there is no such job.
    Json Describe(std::uint64_t number) const;
    /// False if there is no such job.
    bool Cancel(std::uint64_t number);
    /// Cancels all jobs and waits for them to end.
    void Stop();

private:
    struct Job {
        std::map<std::string, UploadPtr> uploads;
        ProcessNursery::Child child;
        Json state;
        bool isCancelled = false, isRunning = true;
        std::thread listener;
    };
    void Listen(Job& job);
    void Forget();

    ProcessNursery& nursery_;
    const std::size_t work_;
    mutable std::mutex mutex_;  // guards the members below
    bool isStopped_ = false;
    std::uint64_t last_ = 0;
    std::map<std::uint64_t, std::unique_ptr<Job>> jobs_;
};

}  // namespace Kalvatri
