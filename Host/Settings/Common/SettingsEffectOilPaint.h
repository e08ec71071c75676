#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectOilPaint final : public Settings {
public:
    // ImageMagick uses three pictures of 8 bytes per pixel; larger pictures, which are painted at reduced size, need
    // less.
    static constexpr double kBytesPerPixel = 36;

    ORVEXA_SETTINGS(SettingsEffectOilPaint, "OilPaint", Groups::kStylise,
                    "Paints the picture in strokes of oil: each pixel takes the most frequent colour around it.")
    ORVEXA_EQUALITY(SettingsEffectOilPaint)
    ORVEXA_FIELD(double, Radius, 3.0, Range(0.5, 16), "pixels", "Size of the strokes.")
};

}  // namespace Orvexa::Proc
