#include "Cli/BatchJobs.h"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "Cli/Errors.h"
#include "Host/Core/Exception.h"
#include "Host/Io/PendingFile.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

double Now() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

}  // namespace

BatchJobs::BatchJobs(const BatchWork& work, const std::vector<BatchItem>& items, int jobs, std::uint64_t memory)
    : work_(work), items_(items), budget_(memory) {
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (items[i].status == BatchStatus::Open) open_.push_back(i);
    }
    maxJobs_ = std::min(static_cast<std::size_t>(jobs), open_.size());
    hasPeers_ = maxJobs_ > 1;
}

BatchJobs::~BatchJobs() {
    for (const Job& job : jobs_) job.process->Kill();  // kill all before waiting for each
    for (Job& job : jobs_) {
        job.process.reset();
        RemoveIncompleteFile(job);
    }
}

std::vector<FinishedPicture> BatchJobs::Wait() {
    constexpr int kPatience = 100;  // milliseconds
    AssignOpenPictures();
    std::vector<pollfd> waiting;
    for (const Job& job : jobs_) waiting.push_back({job.process->GetChannel().GetDescriptor(), POLLIN, 0});
    if (poll(waiting.data(), waiting.size(), kPatience) > 0) {
        for (std::size_t i = 0; i < waiting.size(); ++i) {
            if (waiting[i].revents != 0 && !Serve(jobs_[i])) Bury(jobs_[i]);
        }
        std::erase_if(jobs_, [](const Job& job) { return job.process == nullptr; });
        SendGrants();
        AssignOpenPictures();
    }
    return std::exchange(finished_, {});
}

void BatchJobs::AssignOpenPictures() {
    for (Job& job : jobs_) {
        if (!job.isBusy && (open_.empty() || !Assign(job))) budget_.Release(job.number);
    }
    std::erase_if(jobs_, [](const Job& job) { return !job.isBusy; });
    while (!open_.empty() && jobs_.size() < maxJobs_ && AddJob()) {
    }
    SendGrants();
}

bool BatchJobs::AddJob() {
    Job job;
    job.number = nextNumber_++;
    try {
        job.process = std::make_unique<WorkerProcess>(
            [this](Channel& parent) { WorkOnPictures(parent, work_, items_, hasPeers_); }, work_.options.isVerbose);
    } catch (const Proc::EffectException&) {
        if (jobs_.empty()) throw;
        return false;
    }
    if (Assign(job)) jobs_.push_back(std::move(job));
    return true;
}

// False if the worker has ended; the picture then stays open.
bool BatchJobs::Assign(Job& job) {
    job.picture = open_.front();
    job.input = StampOf(items_[job.picture].input).value_or(FileStamp{});
    job.begin = Now();
    // The worker keeps its share for the next picture, which is likely to be no larger, unless another one needs it.
    if (budget_.IsAnyoneWaiting()) {
        budget_.Release(job.number);
        job.grantedPixels = 0;
    }
    job.process->ForgetOutput();
    if (!job.process->GetChannel().Send(ToMessage(Assignment{job.picture, job.grantedPixels}))) return false;
    open_.pop_front();
    job.isBusy = true;
    return true;
}

bool BatchJobs::Serve(Job& job) {
    Channel& channel = job.process->GetChannel();
    if (!channel.Read()) return false;
    while (const std::optional<Json> message = channel.Take()) {
        if (const auto pixels = AsMemoryRequest(*message)) {
            AnswerMemoryRequest(job, *pixels);
        } else {
            Finish(job, AsReport(*message));
        }
    }
    return true;
}

void BatchJobs::AnswerMemoryRequest(Job& job, std::uint64_t pixels) {
    job.requestedPixels = pixels;
    job.grantedPixels = 0;
    budget_.Request(job.number, EstimateMemory(work_.chain, pixels, work_.furtherPixels));
    SendGrants();
    if (job.grantedPixels == 0) job.process->GetChannel().Send(ToMemoryAnswer(false));
}

void BatchJobs::SendGrants() {
    for (const int number : budget_.TakeGranted()) {
        const auto job =
            std::find_if(jobs_.begin(), jobs_.end(), [&](const Job& candidate) { return candidate.number == number; });
        job->grantedPixels = job->requestedPixels;
        job->process->GetChannel().Send(ToMemoryAnswer(true));
    }
}

void BatchJobs::Finish(Job& job, BatchReport report) {
    job.isBusy = false;
    finished_.push_back({std::move(report), job.input});
}

void BatchJobs::Bury(Job& job) {
    const std::string end = job.process->WaitForEnd();
    job.process.reset();
    budget_.Release(job.number);
    if (!job.isBusy) return;
    RemoveIncompleteFile(job);
    const std::string& input = items_[job.picture].input;
    BatchReport report;
    report.picture = job.picture;
    report.error = CommandError(ExitCode::Failed, "working on " + input, "the process that did it was " + end).what();
    report.seconds = Now() - job.begin;
    Finish(job, std::move(report));
}

// Left behind by a process that was killed while writing.
void BatchJobs::RemoveIncompleteFile(const Job& job) const {
    if (!job.isBusy) return;
    const Core::ioPath output = work_.folder / items_[job.picture].outputName;
    std::error_code error;
    const Core::ioPath target =
        std::filesystem::is_symlink(output, error) ? std::filesystem::weakly_canonical(output, error) : output;
    Io::PendingFile::RemoveLeftOvers(target.parent_path(), {target.filename().string()});
}

}  // namespace Kalvatri
