#pragma once

#include "Host/Settings/Photo/BaseSettingsNeural.h"

namespace Orvexa::Proc {

class SettingsEffectDeepAdjuster final : public BaseSettingsNeural {
public:
    static constexpr double kBytesPerPixel = 20;

    ORVEXA_SETTINGS(SettingsEffectDeepAdjuster, "DeepAdjuster", Groups::kNeural,
                    "Finds how a photograph should be corrected; the picture stays as it is.")
    ORVEXA_FIELDS_OF(BaseSettingsNeural)

    /// The result of the last run: settings for `ColorBalance`, `Vibrance`, `ColorBalanceAuto` and `BalanceLuma`.
    ORVEXA_MEMBER(int, Brightness, 0)
    ORVEXA_MEMBER(int, Contrast, 0)
    ORVEXA_MEMBER(int, Vibrance, 0)
    ORVEXA_MEMBER(int, Exposure, 0)
    ORVEXA_MEMBER(int, Shadows, 0)
    ORVEXA_MEMBER(int, Highlights, 0)
    std::vector<Finding> GetFindings() const override {
        const auto number = [](int value) { return TextCodec<int>::Format(value); };
        return {{"brightness", number(GetBrightness())}, {"contrast", number(GetContrast())},
                {"vibrance", number(GetVibrance())},     {"exposure", number(GetExposure())},
                {"shadows", number(GetShadows())},       {"highlights", number(GetHighlights())}};
    }
};

}  // namespace Orvexa::Proc
