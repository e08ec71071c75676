// The chain step that brings back the chain's first picture.
#pragma once

#include "Host/Settings/Settings.h"

namespace Kalvatri {

/// Puts the picture that the chain began with before the current one, for effects that take both, such as a picture
/// and its mask. It has no effect object: the chain itself implements it.
class OriginalStep final : public Orvexa::Proc::Settings {
    ORVEXA_SETTINGS(OriginalStep, "Original", Orvexa::Proc::Groups::kHost,
                    "Puts the picture that the chain began with before the present one, for an effect that takes both.")
    ORVEXA_EQUALITY(OriginalStep)
};

}  // namespace Kalvatri
