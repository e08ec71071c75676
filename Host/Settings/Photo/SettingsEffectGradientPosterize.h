#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectGradientPosterize final : public Settings {
public:
    static constexpr double kBytesPerPixel = 11;

    ORVEXA_SETTINGS(SettingsEffectGradientPosterize, "GradientPosterize", Groups::kTone,
                    "Reduces colours to a few tones and keeps brightness gradients.")
    ORVEXA_EQUALITY(SettingsEffectGradientPosterize)
    ORVEXA_FIELD(std::uint8_t, ColorCount, 8, Range(1, 255), "", "Number of tones.")
};

}  // namespace Orvexa::Proc
