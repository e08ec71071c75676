#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectDirectionalAreaDeformation final : public Settings {
public:
    static constexpr double kBytesPerPixel = 22;

    ORVEXA_SETTINGS(SettingsEffectDirectionalAreaDeformation, "DirectionalAreaDeformation", Groups::kStylise,
                    "Pushes the picture along a stroke of a soft brush.")
    ORVEXA_EQUALITY(SettingsEffectDirectionalAreaDeformation)
    ORVEXA_FIELD(std::int32_t, FromX, 200, Range(-131072, 131072), "pixels", "Where the stroke starts, from the left.")
    ORVEXA_FIELD(std::int32_t, FromY, 160, Range(-131072, 131072), "pixels", "Where the stroke starts, from the top.")
    ORVEXA_FIELD(std::int32_t, ToX, 280, Range(-131072, 131072), "pixels", "Where the stroke ends, from the left.")
    ORVEXA_FIELD(std::int32_t, ToY, 160, Range(-131072, 131072), "pixels", "Where the stroke ends, from the top.")
    ORVEXA_FIELD(std::int32_t, Size, 160, Range(1, 16384), "pixels", "Diameter of the brush.")
    ORVEXA_FIELD(double, Strength, 100.0, Range(0, 100), "percent",
                 "How far the picture is pushed; at 100 a fifth of the brush.")

    SettingsEffectDirectionalAreaDeformation() = default;
    explicit SettingsEffectDirectionalAreaDeformation(double strength) { SetStrength(strength); }
};

}  // namespace Orvexa::Proc
