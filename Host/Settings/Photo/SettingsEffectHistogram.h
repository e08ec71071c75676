#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectHistogram final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectHistogram, "Histogram", Groups::kTone,
                    "Replaces the picture by a picture of its colour histogram.")
    ORVEXA_EQUALITY(SettingsEffectHistogram)
    ORVEXA_FIELD(std::uint32_t, Width, 256, Range(1, 16384), "pixels", "Width of the histogram's picture.")
    ORVEXA_FIELD(std::uint32_t, HeightLevel, 150, Range(1, 16384), "pixels", "Height of the area with the bars.")
    ORVEXA_FIELD(std::uint32_t, HeightScale, 10, Range(0, 16384), "pixels", "Height of the grey ramp under the bars.")
    ORVEXA_FIELD(std::int32_t, Sharpen, 0, Range(-1, 128), "segments",
                 "Smooths the bars by a spline with this many segments; 0 or less leaves them as they are.")
    ORVEXA_FIELD(std::int64_t, Flags, 7, Range(0, 15), "", "Sum of 1 to show red, 2 green, 4 blue.")

    std::uint64_t GetResultPixels(std::uint64_t) const override {
        return std::uint64_t{GetWidth()} * (std::uint64_t{GetHeightLevel()} + GetHeightScale());
    }
};

}  // namespace Orvexa::Proc
