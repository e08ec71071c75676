#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Gives the first input the tones half-way between its own and those of the second (midway equalisation).
class SettingsEffectMidEqualizer final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectMidEqualizer, "MidEqualizer", Groups::kHost,
                    "Brings a picture's tones half-way to those of another.")
    ORVEXA_EQUALITY(SettingsEffectMidEqualizer)
};

}  // namespace Orvexa::Proc
