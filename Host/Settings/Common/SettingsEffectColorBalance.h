#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Changes brightness, contrast, saturation and gamma, in this order; 0 is neutral everywhere.
class SettingsEffectColorBalance final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectColorBalance, "ColorBalance", Groups::kHost,
                    "Changes brightness, contrast, saturation and gamma.")
    ORVEXA_EQUALITY(SettingsEffectColorBalance)
    ORVEXA_FIELD(int, Brightness, 0, Range(-100, 100), "percent", "Levels added; 100 percent are 255 levels.")
    ORVEXA_FIELD(int, Contrast, 0, Range(-100, 100), "percent",
                 "How far levels move away from middle grey; at -100 all are middle grey, at 100 black or white.")
    ORVEXA_FIELD(int, Saturation, 0, Range(-100, 100), "percent",
                 "How far colours move away from grey; at -100 all are grey, at 100 twice as colourful.")
    ORVEXA_FIELD(int, Gamma, 0, Range(-100, 100), "percent",
                 "Brightens (or darkens, below 0) the middle tones; black and white stay.")
};

}  // namespace Orvexa::Proc
