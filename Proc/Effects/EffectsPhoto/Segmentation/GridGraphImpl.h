// Segmentation by a minimum cut: a picture and strokes in, a mask out.
//
// The more similar two neighbouring pixels are, the more it costs to cut the edge between them; strokes are linked to
// the source or the sink. The cheapest cut between the two therefore follows the edges in the picture.
#pragma once

#include <mutex>
#include <optional>

#include "Host/Settings/Photo/SettingsEffectSegmentation.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraph.h"

namespace Orvexa::Proc::GridGraph {

/// One stage's share of a longer run. `Step` may be called from several threads.
class ProgressController : public Core::IProgressController {
public:
    /// The stage corresponds to `weight` steps of `parent`, which may be empty.
    ProgressController(Core::ProgressPtr parent, double weight) : parent_(std::move(parent)), weight_(weight) {}

    void SetStage(std::string_view) override {}
    void SetTotal(std::uint64_t steps) override;
    void Finish() override {}
    /// Passes whole steps on to the parent and keeps the fraction.
    void Step(std::uint64_t steps) override;
    bool IsCancelled() const override { return parent_ != nullptr && parent_->IsCancelled(); }

private:
    const Core::ProgressPtr parent_;
    const double weight_;
    std::mutex mutex_;
    double fraction_ = 0.0;  // guarded by mutex_, as is factor_
    double factor_ = 1.0;
};

/// Capacities computed from a picture in `Gray8` or a packed colour format and seeds of the same size, one byte per
/// pixel; if both values are the same, `foreground` takes precedence. `progress` counts the rows; returns nothing if it
/// reports cancellation.
std::optional<Capacities> MakeCapacities(const IDataVideo& image, const ConstPlane& seeds, std::uint8_t foreground,
                                         std::uint8_t background, Core::IProgressController& progress);

/// Replaces the first input by a `Gray8` mask of the foreground and background values; leaves it unchanged on
/// cancellation. Throws `EffectException` if the seeds are missing or differ from the picture in size.
class GridGraphImpl : public EffectBaseTwoInput<SettingsEffectSegmentation> {
public:
    using EffectBaseTwoInput::EffectBaseTwoInput;

protected:
    void ProcessInternalImpl(FramePtr& frame, const ConstFramePtr& seeds) override;

private:
    ConstFramePtr Readable(const FramePtr& frame);

    OneInputPtr greyConverter_;  // created when first needed
};

}  // namespace Orvexa::Proc::GridGraph
