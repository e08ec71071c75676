#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectReduceLocalLuma final : public Settings {
public:
    static constexpr PixFmt kSecondInput = PixFmt::Gray8;
    static constexpr double kBytesPerPixel = 12;

    ORVEXA_SETTINGS(SettingsEffectReduceLocalLuma, "ReduceLocalLuma", Groups::kTone,
                    "Tames the brightest spots of a rectangle where a second picture, the mask, is bright.")
    ORVEXA_EQUALITY(SettingsEffectReduceLocalLuma)
    ORVEXA_FIELD(std::int32_t, X, 0, Range(-131072, 131072), "pixels",
                 "Left edge of the rectangle. A rectangle of 0,0,0,0 is the whole picture.")
    ORVEXA_FIELD(std::int32_t, Y, 0, Range(-131072, 131072), "pixels", "Top edge of the rectangle.")
    ORVEXA_FIELD(std::int32_t, Width, 0, Range(0, 131072), "pixels", "Width of the rectangle.")
    ORVEXA_FIELD(std::int32_t, Height, 0, Range(0, 131072), "pixels", "Height of the rectangle.")
    ORVEXA_FIELD(double, Value, 0.0, Any(), "", "Has no effect; it is there for hosts that store one.")

    SettingsEffectReduceLocalLuma() = default;
    SettingsEffectReduceLocalLuma(std::int32_t x, std::int32_t y, std::int32_t width, std::int32_t height,
                                  double value) {
        SetX(x);
        SetY(y);
        SetWidth(width);
        SetHeight(height);
        SetValue(value);
    }
};

}  // namespace Orvexa::Proc
