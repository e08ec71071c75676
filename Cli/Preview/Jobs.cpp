#include "Cli/Preview/Jobs.h"

#include <poll.h>

#include <algorithm>
#include <utility>

#include "Cli/BatchBudget.h"
#include "Cli/BatchFurtherPictures.h"
#include "Cli/BatchJobs.h"
#include "Cli/BatchPart.h"
#include "Cli/BatchPlan.h"
#include "Cli/Chain.h"
#include "Cli/Errors.h"
#include "Cli/StopSignals.h"
#include "Host/Core/Threads.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

constexpr char kPhotos[] = "photos", kChain[] = "chain", kTarget[] = "target", kTemplate[] = "template",
               kQuality[] = "quality", kOverwriting[] = "overwriting", kState[] = "state", kDone[] = "done",
               kTotal[] = "total", kStage[] = "stage", kFile[] = "file", kFiles[] = "files", kNotes[] = "notes",
               kError[] = "error", kErrors[] = "errors";
constexpr char kRunning[] = "running", kFailed[] = "failed", kCancelled[] = "cancelled";

// A message may have been read together with the previous one.
bool HasMessage(Channel& channel) {
    pollfd waiting{channel.GetDescriptor(), POLLIN, 0};
    return channel.Take().has_value() || poll(&waiting, 1, 0) > 0;
}

// One job, in its own process.
class JobWork {
public:
    JobWork(Channel& parent, const PreviewWork& work, const Json& request)
        : parent_(parent), work_(work), request_(request), chain_(ParseChain(work.catalogue, request.at(kChain))) {
        const PreviewOptions& options = work.options;
        batch_.module = options.module;
        batch_.read = options.read;
        batch_.quality = request.at(kQuality);
        batch_.outputFolder = options.outputFolder;
        batch_.nameTemplate = request.at(kTemplate).get<std::string>();
        batch_.isForced = true;
        for (const Json& photo : request.at(kPhotos)) batch_.inputs.push_back(work.photos.at(photo.get<std::size_t>()));
    }

    void Run() {
        std::vector<BatchItem> items = Plan();
        BatchWork work{batch_, chain_, work_.factory, work_.pool, batch_.outputFolder, {}, 0};
        const StopSignals signals;
        ReadFurtherPictures(work, signals);
        std::size_t done = 0;
        for (const BatchItem& item : items) {
            if (item.status != BatchStatus::Open) Tell(++done, items, {{kError, item.error}});
        }
        const int threads = work_.options.threads > 0 ? work_.options.threads : Core::CountProcessors();
        BatchJobs jobs(work, items, threads, GetDefaultMemory());
        while (done < items.size()) {
            for (const FinishedPicture& picture : jobs.Wait()) {
                const BatchReport& report = picture.report;
                const BatchItem& item = items[report.picture];
                Json notes = Json::array();
                for (const std::string& note : report.inputNotes) notes.push_back(item.input + ": " + note);
                for (const std::string& note : report.outputNotes) notes.push_back(item.outputName + ": " + note);
                if (report.error.empty()) {
                    Tell(++done, items, {{kFile, item.outputName}, {kNotes, std::move(notes)}});
                } else {
                    Tell(++done, items, {{kError, report.error}});
                }
            }
            if (HasMessage(parent_)) return;  // a request to end, or the parent has ended
        }
    }

private:
    std::vector<BatchItem> Plan() {
        std::vector<BatchItem> items;
        const std::string target = request_.at(kTarget);
        if (!target.empty()) {
            BatchItem& item = items.emplace_back();
            item.input = batch_.inputs.front();
            item.outputName = target;
            item.format = Io::FindFormat(Core::ioPath(target).extension().string());
        } else {
            std::vector<Core::ioPath> others = GetFurtherFiles(chain_);
            others.insert(others.end(), work_.photos.begin(), work_.photos.end());
            items = PlanBatch(batch_, BatchPart(), others).items;
        }
        std::error_code ignored;
        for (BatchItem& item : items) {
            const Core::ioPath output = Core::ioPath(batch_.outputFolder) / item.outputName;
            if (item.status != BatchStatus::Open) continue;
            try {
                CheckFormat(chain_, item.format);
                if (!request_.at(kOverwriting).get<bool>() && std::filesystem::exists(output, ignored))
                    Throw("the file exists already");
            } catch (const Proc::EffectException& exception) {
                item.status = BatchStatus::Failed;
                item.error = ToLine("writing " + output.string() + ": " + Describe(exception));
            }
        }
        return items;
    }

    void Tell(std::size_t done, const std::vector<BatchItem>& items, Json news) {
        news[kDone] = done;
        news[kTotal] = items.size();
        parent_.Send(news);
    }

    Channel& parent_;
    const PreviewWork& work_;
    const Json& request_;
    const Chain chain_;
    BatchOptions batch_;
};

Json ToMessage(const JobRequest& request) {
    return {{kPhotos, request.photos},         {kChain, request.chain},     {kTarget, request.target},
            {kTemplate, request.nameTemplate}, {kQuality, request.quality}, {kOverwriting, request.isOverwriting}};
}

// Messages mention an upload's file; the page knows it by its name.
std::string WithNames(std::string text, const std::map<std::string, UploadPtr>& uploads) {
    for (const auto& [name, upload] : uploads) {
        const std::string path = upload->GetPath();
        for (std::size_t at = text.find(path); at != std::string::npos; at = text.find(path))
            text.replace(at, path.size(), name);
    }
    return text;
}

}  // namespace

void WorkOnJob(Channel& parent, const PreviewWork& work) {
    const std::optional<Json> request = parent.Receive();
    if (!request) return;
    try {
        WithContext("writing the results", [&] { JobWork(parent, work, *request).Run(); });
    } catch (const CommandError& error) {
        parent.Send({{kError, error.what()}});
    }
}

std::optional<std::uint64_t> Jobs::Start(const JobRequest& request, std::map<std::string, UploadPtr> uploads) {
    constexpr std::ptrdiff_t kMaxRunning = 4;
    const std::lock_guard lock(mutex_);
    const auto running =
        std::count_if(jobs_.begin(), jobs_.end(), [](const auto& any) { return any.second->isRunning; });
    if (isStopped_ || running >= kMaxRunning) return std::nullopt;
    Forget();
    auto job = std::make_unique<Job>();
    job->uploads = std::move(uploads);
    job->state = {{kState, kRunning},
                  {kDone, 0},
                  {kTotal, request.photos.size()},
                  {kStage, "working on the pictures"},
                  {kFiles, Json::array()},
                  {kNotes, Json::array()},
                  {kErrors, Json::array()}};
    job->child = nursery_.Start(work_);
    job->child.channel->Send(ToMessage(request));
    job->listener = std::thread([this, started = job.get()] { Listen(*started); });
    jobs_.emplace(++last_, std::move(job));
    return last_;
}

// Forgets the oldest jobs that have ended.
void Jobs::Forget() {
    constexpr std::size_t kKept = 100;
    for (auto job = jobs_.begin(); jobs_.size() > kKept && job != jobs_.end();) {
        if (job->second->isRunning) {
            ++job;
            continue;
        }
        job->second->listener.join();
        job = jobs_.erase(job);
    }
}

void Jobs::Listen(Job& job) {
    while (const std::optional<Json> news = job.child.channel->Receive()) {
        const std::lock_guard lock(mutex_);
        for (const char* const key : {kDone, kTotal}) {
            if (news->contains(key)) job.state[key] = news->at(key);
        }
        if (news->contains(kFile)) job.state[kFiles].push_back(news->at(kFile));
        if (news->contains(kError)) job.state[kErrors].push_back(WithNames(news->at(kError), job.uploads));
        if (!news->contains(kNotes)) continue;
        for (const Json& note : news->at(kNotes)) job.state[kNotes].push_back(WithNames(note, job.uploads));
    }
    const std::string how = nursery_.End(job.child.number);
    const std::lock_guard lock(mutex_);
    const bool isComplete = job.state[kDone] == job.state[kTotal];
    if (job.isCancelled && !isComplete) {
        job.state[kState] = kCancelled;
    } else {
        if (!isComplete && job.state[kErrors].empty())
            job.state[kErrors].push_back("the process that worked on it was " + how);
        job.state[kState] = job.state[kErrors].empty() ? "done" : kFailed;
    }
    job.state[kStage] = "";
    job.uploads.clear();
    job.isRunning = false;
}

Json Jobs::Describe(std::uint64_t number) const {
    const std::lock_guard lock(mutex_);
    const auto job = jobs_.find(number);
    return job == jobs_.end() ? Json() : job->second->state;
}

bool Jobs::Cancel(std::uint64_t number) {
    const std::lock_guard lock(mutex_);
    const auto job = jobs_.find(number);
    if (job == jobs_.end()) return false;
    if (!job->second->isRunning || std::exchange(job->second->isCancelled, true)) return true;
    job->second->child.channel->Send({{kCancelled, true}});
    return true;
}

void Jobs::Stop() {
    std::vector<std::uint64_t> numbers;
    {
        const std::lock_guard lock(mutex_);
        isStopped_ = true;
        for (const auto& [number, job] : jobs_) numbers.push_back(number);
    }
    for (const std::uint64_t number : numbers) Cancel(number);
    for (auto& [number, job] : jobs_) job->listener.join();
    jobs_.clear();
}

}  // namespace Kalvatri
