// Tells people, and programs, what becomes of a batch's pictures.
#pragma once

#include <chrono>
#include <string>

#include "Cli/BatchPlan.h"
#include "Cli/BatchProgress.h"
#include "Cli/BatchWorker.h"
#include "Cli/ProgressLine.h"

namespace Kalvatri {

class BatchReporter {
public:
    /// Tells which pictures have failed before the start. Both references must outlive the object.
    BatchReporter(const BatchOptions& options, BatchPlan& plan);

    bool IsFinished() const { return totals_.GetFinished() == totals_.inputs; }
    bool HasFailures() const { return totals_.failed > 0; }

    /// Notes the outcome of a picture in the plan, and tells notes and errors, one line each.
    void Report(const BatchReport& report);
    void ShowProgress();
    /// Prints what would be done with each picture.
    void PrintPlan();
    /// Prints the report or the summary, and returns the summary; that of a batch which went wrong is for the caller to
    /// print as an error.
    std::string Finish();

private:
    std::string GetOutput(const BatchItem& item) const;
    void Count(const BatchItem& item);
    std::string MakeSummary() const;
    void MeasureTime();
    Json ToJson() const;

    const BatchOptions& options_;
    BatchPlan& plan_;
    BatchTotals totals_;
    ProgressLine line_;
    const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

}  // namespace Kalvatri
