// Progress of the stages of a grid graph.
#pragma once

#include <mutex>
#include <utility>

#include "Host/Core/Progress.h"

namespace Orvexa::Proc::GridGraph {

/// One stage's share of a longer run. May be stepped from several threads.
class ProgressController : public Core::IProgressController {
public:
    /// The stage makes up `weight` steps of `parent`, which may be empty.
    ProgressController(Core::ProgressPtr parent, double weight) : parent_(std::move(parent)), weight_(weight) {}

    void SetStage(std::string_view) override {}
    void SetTotal(std::uint64_t steps) override;
    void Finish() override {}
    /// Passes whole steps on to the parent and keeps the fraction.
    void Step(std::uint64_t steps) override;
    bool IsCancelled() const override { return parent_ != nullptr && parent_->IsCancelled(); }

    /// Gives a `share` of this stage's weight, between 0 and 1, to a stage that comes before it. To be called before the first step.
    boost::intrusive_ptr<ProgressController> SplitOff(double share);

private:
    const Core::ProgressPtr parent_;
    double weight_;
    std::mutex mutex_;
    double fraction_ = 0.0;  // guarded by mutex_, as is factor_
    double factor_ = 1.0;
};

}  // namespace Orvexa::Proc::GridGraph
