#pragma once

#include "Host/Settings/Common/ColorCodec.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Tones shadows with one colour and highlights with another.
class SettingsEffectSplitToning final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectSplitToning, "SplitToning", Groups::kHost,
                    "Tones shadows with one colour and highlights with another.")
    ORVEXA_EQUALITY(SettingsEffectSplitToning)
    ORVEXA_FIELD(Color, ShadowColor, Color(0, 64, 128), Any(), "",
                 "Hue and saturation of the shadows; grey tones nothing.")
    ORVEXA_FIELD(Color, HighlightColor, Color(255, 192, 96), Any(), "",
                 "Hue and saturation of the highlights; grey tones nothing.")
    ORVEXA_FIELD(int, Balance, 0, Range(-100, 100), "percent",
                 "Where shadows end and highlights begin: above 0 the highlights' colour reaches darker tones.")
};

}  // namespace Orvexa::Proc
