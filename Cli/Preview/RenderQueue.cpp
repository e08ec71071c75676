#include "Cli/Preview/RenderQueue.h"

#include <algorithm>
#include <utility>

#include "Cli/Errors.h"
#include "Cli/Preview/HttpStatus.h"

namespace Kalvatri {

using namespace Orvexa;
using Clock = std::chrono::steady_clock;

namespace {

constexpr std::size_t kMaxRequests = 48;
constexpr int kMaxAttempts = 2;
constexpr std::chrono::seconds kPatience{2};

WorkerAnswer ErrorAnswer(int status, const std::string& text) { return {0, status, {{"error", ToLine(text)}}, {}}; }

}  // namespace

RenderQueue::RenderQueue(ProcessNursery& nursery, std::size_t work) : nursery_(nursery), work_(work) {}

WorkerAnswer RenderQueue::Ask(Lane lane, const char* kind, Json message, const RequestSequence& sequence) {
    std::unique_lock lock(mutex_);
    if (isStopped_) return ErrorAnswer(HttpStatus::kBusy, "the preview is ending");
    const auto request = std::make_shared<Request>();
    request->id = ++lastId_;
    request->lane = lane;
    request->message = std::move(message);
    request->message["id"] = request->id;
    request->message["lane"] = static_cast<int>(lane);
    request->message["kind"] = kind;
    request->sequence = sequence;
    CancelOlder(*request);
    if (requests_.size() >= kMaxRequests)
        return ErrorAnswer(HttpStatus::kBusy, "too many requests are waiting; try again in a moment");
    requests_.push_back(request);
    Dispatch();
    changed_.wait(lock, [&] { return request->isAnswered; });
    return std::move(request->answer);
}

void RenderQueue::CancelOlder(const Request& newer) {
    if (newer.sequence.client.empty()) return;
    const std::list<RequestPtr> all = requests_;
    for (const RequestPtr& request : all) {
        const bool isOlder = request->sequence.client == newer.sequence.client && request->lane == newer.lane &&
                             request->sequence.number < newer.sequence.number;
        if (!isOlder || request->isAnswered) continue;
        if (request->isRunning) {
            lanes_[static_cast<std::size_t>(request->lane)].cancelled = Clock::now();
            channel_->Send({{"cancel", request->id}});
        }
        Finish(*request, ErrorAnswer(HttpStatus::kOutdated, "a newer request took its place"));
    }
}

// Answers the waiting thread. A lane stays busy until the worker reports otherwise.
void RenderQueue::Finish(Request& request, WorkerAnswer answer) {
    request.answer = std::move(answer);
    request.isAnswered = true;
    requests_.remove_if([&](const RequestPtr& any) { return any.get() == &request; });
    changed_.notify_all();
}

void RenderQueue::Dispatch() {
    for (LaneState& lane : lanes_) {
        if (lane.running != nullptr) continue;
        const auto next = std::find_if(requests_.begin(), requests_.end(), [&](const RequestPtr& request) {
            return !request->isRunning && &lanes_[static_cast<std::size_t>(request->lane)] == &lane;
        });
        if (next == requests_.end()) continue;
        if (!EnsureWorker()) return;
        lane.running = *next;
        lane.cancelled = {};
        lane.running->isRunning = true;
        ++lane.running->attempts;
        channel_->Send(lane.running->message);
    }
}

bool RenderQueue::EnsureWorker() {
    if (worker_ != 0) return true;
    try {
        ProcessNursery::Child child = nursery_.Start(work_);
        worker_ = child.number;
        channel_ = std::move(child.channel);
        listeners_.emplace_back([this, channel = channel_, number = worker_] { Listen(channel, number); });
        return true;
    } catch (const std::exception& exception) {
        const std::list<RequestPtr> all = requests_;
        for (const RequestPtr& request : all) Finish(*request, ErrorAnswer(HttpStatus::kBusy, Describe(exception)));
        return false;
    }
}

void RenderQueue::Listen(const std::shared_ptr<Channel>& channel, int number) {
    WorkerAnswer answer;
    while (Receive(*channel, answer)) {
        const std::lock_guard lock(mutex_);
        if (worker_ == number) Take(std::move(answer));
        answer = {};
    }
    const std::lock_guard lock(mutex_);
    if (worker_ == number) Bury(number);
}

void RenderQueue::Take(WorkerAnswer answer) {
    for (LaneState& lane : lanes_) {
        if (lane.running == nullptr || lane.running->id != answer.id) continue;
        const RequestPtr request = std::exchange(lane.running, nullptr);
        if (!request->isAnswered) Finish(*request, std::move(answer));
        break;
    }
    Dispatch();
}

void RenderQueue::Bury(int number) {
    worker_ = 0;
    const std::string how = nursery_.End(number);
    for (LaneState& lane : lanes_) {
        const RequestPtr request = std::exchange(lane.running, nullptr);
        if (request == nullptr || request->isAnswered) continue;
        request->isRunning = false;
        if (request->attempts >= kMaxAttempts)
            Finish(*request, ErrorAnswer(HttpStatus::kFailed, "the process that worked on it was " + how));
    }
    if (!isStopped_) Dispatch();
}

void RenderQueue::Tend() {
    const std::lock_guard lock(mutex_);
    for (const LaneState& lane : lanes_) {
        const bool isStuck = lane.running != nullptr && lane.cancelled != Clock::time_point{} &&
                             Clock::now() - lane.cancelled > kPatience;
        const bool isWaitedFor = std::any_of(requests_.begin(), requests_.end(), [&](const RequestPtr& request) {
            return !request->isRunning && &lanes_[static_cast<std::size_t>(request->lane)] == &lane;
        });
        if (isStuck && isWaitedFor) return Bury(worker_);
    }
}

void RenderQueue::Stop() {
    std::vector<std::thread> listeners;
    {
        const std::lock_guard lock(mutex_);
        isStopped_ = true;
        const std::list<RequestPtr> all = requests_;
        for (const RequestPtr& request : all) Finish(*request, ErrorAnswer(HttpStatus::kBusy, "the preview is ending"));
        if (worker_ != 0) Bury(worker_);
        listeners.swap(listeners_);
    }
    for (std::thread& listener : listeners) listener.join();
}

}  // namespace Kalvatri
