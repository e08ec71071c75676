// A listener to the progress of a computation, which may want it to stop.
#pragma once

#include <atomic>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "Host/Core/Progress.h"

namespace Orvexa::Test {

/// Keeps what it is told, and reports cancellation, or throws, from its n-th query or its n-th stage on.
class TestProgress : public Core::IProgressController {
public:
    static constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

    explicit TestProgress(std::int64_t query = kNever, bool willThrow = false)
        : cancelAt(query), willThrow_(willThrow) {}
    void SetStage(std::string_view name) override {
        stages.emplace_back(name);
        ++begun_;
    }
    void SetTotal(std::uint64_t count) override { total = count; }
    void Finish() override { stages.emplace_back("end"); }
    void Step(std::uint64_t count) override { steps += count; }
    bool IsCancelled() const override {
        if (queries++ < cancelAt && begun_ <= cancelAfterStages) return false;
        std::int64_t none = -1;
        stepsWhenCancelled.compare_exchange_strong(none, static_cast<std::int64_t>(steps));
        if (willThrow_) throw std::runtime_error("the caller is gone");
        return true;
    }
    /// Forgets what it was told, and how often it was asked.
    void Clear() {
        stages.clear();
        begun_ = 0;
        total = steps = 0;
        queries = 0;
    }

    std::vector<std::string> stages;  ///< their names; "end" for each that was finished
    std::atomic<std::uint64_t> total{0}, steps{0};
    mutable std::atomic<std::int64_t> queries{0}, stepsWhenCancelled{-1};
    std::atomic<std::int64_t> cancelAt, cancelAfterStages{kNever};

private:
    std::atomic<std::int64_t> begun_{0};
    bool willThrow_;
};

}  // namespace Orvexa::Test
