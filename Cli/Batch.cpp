// kalvatri batch: runs a chain of effects on many pictures.
#include <algorithm>
#include <map>
#include <utility>

#include "Cli/BatchBudget.h"
#include "Cli/BatchFurtherPictures.h"
#include "Cli/BatchJobs.h"
#include "Cli/BatchLedger.h"
#include "Cli/BatchPlan.h"
#include "Cli/BatchReporter.h"
#include "Cli/ChainOptions.h"
#include "Cli/Commands.h"
#include "Cli/Errors.h"
#include "Cli/StopSignals.h"
#include "Host/Core/Threads.h"
#include "Host/Io/PendingFile.h"
#include "Host/Proc/VideoFrame.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

void CheckOneToOne(const Chain& chain) {
    CheckPictures(chain, 1);
    for (const Step& step : chain) {
        if (step.effect->kind == Proc::EffectKind::VarInput)
            ThrowUsage("planning the batch",
                       step.effect->GetName() + " takes or gives many pictures; a batch makes one of each");
    }
}

// Everything that affects an output's bytes, apart from its input and its name.
Json DescribeChain(const Chain& chain, const BatchOptions& options) {
    Json steps = Json::array();
    for (const Step& step : chain) {
        Json with = Json::array();
        for (const Core::ioPath& file : step.with) {
            const auto stamp = StampOf(file);
            if (!stamp) throw CommandError(ExitCode::Failed, "reading " + file.string(), "the file does not exist");
            with.push_back({std::filesystem::absolute(file).lexically_normal().string(), stamp->size, stamp->modified});
        }
        steps.push_back({{"effect", step.effect->GetName()},
                         {"settings", SettingsToJson(*step.settings)},
                         {"with", std::move(with)}});
        AddToJson(step.faces, steps.back());
    }
    Json json = {{"version", KALVATRI_VERSION}, {"module", options.module.string()},
                 {"steps", std::move(steps)},   {"pixfmt", options.pixFmt ? Json(*options.pixFmt) : Json()},
                 {"quality", options.quality},  {"allowTruncated", options.read.allowTruncated},
                 {"srgb", options.read.toSrgb}};
    const Io::RawOptions& raw = options.read.raw;
    if (raw != Io::RawOptions()) {
        json["raw"] = {{"whiteBalance", static_cast<int>(raw.whiteBalance)},
                       {"brightness", raw.brightness ? Json(*raw.brightness) : Json()}};
    }
    return json;
}

class Batch {
public:
    Batch(BatchWork work, BatchPlan plan, const BatchPart& part)
        : work_(std::move(work)),
          options_(work_.options),
          plan_(std::move(plan)),
          part_(part),
          fingerprint_(Fingerprint(DescribeChain(work_.chain, options_))) {}

    void PrintPlan() {
        SkipFinished(Ledger(work_.folder, part_, fingerprint_, Ledger::Access::Reading));
        BatchReporter reporter(options_, plan_);
        reporter.PrintPlan();
        if (reporter.HasFailures())
            throw CommandError(ExitCode::Failed, "planning the batch", "some pictures cannot be worked on");
    }

    void Run(std::uint64_t memory) {
        const StopSignals signals;
        Ledger ledger = WithContext("preparing the folder " + options_.outputFolder, [&] {
            std::error_code error;
            if (std::filesystem::create_directories(work_.folder, error); error) Throw(error.message());
            return Ledger(work_.folder, part_, fingerprint_, Ledger::Access::Writing);
        });
        NoteOtherChains(ledger);
        RemoveLeftOvers();
        SkipFinished(ledger);
        BatchReporter reporter(options_, plan_);
        if (!reporter.IsFinished()) {
            ReadFurtherPictures(work_, signals);
            WorkOnAll(memory, reporter, ledger, signals);
        }
        const std::string summary = reporter.Finish();
        if (!reporter.IsFinished())
            EndBySignal(signals.GetSeen(), "interrupted; the same command goes on from here: " + summary);
        if (reporter.HasFailures()) throw CommandError(ExitCode::Failed, "running the batch", summary);
    }

private:
    LedgerEntry GetEntry(const BatchItem& item, const FileStamp& stamp) const {
        return {item.GetAbsoluteInput(), stamp, fingerprint_};
    }

    void NoteOtherChains(const Ledger& ledger) const {
        std::string parts;
        for (const std::string& part : ledger.GetPartsOfOtherChains()) parts += (parts.empty() ? "" : ", ") + part;
        if (parts.empty()) return;
        PrintNotes(options_.outputFolder,
                   {"it has results of another chain or of other options by part " + parts +
                    ", which have to be made anew with these"},
                   options_);
    }

    // Left by batches that were killed.
    void RemoveLeftOvers() const {
        std::map<Core::ioPath, std::vector<std::string>> targets = {{work_.folder, {Ledger::GetFileName(part_)}}};
        for (const BatchItem& item : plan_.items) {
            if (item.outputName.empty()) continue;
            const Core::ioPath output = work_.folder / item.outputName;
            targets[output.parent_path()].push_back(output.filename().string());
        }
        for (const auto& [folder, names] : targets) Io::PendingFile::RemoveLeftOvers(folder, names);
    }

    void SkipFinished(const Ledger& ledger) {
        if (options_.isForced) return;
        for (BatchItem& item : plan_.items) {
            if (item.status != BatchStatus::Open) continue;
            const auto stamp = StampOf(item.input);
            std::error_code error;
            if (stamp && ledger.IsUpToDate(item.outputName, GetEntry(item, *stamp))) {
                item.status = BatchStatus::Skipped;
            } else if (options_.isKeepingExisting && std::filesystem::exists(work_.folder / item.outputName, error)) {
                item.status = BatchStatus::Skipped;
                item.isExisting = true;
            }
        }
    }

    void WorkOnAll(std::uint64_t memory, BatchReporter& reporter, Ledger& ledger, const StopSignals& signals) const {
        BatchJobs jobs(work_, plan_.items, options_.jobs > 0 ? options_.jobs : Core::CountProcessors(), memory);
        while (!reporter.IsFinished() && signals.GetSeen() == 0) {
            reporter.ShowProgress();
            for (FinishedPicture& picture : jobs.Wait()) {
                Record(picture, ledger);
                reporter.Report(picture.report);
            }
        }
    }

    // An output that cannot be recorded exists but would be rebuilt: the picture counts as failed.
    void Record(FinishedPicture& picture, Ledger& ledger) const {
        if (!picture.report.error.empty()) return;
        const BatchItem& item = plan_.items[picture.report.picture];
        try {
            WithContext("recording " + (work_.folder / item.outputName).string(),
                        [&] { ledger.Add(item.outputName, GetEntry(item, picture.input)); });
        } catch (const CommandError& error) {
            picture.report.error = error.what();
            picture.report.origin = error.GetOrigin();
        }
    }

    BatchWork work_;
    const BatchOptions& options_;
    BatchPlan plan_;
    const BatchPart part_;
    const std::string fingerprint_;
};

}  // namespace

void RunBatch(const BatchOptions& options) {
    CheckPixFmt(options);
    const std::uint64_t memory = options.memory.empty() ? GetDefaultMemory()
                                                        : WithContext("reading --memory", ExitCode::WrongUsage,
                                                                      [&] { return ParseMemory(options.memory); });
    const BatchPart part = WithContext(kReadingCommandLine + std::string(": --part"), ExitCode::WrongUsage,
                                       [&] { return ParsePart(options.part); });
    const auto allocator = Core::MakeRefCounted<Proc::FrameAllocator>();
    const Proc::FactoryPtr factory = LoadEffects(options.module, allocator);
    const Catalogue catalogue(*factory);
    const auto isStdin = [](const std::string& file) { return file == kStdStream; };
    if (std::any_of(options.lists.begin(), options.lists.end(), isStdin) && isStdin(options.settingsFile))
        ThrowUsage(kReadingCommandLine,
                   "only one of the list of files and the settings can come from stdin, as it is read once");
    if (options.chain.empty() && options.settingsFile.empty())
        ThrowUsage(kReadingCommandLine, "the effects are missing; they stand after the pictures and --");
    const Chain chain = MakeChain(catalogue, options);
    CheckOneToOne(chain);
    BatchPlan plan = PlanBatch(options, part, GetFurtherFiles(chain));
    Batch batch({options, chain, factory, allocator->GetPool(), options.outputFolder, {}, 0}, std::move(plan), part);
    if (options.isDryRun) {
        batch.PrintPlan();
    } else {
        batch.Run(memory);
    }
}

}  // namespace Kalvatri
