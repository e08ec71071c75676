#include "Proc/Effects/EffectsPhoto/Detail/GridGraphProgress.h"

#include <algorithm>

namespace Orvexa::Proc::GridGraph {

void ProgressController::SetTotal(std::uint64_t steps) {
    const std::lock_guard lock(mutex_);
    factor_ = weight_ / static_cast<double>(std::max<std::uint64_t>(steps, 1));
}

void ProgressController::Step(std::uint64_t steps) {
    std::uint64_t whole = 0;
    {
        const std::lock_guard lock(mutex_);
        fraction_ += static_cast<double>(steps) * factor_;
        if (fraction_ > 1.0) {
            whole = static_cast<std::uint64_t>(fraction_);
            fraction_ -= static_cast<double>(whole);
        }
    }
    if (whole > 0 && parent_ != nullptr) parent_->Step(whole);
}

boost::intrusive_ptr<ProgressController> ProgressController::SplitOff(double share) {
    const std::lock_guard lock(mutex_);
    auto part = Core::MakeRefCounted<ProgressController>(parent_, weight_ * share);
    weight_ *= 1.0 - share;
    factor_ *= 1.0 - share;
    return part;
}

}  // namespace Orvexa::Proc::GridGraph
