#pragma once

#include "Host/Settings/Common/ColorCodec.h"
#include "Host/Settings/Common/Point.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Draws an ellipse or a sector of one into a frame, modifying its pixels in place.
class SettingsEffectDrawShape final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectDrawShape, "", Groups::kHost, "Draws an ellipse, or a sector of one, into a frame.")
    ORVEXA_EQUALITY(SettingsEffectDrawShape)
    ORVEXA_FIELD(int, CenterX, 0, Any(), "pixels", "Centre of the ellipse.")
    ORVEXA_FIELD(int, CenterY, 0, Any(), "pixels", "Centre of the ellipse.")
    ORVEXA_FIELD(int, Width, 0, Range(0, 131072), "pixels", "From the centre to the end of the first axis.")
    ORVEXA_FIELD(int, Height, 0, Range(0, 131072), "pixels", "From the centre to the end of the second axis.")
    ORVEXA_FIELD(double, Angle, 0.0, Range(-360, 360), "degrees", "Rotates the ellipse clockwise.")
    ORVEXA_FIELD(double, StartAngle, 0.0, Range(-720, 720), "degrees",
                 "Where the sector begins, clockwise from the first axis.")
    ORVEXA_FIELD(double, EndAngle, 360.0, Range(-720, 720), "degrees", "Where the sector ends.")
    ORVEXA_FIELD(Orvexa::Color, Color, Orvexa::Color::White(Opacity::Opaque), Any(), "", "The colour.")
    ORVEXA_FIELD(int, LineType, 0, Named("plain=0 smooth=1"), "", "Whether edges are smooth (anti-aliased).")
    ORVEXA_FIELD(int, Thickness, -1, Range(-1, 1000), "pixels", "Width of the line; below 0 the sector is filled.")

    SettingsEffectDrawShape() = default;
    SettingsEffectDrawShape(const Point<int>& center, int width, int height, const Orvexa::Color& color) {
        SetCenterX(center.x);
        SetCenterY(center.y);
        SetWidth(width);
        SetHeight(height);
        SetColor(color);
    }
};

}  // namespace Orvexa::Proc
