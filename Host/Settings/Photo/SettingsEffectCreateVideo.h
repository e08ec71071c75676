#pragma once

#include "Host/Settings/Common/ColorCodec.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectCreateVideo final : public Settings {
public:
    static constexpr double kBytesPerPixel = 11;

    ORVEXA_SETTINGS(SettingsEffectCreateVideo, "CreateVideo", Groups::kBasics,
                    "Replaces the picture by a plain one of a given size and colour.")
    ORVEXA_EQUALITY(SettingsEffectCreateVideo)
    ORVEXA_FIELD(int, Width, 1920, Range(1, 131072), "pixels", "Width of the new picture.")
    ORVEXA_FIELD(int, Height, 1080, Range(1, 131072), "pixels", "Height of the new picture.")
    ORVEXA_FIELD(Orvexa::Color, Color, Orvexa::Color::Black(Opacity::Opaque), Any(), "",
                 "Its colour; the picture has alpha if the colour is not opaque.")

    std::uint64_t GetResultPixels(std::uint64_t) const override {
        return static_cast<std::uint64_t>(GetWidth()) * static_cast<std::uint64_t>(GetHeight());
    }
};

}  // namespace Orvexa::Proc
