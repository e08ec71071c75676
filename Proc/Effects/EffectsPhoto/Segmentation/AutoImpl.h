// Segmentation without strokes: a neural network estimates how likely each pixel is to belong to the subject.
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
    FrameInfo info_;  // the size that the resizer is set to
};

}  // namespace Orvexa::Proc::Auto
