// Progress and cancellation of long computations.
#pragma once

#include <cstdint>
#include <string_view>

#include "Host/Core/RefCount.h"

namespace Orvexa::Core {

/// Receives the progress of one computation and decides whether it should continue. May be called from several threads
/// at once.
class IProgressController : public virtual IRefCountable {
public:
    /// Names the stage that is starting.
    virtual void SetStage(std::string_view name) = 0;
    /// Announces the number of steps in the stage.
    virtual void SetTotal(std::uint64_t steps) = 0;
    /// Ends the stage, whatever number of steps was reached.
    virtual void Finish() = 0;
    virtual void Step(std::uint64_t steps) = 0;
    /// True if the computation should stop as soon as possible.
    virtual bool IsCancelled() const = 0;
};

using ProgressPtr = boost::intrusive_ptr<IProgressController>;

/// The share of a longer run that an effect's own progress covers, as fractions of the whole.
struct TimeToProgress {
    double begin = 0.0;
    double end = 1.0;
    bool operator==(const TimeToProgress&) const = default;
};

}  // namespace Orvexa::Core
