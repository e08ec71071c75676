#include "Cli/BatchWorker.h"

#include <malloc.h>

#include <chrono>
#include <utility>

#include "Cli/ChainOptions.h"
#include "Cli/ChainRunner.h"
#include "Cli/Errors.h"
#include "Host/Core/Threads.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

using Clock = std::chrono::steady_clock;

constexpr char kPicture[] = "picture", kGranted[] = "granted", kPixels[] = "pixels", kMemory[] = "memory",
               kError[] = "error", kOrigin[] = "origin", kSeconds[] = "seconds", kInputNotes[] = "inputNotes",
               kOutputNotes[] = "outputNotes";

// Keeps a worker's memory within what it was granted: memory that the allocators hold for reuse is only useful for
// pictures of about the same size.
class HeldMemory {
public:
    explicit HeldMemory(std::shared_ptr<Proc::PixelPool> pool) : pool_(std::move(pool)) {
        constexpr int kArenas =
            2;  // few of a worker's threads allocate at once, and memory held by one arena is unavailable to the others
        mallopt(M_ARENA_MAX, kArenas);
    }

    void PrepareFor(std::uint64_t pixels) {
        const std::uint64_t difference = pixels > pixels_ ? pixels - pixels_ : pixels_ - pixels;
        if (difference > pixels_ / 8) Drop();
        pixels_ = pixels;
    }
    void Drop() {
        constexpr std::uint64_t kSmall = 1 << 18;  // pixels; the memory for so few is not worth releasing
        pool_->Clear();
        if (pixels_ > kSmall) malloc_trim(0);
    }

private:
    const std::shared_ptr<Proc::PixelPool> pool_;
    std::uint64_t pixels_ = 0;  // of the previous picture
};

class Worker {
public:
    Worker(Channel& parent, const BatchWork& work) : parent_(parent), work_(work), memory_(work.pool) {}

    BatchReport WorkOn(const BatchItem& item, const Assignment& assignment) {
        BatchReport report;
        report.picture = assignment.picture;
        Clock::time_point begin = Clock::now();
        try {
            WithContext("working on " + item.input, [&] {
                const Io::ImageSize size =
                    WithContext("reading " + item.input, [&] { return Io::ReadImageSize(item.input, GetReading()); });
                WaitForMemory(size.GetPixels(), assignment.grantedPixels);
                begin = Clock::now();
                Process(item, report);
            });
        } catch (const CommandError& error) {
            report.error = error.what();
            report.origin = error.GetOrigin();
        }
        report.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
        return report;
    }

private:
    const Io::ReadOptions& GetReading() const { return work_.options.read; }

    void WaitForMemory(std::uint64_t pixels, std::uint64_t grantedPixels) {
        bool isGranted = pixels <= grantedPixels;
        if (!isGranted) parent_.Send(ToMemoryRequest(pixels));
        while (!isGranted) {
            const std::optional<Json> answer = parent_.Receive();
            if (!answer) Throw("the batch has ended");
            isGranted = answer->at(kMemory);
            if (!isGranted) memory_.Drop();
        }
        memory_.PrepareFor(pixels);
    }

    // From file to file.
    void Process(const BatchItem& item, BatchReport& report) const {
        Io::LoadedImage image = WithContext("reading " + item.input, [&] {
            return Io::ReadImage(Core::ioPath(item.input), work_.factory->GetAllocator(), GetReading());
        });
        report.inputNotes = std::move(image.notes);
        Io::WriteOptions writing;
        writing.quality = work_.options.quality;
        writing.metadata = std::move(image.metadata);
        const Proc::FramePtr result = RunChain(item.input, std::move(image.frame), report.inputNotes);
        const Core::ioPath output = work_.folder / item.outputName;
        WithContext("writing " + output.string(), [&] {
            std::error_code error;
            if (std::filesystem::create_directories(output.parent_path(), error); error) Throw(error.message());
            report.outputNotes = Io::WriteImage(output, item.format, result, writing, work_.factory);
        });
    }

    // The picture after the chain. The chain's errors do not mention files, so the file's name is prepended.
    Proc::FramePtr RunChain(const std::string& input, Proc::FramePtr picture, Io::Notes& notes) const {
        try {
            // Effects retain state from their last use, so each picture gets new ones. A view can have its own time
            // stamp, and its pixels are not modified, because it shares them.
            ChainRunner runner(work_.factory, work_.chain,
                               [&](const Core::ioPath& file) {
                                   return Proc::CloneFrame(*work_.furtherPictures.at(file), Proc::kCloneView);
                               },
                               nullptr, {input, work_.options.isStrict});
            std::vector<Proc::FramePtr> pictures;
            pictures.push_back(Converted(std::move(picture), work_.options, work_.factory));
            pictures = runner.Run(std::move(pictures));
            if (pictures.size() != 1)
                Throw("the chain gives " + std::to_string(pictures.size()) + " pictures; there is a name for one only");
            notes.insert(notes.end(), runner.GetNotes().begin(), runner.GetNotes().end());
            return pictures.front();
        } catch (const CommandError& error) {
            throw CommandError(error.GetExitCode(), input, error.what(), error.GetOrigin());
        }
    }

    Channel& parent_;
    const BatchWork& work_;
    HeldMemory memory_;
};

}  // namespace

Json ToMessage(const Assignment& assignment) {
    return {{kPicture, assignment.picture}, {kGranted, assignment.grantedPixels}};
}
Json ToMemoryRequest(std::uint64_t pixels) { return {{kPixels, pixels}}; }
Json ToMemoryAnswer(bool isGranted) { return {{kMemory, isGranted}}; }

Json ToMessage(const BatchReport& report) {
    return {{kPicture, report.picture}, {kError, report.error},           {kOrigin, report.origin},
            {kSeconds, report.seconds}, {kInputNotes, report.inputNotes}, {kOutputNotes, report.outputNotes}};
}

std::optional<std::uint64_t> AsMemoryRequest(const Json& message) {
    if (!message.contains(kPixels)) return std::nullopt;
    return message.at(kPixels).get<std::uint64_t>();
}

BatchReport AsReport(const Json& message) {
    return {message.at(kPicture), message.at(kError),      message.at(kOrigin),
            message.at(kSeconds), message.at(kInputNotes), message.at(kOutputNotes)};
}

void WorkOnPictures(Channel& parent, const BatchWork& work, const std::vector<BatchItem>& items, bool hasPeers) {
    if (hasPeers) Core::SetLibraryThreads(1);
    Worker worker(parent, work);
    while (const std::optional<Json> message = parent.Receive()) {
        const Assignment assignment{message->at(kPicture), message->at(kGranted)};
        parent.Send(ToMessage(worker.WorkOn(items.at(assignment.picture), assignment)));
    }
}

}  // namespace Kalvatri
