#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Blurs a frame, with a separate deviation along each axis.
class SettingsEffectBlur final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectBlur, "Blur", Groups::kHost, "Blurs a frame.")
    ORVEXA_EQUALITY(SettingsEffectBlur)
    ORVEXA_FIELD(int, Algorithm, 1, Named("none=0 gaussian=1"), "", "The shape of the blur.")
    ORVEXA_FIELD(double, DevX, 0.0, Range(0, 10000), "pixels", "Standard deviation along rows; 0: not along them.")
    ORVEXA_FIELD(double, DevY, 0.0, Range(0, 10000), "pixels", "As for rows, along columns.")
    ORVEXA_FIELD(double, KernelLength, 3.0, Range(0.5, 10), "deviations", "How far the blur reaches.")
    ORVEXA_FIELD(int, ScaleType, 0, Named("full=0 reduced=1"), "",
                 "Whether the blur is computed at full size, or at a reduced one and scaled back.")
    ORVEXA_FIELD(double, ScaleX, 1.0, Range(1, 64), "factor", "How much narrower the reduced size is.")
    ORVEXA_FIELD(double, ScaleY, 1.0, Range(1, 64), "factor", "How much lower the reduced size is.")
    ORVEXA_FIELD(std::uint32_t, PlanesMask, ~0u, Range(0, 4294967295.0), "",
                 "The planes that are blurred, one bit each: 1 for plane 0, 2 for plane 1, 4 for plane 2.")

    SettingsEffectBlur() = default;
    explicit SettingsEffectBlur(int algorithm) { SetAlgorithm(algorithm); }
};

}  // namespace Orvexa::Proc
