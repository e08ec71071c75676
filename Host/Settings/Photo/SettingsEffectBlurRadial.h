#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

enum class BlurRadialMode : std::int32_t {
    Zoom = 0,  ///< spins when an angle is given
    Linear = 1,
    Spin = 2,
};

class SettingsEffectBlurRadial final : public Settings {
public:
    static constexpr AlphaUse kAlpha = AlphaUse::Blurred;
    static constexpr double kBytesPerPixel = 12;

    using Mode = BlurRadialMode;

    ORVEXA_SETTINGS(SettingsEffectBlurRadial, "BlurRadial", Groups::kStylise,
                    "Blurs along lines: towards a centre, around it, or all one way.")
    ORVEXA_EQUALITY(SettingsEffectBlurRadial)
    ORVEXA_FIELD(BlurRadialMode, Mode, BlurRadialMode::Zoom, Named("zoom=0 linear=1 spin=2"), "",
                 "The lines; zoom spins when an angle is given.")
    ORVEXA_FIELD(double, Angle, 0.0, Range(-360, 360), "degrees",
                 "How far the picture spins, or the direction of linear blur.")
    ORVEXA_FIELD(double, Strength, 0.1, Range(0, 1), "fraction", "Length of the blur, of the picture's longer side.")
    ORVEXA_FIELD(double, X, 0.5, Range(-4, 4), "fraction", "Centre of the blur, of the picture's width.")
    ORVEXA_FIELD(double, Y, 0.5, Range(-4, 4), "fraction", "Centre of the blur, of the picture's height.")
};

}  // namespace Orvexa::Proc
