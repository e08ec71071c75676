#pragma once

#include "Host/Settings/Common/ColorCodec.h"
#include "Host/Settings/Common/Point.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Draws closed contours into a frame, modifying its pixels in place.
class SettingsEffectDrawContours final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectDrawContours, "", Groups::kHost, "Draws closed contours into a frame.")
    ORVEXA_EQUALITY(SettingsEffectDrawContours)
    ORVEXA_FIELD(std::vector<Contour>, Contours, {}, Any(), "pixels",
                 "Points x,y,x,y,... of each; contours are separated by semicolons.")
    ORVEXA_FIELD(Orvexa::Color, Color, Orvexa::Color::White(Opacity::Opaque), Any(), "", "The colour.")
    ORVEXA_FIELD(int, LineType, 0, Named("plain=0 smooth=1"), "", "Whether edges are smooth (anti-aliased).")
    ORVEXA_FIELD(int, Thickness, 1, Range(-1, 1000), "pixels", "Width of the lines; below 0 the contours are filled.")

    SettingsEffectDrawContours() = default;
    /// A filled contour.
    SettingsEffectDrawContours(const Contour& contour, const Orvexa::Color& color) {
        SetContours({contour});
        SetColor(color);
        SetThickness(-1);
    }
};

}  // namespace Orvexa::Proc
