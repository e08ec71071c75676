#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Changes the saturation of dull colours more than that of colourful ones.
class SettingsEffectVibrance final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectVibrance, "", "Host", "Makes dull colours more colourful; strong ones change little.")
    ORVEXA_EQUALITY(SettingsEffectVibrance)
    ORVEXA_FIELD(int, Strength, 0, Range(-100, 100), "percent", "How much; below 0 it takes colour away.")
};

}  // namespace Orvexa::Proc
