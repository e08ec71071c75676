#pragma once

#include "Host/Settings/Photo/BaseSettingsNeural.h"
#include "Host/Settings/Photo/FaceSettings.h"

namespace Orvexa::Proc {

class SettingsEffectDeepAutoRetoucher final : public BaseSettingsNeural, public FaceSettings {
public:
    static constexpr AlphaUse kAlpha = AlphaUse::Dropped;
    static constexpr double kBytesPerPixel = 12;

    ORVEXA_SETTINGS(SettingsEffectDeepAutoRetoucher, "DeepAutoRetoucher", Groups::kNeural,
                    "Smooths the skin of faces and keeps eyes, lips and hair.")
    ORVEXA_FIELDS_OF(BaseSettingsNeural)
    ORVEXA_FIELD(std::vector<Face>, Faces, {}, Any(), "pixels",
                 "The faces, as `kalvatri faces --json` prints them; found if they are not given.")

    bool HasFaces() const override { return !GetFaces().empty(); }
    void TakeFaces(std::span<const Face> faces) override { SetFaces({faces.begin(), faces.end()}); }
    FaceRun GetFaceRun() const override { return FaceRun::Together; }
    Core::ioPath GetFaceModelsRoot() const override { return GetModelsRoot(); }
    void CheckFacesInside(std::uint32_t width, std::uint32_t height) const override {
        for (const Face& face : GetFaces()) CheckInside(face, width, height);
    }
};

}  // namespace Orvexa::Proc
