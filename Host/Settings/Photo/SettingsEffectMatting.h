#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectMatting final : public Settings {
public:
    static constexpr PixFmt kSecondInput = PixFmt::Gray8;
    static constexpr double kBytesPerPixel = 20;

    ORVEXA_SETTINGS(SettingsEffectMatting, "Matting", Groups::kSegmentation,
                    "Makes a fine mask of hair and fur from a trimap, the second picture: 255 is the subject, 0 the "
                    "background, anything else is to be found out.")
    ORVEXA_EQUALITY(SettingsEffectMatting)
    ORVEXA_FIELD(int, Iterations, 10, Range(1, 64), "", "How often samples are searched and passed on.")
    ORVEXA_FIELD(int, GuidedRadius, 10, Range(0, 256), "pixels",
                 "Radius of the filter that brings out the picture's edges in the mask; 0 leaves it out.")
    ORVEXA_FIELD(double, GuidedEpsilon, 1e-5, Range(1e-9, 1), "", "How faint edges may be for that filter.")
    ORVEXA_FIELD(std::uint32_t, Seed, 1, Any(), "", "Start of the random search; the same seed gives the same mask.")
};

}  // namespace Orvexa::Proc
