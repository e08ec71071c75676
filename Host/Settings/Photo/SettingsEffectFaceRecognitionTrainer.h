#pragma once

#include "Host/Settings/Photo/Face.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Computes a descriptor of a face in the picture and stores it in the effect's settings.
class SettingsEffectFaceRecognitionTrainer final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectFaceRecognitionTrainer, "", Groups::kHost, "Describes a face by numbers.")
    ORVEXA_EQUALITY(SettingsEffectFaceRecognitionTrainer)
    ORVEXA_FIELD(Orvexa::Proc::Face, Face, Orvexa::Proc::Face(), Any(), "", "The face.")
    ORVEXA_FIELD(Core::ioPath, ModelsRoot, Core::ioPath(), Any(), "",
                 "Folder of the neural models; empty for the installed one.")

    SettingsEffectFaceRecognitionTrainer() = default;
    SettingsEffectFaceRecognitionTrainer(const Orvexa::Proc::Face& face, const Core::ioPath& modelsRoot) {
        SetFace(face);
        SetModelsRoot(modelsRoot);
    }

    /// 128 numbers; descriptors of one person are within 0.55 of each other (Euclidean distance). Empty before a run.
    const std::vector<float>& GetDescriptor() const { return descriptor_; }
    void SetDescriptor(std::vector<float> descriptor) { descriptor_ = std::move(descriptor); }

private:
    std::vector<float> descriptor_;
};

}  // namespace Orvexa::Proc
