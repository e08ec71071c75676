#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

enum class ApertureShape : std::int32_t { Disc = 0, Polygon = 1, Ring = 2, Heart = 3, Star = 4 };

/// Generates an anti-aliased grey aperture image; the input is an empty frame pointer.
class SettingsEffectVideoGenerator final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectVideoGenerator, "", Groups::kHost, "Draws the image of a lens aperture.")
    ORVEXA_EQUALITY(SettingsEffectVideoGenerator)
    ORVEXA_FIELD(ApertureShape, Shape, ApertureShape::Disc, Named("disc=0 polygon=1 ring=2 heart=3 star=4"), "",
                 "Shape of the aperture.")
    ORVEXA_FIELD(int, Blades, 6, Range(3, 16), "", "Corners of a polygon, points of a star.")
    ORVEXA_FIELD(double, Rotation, 0.0, Range(-360, 360), "degrees", "Turns the shape counter-clockwise.")
    ORVEXA_FIELD(int, Size, 101, Range(3, 1023), "pixels", "Side of the square image.")
};

}  // namespace Orvexa::Proc
