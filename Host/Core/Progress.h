// Progress and cancellation of long computations.
#pragma once

#include <cstdint>
#include <string_view>

#include "Host/Core/RefCount.h"

namespace Orvexa::Core {

/// Receives the progress of one computation and answers whether it should go on. May be called from several threads at
/// once.
class IProgressController : public virtual IRefCountable {
public:
    /// Names the stage that begins now.
    virtual void SetStage(std::string_view name) = 0;
    /// Announces the number of steps to come.
    virtual void SetTotal(std::uint64_t steps) = 0;
    /// The stage has ended, whatever number of steps was reached.
    virtual void Finish() = 0;
    virtual void Step(std::uint64_t steps) = 0;
    /// True once the computation should stop as soon as it can.
    virtual bool IsCancelled() const = 0;
};

using ProgressPtr = boost::intrusive_ptr<IProgressController>;

/// The share of a longer run that an effect's own progress stands for, as fractions of the whole.
struct TimeToProgress {
    double begin = 0.0;
    double end = 1.0;
    bool operator==(const TimeToProgress&) const = default;
};

}  // namespace Orvexa::Core
