#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Blurs a frame while keeping its edges, with separate parameters for luma and chroma.
class SettingsEffectSmartBlur final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectSmartBlur, "SmartBlur", Groups::kHost, "Blurs a frame and keeps its edges.")
    ORVEXA_EQUALITY(SettingsEffectSmartBlur)
    ORVEXA_FIELD(int, LumaRadius, 50, Range(0, 100), "percent", "How far the blur reaches.")
    ORVEXA_FIELD(int, LumaBlur, 50, Range(0, 100), "percent",
                 "How strong an edge has to be to survive; at 100 none does.")
    ORVEXA_FIELD(int, LumaSharpen, 0, Range(0, 100), "percent", "How much the edges that are left are sharpened.")
    ORVEXA_FIELD(int, ChromaRadius, 50, Range(0, 100), "percent", "As for luma.")
    ORVEXA_FIELD(int, ChromaBlur, 50, Range(0, 100), "percent", "As for luma.")
    ORVEXA_FIELD(int, ChromaSharpen, 0, Range(0, 100), "percent", "As for luma.")
};

}  // namespace Orvexa::Proc
