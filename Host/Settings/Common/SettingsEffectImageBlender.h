#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

enum class BlendAlphaMode : std::int32_t {
    IgnoreAlpha = 0,
    UseAlpha = 1,
};

/// Lays the second input over the first with its top-left corner at (x, y), clipped.
class SettingsEffectImageBlender final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectImageBlender, "", Groups::kHost, "Lays the second input over the first.")
    ORVEXA_EQUALITY(SettingsEffectImageBlender)
    ORVEXA_FIELD(int, PositionX, 0, Any(), "pixels", "Left edge of the second input within the first.")
    ORVEXA_FIELD(int, PositionY, 0, Any(), "pixels", "Top edge of the second input within the first.")
    ORVEXA_FIELD(std::uint8_t, Strength, 255, Range(0, 255), "", "Opacity of the second input.")
    ORVEXA_FIELD(BlendAlphaMode, AlphaMode, BlendAlphaMode::UseAlpha, Named("ignore=0 use=1"), "",
                 "Whether the second input's own alpha channel counts.")

    SettingsEffectImageBlender() = default;
    SettingsEffectImageBlender(int x, int y, std::uint8_t strength, BlendAlphaMode mode) {
        SetPositionX(x);
        SetPositionY(y);
        SetStrength(strength);
        SetAlphaMode(mode);
    }
};

}  // namespace Orvexa::Proc
