#pragma once

#include "Host/Settings/Photo/BaseSettingsNeural.h"

namespace Orvexa::Proc {

class SettingsEffectDeepSuperResolutor final : public BaseSettingsNeural {
    ORVEXA_SETTINGS(SettingsEffectDeepSuperResolutor, "DeepSuperResolutor", Groups::kNeural,
                    "Makes a picture three times as wide and high, and keeps it sharp.")
    ORVEXA_FIELDS_OF(BaseSettingsNeural)

    static constexpr int kScale = 3;
    std::uint64_t GetResultPixels(std::uint64_t pixels) const override { return pixels * (kScale * kScale); }
};

}  // namespace Orvexa::Proc
