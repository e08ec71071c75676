// Requests to the worker process, and the threads that wait for their answers.
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

/// Identifies the sender of a request, which cancels those of the same client and lane with a lower number.
struct RequestSequence {
    std::string client;
    double number = 0;
};

/// Passes requests to a worker, one per lane at a time. A worker that ends is replaced; the request that it was
/// processing is retried once before it counts as failed. Thread safe.
class RenderQueue {
public:
    /// `work` is the index of the worker's work in the nursery, which must outlive the object.
    RenderQueue(ProcessNursery& nursery, std::size_t work);
    ~RenderQueue() { Stop(); }
    RenderQueue(const RenderQueue&) = delete;
    RenderQueue& operator=(const RenderQueue&) = delete;

    /// Waits for the answer. A request with an empty client neither cancels others nor is cancelled by them.
    WorkerAnswer Ask(Lane lane, const char* kind, Json message, const RequestSequence& sequence = {});
    /// To be called periodically: replaces a worker that ignores a cancellation while others wait.
    void Tend();
    /// Answers all pending requests and ends the worker.
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
    std::mutex mutex_;  // guards the members below
    std::condition_variable changed_;
    bool isStopped_ = false;
    std::uint64_t lastId_ = 0;
    std::list<RequestPtr> requests_;  // waiting and running, in order of arrival
    struct LaneState {
        RequestPtr running;
        std::chrono::steady_clock::time_point cancelled{};  // of the running request; zero if none
    };
    std::array<LaneState, kLanes> lanes_;
    int worker_ = 0;  // its number; 0 without one
    std::shared_ptr<Channel> channel_;
    std::vector<std::thread> listeners_;
};

}  // namespace Kalvatri
