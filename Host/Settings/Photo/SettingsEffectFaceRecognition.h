#pragma once

#include "Host/Settings/Photo/FaceSettings.h"

namespace Orvexa::Proc {

class SettingsEffectFaceRecognition final : public Settings, public FaceSettings {
public:
    static constexpr double kBytesPerPixel = 9;

    ORVEXA_SETTINGS(SettingsEffectFaceRecognition, "FaceRecognition", Groups::kFaces,
                    "Describes a face by numbers that identify the person; the picture stays as it is.")
    ORVEXA_EQUALITY(SettingsEffectFaceRecognition)
    ORVEXA_FIELD(FaceRectangle, FaceRect, FaceRectangle(), Any(), "pixels",
                 "The face's rectangle, [left, top, right, bottom].")
    ORVEXA_FIELD(Core::ioPath, ModelsRoot, Core::ioPath(), Any(), "",
                 "Folder of the neural models; empty for the installed one.")

    SettingsEffectFaceRecognition() = default;
    SettingsEffectFaceRecognition(const FaceRectangle& rectangle, const Core::ioPath& modelsRoot) {
        SetFaceRect(rectangle);
        SetModelsRoot(modelsRoot);
    }

    /// The result of the last run: 128 numbers, or none if there was no face.
    const std::vector<float>& GetDescriptor() const { return descriptor_; }
    void SetDescriptor(std::vector<float> descriptor) { descriptor_ = std::move(descriptor); }
    void Clear() { descriptor_.clear(); }
    std::vector<Finding> GetFindings() const override;

    bool HasFaces() const override { return !IsFaceRectDefault(); }
    void TakeFaces(std::span<const Face> faces) override { SetFaceRect(faces.front().GetFullFramePoints()); }
    Core::ioPath GetFaceModelsRoot() const override { return GetModelsRoot(); }
    void CheckFacesInside(std::uint32_t width, std::uint32_t height) const override {
        CheckInside(GetFaceRect(), width, height);
    }

private:
    std::vector<float> descriptor_;
};

}  // namespace Orvexa::Proc
