#pragma once

#include "Host/Settings/Photo/BaseSettingsNeural.h"

namespace Orvexa::Proc {

class SettingsEffectDeepDenoiser final : public BaseSettingsNeural {
public:
    static constexpr double kBytesPerPixel = 18;

    ORVEXA_SETTINGS(SettingsEffectDeepDenoiser, "DeepDenoiser", Groups::kNeural,
                    "Removes noise and keeps edges and textures.")
    ORVEXA_FIELDS_OF(BaseSettingsNeural)
};

}  // namespace Orvexa::Proc
