#pragma once

#include "Host/Settings/Photo/FaceSettings.h"

namespace Orvexa::Proc {

class SettingsEffectFaceThinning final : public Settings, public FaceSettings {
    ORVEXA_SETTINGS(SettingsEffectFaceThinning, "FaceThinning", Groups::kFaces,
                    "Slims a face: draws in the line of its cheeks and jaw.")
    ORVEXA_EQUALITY(SettingsEffectFaceThinning)
    ORVEXA_FIELD(double, Strength, 0.5, Range(-1, 1), "", "How much slimmer the face will be; below 0 it gets wider.")
    ORVEXA_FIELD(Orvexa::Proc::Outline, Outline, Orvexa::Proc::Outline(), Any(), "pixels",
                 "The line from ear to ear over the chin, [[x, y], ...]; found if it is not given.")

    SettingsEffectFaceThinning() = default;
    explicit SettingsEffectFaceThinning(const Orvexa::Proc::Outline& outline) { SetOutline(outline); }

    bool HasFaces() const override { return !GetOutline().IsEmpty(); }
    void TakeFaces(std::span<const Face> faces) override { SetOutline(faces.front().GetOutline()); }
    void CheckFacesInside(std::uint32_t width, std::uint32_t height) const override {
        CheckInside(GetOutline(), width, height);
    }
};

}  // namespace Orvexa::Proc
