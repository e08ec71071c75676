#pragma once

#include "Host/Settings/Photo/BaseSettingsNeural.h"

namespace Orvexa::Proc {

class SettingsEffectDeepRestorer final : public BaseSettingsNeural {
public:
    static constexpr double kBytesPerPixel = 12;

    ORVEXA_SETTINGS(SettingsEffectDeepRestorer, "DeepRestorer", Groups::kNeural,
                    "Removes JPEG blocks, slight blur and noise.")
    ORVEXA_FIELDS_OF(BaseSettingsNeural)
};

}  // namespace Orvexa::Proc
