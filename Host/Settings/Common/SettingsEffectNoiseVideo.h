#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// 2 and 5 are reserved for level-dependent noise, which would have no effect on the black that `Sketch` draws on.
enum class NoiseType : std::int32_t { Uniform = 0, Gaussian = 1, Impulse = 3, Laplacian = 4, Random = 6 };

/// Adds noise to a frame; the same seed gives the same noise.
class SettingsEffectNoiseVideo final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectNoiseVideo, "Noise", Groups::kHost, "Adds noise to a frame.")
    ORVEXA_EQUALITY(SettingsEffectNoiseVideo)
    ORVEXA_FIELD(NoiseType, Type, NoiseType::Random, Named("uniform=0 gaussian=1 impulse=3 laplacian=4 random=6"), "",
                 "How the noise is distributed; random replaces the picture.")
    ORVEXA_FIELD(double, Amount, 1.0, Range(0, 16), "factor", "How strong the noise is.")
    ORVEXA_FIELD(std::uint32_t, Seed, 1, Range(0, 4294967294.0), "", "Another seed gives another noise.")
};

}  // namespace Orvexa::Proc
