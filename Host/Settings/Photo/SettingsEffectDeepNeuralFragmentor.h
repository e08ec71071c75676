#pragma once

#include "Host/Settings/Photo/SettingsEffectDeepNeuralProcessor.h"

namespace Orvexa::Proc {

/// Replaces all or part of the frame by a model's output, computed in tiles of one size.
class SettingsEffectDeepNeuralFragmentor final : public BaseSettingsEffectDeepNeuralProcessor {
    ORVEXA_SETTINGS(SettingsEffectDeepNeuralFragmentor, "", Groups::kHost,
                    "Sends a frame through a neural model, tile by tile.")
    ORVEXA_EQUALITY(SettingsEffectDeepNeuralFragmentor)
    ORVEXA_FIELDS_OF(BaseSettingsEffectDeepNeuralProcessor)
    ORVEXA_INHERITED_FIELD(Neural::ModelFileId, ModelId, Any(), "", "Number of the model in the manifest.")
    ORVEXA_FIELD(int, TileWidth, 256, Range(16, 8192), "pixels", "Width of a tile, its overlaps included.")
    ORVEXA_FIELD(int, TileHeight, 256, Range(16, 8192), "pixels", "Height of a tile, its overlaps included.")
    ORVEXA_FIELD(int, Scale, 1, Range(1, 16), "factor",
                 "By how much the model enlarges the picture, if the manifest does not say.")

    SettingsEffectDeepNeuralFragmentor() = default;
    SettingsEffectDeepNeuralFragmentor(int tileWidth, int tileHeight, int scale, const Core::ioPath& modelsRoot,
                                       int overlapX, int overlapY, const Orvexa::Proc::CropInfo& cropInfo) {
        SetModelsRoot(modelsRoot);
        SetOverlapX(overlapX);
        SetOverlapY(overlapY);
        SetCropInfo(cropInfo);
        SetTileWidth(tileWidth);
        SetTileHeight(tileHeight);
        SetScale(scale);
    }
};

}  // namespace Orvexa::Proc
