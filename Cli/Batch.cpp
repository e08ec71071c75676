// kalvatri batch: runs a chain of effects on many pictures.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <iostream>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "Cli/BatchBudget.h"
#include "Cli/BatchLedger.h"
#include "Cli/BatchPlan.h"
#include "Cli/BatchProgress.h"
#include "Cli/ChainInput.h"
#include "Cli/ChainRunner.h"
#include "Cli/Commands.h"
#include "Cli/Errors.h"
#include "Cli/ProgressLine.h"
#include "Cli/StopSignals.h"
#include "Host/Core/Threads.h"
#include "Host/Io/PendingFile.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

using Clock = std::chrono::steady_clock;
using Items = std::vector<BatchItem>;

double SecondsSince(Clock::time_point begin) { return std::chrono::duration<double>(Clock::now() - begin).count(); }

// A picture that a job is through with.
struct Report {
    std::size_t index = 0;
    BatchStatus status = BatchStatus::Failed;
    std::string error, origin;
    double seconds = 0;
    Io::Notes inputNotes, outputNotes;
};

// Everything that stays the same for all pictures.
struct Batch {
    const BatchOptions& options;
    const Chain& chain;
    Proc::FactoryPtr factory;
    Core::ioPath folder;
    std::string fingerprint;
    std::map<Core::ioPath, Proc::ConstFramePtr> furtherPictures;  // by their names in the chain
    std::uint64_t furtherPixels = 0;

    LedgerEntry GetEntry(const BatchItem& item, const FileStamp& stamp) const { return {item.GetAbsoluteInput(), stamp, fingerprint}; }
};

void CheckOneToOne(const Chain& chain) {
    CheckPictures(chain, 1);
    for (const Step& step : chain) {
        if (step.effect->kind == Proc::EffectKind::VarInput)
            ThrowUsage("planning the batch", step.effect->GetName() + " takes or gives many pictures; a batch makes one of each");
    }
}

std::vector<Core::ioPath> FurtherFiles(const Chain& chain) {
    std::vector<Core::ioPath> files;
    for (const Step& step : chain) files.insert(files.end(), step.with.begin(), step.with.end());
    return files;
}

// All that decides on an output's bytes, apart from its input and its name.
Json DescribeChain(const Chain& chain, const BatchOptions& options) {
    Json steps = Json::array();
    for (const Step& step : chain) {
        Json with = Json::array();
        for (const Core::ioPath& file : step.with) {
            const auto stamp = StampOf(file);
            if (!stamp) throw CommandError(ExitCode::Failed, "reading " + file.string(), "the file does not exist");
            with.push_back({std::filesystem::absolute(file).lexically_normal().string(), stamp->size, stamp->modified});
        }
        steps.push_back({{"effect", step.effect->GetName()}, {"settings", SettingsToJson(*step.settings)}, {"with", std::move(with)}});
    }
    return {{"version", KALVATRI_VERSION}, {"module", options.module.string()},
            {"steps", std::move(steps)},   {"pixfmt", options.pixFmt ? Json(*options.pixFmt) : Json()},
            {"quality", options.quality},  {"allowTruncated", options.read.allowTruncated}};
}

void ReadFurtherPictures(Batch& batch) {
    for (const Core::ioPath& file : FurtherFiles(batch.chain)) {
        if (batch.furtherPictures.contains(file)) continue;
        const Proc::FramePtr frame = While("reading " + file.string(), [&] {
            Io::LoadedImage image = Io::ReadImage(file, batch.factory->GetAllocator(), batch.options.read);
            PrintNotes(file.string(), image.notes, batch.options);
            return image.frame;
        });
        batch.furtherPixels += std::uint64_t{frame->GetFrameInfo().width} * frame->GetFrameInfo().height;
        batch.furtherPictures.emplace(file, frame);
    }
}

// The picture after the chain. The chain's errors know nothing of files, so the file's name comes before them.
Proc::FramePtr RunChain(const Batch& batch, const std::string& input, Proc::FramePtr picture, Io::Notes& notes) {
    try {
        // Effects remember what they were last used for, so each picture gets new ones. A view can be given a time of its own, and its
        // pixels are not written into, because it shares them.
        ChainRunner runner(batch.factory, batch.chain,
                           [&](const Core::ioPath& file) { return Proc::CloneFrame(*batch.furtherPictures.at(file), Proc::kCloneView); });
        std::vector<Proc::FramePtr> pictures;
        pictures.push_back(Converted(std::move(picture), batch.options, batch.factory));
        const Proc::FramePtr result = runner.Run(std::move(pictures)).front();
        notes = runner.GetNotes();
        return result;
    } catch (const CommandError& error) {
        throw CommandError(error.GetExitCode(), input, error.what(), error.GetOrigin());
    }
}

// One picture from file to file.
void Process(const Batch& batch, const BatchItem& item, MemoryBudget& budget, Ledger& ledger, Report& report) {
    const std::string reading = "reading " + item.input;
    const FileStamp stamp = StampOf(item.input).value_or(FileStamp{});  // of before, so that a change while it is read shows later
    const Io::ImageSize size = While(reading, [&] { return Io::ReadImageSize(item.input, batch.options.read); });
    const MemoryBudget::Share share = budget.Take(EstimateMemory(size.GetPixels() + batch.furtherPixels));
    const auto begin = Clock::now();
    try {
        Io::LoadedImage image =
            While(reading, [&] { return Io::ReadImage(Core::ioPath(item.input), batch.factory->GetAllocator(), batch.options.read); });
        report.inputNotes = std::move(image.notes);
        Io::WriteOptions writing;
        writing.quality = batch.options.quality;
        writing.metadata = std::move(image.metadata);
        const Proc::FramePtr result = RunChain(batch, item.input, std::move(image.frame), report.outputNotes);
        const Core::ioPath output = batch.folder / item.outputName;
        While("writing " + output.string(), [&] {
            const Io::Notes notes = Io::WriteImage(output, item.format, result, writing, batch.factory);
            report.outputNotes.insert(report.outputNotes.end(), notes.begin(), notes.end());
        });
        While("recording " + output.string(), [&] { ledger.Add(item.outputName, batch.GetEntry(item, stamp)); });
        report.status = BatchStatus::Done;
    } catch (...) {
        report.seconds = SecondsSince(begin);
        throw;
    }
    report.seconds = SecondsSince(begin);
}

// Runs the open items on threads. What they report is told by the thread that made the object, which alone changes the items.
class Jobs {
public:
    Jobs(const Batch& batch, const Items& items, std::uint64_t memory, Ledger& ledger)
        : batch_(batch), items_(items), budget_(memory), ledger_(ledger) {
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (items[i].status == BatchStatus::Open) waiting_.push_back(i);
        }
    }

    /// Fewer threads than asked for take longer, that is all.
    void Start(int count) {
        const std::size_t wanted = std::min(static_cast<std::size_t>(count), waiting_.size());
        if (wanted > 1) Core::SetLibraryThreads(1);
        while (threads_.size() < wanted) {
            try {
                threads_.emplace_back([this] { Work(); });
            } catch (const std::system_error&) {
                if (threads_.empty()) throw;
                break;
            }
        }
    }

    /// What has been reported since the last time; waits a little when there is nothing.
    std::deque<Report> TakeReports() {
        constexpr std::chrono::milliseconds kPatience{100};
        std::unique_lock lock(mutex_);
        reported_.wait_for(lock, kPatience, [this] { return !reports_.empty(); });
        return std::exchange(reports_, {});
    }

private:
    void Work() {
        for (std::unique_lock lock(mutex_); !waiting_.empty(); lock.lock()) {
            Report report;
            report.index = waiting_.front();
            waiting_.pop_front();
            lock.unlock();
            try {
                While("working", [&] { Process(batch_, items_[report.index], budget_, ledger_, report); });
            } catch (const CommandError& error) {
                report.error = error.what();
                report.origin = error.GetOrigin();
            }
            {
                const std::lock_guard reporting(mutex_);
                reports_.push_back(std::move(report));
            }
            reported_.notify_one();
        }
    }

    const Batch& batch_;
    const Items& items_;
    MemoryBudget budget_;
    Ledger& ledger_;
    std::mutex mutex_;
    std::condition_variable reported_;
    std::deque<std::size_t> waiting_;
    std::deque<Report> reports_;
    std::vector<std::jthread> threads_;  // last, so that it ends first
};

class Teller {
public:
    Teller(const Batch& batch, Items& items) : batch_(batch), items_(items), line_(!batch.options.isQuiet) {
        totals_.inputs = items.size();
        for (const BatchItem& item : items) {
            Count(item.status);
            if (item.status == BatchStatus::Failed) std::cerr << "kalvatri: " << item.error << '\n';
        }
        totals_.finishedAtStart = totals_.GetFinished();
    }

    bool IsFinished() const { return totals_.GetFinished() == totals_.inputs; }

    void Tell(const Report& report) {
        BatchItem& item = items_[report.index];
        item.status = report.status;
        item.error = report.error;
        item.seconds = report.seconds;
        Count(item.status);
        if (!report.inputNotes.empty() || !report.outputNotes.empty() || !report.error.empty()) line_.Clear();
        PrintNotes(item.input, report.inputNotes, batch_.options);
        PrintNotes((batch_.folder / item.outputName).string(), report.outputNotes, batch_.options);
        if (report.error.empty()) return;
        std::cerr << "kalvatri: " << report.error << '\n';
        if (batch_.options.isVerbose) std::cerr << report.origin;
    }

    void ShowProgress() {
        totals_.seconds = SecondsSince(begin_);
        line_.Show(FormatProgress(totals_));
    }

    /// The report, or else the summary; the summary of a batch that went wrong is an error's.
    std::string Finish() {
        line_.Clear();
        totals_.seconds = SecondsSince(begin_);
        const std::string summary = FormatSummary(totals_);
        const bool isGood = IsFinished() && totals_.failed == 0;
        if (batch_.options.isJson) {
            std::cout << FormatJson(ToJson()) << '\n';
        } else if (isGood && !batch_.options.isQuiet) {
            std::cout << summary << '\n';
        }
        return summary;
    }

    bool HasFailures() const { return totals_.failed > 0; }

private:
    void Count(BatchStatus status) {
        totals_.done += status == BatchStatus::Done ? 1 : 0;
        totals_.skipped += status == BatchStatus::Skipped ? 1 : 0;
        totals_.failed += status == BatchStatus::Failed ? 1 : 0;
    }

    Json ToJson() const {
        constexpr const char* kNames[] = {"open", "done", "skipped", "failed"};
        Json list = Json::array();
        for (const BatchItem& item : items_) {
            const std::string output = item.outputName.empty() ? "" : (batch_.folder / item.outputName).string();
            Json json = {{"input", item.input},
                         {"output", output.empty() ? Json() : Json(output)},
                         {"status", kNames[static_cast<int>(item.status)]},
                         {"error", item.error.empty() ? Json() : Json(item.error)},
                         {"seconds", item.seconds}};
            list.push_back(std::move(json));
        }
        const std::size_t open = totals_.inputs - totals_.GetFinished();
        return {{"inputs", std::move(list)},
                {"totals",
                 {{"inputs", totals_.inputs},
                  {"done", totals_.done},
                  {"skipped", totals_.skipped},
                  {"failed", totals_.failed},
                  {"open", open},
                  {"seconds", totals_.seconds}}}};
    }

    const Batch& batch_;
    Items& items_;
    BatchTotals totals_;
    ProgressLine line_;
    const Clock::time_point begin_ = Clock::now();
};

void SkipUpToDate(const Batch& batch, const Ledger& ledger, Items& items) {
    if (batch.options.isForced) return;
    for (BatchItem& item : items) {
        const auto stamp = StampOf(item.input);
        if (item.status == BatchStatus::Open && stamp && ledger.IsUpToDate(item.outputName, batch.GetEntry(item, *stamp)))
            item.status = BatchStatus::Skipped;
    }
}

[[noreturn]] void Interrupt(Teller& teller, int signal) {
    Io::PendingFile::AbandonAll();
    EndBySignal(signal, "interrupted; the same command goes on from here: " + teller.Finish());
}

void Run(Batch& batch, Items& items, std::uint64_t memory, Ledger& ledger, const StopSignals& signals) {
    Teller teller(batch, items);
    if (!teller.IsFinished()) ReadFurtherPictures(batch);
    Jobs jobs(batch, items, memory, ledger);
    const unsigned processors = std::max(1u, std::thread::hardware_concurrency());
    jobs.Start(batch.options.jobs > 0 ? batch.options.jobs : static_cast<int>(processors));
    while (!teller.IsFinished()) {
        teller.ShowProgress();
        for (const Report& report : jobs.TakeReports()) teller.Tell(report);
        if (signals.GetSeen() != 0) Interrupt(teller, signals.GetSeen());
    }
    const std::string summary = teller.Finish();
    if (teller.HasFailures()) throw CommandError(ExitCode::Failed, "running the batch", summary);
}

void TellPlan(const Batch& batch, Items& items) {
    Teller teller(batch, items);
    if (batch.options.isJson) {
        teller.Finish();
    } else {
        for (const BatchItem& item : items) {
            const std::string output = (batch.folder / item.outputName).string();
            if (item.status == BatchStatus::Open) std::cout << "make " << output << " from " << item.input << '\n';
            if (item.status == BatchStatus::Skipped) std::cout << "skip " << item.input << ", " << output << " is up to date\n";
        }
    }
    if (teller.HasFailures()) throw CommandError(ExitCode::Failed, "planning the batch", "some pictures cannot be worked on");
}

}  // namespace

void RunBatch(const BatchOptions& options) {
    CheckPixFmt(options);
    const std::uint64_t memory = options.memory.empty()
                                     ? GetDefaultMemory()
                                     : While("reading --memory", ExitCode::WrongUsage, [&] { return ParseMemory(options.memory); });
    const Proc::FactoryPtr factory = LoadEffects(options.module);
    const Catalogue catalogue(*factory);
    if (options.chain.empty() && options.settingsFile.empty())
        ThrowUsage(kReadingCommandLine, "the effects are missing; they stand after the pictures and --");
    const Chain chain = MakeChain(catalogue, options);
    CheckOneToOne(chain);
    Items items = PlanBatch(options, FurtherFiles(chain));
    Batch batch{options, chain, factory, options.outputFolder, Fingerprint(DescribeChain(chain, options)), {}, 0};

    if (options.isDryRun) {
        SkipUpToDate(batch, Ledger(batch.folder, Ledger::Access::Reading), items);
        TellPlan(batch, items);
        return;
    }
    const StopSignals signals;
    Ledger ledger = While("preparing the folder " + options.outputFolder, [&] {
        std::error_code error;
        if (std::filesystem::create_directories(batch.folder, error); error) Throw(error.message());
        return Ledger(batch.folder, Ledger::Access::Writing);
    });
    std::vector<std::string> targets = {Ledger::kFileName};
    for (const BatchItem& item : items) targets.push_back(item.outputName);
    Io::PendingFile::RemoveLeftOvers(batch.folder, targets);
    SkipUpToDate(batch, ledger, items);
    Run(batch, items, memory, ledger, signals);
}

}  // namespace Kalvatri
