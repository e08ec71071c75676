#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectBalanceLuma final : public Settings {
public:
    static constexpr double kBytesPerPixel = 9;

    ORVEXA_SETTINGS(SettingsEffectBalanceLuma, "BalanceLuma", Groups::kTone,
                    "Lifts shadows, pushes highlights, changes exposure and stretches contrast.")
    ORVEXA_EQUALITY(SettingsEffectBalanceLuma)
    ORVEXA_FIELD(std::int32_t, Shadows, 0, Range(-100, 100), "", "Brightens dark tones; negative values darken them.")
    ORVEXA_FIELD(std::int32_t, Highlights, 0, Range(-100, 100), "",
                 "Brightens bright tones; negative values darken them.")
    ORVEXA_FIELD(std::int32_t, Exposure, 0, Range(-100, 100), "4 % per step",
                 "Gain of all tones; negative values darken.")
    ORVEXA_FIELD(bool, AutoContrast, false, Any(), "", "Stretches the luma found in the picture to the full range.")
};

}  // namespace Orvexa::Proc
