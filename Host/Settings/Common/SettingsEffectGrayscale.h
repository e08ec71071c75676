#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Replaces a frame by a grey one.
class SettingsEffectGrayscale final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectGrayscale, "Grayscale", Groups::kHost, "Turns a frame into a grey one.")
    ORVEXA_EQUALITY(SettingsEffectGrayscale)
    ORVEXA_FIELD(int, Method, 1, Named("average=0 luma=1 lightness=2"), "",
                 "What a pixel's grey is: the mean of its colours, its luma, or the mean of the smallest and largest.")

    SettingsEffectGrayscale() = default;
    explicit SettingsEffectGrayscale(int method) { SetMethod(method); }
};

}  // namespace Orvexa::Proc
