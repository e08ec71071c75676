#pragma once

#include "Host/Settings/Common/SettingsResizer.h"

namespace Orvexa::Proc {

class SettingsEffectPixelate final : public Settings {
    using Methods = SettingsResizer::ResizeMethods;

    ORVEXA_SETTINGS(SettingsEffectPixelate, "Pixelate", "Blur, stylise and generators",
                    "Turns the picture into coarse cells.")
    ORVEXA_EQUALITY(SettingsEffectPixelate)
    ORVEXA_FIELD(double, Strength, 50.0, Range(0, 100), "percent", "Coarseness: at 100 the shorter side has 32 cells.")
    ORVEXA_FIELD(
        Methods, MethodDownscale, Methods::Area,
        Named(
            "fastBilinear=0 bilinear=1 bicubic=2 nearest=4 area=5 bicubicLuma=6 gaussian=7 sinc=8 lanczos=9 spline=10"),
        "", "How a cell gets its colour.")
    ORVEXA_FIELD(
        Methods, MethodUpscale, Methods::Nearest,
        Named(
            "fastBilinear=0 bilinear=1 bicubic=2 nearest=4 area=5 bicubicLuma=6 gaussian=7 sinc=8 lanczos=9 spline=10"),
        "", "How cells become pixels; nearest gives flat ones.")
};

}  // namespace Orvexa::Proc
