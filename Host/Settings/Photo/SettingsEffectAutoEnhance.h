#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectAutoEnhance final : public Settings {
public:
    static constexpr double kBytesPerPixel = 32;

    ORVEXA_SETTINGS(SettingsEffectAutoEnhance, "AutoEnhance", Groups::kTone,
                    "Improves a photograph in one go: local contrast, light and colours.")
    ORVEXA_EQUALITY(SettingsEffectAutoEnhance)
    ORVEXA_FIELD(double, Intensity, 100.0, Range(0, 100), "percent", "How much of the improved picture shows.")
};

}  // namespace Orvexa::Proc
