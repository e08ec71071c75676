// kalvatri preview: a page in the browser for trying effects on photographs.
//
// This process serves the page and holds no pixels. Photographs are decoded and effects run in separate processes, as
// in a batch, so that a damaged file or a crashing library only makes one attempt fail.
#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <iostream>

#include "Cli/BatchInputs.h"
#include "Cli/Catalogue.h"
#include "Cli/Commands.h"
#include "Cli/Errors.h"
#include "Cli/Preview/Api.h"
#include "Cli/Preview/Jobs.h"
#include "Cli/Preview/PreviewWork.h"
#include "Cli/Preview/ProcessNursery.h"
#include "Cli/Preview/RenderQueue.h"
#include "Cli/Preview/RenderWorker.h"
#include "Cli/Preview/WebServer.h"
#include "Cli/StopSignals.h"
#include "Host/Core/Threads.h"
#include "Host/Io/PendingFile.h"
#include "Host/Proc/Libraries.h"
#include "Host/Proc/VideoFrame.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

std::vector<std::string> FindPhotos(const PreviewOptions& options) {
    constexpr char kFinding[] = "looking for photographs";
    BatchOptions inputs;
    inputs.inputs = options.inputs;
    if (inputs.inputs.empty()) inputs.inputs.emplace_back(".");
    const BatchInputs found = FindInputs(inputs);
    std::vector<std::string> photos;
    for (const BatchInput& input : found.pictures) {
        std::error_code error;
        if (!std::filesystem::exists(input.file, error))
            throw CommandError(ExitCode::Failed, "reading " + input.file, "the file does not exist");
        photos.push_back(input.file);
    }
    if (!photos.empty()) return photos;
    const std::string others = DescribeOthers(found.others);
    ThrowUsage(kFinding, "there are no pictures in the folder" + (others.empty() ? "" : "; " + others));
}

// The page's files are next to the models, in the build tree as in an installation.
Core::ioPath GetPageFolder() {
    return (Proc::GetPluginDirectory().parent_path() / KALVATRI_PREVIEW_SUBDIR).lexically_normal();
}

// Starts the browser detached. Without a graphical session a text browser would take over this terminal.
void OpenInBrowser(const std::string& address) {
    if (std::getenv("DISPLAY") == nullptr && std::getenv("WAYLAND_DISPLAY") == nullptr) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_WRONLY, 0);
    std::string program = "xdg-open", argument = address;
    char* const arguments[] = {program.data(), argument.data(), nullptr};
    pid_t child = 0;
    posix_spawnp(&child, program.c_str(), &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
}

}  // namespace

void RunPreview(const PreviewOptions& options) {
    constexpr std::chrono::milliseconds kPatience{30};
    enum : std::size_t { kRenderings, kJobs };

    if (options.threads > 0) Core::SetLibraryThreads(options.threads);
    const auto allocator = Core::MakeRefCounted<Proc::FrameAllocator>(std::size_t{64} << 20);
    const Proc::FactoryPtr factory = LoadEffects(options.module, allocator);
    const Catalogue catalogue(*factory);
    const PreviewWork work{options, catalogue, factory, allocator->GetPool(), FindPhotos(options)};
    const StopSignals signals;
    ProcessNursery nursery(
        {[&](Channel& parent) { ServeRenderings(parent, work); }, [&](Channel& parent) { WorkOnJob(parent, work); }},
        options.isVerbose);
    RenderQueue queue(nursery, kRenderings);
    Jobs jobs(nursery, kJobs);
    Api api(work, queue, jobs);
    WebServer server(api, GetPageFolder(), options.port);
    std::cout << "The preview is at " << server.GetAddress() << " until Ctrl-C ends it" << std::endl;
    const std::future<void> serving = std::async(std::launch::async, [&] { server.Run(); });
    // Read the first photograph while the browser starts. A future that is dropped would wait.
    // NOLINTNEXTLINE(clang-analyzer-deadcode.DeadStores)
    const std::future<void> reading = std::async(std::launch::async, [&] {
        queue.Ask(Lane::Main, kPhoto, {{"photo", 0}});
    });
    if (options.isOpening) OpenInBrowser(server.GetAddress());

    while (signals.GetSeen() == 0) {
        if (serving.wait_for(kPatience) == std::future_status::ready)
            throw CommandError(ExitCode::Failed, "serving the page", "the system accepts no further connections");
        queue.Tend();
    }
    // Leaving normally would wait for idle browser connections and running effects. Rendering for display needs no
    // clean-up, and results that are being written leave nothing behind.
    jobs.Stop();
    Io::PendingFile::AbandonAll();
    std::cout.flush();
    std::_Exit(static_cast<int>(ExitCode::Done));
}

}  // namespace Kalvatri
