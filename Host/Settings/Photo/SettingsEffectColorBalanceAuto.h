#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectColorBalanceAuto final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectColorBalanceAuto, "ColorBalanceAuto", Groups::kTone,
                    "Removes colour casts and dullness by the picture's own statistics.")
    ORVEXA_EQUALITY(SettingsEffectColorBalanceAuto)
    ORVEXA_FIELD(bool, WhiteBalance, false, Any(), "", "Stretches each channel between its own black and white points.")
    ORVEXA_FIELD(bool, LightBalance, false, Any(), "",
                 "Stretches channels and luma gently and darkens the mid tones a little.")
    ORVEXA_FIELD(std::int32_t, Exposure, 0, Range(-100, 100), "3 %", "Gain of all tones; negative values darken.")
};

}  // namespace Orvexa::Proc
