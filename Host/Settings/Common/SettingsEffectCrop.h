#pragma once

#include "Host/Settings/Common/Length.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Cuts a rectangle out of a frame.
class SettingsEffectCrop final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectCrop, "Crop", Groups::kHost, "Cuts a rectangle out of a frame.")
    ORVEXA_EQUALITY(SettingsEffectCrop)
    ORVEXA_FIELD(Length, X, Length::Pixels(0), Any(), "pixels",
                 "Left edge, in pixels or, with a % sign, percent of the width.")
    ORVEXA_FIELD(Length, Y, Length::Pixels(0), Any(), "pixels", "Top edge, in pixels or percent of the height.")
    ORVEXA_FIELD(Length, Width, Length(), Any(), "pixels", "In pixels or percent; rest: as far as the right edge.")
    ORVEXA_FIELD(Length, Height, Length(), Any(), "pixels", "In pixels or percent; rest: as far as the bottom edge.")
};

}  // namespace Orvexa::Proc
