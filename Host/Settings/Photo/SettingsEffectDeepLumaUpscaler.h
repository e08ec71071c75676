#pragma once

#include "Host/Settings/Photo/BaseSettingsNeural.h"

namespace Orvexa::Proc {

class SettingsEffectDeepLumaUpscaler final : public BaseSettingsNeural {
public:
    static constexpr AlphaUse kAlpha = AlphaUse::Dropped;
    static constexpr double kBytesPerPixel = 12;

    ORVEXA_SETTINGS(SettingsEffectDeepLumaUpscaler, "DeepLumaUpscaler", Groups::kNeural,
                    "Sharpens soft or enlarged pictures; colours stay.")
    ORVEXA_FIELDS_OF(BaseSettingsNeural)
};

}  // namespace Orvexa::Proc
