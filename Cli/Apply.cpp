// kalvatri apply: runs a chain of effects on a picture.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <future>
#include <iostream>

#include "Cli/Catalogue.h"
#include "Cli/ChainOptions.h"
#include "Cli/ChainProgress.h"
#include "Cli/ChainRunner.h"
#include "Cli/Commands.h"
#include "Cli/Errors.h"
#include "Cli/ReadPicture.h"
#include "Cli/StopSignals.h"
#include "Host/Core/Threads.h"
#include "Host/Io/PendingFile.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

constexpr char kNumberMark[] = "{}";

std::string OutputName(const std::string& file) { return file == kStdStream ? "stdout" : file; }

void WriteStdout(const std::vector<std::uint8_t>& bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size() || std::fflush(stdout) != 0)
        Throw(std::strerror(errno));
}

Io::LoadedImage Read(const std::string& file, const ApplyOptions& options, const Proc::FactoryPtr& factory) {
    Io::LoadedImage image = ReadPicture(file, options.read, factory);
    PrintNotes(InputName(file), image.notes, options);
    return image;
}

// A second reader of stdin would find nothing left.
void CheckStdin(const ApplyOptions& options, const Chain& chain) {
    auto readers = std::count(options.inputs.begin(), options.inputs.end(), kStdStream);
    readers += options.settingsFile == kStdStream ? 1 : 0;
    for (const Step& step : chain) readers += std::count(step.with.begin(), step.with.end(), kStdStream);
    if (options.output == kStdStream && options.results == kStdStream)
        ThrowUsage(kReadingCommandLine, "only one of the picture and the results can go to stdout");
    if (readers > 1)
        ThrowUsage(kReadingCommandLine,
                   "only one of the pictures (-i, with=) and the settings can come from stdin, as it is read once");
}

Io::FileFormat OutputFormat(const ApplyOptions& options) {
    if (options.output == kStdStream && options.format.empty())
        ThrowUsage(kReadingCommandLine, "writing to stdout needs --format");
    const std::string suffix =
        options.format.empty() ? Core::ioPath(options.output).extension().string() : options.format;
    return WithContext("choosing the format of " + OutputName(options.output), ExitCode::WrongUsage,
                       [&] { return Io::FindFormat(suffix); });
}

void Write(const std::string& file, Io::FileFormat format, const Proc::FramePtr& picture,
           const Io::WriteOptions& writing, const ApplyOptions& options, const Proc::FactoryPtr& factory) {
    WithContext("writing " + OutputName(file), [&] {
        Io::Notes notes;
        if (file == kStdStream) {
            std::vector<std::uint8_t> bytes;
            notes = Io::EncodeImage(bytes, format, picture, writing, factory);
            WriteStdout(bytes);
        } else {
            notes = Io::WriteImage(file, format, picture, writing, factory);
        }
        PrintNotes(OutputName(file), notes, options);
    });
}

void WriteResults(const ApplyOptions& options, const Json& findings) {
    const std::string text = FormatJson(findings) + '\n';
    WithContext("writing " + OutputName(options.results), [&] {
        if (options.results == kStdStream) {
            std::cout << text;
        } else {
            Io::WriteFile(options.results, text);
        }
    });
}

std::string Numbered(std::string file, std::size_t number) {
    const std::size_t mark = file.find(kNumberMark);
    return mark == std::string::npos ? file : file.replace(mark, std::strlen(kNumberMark), std::to_string(number));
}

void Apply(const ApplyOptions& options, const Core::ProgressPtr& progress) {
    const Io::FileFormat format = OutputFormat(options);
    CheckPixFmt(options);
    CheckStdin(options, {});
    if (options.threads > 0) Core::SetLibraryThreads(options.threads);
    const Proc::FactoryPtr factory = LoadEffects(options.module);
    const Catalogue catalogue(*factory);
    const Chain chain = MakeChain(catalogue, options);
    CheckStdin(options, chain);
    CheckPictures(chain, options.inputs.size());
    WithContext("choosing the format of " + OutputName(options.output), ExitCode::WrongUsage,
                [&] { CheckFormat(chain, format); });

    ChainRunner runner(factory, chain,
                       [&](const Core::ioPath& file) { return Read(file.string(), options, factory).frame; }, progress,
                       {options.inputs.front(), options.isStrict});
    std::vector<Proc::FramePtr> pictures;
    Io::WriteOptions writing;
    writing.quality = options.quality;
    for (const std::string& input : options.inputs) {
        Io::LoadedImage image = Read(input, options, factory);
        if (pictures.empty()) writing.metadata = std::move(image.metadata);
        pictures.push_back(std::move(image.frame));
    }
    for (Proc::FramePtr& picture : pictures) picture = Converted(std::move(picture), options, factory);

    pictures = runner.Run(std::move(pictures));
    PrintNotes(InputName(options.inputs.front()), runner.GetNotes(), options);
    if (pictures.size() > 1 && options.output.find(kNumberMark) == std::string::npos) {
        ThrowUsage("writing " + OutputName(options.output), "the chain gives " + std::to_string(pictures.size()) +
                                                                " pictures; a {} in the name takes their numbers");
    }
    for (std::size_t i = 0; i < pictures.size(); ++i)
        Write(Numbered(options.output, i), format, pictures[i], writing, options, factory);
    if (!options.results.empty()) WriteResults(options, runner.GetFindings());
    if (options.isShowingStatistics)
        (options.output == kStdStream ? std::cerr : std::cout) << FormatJson(runner.GetStatistics()) << '\n';
}

}  // namespace

// The work runs on a second thread, so that signals are handled at any time.
void RunApply(const ApplyOptions& options) {
    constexpr std::chrono::milliseconds kPatience{50}, kTimeToCancel{1000};
    const StopSignals signals;
    const auto progress = Core::MakeRefCounted<ChainProgress>(!options.isQuiet);
    std::future<void> work = std::async(std::launch::async, [&] { Apply(options, progress); });
    while (work.wait_for(kPatience) != std::future_status::ready) {
        if (signals.GetSeen() == 0) continue;
        Io::PendingFile::AbandonAll();
        progress->Cancel();
        work.wait_for(kTimeToCancel);
        progress->Finish();
        EndBySignal(signals.GetSeen(), "interrupted");
    }
    work.get();
}

}  // namespace Kalvatri
