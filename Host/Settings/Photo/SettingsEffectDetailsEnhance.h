#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectDetailsEnhance final : public Settings {
public:
    static constexpr double kBytesPerPixel = 16;

    ORVEXA_SETTINGS(SettingsEffectDetailsEnhance, "DetailsEnhance", Groups::kTone,
                    "Brings out details in the mid-tones; shadows and highlights stay.")
    ORVEXA_EQUALITY(SettingsEffectDetailsEnhance)
    ORVEXA_FIELD(std::int32_t, Strength, 60, Range(-100, 100), "percent",
                 "Strength of the local contrast; negative values only brighten.")
};

}  // namespace Orvexa::Proc
