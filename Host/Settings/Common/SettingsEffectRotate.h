#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Rotates a frame about its centre.
class SettingsEffectRotate final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectRotate, "Rotate", Groups::kHost, "Rotates a frame about its centre.")
    ORVEXA_EQUALITY(SettingsEffectRotate)
    ORVEXA_FIELD(double, Angle, 0.0, Range(-360, 360), "degrees", "Counter-clockwise; below 0 clockwise.")
    ORVEXA_FIELD(int, OutputSizeMode, 0, Named("same=0 grown=1 inscribed=2"), "",
                 "Keeps the size, grows to hold the whole picture, or cuts out what leaves no empty corners.")
};

}  // namespace Orvexa::Proc
