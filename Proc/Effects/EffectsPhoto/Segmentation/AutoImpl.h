// Segmentation without strokes: a neural network estimates the probability of each pixel belonging to the subject.
#pragma once

#include "Host/Settings/Common/SettingsResizer.h"
#include "Host/Settings/Photo/SettingsEffectSegmentation.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"

namespace Orvexa::Proc::Auto {

/// Replaces the first input by a `Gray8` mask of the foreground and background values. Ignores the second input, which
/// may be empty.
class AutoImpl : public EffectBaseTwoInput<SettingsEffectSegmentation> {
public:
    using EffectBaseTwoInput::EffectBaseTwoInput;

protected:
    void ProcessInternalImpl(FramePtr& frame, const ConstFramePtr& seeds) override;

private:
    OneInputPtr resizer_ = CreateOneInput<SettingsResizer>();
    FrameInfo info_;  // the size for which the resizer is configured
};

}  // namespace Orvexa::Proc::Auto
