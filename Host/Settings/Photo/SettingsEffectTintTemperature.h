#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectTintTemperature final : public Settings {
public:
    static constexpr double kBytesPerPixel = 11;

    ORVEXA_SETTINGS(SettingsEffectTintTemperature, "TintTemperature", Groups::kTone,
                    "Makes colours warmer or cooler, greener or pinker, and keeps brightness.")
    ORVEXA_EQUALITY(SettingsEffectTintTemperature)
    ORVEXA_FIELD(std::int32_t, Temperature, 0, Range(-255, 255), "levels", "Added to red and taken from blue.")
    ORVEXA_FIELD(std::int32_t, Tint, 0, Range(-255, 255), "levels", "Added to green.")
};

}  // namespace Orvexa::Proc
