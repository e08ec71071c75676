#pragma once

#include "Host/Settings/Photo/FaceSettings.h"

namespace Orvexa::Proc {

class SettingsEffectEyeExtending final : public Settings, public FaceSettings {
    ORVEXA_SETTINGS(SettingsEffectEyeExtending, "EyeExtending", Groups::kFaces, "Enlarges the eyes of a face.")
    ORVEXA_EQUALITY(SettingsEffectEyeExtending)
    ORVEXA_FIELD(double, Strength, 0.5, Range(-1, 1), "", "How much larger the eyes will be; below 0 they get smaller.")
    ORVEXA_FIELD(Orvexa::Proc::Eyes, Eyes, Orvexa::Proc::Eyes(), Any(), "pixels",
                 "The contours of both eyes; found if they are not given.")

    SettingsEffectEyeExtending() = default;
    explicit SettingsEffectEyeExtending(const Orvexa::Proc::Eyes& eyes) { SetEyes(eyes); }

    bool HasFaces() const override { return !GetEyes().IsEmpty(); }
    void TakeFaces(std::span<const Face> faces) override { SetEyes(faces.front().GetEyes()); }
    void CheckFacesInside(std::uint32_t width, std::uint32_t height) const override {
        CheckInside(GetEyes(), width, height);
    }
};

}  // namespace Orvexa::Proc
