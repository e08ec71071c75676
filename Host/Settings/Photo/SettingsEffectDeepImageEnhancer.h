#pragma once

#include "Host/Settings/Photo/BaseSettingsNeural.h"

namespace Orvexa::Proc {

class SettingsEffectDeepImageEnhancer final : public BaseSettingsNeural {
public:
    static constexpr double kBytesPerPixel = 16;

    ORVEXA_SETTINGS(SettingsEffectDeepImageEnhancer, "DeepImageEnhancer", Groups::kNeural,
                    "Improves light and colours in one go.")
    ORVEXA_FIELDS_OF(BaseSettingsNeural)
};

}  // namespace Orvexa::Proc
