#pragma once

#include "Host/Settings/Common/ColorCodec.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectReplaceChroma final : public Settings {
public:
    static constexpr double kBytesPerPixel = 24;

    ORVEXA_SETTINGS(SettingsEffectReplaceChroma, "ReplaceChroma", Groups::kTone,
                    "Recolours the picture with one colour, or only what is near a given colour in it.")
    ORVEXA_EQUALITY(SettingsEffectReplaceChroma)
    ORVEXA_FIELD(Color, TargetColor, Color(150, 105, 60), Any(), "", "The new colour.")
    ORVEXA_FIELD(Color, BaseColor, Color(255, 255, 255), Any(), "", "The colour to replace, with useBaseColor.")
    ORVEXA_FIELD(bool, UseBaseColor, false, Any(), "",
                 "Whether only colours near the base colour are replaced; an effect stays in this mode.")
    ORVEXA_FIELD(std::uint8_t, Strength, 255, Range(0, 255), "", "Opacity of the new colour, with useBaseColor.")
    ORVEXA_FIELD(
        double, MinThreshold, 0.1, Range(0, 1), "fraction",
        "Distance from the base colour up to which minValue applies, of the largest one that a colour can have.")
    ORVEXA_FIELD(double, MaxThreshold, 0.3, Range(0, 1), "fraction",
                 "Distance from the base colour from which maxValue applies.")
    ORVEXA_FIELD(std::uint8_t, MinValue, 255, Range(0, 255), "", "Weight of the new colour near the base colour.")
    ORVEXA_FIELD(std::uint8_t, MaxValue, 0, Range(0, 255), "", "Weight of the new colour far from the base colour.")
    ORVEXA_FIELD(bool, KeepLuma, true, Any(), "", "Whether the picture keeps its brightness.")
    ORVEXA_FIELD(bool, CorrectLuma, false, Any(), "",
                 "Whether the brightness moves towards that of the new colour, with useBaseColor and keepLuma.")
    ORVEXA_FIELD(std::int32_t, BasePointX, 0, Range(0, 131071), "pixels",
                 "The pixel that is to have the new colour's brightness, from the left.")
    ORVEXA_FIELD(std::int32_t, BasePointY, 0, Range(0, 131071), "pixels", "The same, from the top.")

    SettingsEffectReplaceChroma() = default;
    SettingsEffectReplaceChroma(const Color& target, const Color& base) {
        SetTargetColor(target);
        SetBaseColor(base);
    }
};

}  // namespace Orvexa::Proc
