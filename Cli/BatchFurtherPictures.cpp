#include "Cli/BatchFurtherPictures.h"

#include <poll.h>

#include <algorithm>
#include <cstring>

#include "Cli/ChainOptions.h"
#include "Cli/Errors.h"
#include "Host/Proc/IData.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

constexpr char kError[] = "error", kOrigin[] = "origin", kNotes[] = "notes", kPixFmt[] = "pixFmt", kWidth[] = "width",
               kHeight[] = "height", kRows[] = "rows";

// A picture is a single plane. It is sent in strips of whole rows, after a message with its size.
void SendPicture(const Channel& parent, const Io::LoadedImage& image) {
    constexpr std::uint64_t kStripBytes = 1 << 20;
    const Conf::FrameInfo& info = image.frame->GetFrameInfo();
    parent.Send({{kPixFmt, static_cast<int>(image.frame->GetPixFmt())},
                 {kWidth, info.width},
                 {kHeight, info.height},
                 {kNotes, image.notes}});
    const Proc::ConstPlane plane = Proc::ConstFramePtr(image.frame)->GetPlane(0);
    const std::uint64_t stripRows = std::max<std::uint64_t>(1, kStripBytes / plane.GetWidth());
    for (std::uint64_t top = 0; top < plane.GetHeight(); top += stripRows) {
        std::vector<std::uint8_t> strip;
        for (std::uint64_t y = top; y < std::min(top + stripRows, plane.GetHeight()); ++y)
            strip.insert(strip.end(), plane.GetRow(y), plane.GetRow(y) + plane.GetWidth());
        parent.Send({{kRows, Json::binary(std::move(strip))}});
    }
}

void SendPictures(const Channel& parent, const BatchWork& work, const std::vector<Core::ioPath>& files) {
    for (const Core::ioPath& file : files) {
        try {
            SendPicture(parent, WithContext("reading " + file.string(), [&] {
                            return Io::ReadImage(file, work.factory->GetAllocator(), work.options.read);
                        }));
        } catch (const CommandError& error) {
            parent.Send({{kError, error.what()}, {kOrigin, error.GetOrigin()}});
            return;
        }
    }
}

// An error of the reading process, unchanged.
class ForwardedError : public CommandError {
public:
    explicit ForwardedError(const Json& message)
        : CommandError(ExitCode::Failed, "", message.at(kError), message.at(kOrigin)), text_(message.at(kError)) {}
    const char* what() const noexcept override { return text_.c_str(); }

private:
    std::string text_;
};

// The next message from the reading process; none once a signal has arrived.
std::optional<Json> NextMessage(WorkerProcess& reader, const StopSignals& signals, const Core::ioPath& file) {
    constexpr int kPatience = 100;  // milliseconds
    Channel& channel = reader.GetChannel();
    while (signals.GetSeen() == 0) {
        if (std::optional<Json> message = channel.Take()) return message;
        pollfd waiting{channel.GetDescriptor(), POLLIN, 0};
        if (poll(&waiting, 1, kPatience) <= 0 || channel.Read()) continue;
        throw CommandError(ExitCode::Failed, "reading " + file.string(),
                           "the process that did it was " + reader.WaitForEnd());
    }
    return std::nullopt;
}

}  // namespace

std::vector<Core::ioPath> GetFurtherFiles(const Chain& chain) {
    std::vector<Core::ioPath> files;
    for (const Step& step : chain) files.insert(files.end(), step.with.begin(), step.with.end());
    return files;
}

void ReadFurtherPictures(BatchWork& work, const StopSignals& signals) {
    std::vector<Core::ioPath> files = GetFurtherFiles(work.chain);
    std::sort(files.begin(), files.end());
    files.erase(std::unique(files.begin(), files.end()), files.end());
    if (files.empty()) return;
    WorkerProcess reader([&](const Channel& parent) { SendPictures(parent, work, files); }, work.options.isVerbose);
    for (const Core::ioPath& file : files) {
        const std::optional<Json> head = NextMessage(reader, signals, file);
        if (!head) return;
        if (head->contains(kError)) throw ForwardedError(*head);
        PrintNotes(file.string(), head->at(kNotes), work.options);
        const Conf::FrameInfo info(head->at(kWidth), head->at(kHeight));
        const Proc::FramePtr frame =
            Proc::NewFrame(work.factory->GetAllocator(), static_cast<PixFmt>(head->at(kPixFmt).get<int>()), info);
        const Proc::Plane plane = frame->GetPlane(0);
        for (std::uint64_t y = 0; y < plane.GetHeight();) {
            const std::optional<Json> strip = NextMessage(reader, signals, file);
            if (!strip) return;
            const auto& bytes = strip->at(kRows).get_binary();
            for (std::size_t at = 0; at < bytes.size(); at += plane.GetWidth(), ++y)
                std::memcpy(plane.GetRow(y), bytes.data() + at, plane.GetWidth());
        }
        work.furtherPixels += std::uint64_t{info.width} * info.height;
        work.furtherPictures.emplace(file, frame);
    }
}

}  // namespace Kalvatri
