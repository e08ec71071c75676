// Requests to the worker process, and who waits for their answers.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Cli/Preview/ProcessNursery.h"
#include "Cli/Preview/RenderWorker.h"

namespace Kalvatri {

/// Whose request it is. It cancels those of the same client and lane with a lower number.
struct RequestSequence {
    std::string client;
    double number = 0;
};

/// Gives requests to a worker, one a lane at a time. A worker that ends is replaced; what it was doing is tried once
/// more before it counts as failed. Safe to use from several threads.
class RenderQueue {
public:
    /// `work` is the worker's in the nursery, which must outlive the object.
    RenderQueue(ProcessNursery& nursery, std::size_t work);
    ~RenderQueue() { Stop(); }
    RenderQueue(const RenderQueue&) = delete;
    RenderQueue& operator=(const RenderQueue&) = delete;

    /// Waits for the answer. An empty client cancels nothing and is not cancelled.
    WorkerAnswer Ask(Lane lane, const char* kind, Json message, const RequestSequence& sequence = {});
    /// To be called now and then: replaces a worker that does not obey a cancellation while others wait.
    void Tend();
    /// Answers everybody and ends the worker.
    void Stop();

private:
    struct Request {
        std::uint64_t id;
        Lane lane;
        Json message;
        RequestSequence sequence;
        int attempts = 0;
        bool isRunning = false;
        bool isAnswered = false;
        WorkerAnswer answer;
    };
    using RequestPtr = std::shared_ptr<Request>;

    void CancelOlder(const Request& newer);
    void Finish(Request& request, WorkerAnswer answer);
    void Dispatch();
    bool EnsureWorker();
    void Listen(const std::shared_ptr<Channel>& channel, int number);
    void Take(WorkerAnswer answer);
    void Bury(int number);

    ProcessNursery& nursery_;
    const std::size_t work_;
    std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    bool isStopped_ = false;
    std::uint64_t lastId_ = 0;
    std::list<RequestPtr> requests_;  // waiting and running ones, in the order in which they came
    struct LaneState {
        RequestPtr running;
        std::chrono::steady_clock::time_point cancelled{};  // when the running one was; zero if it was not
    };
    std::array<LaneState, kLanes> lanes_;
    int worker_ = 0;  // its number; 0 without one
    std::shared_ptr<Channel> channel_;
    std::vector<std::thread> listeners_;
};

}  // namespace Kalvatri
