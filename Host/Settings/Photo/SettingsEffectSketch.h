#pragma once

#include "Host/Settings/Common/SettingsEffectCharcoal.h"
#include "Host/Settings/Common/SettingsEffectCompose.h"
#include "Host/Settings/Common/SettingsEffectNoiseVideo.h"
#include "Host/Settings/Photo/SettingsEffectBlurRadial.h"

namespace Orvexa::Proc {

class SettingsEffectSketch final : public Settings {
public:
    static constexpr AlphaUse kAlpha = AlphaUse::Dropped;
    static constexpr double kBytesPerPixel = 11;

private:
    // Strokes from the lower left to the upper right, as a right-handed person draws them.
    static SettingsEffectBlurRadial Strokes() {
        SettingsEffectBlurRadial strokes;
        strokes.SetMode(BlurRadialMode::Linear);
        strokes.SetAngle(-45.0);
        strokes.SetStrength(0.06);
        return strokes;
    }

    ORVEXA_SETTINGS(SettingsEffectSketch, "Sketch", Groups::kStylise, "Draws the picture in grey pencil strokes.")
    ORVEXA_EQUALITY(SettingsEffectSketch)
    ORVEXA_GROUP(SettingsEffectNoiseVideo, Noise)
    ORVEXA_GROUP_FROM(SettingsEffectBlurRadial, Radial, Strokes())
    ORVEXA_GROUP(SettingsEffectCharcoal, Charcoal)
    ORVEXA_GROUP(SettingsEffectCompose, Compose)
};

}  // namespace Orvexa::Proc
