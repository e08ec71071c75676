#pragma once

#include "Host/Settings/Common/SettingsResizer.h"

namespace Orvexa::Proc {

class SettingsEffectPixelate final : public Settings {
    using Methods = SettingsResizer::ResizeMethods;

public:
    static constexpr double kBytesPerPixel = 9;

    ORVEXA_SETTINGS(SettingsEffectPixelate, "Pixelate", Groups::kStylise, "Turns the picture into coarse cells.")
    ORVEXA_EQUALITY(SettingsEffectPixelate)
    ORVEXA_FIELD(double, Strength, 50.0, Range(0, 100), "percent", "Coarseness: at 100 the shorter side has 32 cells.")
    ORVEXA_FIELD(Methods, MethodDownscale, Methods::Area, SettingsResizer::ResizeMethodNames(), "",
                 "How a cell gets its colour.")
    ORVEXA_FIELD(Methods, MethodUpscale, Methods::Nearest, SettingsResizer::ResizeMethodNames(), "",
                 "How cells become pixels; nearest gives flat ones.")
};

}  // namespace Orvexa::Proc
