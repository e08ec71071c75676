#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Enhances local contrast (contrast limited adaptive histogram equalisation of luma).
class SettingsEffectCLAHE final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectCLAHE, "CLAHE", Groups::kHost, "Brings out contrast part by part of the picture.")
    ORVEXA_EQUALITY(SettingsEffectCLAHE)
    ORVEXA_FIELD(double, Clip, 2.0, Range(0, 100), "factor",
                 "Limit of how much contrast may grow; 0 leaves the picture unchanged.")

    SettingsEffectCLAHE() = default;
    explicit SettingsEffectCLAHE(double clip) { SetClip(clip); }
};

}  // namespace Orvexa::Proc
