#pragma once

#include "Host/Settings/Common/ColorCodec.h"
#include "Host/Settings/Photo/FaceSettings.h"

namespace Orvexa::Proc {

class SettingsEffectDrawFace final : public Settings, public FaceSettings {
    ORVEXA_SETTINGS(SettingsEffectDrawFace, "DrawFace", Groups::kFaces,
                    "Draws the contours of faces and their rectangles.")
    ORVEXA_EQUALITY(SettingsEffectDrawFace)
    ORVEXA_FIELD(int, Thickness, 2, Range(1, 1000), "pixels", "Width of the lines.")
    ORVEXA_FIELD(Color, ColorRect, Color(255, 255, 255, 255), Any(), "", "Colour of the rectangle.")
    ORVEXA_FIELD(Color, ColorOutline, Color(0, 200, 83, 255), Any(), "", "Colour of the face's outer line.")
    ORVEXA_FIELD(Color, ColorBrows, Color(255, 171, 0, 255), Any(), "", "Colour of the brows.")
    ORVEXA_FIELD(Color, ColorNose, Color(170, 0, 255, 255), Any(), "", "Colour of the nose.")
    ORVEXA_FIELD(Color, ColorEyes, Color(0, 176, 255, 255), Any(), "", "Colour of the eyes and pupils.")
    ORVEXA_FIELD(Color, ColorMouthOuter, Color(213, 0, 0, 255), Any(), "", "Colour of the lips' outline.")
    ORVEXA_FIELD(Color, ColorMouthInner, Color(255, 128, 171, 255), Any(), "", "Colour of the mouth's opening.")
    ORVEXA_FIELD(std::vector<Face>, Faces, {}, Any(), "pixels",
                 "The faces, as `kalvatri faces --json` prints them; found if they are not given.")
    ORVEXA_FIELD(Core::ioPath, ModelsRoot, Core::ioPath(), Any(), "",
                 "Folder of the neural models; empty for the installed one.")

    bool HasFaces() const override { return !GetFaces().empty(); }
    void TakeFaces(std::span<const Face> faces) override { SetFaces({faces.begin(), faces.end()}); }
    FaceRun GetFaceRun() const override { return FaceRun::Together; }
    bool RequiresFaces() const override { return true; }
    Core::ioPath GetFaceModelsRoot() const override { return GetModelsRoot(); }
    void CheckFacesInside(std::uint32_t width, std::uint32_t height) const override {
        for (const Face& face : GetFaces()) CheckInside(face, width, height);
    }
};

}  // namespace Orvexa::Proc
