#pragma once

#include "Host/Settings/Photo/BaseSettingsNeural.h"

namespace Orvexa::Proc {

class SettingsEffectDeepAligner final : public BaseSettingsNeural {
public:
    static constexpr double kBytesPerPixel = 12;

    ORVEXA_SETTINGS(SettingsEffectDeepAligner, "DeepAligner", Groups::kNeural, "Levels a photograph that is tilted.")
    ORVEXA_FIELDS_OF(BaseSettingsNeural)

    /// The result of the last run: whether there is something to level the picture by, and by how many degrees the
    /// picture is rotated counter-clockwise.
    ORVEXA_MEMBER(bool, HorizonDetected, false)
    ORVEXA_MEMBER(double, Angle, 0.0)
    std::vector<Finding> GetFindings() const override {
        return {{"horizonDetected", TextCodec<bool>::Format(GetHorizonDetected())},
                {"angle", TextCodec<double>::Format(GetAngle())}};
    }
};

}  // namespace Orvexa::Proc
