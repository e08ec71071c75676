#pragma once

#include "Host/Settings/Common/SettingsEffectVideoGenerator.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectBlurBokeh final : public Settings {
public:
    static constexpr AlphaUse kAlpha = AlphaUse::Blurred;
    static constexpr double kBytesPerPixel = 14;

    ORVEXA_SETTINGS(SettingsEffectBlurBokeh, "BlurBokeh", Groups::kStylise,
                    "Lets highlights bloom into the shape of a lens aperture.")
    ORVEXA_EQUALITY(SettingsEffectBlurBokeh)
    ORVEXA_FIELD(double, Size, 0.07, Range(0.001, 0.5), "fraction",
                 "Diameter of the blur as a fraction of the shorter side.")
    ORVEXA_FIELD(double, BokehThreshold, 0.5, Range(0, 1), "fraction",
                 "Aperture pixels brighter than this are boosted.")
    ORVEXA_FIELD(double, BokehGain, 1.0, Range(0, 16), "factor", "How much bright aperture pixels are boosted.")
    ORVEXA_FIELD(double, ImageThreshold, 0.9, Range(0, 1), "fraction", "Picture samples brighter than this bloom.")
    ORVEXA_FIELD(double, ImageGain, 4.0, Range(0, 16), "factor", "How much bright picture samples are boosted.")
    ORVEXA_FIELD(double, Threshold, 0.5, Range(0, 1), "fraction",
                 "Where between shadows and highlights the blurred picture begins to take over.")
    ORVEXA_FIELD(double, Strength, 0.35, Range(0, 1), "fraction",
                 "How much of the blurred picture shows in the highlights.")
    ORVEXA_GROUP(SettingsEffectVideoGenerator, Aperture)
};

}  // namespace Orvexa::Proc
