#pragma once

#include <map>

#include "Host/Settings/Common/ColorCodec.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Colours by position 0..256 between black and white. Without stops the palette is black.
class SettingsEffectGradient final : public Settings {
public:
    static constexpr AlphaUse kAlpha = AlphaUse::Dropped;
    static constexpr double kBytesPerPixel = 11;

    using StopMap = std::map<std::uint16_t, Color>;

    ORVEXA_SETTINGS(SettingsEffectGradient, "Gradient", Groups::kStylise,
                    "Maps the picture's tones to a gradient of colours and keeps its brightness.")
    ORVEXA_EQUALITY(SettingsEffectGradient)
    ORVEXA_FIELD(StopMap, Stops, {}, KeyRange(0, 256), "level", "Colours as position:#RRGGBB.")

    /// The users' starting point: a duotone from blue shadows to amber highlights.
    static SettingsEffectGradient Preset() {
        SettingsEffectGradient preset;
        preset.SetStops({{0, Color(20, 50, 140)}, {128, Color(150, 100, 120)}, {256, Color(255, 190, 70)}});
        return preset;
    }
};

}  // namespace Orvexa::Proc
