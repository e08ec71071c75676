// Segmentation without strokes: a neural network tells how much each pixel belongs to the subject.
#pragma once

#include "Host/Settings/Photo/SettingsEffectSegmentation.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"

namespace Orvexa::Proc::Auto {

/// The first input becomes a `Gray8` mask of the foreground and background values. The second input is ignored and may be empty.
class AutoImpl : public EffectBaseTwoInput<SettingsEffectSegmentation> {
public:
    AutoImpl(const FactoryPtr& factory, const AllocatorPtr& allocator);

protected:
    void ProcessInternalImpl(FramePtr& frame, const ConstFramePtr& seeds) override;

private:
    OneInputPtr resizer_;
    FrameInfo info_;  // that the resizer is set to
};

}  // namespace Orvexa::Proc::Auto
