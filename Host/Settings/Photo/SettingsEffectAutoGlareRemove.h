#pragma once

#include "Host/Settings/Photo/FaceSettings.h"

namespace Orvexa::Proc {

class SettingsEffectAutoGlareRemove final : public Settings, public FaceSettings {
public:
    static constexpr double kBytesPerPixel = 16;

    ORVEXA_SETTINGS(SettingsEffectAutoGlareRemove, "AutoGlareRemove", Groups::kFaces,
                    "Takes the shine off a face: the spots that are much brighter than its skin.")
    ORVEXA_EQUALITY(SettingsEffectAutoGlareRemove)
    ORVEXA_FIELD(Orvexa::Proc::Face, Face, Orvexa::Proc::Face(), Any(), "pixels",
                 "The face, as `kalvatri faces --json` prints it; found if it is not given.")

    SettingsEffectAutoGlareRemove() = default;
    explicit SettingsEffectAutoGlareRemove(const Orvexa::Proc::Face& face) { SetFace(face); }

    bool HasFaces() const override { return !GetFace().IsEmpty(); }
    void TakeFaces(std::span<const Orvexa::Proc::Face> faces) override { SetFace(faces.front()); }
    void CheckFacesInside(std::uint32_t width, std::uint32_t height) const override {
        CheckInside(GetFace(), width, height);
    }
};

}  // namespace Orvexa::Proc
