#pragma once

#include "Host/Settings/Photo/Face.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Detects the faces of a picture and stores them in the effect's settings.
class SettingsEffectFaceDetection final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectFaceDetection, "", Groups::kHost, "Finds faces.")
    ORVEXA_EQUALITY(SettingsEffectFaceDetection)
    ORVEXA_FIELD(double, Threshold, 0.4, Range(0.05, 1), "", "How sure the detector has to be of a face.")
    ORVEXA_FIELD(double, MinFace, 1.0 / 60, Range(0.005, 1), "fraction",
                 "Height of the smallest faces to look for, of the picture's longer side.")
    ORVEXA_FIELD(Core::ioPath, ModelsRoot, Core::ioPath(), Any(), "",
                 "Folder of the neural models; empty for the installed one.")

    SettingsEffectFaceDetection() = default;
    explicit SettingsEffectFaceDetection(const Core::ioPath& modelsRoot) { SetModelsRoot(modelsRoot); }

    /// The result of the last run, largest face first. All points are inside the picture.
    const std::vector<Face>& GetFaces() const { return faces_; }
    void SetFaces(std::vector<Face> faces) { faces_ = std::move(faces); }

private:
    std::vector<Face> faces_;
};

}  // namespace Orvexa::Proc
