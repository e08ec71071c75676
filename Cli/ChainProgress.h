// Shows how far a chain has come, and lets it be cancelled.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

#include "Cli/ProgressLine.h"
#include "Host/Core/Progress.h"

namespace Kalvatri {

/// "Segmentation [##########..........] 50 %"
std::string FormatBar(const std::string& stage, std::uint64_t done, std::uint64_t total);

/// The stages are the effects of the chain. Effects that report no steps show no bar.
class ChainProgress : public Orvexa::Core::IProgressController {
public:
    explicit ChainProgress(bool isShown) : line_(isShown) {}

    void SetStage(std::string_view name) override;
    void SetTotal(std::uint64_t steps) override;
    void Finish() override;
    void Step(std::uint64_t steps) override;
    bool IsCancelled() const override { return isCancelled_.load(std::memory_order_relaxed); }
    void Cancel() { isCancelled_ = true; }

private:
    std::atomic<bool> isCancelled_ = false;
    std::mutex mutex_;  // guards what follows
    ProgressLine line_;
    std::string stage_;
    std::uint64_t done_ = 0, total_ = 0;
};

}  // namespace Kalvatri
