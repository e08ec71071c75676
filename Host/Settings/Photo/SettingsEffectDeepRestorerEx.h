#pragma once

#include "Host/Settings/Photo/SettingsEffectDeepNeuralProcessor.h"

namespace Orvexa::Proc {

class SettingsEffectDeepRestorerEx final : public BaseSettingsEffectDeepNeuralProcessor {
public:
    static constexpr double kBytesPerPixel = 12;

    ORVEXA_SETTINGS(SettingsEffectDeepRestorerEx, "DeepRestorerEx", Groups::kNeural,
                    "Removes JPEG blocks, slight blur and noise from a part of the picture, tile by tile.")
    ORVEXA_FIELDS_OF(BaseSettingsEffectDeepNeuralProcessor)
};

}  // namespace Orvexa::Proc
