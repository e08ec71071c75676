#pragma once

#include "Host/Settings/Common/ColorCodec.h"
#include "Host/Settings/Common/CropInfo.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

enum class PadMode : std::int32_t {
    Fill = 0,
    Texture = 1,    ///< repeated, with neighbouring copies fading into one another
    Replicate = 2,  ///< the edge pixels
    Mirror = 3,     ///< repeated as often as needed
};

/// Adds margins to a frame.
class SettingsEffectPad final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectPad, "Pad", Groups::kHost, "Adds margins to a frame.")
    ORVEXA_EQUALITY(SettingsEffectPad)
    ORVEXA_FIELD(CropInfo, Margins, CropInfo(), Any(), "pixels", "Margins left, right, top and bottom.")
    ORVEXA_FIELD(PadMode, Mode, PadMode::Fill, Named("fill=0 texture=1 replicate=2 mirror=3"), "",
                 "What the margins show.")
    ORVEXA_FIELD(Orvexa::Color, Color, Orvexa::Color::Black(Opacity::Opaque), Any(), "", "Colour of filled margins.")

    SettingsEffectPad() = default;
    SettingsEffectPad(const CropInfo& margins, PadMode mode,
                      const Orvexa::Color& color = Orvexa::Color::Black(Opacity::Opaque)) {
        SetMargins(margins);
        SetMode(mode);
        SetColor(color);
    }
};

}  // namespace Orvexa::Proc
