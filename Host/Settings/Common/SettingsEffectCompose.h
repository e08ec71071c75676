#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

enum class ComposeOperator : std::int32_t {
    Multiply = 0,
    Screen = 1,
    Overlay = 2,
    SoftLight = 3,
    HardLight = 4,
    ColorDodge = 5,
    ColorBurn = 6,
    Darken = 7,
    Lighten = 8,
    Difference = 9,
};

/// Composes the two inputs, with the first one below the second.
class SettingsEffectCompose final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectCompose, "Compose", Groups::kHost,
                    "Composes the second input with the first one under it.")
    ORVEXA_EQUALITY(SettingsEffectCompose)
    ORVEXA_FIELD(ComposeOperator, Operator, ComposeOperator::ColorDodge,
                 Named("multiply=0 screen=1 overlay=2 softLight=3 hardLight=4 colorDodge=5 colorBurn=6 darken=7 "
                       "lighten=8 difference=9"),
                 "", "How samples of both inputs make one.")
    ORVEXA_FIELD(int, Opacity, 80, Range(0, 100), "percent",
                 "How much of the composed picture shows; the rest is the first input.")
};

}  // namespace Orvexa::Proc
