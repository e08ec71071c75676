#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Changes the saturation of dull colours more than that of vivid ones.
class SettingsEffectVibrance final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectVibrance, "Vibrance", Groups::kHost,
                    "Makes dull colours more colourful, or colourful ones duller.")
    ORVEXA_EQUALITY(SettingsEffectVibrance)
    ORVEXA_FIELD(int, Strength, 0, Range(-100, 100), "percent", "How much; below 0 it takes colour away.")
};

}  // namespace Orvexa::Proc
