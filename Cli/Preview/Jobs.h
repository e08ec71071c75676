// Results that are written while the page goes on: one picture, or the whole batch.
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
    Json chain;                ///< as in a settings file, with the names of files
    std::string target;        ///< name of the one result, or
    std::string nameTemplate;  ///< of many
    int quality = Orvexa::Io::WriteOptions().quality;
    bool isOverwriting = false;
};

/// The life of a process that works on one job, by the means of a batch.
void WorkOnJob(Channel& parent, const PreviewWork& work);

/// Safe to use from several threads.
class Jobs {
public:
    /// `work` is the processes' work in the nursery, which must outlive the object.
    Jobs(ProcessNursery& nursery, std::size_t work) : nursery_(nursery), work_(work) {}
    ~Jobs() { Stop(); }
    Jobs(const Jobs&) = delete;
    Jobs& operator=(const Jobs&) = delete;

    /// Starts a job and returns its number; none when too many are running. `uploads` are what its chain uses, whose
    /// names are given with their files.
    std::optional<std::uint64_t> Start(const JobRequest& request, std::map<std::string, UploadPtr> uploads);
    /// How far it is, null if there is no such job.
    Json Describe(std::uint64_t number) const;
    /// False if there is no such job.
    bool Cancel(std::uint64_t number);
    /// Cancels all and waits for their ends.
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
    mutable std::mutex mutex_;  // guards what follows
    bool isStopped_ = false;
    std::uint64_t last_ = 0;
    std::map<std::uint64_t, std::unique_ptr<Job>> jobs_;
};

}  // namespace Kalvatri
