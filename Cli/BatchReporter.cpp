#include "Cli/BatchReporter.h"

#include <iostream>

#include "Cli/ChainOptions.h"

namespace Kalvatri {

using namespace Orvexa;

BatchReporter::BatchReporter(const BatchOptions& options, BatchPlan& plan)
    : options_(options), plan_(plan), line_(!options.isQuiet) {
    totals_.inputs = plan.items.size();
    for (const BatchItem& item : plan.items) {
        Count(item);
        if (item.status == BatchStatus::Failed) std::cerr << "kalvatri: " << item.error << '\n';
    }
    totals_.finishedAtStart = totals_.GetFinished();
}

void BatchReporter::Report(const BatchReport& report) {
    BatchItem& item = plan_.items[report.picture];
    item.status = report.error.empty() ? BatchStatus::Done : BatchStatus::Failed;
    item.error = report.error;
    item.seconds = report.seconds;
    Count(item);
    if (!report.inputNotes.empty() || !report.outputNotes.empty() || !report.error.empty()) line_.Clear();
    PrintNotes(item.input, report.inputNotes, options_);
    PrintNotes(GetOutput(item), report.outputNotes, options_);
    if (report.error.empty()) return;
    std::cerr << "kalvatri: " << report.error << '\n';
    if (options_.isVerbose) std::cerr << report.origin;
}

void BatchReporter::ShowProgress() {
    MeasureTime();
    line_.Show(FormatProgress(totals_));
}

void BatchReporter::PrintPlan() {
    if (options_.isJson) {
        Finish();
        return;
    }
    for (const BatchItem& item : plan_.items) {
        if (item.status == BatchStatus::Open) std::cout << "make " << GetOutput(item) << " from " << item.input << '\n';
        if (item.status == BatchStatus::Skipped)
            std::cout << "skip " << item.input << ", " << GetOutput(item)
                      << (item.isExisting ? " exists\n" : " is up to date\n");
    }
    if (const std::string others = DescribeOthers(plan_.others); !others.empty()) std::cout << others << '\n';
}

std::string BatchReporter::Finish() {
    line_.Clear();
    MeasureTime();
    const std::string summary = MakeSummary();
    if (options_.isJson) {
        std::cout << FormatJson(ToJson()) << '\n';
    } else if (IsFinished() && !HasFailures() && !options_.isQuiet) {
        std::cout << summary << '\n';
    }
    return summary;
}

std::string BatchReporter::GetOutput(const BatchItem& item) const {
    return (Core::ioPath(options_.outputFolder) / item.outputName).string();
}

void BatchReporter::Count(const BatchItem& item) {
    totals_.done += item.status == BatchStatus::Done ? 1 : 0;
    totals_.skipped += item.status == BatchStatus::Skipped ? 1 : 0;
    totals_.existing += item.isExisting ? 1 : 0;
    totals_.failed += item.status == BatchStatus::Failed ? 1 : 0;
}

std::string BatchReporter::MakeSummary() const {
    const std::string others = DescribeOthers(plan_.others);
    return FormatSummary(totals_) + (others.empty() ? "" : "; " + others);
}

void BatchReporter::MeasureTime() {
    totals_.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count();
}

Json BatchReporter::ToJson() const {
    constexpr const char* kNames[] = {"open", "done", "skipped", "failed"};
    Json list = Json::array();
    for (const BatchItem& item : plan_.items) {
        Json json = {{"input", item.input},
                     {"output", item.outputName.empty() ? Json() : Json(GetOutput(item))},
                     {"status", kNames[static_cast<int>(item.status)]},
                     {"error", item.error.empty() ? Json() : Json(item.error)},
                     {"seconds", item.seconds}};
        if (item.isExisting) json["reason"] = "the output exists";
        list.push_back(std::move(json));
    }
    return {{"inputs", std::move(list)},
            {"totals",
             {{"inputs", totals_.inputs},
              {"done", totals_.done},
              {"skipped", totals_.skipped},
              {"existing", totals_.existing},
              {"failed", totals_.failed},
              {"open", totals_.inputs - totals_.GetFinished()},
              {"seconds", totals_.seconds}}},
            {"others", plan_.others}};
}

}  // namespace Kalvatri
