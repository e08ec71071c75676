#pragma once

#include "Host/Settings/Common/ColorCodec.h"
#include "Host/Settings/Photo/SettingsEffectShapeMask.h"

namespace Orvexa::Proc {

class SettingsEffectVignette final : public Settings {
public:
    static constexpr double kBytesPerPixel = 12;

    // Clear inside an ellipse, almost fully covered in the corners.
    static SettingsEffectShapeMask Surroundings() {
        SettingsEffectShapeMask ellipse;
        ellipse.SetWidth(0.7);
        ellipse.SetHeight(0.7);
        ellipse.SetThreshold(2.2);
        ellipse.SetForeground(0);
        ellipse.SetBackground(220);
        return ellipse;
    }

    ORVEXA_SETTINGS(SettingsEffectVignette, "Vignette", Groups::kStylise, "Darkens or tints the picture's edges.")
    ORVEXA_EQUALITY(SettingsEffectVignette)
    ORVEXA_FIELD(Orvexa::Color, Color, Orvexa::Color(0, 0, 0), Any(), "", "The colour that the edges fade to.")
    ORVEXA_GROUP_FROM(SettingsEffectShapeMask, Shape, Surroundings())
};

}  // namespace Orvexa::Proc
