// The step of a chain that goes back to its beginning.
#pragma once

#include "Host/Settings/Settings.h"

namespace Kalvatri {

/// Puts the picture that the chain began with before the present one, for effects that take both, such as a picture and
/// its mask. No effect stands behind it: the chain itself carries it out.
class OriginalStep final : public Orvexa::Proc::Settings {
    ORVEXA_SETTINGS(OriginalStep, "Original", Orvexa::Proc::Groups::kHost,
                    "Puts the picture that the chain began with before the present one, for an effect that takes both.")
    ORVEXA_EQUALITY(OriginalStep)
};

}  // namespace Kalvatri
