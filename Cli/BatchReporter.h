// Reports the outcome of a batch's pictures to people and programs.
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
    /// Reports the pictures that have failed before the start. Both references must outlive the object.
    BatchReporter(const BatchOptions& options, BatchPlan& plan);

    bool IsFinished() const { return totals_.GetFinished() == totals_.inputs; }
    bool HasFailures() const { return totals_.failed > 0; }

    /// Records the outcome of a picture in the plan and prints notes and errors, one line each.
    void Report(const BatchReport& report);
    void ShowProgress();
    /// Prints what would be done with each picture.
    void PrintPlan();
    /// Prints the report or the summary, and returns the summary; if the batch failed, the caller prints that as an
    /// error.
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
