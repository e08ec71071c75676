#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Makes a trimap from a mask: 0 is certain background, 255 certain foreground, 128 the band around the mask's edge.
class SettingsEffectTrimap final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectTrimap, "Trimap", Groups::kHost, "Marks a band of doubt around the edge of a mask.")
    ORVEXA_EQUALITY(SettingsEffectTrimap)
    ORVEXA_FIELD(int, Width, 10, Range(0, 1000), "pixels", "How far the band reaches to either side of the edge.")

    SettingsEffectTrimap() = default;
    explicit SettingsEffectTrimap(int width) { SetWidth(width); }
};

}  // namespace Orvexa::Proc
