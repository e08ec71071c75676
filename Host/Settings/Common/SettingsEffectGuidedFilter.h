#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Smooths the first input and keeps the edges of the second one, its guide.
class SettingsEffectGuidedFilter final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectGuidedFilter, "GuidedFilter", Groups::kHost,
                    "Smooths a frame and keeps the edges of another.")
    ORVEXA_EQUALITY(SettingsEffectGuidedFilter)
    ORVEXA_FIELD(int, Radius, 8, Range(0, 1000), "pixels", "Half the side of the window, without its middle pixel.")
    ORVEXA_FIELD(double, Epsilon, 0.01, Range(0, 1), "",
                 "Variance, for levels of 0 to 1, above which the guide's edges are kept.")
};

}  // namespace Orvexa::Proc
