// Shows the progress of a chain, and lets it be cancelled.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <utility>

#include "Cli/ProgressLine.h"
#include "Host/Core/Progress.h"

namespace Kalvatri {

/// "Segmentation [##########..........] 50 %"
std::string FormatBar(const std::string& stage, std::uint64_t done, std::uint64_t total);

/// The stages are the effects of the chain. Effects that report no steps get no bar.
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
    std::mutex mutex_;  // guards the members below
    ProgressLine line_;
    std::string stage_;
    std::uint64_t done_ = 0, total_ = 0;
};

/// The progress of several pictures that go through the same steps in parallel, on one bar in which every step of
/// every picture has the same length.
class SharedProgress {
public:
    /// One picture's part of the bar, for its effects. Their stages and totals are mapped to it.
    class Part : public Orvexa::Core::IProgressController {
    public:
        Part(Orvexa::Core::ProgressPtr whole, std::size_t steps) : whole_(std::move(whole)), steps_(steps) {}
        void SetStage(std::string_view) override {}
        void SetTotal(std::uint64_t steps) override;
        void Finish() override {}
        void Step(std::uint64_t steps) override;
        bool IsCancelled() const override { return whole_ != nullptr && whole_->IsCancelled(); }
        /// The picture has completed one of its steps.
        void FinishStep();

    private:
        void Report();

        const Orvexa::Core::ProgressPtr whole_;
        const std::size_t steps_;
        std::mutex mutex_;  // guards the members below
        std::uint64_t finished_ = 0, done_ = 0, total_ = 0, reported_ = 0;
    };

    /// `whole` may be empty.
    SharedProgress(Orvexa::Core::ProgressPtr whole, std::size_t pictures, std::size_t steps);
    boost::intrusive_ptr<Part> MakePart() const { return Orvexa::Core::MakeRefCounted<Part>(whole_, steps_); }

private:
    const Orvexa::Core::ProgressPtr whole_;
    const std::size_t steps_;
};

}  // namespace Kalvatri
