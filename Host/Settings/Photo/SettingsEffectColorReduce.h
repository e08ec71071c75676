#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

enum class ReducedColor : std::int32_t { Red = 0, Green = 1, Blue = 2 };

class SettingsEffectColorReduce final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectColorReduce, "ColorReduce", Groups::kTone,
                    "Turns pixels in which one colour dominates into grey.")
    ORVEXA_EQUALITY(SettingsEffectColorReduce)
    ORVEXA_FIELD(Orvexa::Proc::ReducedColor, ReducedColor, Orvexa::Proc::ReducedColor::Red,
                 Named("red=0 green=1 blue=2"), "", "The colour to remove.")
    ORVEXA_FIELD(double, Threshold, 1.0, Range(0, 100), "",
                 "How much the colour must outweigh the others; 1 is the grey of even weights.")
};

}  // namespace Orvexa::Proc
