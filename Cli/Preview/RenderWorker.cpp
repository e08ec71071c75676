#include "Cli/Preview/RenderWorker.h"

#include <malloc.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <thread>

#include "Cli/Errors.h"
#include "Cli/Preview/HttpStatus.h"
#include "Cli/Preview/PhotoStore.h"
#include "Cli/Preview/Renderer.h"
#include "Cli/StepFaces.h"
#include "Host/Core/Threads.h"
#include "Host/Proc/Faces.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

constexpr char kId[] = "id", kLane[] = "lane", kKind[] = "kind", kCancel[] = "cancel", kStatus[] = "status",
               kHead[] = "head", kBytes[] = "bytes";

void LowerPriority() {
    constexpr int kLowest = 19;
    setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), kLowest);
}

class Worker {
public:
    Worker(Channel& parent, const PreviewWork& work)
        : parent_(parent),
          work_(work),
          photos_(work.photos, work.options.read, work.factory),
          renderer_(work.catalogue, work.factory, photos_, work.options.read) {}

    // Lanes end with the process: a running effect cannot be waited for.
    void Serve() {
        for (std::size_t lane = 0; lane < kLanes; ++lane)
            std::thread([this, lane] { WorkOn(static_cast<Lane>(lane)); }).detach();
        while (const std::optional<Json> message = parent_.Receive()) {
            const std::lock_guard lock(mutex_);
            if (message->contains(kCancel)) {
                const auto running = running_.find(message->at(kCancel).get<std::uint64_t>());
                if (running != running_.end()) running->second->Cancel();
                continue;
            }
            running_[message->at(kId).get<std::uint64_t>()] = Core::MakeRefCounted<RenderProgress>();
            waiting_[message->at(kLane).get<std::size_t>()].push_back(*message);
            changed_.notify_all();
        }
    }

private:
    void WorkOn(Lane lane) {
        std::optional<Core::OnCallingThread> alone;
        if (lane == Lane::Thumbnail) {
            LowerPriority();
            alone.emplace();
        }
        std::deque<Json>& waiting = waiting_[static_cast<std::size_t>(lane)];
        while (true) {
            Json message;
            RenderProgressPtr progress;
            {
                std::unique_lock lock(mutex_);
                changed_.wait(lock, [&] { return !waiting.empty(); });
                message = std::move(waiting.front());
                waiting.pop_front();
                progress = running_.at(message.at(kId).get<std::uint64_t>());
            }
            WorkerAnswer answer = Answer(message, progress);
            answer.id = message.at(kId);
            {
                const std::lock_guard lock(mutex_);
                running_.erase(answer.id);
            }
            Send(answer);
        }
    }

    WorkerAnswer Answer(const Json& message, const RenderProgressPtr& progress) {
        WorkerAnswer answer;
        try {
            // Whatever an effect throws, the lane continues.
            WithContext("showing the photograph", [&] {
                const std::string kind = message.at(kKind);
                if (kind == kRender) {
                    Rendering rendering = renderer_.Render(AsRenderRequest(message), progress);
                    answer.head = std::move(rendering.head);
                    answer.bytes = std::move(rendering.pixels);
                } else if (kind == kPhoto) {
                    answer.head = DescribePhoto(message.at(kPhoto));
                } else if (kind == kFaces) {
                    answer.head = FindFaces(message.at(kPhoto));
                } else {
                    answer.head = Measure(message.at("file"));
                }
            });
            answer.status = HttpStatus::kDone;
        } catch (const CommandError& error) {
            answer.status = error.GetExitCode() == ExitCode::WrongUsage ? HttpStatus::kBadRequest : HttpStatus::kFailed;
            if (progress->IsCancelled()) answer.status = HttpStatus::kOutdated;
            answer.head = {{"error", error.what()}};
        }
        return answer;
    }

    Json DescribePhoto(std::size_t photo) {
        const PhotoInfo info = photos_.GetInfo(photo);
        return {{"width", info.size.width},
                {"height", info.size.height},
                {"metadata", info.metadata},
                {"notes", info.notes}};
    }

    Json FindFaces(std::size_t photo) {
        const Proc::FramePtr picture = photos_.GetPicture(photo);
        const std::string& file = photos_.GetFile(photo);
        return WithContext("finding faces in " + file, [&] {
            const auto& info = picture->GetFrameInfo();
            FaceChoice choice;
            choice.given = {{file, info.width, info.height, Proc::FindFaces(work_.factory, picture)}};
            Json words;
            AddToJson(choice, words);
            return words.at("faces").at(0);
        });
    }

    // An upload is not trusted, so it is read completely.
    Json Measure(const std::string& file) {
        try {
            const auto image = Io::ReadImage(Core::ioPath(file), work_.factory->GetAllocator(), work_.options.read);
            const auto& info = image.frame->GetFrameInfo();
            return {{"width", info.width}, {"height", info.height}};
        } catch (const Proc::EffectException& exception) {
            throw CommandError(ExitCode::Failed, "reading the picture", Describe(exception));
        }
    }

    void Send(const WorkerAnswer& answer) {
        const std::lock_guard lock(sending_);
        parent_.Send({{kId, answer.id}, {kStatus, answer.status}, {kHead, answer.head}, {kBytes, answer.bytes.size()}});
        parent_.SendBytes(answer.bytes);
    }

    Channel& parent_;
    const PreviewWork& work_;
    PhotoStore photos_;
    Renderer renderer_;
    std::mutex sending_;
    std::mutex mutex_;  // guards the members below
    std::condition_variable changed_;
    std::map<std::uint64_t, RenderProgressPtr> running_;  // including waiting ones
    std::array<std::deque<Json>, kLanes> waiting_;
};

}  // namespace

bool Receive(Channel& worker, WorkerAnswer& answer) {
    const std::optional<Json> message = worker.Receive();
    if (!message) return false;
    answer.id = message->at(kId);
    answer.status = message->at(kStatus);
    answer.head = message->at(kHead);
    answer.bytes.resize(message->at(kBytes).get<std::size_t>());
    return worker.ReceiveBytes(answer.bytes);
}

void ServeRenderings(Channel& parent, const PreviewWork& work) {
    constexpr int kArenas = 2;  // memory held by one arena of the C library's heap is unavailable to the others
    mallopt(M_ARENA_MAX, kArenas);
    Worker worker(parent, work);
    worker.Serve();
    _exit(0);
}

}  // namespace Kalvatri
