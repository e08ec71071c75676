#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

enum class ImplodeMode : std::int32_t { Implode = 0, Explode = 1 };

class SettingsEffectImplode final : public Settings {
public:
    static constexpr double kBytesPerPixel = 9;

    ORVEXA_SETTINGS(SettingsEffectImplode, "Implode", Groups::kStylise,
                    "Draws the picture in towards its centre, or bulges it out.")
    ORVEXA_EQUALITY(SettingsEffectImplode)
    ORVEXA_FIELD(ImplodeMode, Mode, ImplodeMode::Implode, Named("implode=0 explode=1"), "",
                 "In or out; out takes half the strength.")
    ORVEXA_FIELD(double, Strength, 50.0, Range(0, 100), "percent", "How strongly the picture is drawn.")
};

}  // namespace Orvexa::Proc
