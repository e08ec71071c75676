// Common settings of effects that use a neural network.
#pragma once

#include <algorithm>
#include <tuple>

#include "Host/Conf/NeuralNames.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Selects the model and its folder.
class BaseSettingsModelFile : public Settings {
    ORVEXA_BASE_SETTINGS(BaseSettingsModelFile)
    ORVEXA_BASE_FIELD(Core::ioPath, ModelsRoot, Core::ioPath(), Any(), "",
                      "Folder of the neural models; empty for the installed one.")
    ORVEXA_MEMBER(Neural::ModelFileId, ModelId, Neural::ModelFileId{})
};

/// How a model is run. The flags describe the model's file; the manifest, which also describes it, takes precedence.
class BaseSettingsNeural : public BaseSettingsModelFile {
    ORVEXA_BASE_SETTINGS(BaseSettingsNeural)
    ORVEXA_FIELDS_OF(BaseSettingsModelFile)
    ORVEXA_BASE_FIELD(Neural::ImplName, Impl, Neural::ImplName::Default, Named("default=0 opencv=1"), "",
                      "What runs the networks.")
    ORVEXA_MEMBER(bool, HasDynamicSize, false)  // the network accepts pictures of any size
    ORVEXA_MEMBER(bool, DoNormalize, false)     // levels are scaled to 0..1
    ORVEXA_MEMBER(bool, SwapRB, false)          // channels are ordered red first

    /// Whether the neural settings are equal, regardless of what derived classes add.
    bool IsEqualBase(const BaseSettingsNeural& other) const {
        const auto values = [](const BaseSettingsNeural& s) {
            return std::tuple(s.GetModelsRoot(), s.GetModelId(), s.GetImpl(), s.GetHasDynamicSize(), s.GetDoNormalize(),
                              s.GetSwapRB());
        };
        return values(*this) == values(other);
    }

    /// Equal if of the same class, with equal neural settings and equal fields of their own.
    friend bool operator==(const BaseSettingsNeural& a, const BaseSettingsNeural& b) {
        const FieldList& fields = a.GetFields();
        return a.GetClassId() == b.GetClassId() && a.IsEqualBase(b) &&
               std::all_of(fields.begin(), fields.end(), [&](const Field& field) { return field.IsEqual(a, b); });
    }
};

}  // namespace Orvexa::Proc
