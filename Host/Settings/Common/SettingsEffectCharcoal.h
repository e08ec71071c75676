#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Draws a frame's edges in charcoal on white.
class SettingsEffectCharcoal final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectCharcoal, "Charcoal", Groups::kHost, "Draws a frame's edges in charcoal on white.")
    ORVEXA_EQUALITY(SettingsEffectCharcoal)
    ORVEXA_FIELD(double, Radius, 0.0, Range(0, 32), "pixels",
                 "Reach of the edge finder; 0 takes it from the deviation.")
    ORVEXA_FIELD(double, Deviation, 1.0, Range(0.1, 16), "pixels", "How soft the strokes are.")
};

}  // namespace Orvexa::Proc
