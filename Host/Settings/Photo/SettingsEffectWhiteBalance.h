#pragma once

#include "Host/Settings/Common/ColorCodec.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// No equality here: the effect compares the colour.
class SettingsEffectWhiteBalance final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectWhiteBalance, "WhiteBalance", Groups::kTone,
                    "Removes a colour cast, given one colour that should have been grey.")
    ORVEXA_FIELD(Orvexa::Color, Color, Orvexa::Color(128, 128, 128), Any(), "",
                 "The colour in the picture that should be grey.")
};

}  // namespace Orvexa::Proc
