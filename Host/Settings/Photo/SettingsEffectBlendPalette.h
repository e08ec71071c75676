#pragma once

#include <map>

#include "Host/Settings/Common/Color.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectBlendPalette final : public Settings {
public:
    using PaletteMap = std::map<std::uint8_t, Color>;

    ORVEXA_SETTINGS(SettingsEffectBlendPalette, "BlendPalette", "Blur, stylise and generators", "Draws a grey index image over the picture, each index in its palette colour.")
    ORVEXA_EQUALITY(SettingsEffectBlendPalette)
    ORVEXA_FIELD(std::int32_t, Alpha, 255, Range(0, 255), "", "Opacity of all colours.")
    ORVEXA_FIELD(std::int32_t, PositionX, 0, Any(), "pixels", "Left edge of the index image within the picture.")
    ORVEXA_FIELD(std::int32_t, PositionY, 0, Any(), "pixels", "Top edge of the index image within the picture.")
    ORVEXA_FIELD(PaletteMap, Palette, {}, Any(), "", "Colours as index:#RRGGBBAA; other indices are transparent.")
};

}  // namespace Orvexa::Proc
