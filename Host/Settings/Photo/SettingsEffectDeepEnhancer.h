#pragma once

#include "Host/Settings/Photo/BaseSettingsNeural.h"

namespace Orvexa::Proc {

class SettingsEffectDeepEnhancer final : public BaseSettingsNeural {
public:
    static constexpr AlphaUse kAlpha = AlphaUse::Dropped;
    static constexpr double kBytesPerPixel = 12;

    ORVEXA_SETTINGS(SettingsEffectDeepEnhancer, "DeepEnhancer", Groups::kNeural,
                    "Lightens dark photographs and enlivens flat ones.")
    ORVEXA_FIELDS_OF(BaseSettingsNeural)
};

}  // namespace Orvexa::Proc
