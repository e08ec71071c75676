#pragma once

#include <map>

#include "Host/Settings/Common/ColorCodec.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectBlendPalette final : public Settings {
public:
    static constexpr PixFmt kSecondInput = PixFmt::Gray8;
    using PaletteMap = std::map<std::uint8_t, Color>;

    ORVEXA_SETTINGS(SettingsEffectBlendPalette, "BlendPalette", Groups::kStylise,
                    "Draws a second picture's grey levels over the picture, each in its palette colour; a second "
                    "picture in colour is made grey.")
    ORVEXA_EQUALITY(SettingsEffectBlendPalette)
    ORVEXA_FIELD(std::int32_t, Alpha, 255, Range(0, 255), "", "Opacity of all colours.")
    ORVEXA_FIELD(std::int32_t, PositionX, 0, Any(), "pixels", "Left edge of the index image within the picture.")
    ORVEXA_FIELD(std::int32_t, PositionY, 0, Any(), "pixels", "Top edge of the index image within the picture.")
    ORVEXA_FIELD(PaletteMap, Palette, {}, Any(), "", "Colours as index:#RRGGBBAA; other indices are transparent.")
};

}  // namespace Orvexa::Proc
