#pragma once

#include "Host/Settings/Common/CropInfo.h"
#include "Host/Settings/Photo/BaseSettingsNeural.h"

namespace Orvexa::Proc {

/// The part of a picture that a model processes, and the overlap of the tiles.
class BaseSettingsEffectDeepNeuralProcessor : public BaseSettingsNeural {
    ORVEXA_BASE_SETTINGS(BaseSettingsEffectDeepNeuralProcessor)
    ORVEXA_FIELDS_OF(BaseSettingsNeural)
    ORVEXA_BASE_FIELD(int, OverlapX, 32, Range(0, 4096), "pixels",
                      "By how much tiles overlap their neighbours at a side.")
    ORVEXA_BASE_FIELD(int, OverlapY, 32, Range(0, 4096), "pixels", "The same above and below.")
    ORVEXA_BASE_FIELD(Orvexa::Proc::CropInfo, CropInfo, Orvexa::Proc::CropInfo(), Any(), "pixels",
                      "The part of the picture to treat, left, right, top and bottom; all 0 for the whole.")
};

/// Replaces the frame by a model's output.
class SettingsEffectDeepNeuralProcessor final : public BaseSettingsNeural {
    ORVEXA_SETTINGS(SettingsEffectDeepNeuralProcessor, "", Groups::kHost, "Sends a frame through a neural model.")
    ORVEXA_EQUALITY(SettingsEffectDeepNeuralProcessor)
    ORVEXA_FIELDS_OF(BaseSettingsNeural)
    ORVEXA_INHERITED_FIELD(Neural::ModelFileId, ModelId, Any(), "", "Number of the model in the manifest.")
    ORVEXA_INHERITED_FIELD(bool, HasDynamicSize, Any(), "", "Whether the model takes pictures of any size.")
    ORVEXA_INHERITED_FIELD(bool, DoNormalize, Any(), "", "Whether levels enter as 0..1.")
    ORVEXA_INHERITED_FIELD(bool, SwapRB, Any(), "", "Whether red is the first channel.")
    ORVEXA_FIELD(int, Scale, 1, Range(1, 16), "factor",
                 "By how much the model enlarges the picture, if the manifest does not say.")
    ORVEXA_FIELD(int, MaxWidth, 4096, Range(1, 131072), "pixels",
                 "How much of the width the model is shown at once, at most.")
    ORVEXA_FIELD(int, MaxHeight, 4096, Range(1, 131072), "pixels",
                 "How much of the height the model is shown at once, at most.")

    SettingsEffectDeepNeuralProcessor() = default;
    explicit SettingsEffectDeepNeuralProcessor(const Core::ioPath& modelsRoot) { SetModelsRoot(modelsRoot); }
    SettingsEffectDeepNeuralProcessor(int scale, int maxWidth, int maxHeight, const Core::ioPath& modelsRoot)
        : SettingsEffectDeepNeuralProcessor(modelsRoot) {
        SetScale(scale);
        SetMaxWidth(maxWidth);
        SetMaxHeight(maxHeight);
    }
};

}  // namespace Orvexa::Proc
