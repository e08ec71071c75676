#pragma once

#include "Host/Settings/Common/ColorCodec.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectBlackWhite final : public Settings {
public:
    static constexpr AlphaUse kAlpha = AlphaUse::Dropped;

    ORVEXA_SETTINGS(SettingsEffectBlackWhite, "BlackWhite", Groups::kTone,
                    "Turns the picture into two colours at a threshold of brightness.")
    ORVEXA_EQUALITY(SettingsEffectBlackWhite)
    ORVEXA_FIELD(double, Threshold, 0.5, Range(0, 1), "fraction",
                 "Brightness from which a pixel takes the second colour.")
    ORVEXA_FIELD(Color, ColorBelow, Color::Black(Opacity::Opaque), Any(), "", "Colour of the darker pixels.")
    ORVEXA_FIELD(Color, ColorAbove, Color::White(Opacity::Opaque), Any(), "", "Colour of the brighter pixels.")
};

}  // namespace Orvexa::Proc
