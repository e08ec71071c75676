// What the settings of effects that ask a neural network have in common.
#pragma once

#include <algorithm>
#include <tuple>

#include "Host/Conf/NeuralNames.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Which model, and where it is.
class BaseSettingsModelFile : public Settings {
    ORVEXA_BASE_SETTINGS(BaseSettingsModelFile)
    ORVEXA_BASE_FIELD(Core::ioPath, ModelsRoot, Core::ioPath(), Any(), "",
                      "Folder of the neural models; empty for the installed one.")
    ORVEXA_MEMBER(Neural::ModelFileId, ModelId, Neural::ModelFileId{})
};

/// How a model is run. The flags are those of the model's file, and the manifest that describes it comes first.
class BaseSettingsNeural : public BaseSettingsModelFile {
    ORVEXA_BASE_SETTINGS(BaseSettingsNeural)
    ORVEXA_FIELDS_OF(BaseSettingsModelFile)
    ORVEXA_BASE_FIELD(Neural::ImplName, Impl, Neural::ImplName::Default, Named("default=0 opencv=1"), "",
                      "What runs the networks.")
    ORVEXA_MEMBER(bool, HasDynamicSize, false)  // the network takes pictures of any size
    ORVEXA_MEMBER(bool, DoNormalize, false)     // levels enter as 0..1
    ORVEXA_MEMBER(bool, SwapRB, false)          // channels enter red first

    /// Whether the neural parts are equal, whatever derived classes add.
    bool IsEqualBase(const BaseSettingsNeural& other) const {
        const auto values = [](const BaseSettingsNeural& s) {
            return std::tuple(s.GetModelsRoot(), s.GetModelId(), s.GetImpl(), s.GetHasDynamicSize(), s.GetDoNormalize(),
                              s.GetSwapRB());
        };
        return values(*this) == values(other);
    }

    /// Of one class, with equal neural parts and equal fields of their own.
    friend bool operator==(const BaseSettingsNeural& a, const BaseSettingsNeural& b) {
        const FieldList& fields = a.GetFields();
        return a.GetClassId() == b.GetClassId() && a.IsEqualBase(b) &&
               std::all_of(fields.begin(), fields.end(), [&](const Field& field) { return field.IsEqual(a, b); });
    }
};

}  // namespace Orvexa::Proc
