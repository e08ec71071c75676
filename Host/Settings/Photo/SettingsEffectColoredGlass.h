#pragma once

#include "Host/Settings/Common/ColorCodec.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectColoredGlass final : public Settings {
public:
    static constexpr double kBytesPerPixel = 9;

    ORVEXA_SETTINGS(SettingsEffectColoredGlass, "ColoredGlass", Groups::kStylise,
                    "Lays a sheet of tinted glass over the picture.")
    ORVEXA_EQUALITY(SettingsEffectColoredGlass)
    ORVEXA_FIELD(std::int32_t, Alpha, 30, Range(0, 100), "%", "Opacity of the glass.")
    ORVEXA_FIELD(Orvexa::Color, Color, Orvexa::Color(255, 179, 71), Any(), "", "Colour of the glass.")
};

}  // namespace Orvexa::Proc
