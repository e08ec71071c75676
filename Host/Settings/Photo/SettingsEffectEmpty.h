#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectEmpty final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectEmpty, "EmptyEffect", Groups::kBasics, "Passes the picture through unchanged.")
    ORVEXA_EQUALITY(SettingsEffectEmpty)
};

}  // namespace Orvexa::Proc
