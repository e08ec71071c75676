#pragma once

#include "Host/Settings/Common/ColorCodec.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectBiColorToning final : public Settings {
public:
    static constexpr double kBytesPerPixel = 16;

    ORVEXA_SETTINGS(SettingsEffectBiColorToning, "BiColorToning", Groups::kTone,
                    "Tones the shadows with one colour and the highlights with another.")
    ORVEXA_EQUALITY(SettingsEffectBiColorToning)
    ORVEXA_FIELD(Color, ShadowColor, Color(30, 80, 130), Any(), "", "The colour of the shadows.")
    ORVEXA_FIELD(Color, HighlightColor, Color(230, 160, 70), Any(), "", "The colour of the highlights.")
};

}  // namespace Orvexa::Proc
