// Progress of the solver's stages.
#pragma once

#include <algorithm>
#include <cstdint>
#include <mutex>

#include "Host/Core/Progress.h"

namespace Orvexa::Proc::GridGraph {

/// Maps a stage's steps to a fixed number of steps of a longer run. `Step` may be called from several threads.
class ProgressShare : public Core::IProgressController {
public:
    /// The stage corresponds to `share` steps of `whole`, which must outlive it; its own total is `share`, too, until
    /// it sets another one.
    ProgressShare(Core::IProgressController& whole, std::uint64_t share)
        : whole_(whole), share_(share), total_(std::max<std::uint64_t>(share, 1)) {}

    void SetStage(std::string_view) override {}
    void SetTotal(std::uint64_t steps) override { total_ = std::max<std::uint64_t>(steps, 1); }
    void Finish() override {}
    void Step(std::uint64_t steps) override {
        const std::lock_guard lock(mutex_);
        done_ += steps;
        const std::uint64_t due = done_ * share_ / total_;
        if (due > passed_) whole_.Step(due - passed_);
        passed_ = due;
    }
    bool IsCancelled() const override { return whole_.IsCancelled(); }

    /// The steps passed on so far.
    std::uint64_t GetPassed() const { return passed_; }

private:
    Core::IProgressController& whole_;
    const std::uint64_t share_;
    std::mutex mutex_;
    std::uint64_t total_, done_ = 0, passed_ = 0;  // guarded by mutex_ once the stage has begun
};

}  // namespace Orvexa::Proc::GridGraph
