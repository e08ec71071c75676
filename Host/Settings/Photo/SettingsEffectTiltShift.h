#pragma once

#include "Host/Settings/Photo/SettingsEffectShapeMask.h"

namespace Orvexa::Proc {

class SettingsEffectTiltShift final : public Settings {
public:
    static constexpr double kBytesPerPixel = 16;

    // A horizontal band across the picture stays in focus.
    static SettingsEffectShapeMask FocusBand() {
        SettingsEffectShapeMask band;
        band.SetShape(ShapeMaskShape::Rectangle);
        band.SetCenterY(0.55);
        band.SetWidth(4.0);
        band.SetHeight(0.2);
        band.SetThreshold(3.5);
        band.SetForeground(0);
        band.SetBackground(255);
        return band;
    }

    ORVEXA_SETTINGS(SettingsEffectTiltShift, "TiltShift", Groups::kStylise,
                    "Keeps a band or an ellipse in focus and blurs the rest, as if the scene were a model.")
    ORVEXA_EQUALITY(SettingsEffectTiltShift)
    ORVEXA_FIELD(int, Blur, 100, Range(0, 100), "percent",
                 "Has no effect: the blur is set up when an effect is created, with this default.")
    ORVEXA_FIELD(int, Sharpen, 0, Range(0, 100), "percent",
                 "Has no effect: fixed when an effect is created, like the blur.")
    ORVEXA_GROUP_FROM(SettingsEffectShapeMask, Shape, FocusBand())
};

}  // namespace Orvexa::Proc
