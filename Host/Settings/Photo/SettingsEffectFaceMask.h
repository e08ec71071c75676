#pragma once

#include "Host/Settings/Photo/FaceSettings.h"

namespace Orvexa::Proc {

/// Regions of a face, as a bit mask.
enum class FaceRegions : std::uint32_t { None = 0, Eyes = 1, Lips = 2, Opening = 4, Head = 8 };

constexpr bool Has(FaceRegions regions, FaceRegions region) {
    return (static_cast<std::uint32_t>(regions) & static_cast<std::uint32_t>(region)) != 0;
}

/// Text form: names joined by +, such as head+eyes, or their sum.
template <>
struct TextCodec<FaceRegions> {
    static std::string_view TypeName() { return "string"; }
    static std::string Format(FaceRegions regions);
    static FaceRegions Parse(std::string_view text);
};

class SettingsEffectFaceMask final : public Settings, public FaceSettings {
public:
    static constexpr double kBytesPerPixel = 16;

    ORVEXA_SETTINGS(SettingsEffectFaceMask, "FaceMask", Groups::kFaces,
                    "Makes a mask of a face's regions: white there, black elsewhere.")
    ORVEXA_EQUALITY(SettingsEffectFaceMask)
    ORVEXA_FIELD(FaceRegions, Mode, FaceRegions::Head, Any(), "",
                 "The regions, joined by +: head (with its hair), eyes, lips, opening (of the mouth).")
    ORVEXA_FIELD(bool, UseBlur, false, Any(), "", "Whether the mask's edges are softened.")
    ORVEXA_FIELD(Orvexa::Proc::Face, Face, Orvexa::Proc::Face(), Any(), "pixels",
                 "The face, as `kalvatri faces --json` prints it; found if it is not given.")
    ORVEXA_FIELD(Core::ioPath, ModelsRoot, Core::ioPath(), Any(), "",
                 "Folder of the neural models; empty for the installed one.")

    SettingsEffectFaceMask() = default;
    SettingsEffectFaceMask(const Orvexa::Proc::Face& face, FaceRegions mode) {
        SetFace(face);
        SetMode(mode);
    }

    bool HasFaces() const override { return !GetFace().IsEmpty(); }
    void TakeFaces(std::span<const Orvexa::Proc::Face> faces) override { SetFace(faces.front()); }
    FaceRun GetFaceRun() const override { return FaceRun::Merged; }
    bool RequiresFaces() const override { return true; }
    Core::ioPath GetFaceModelsRoot() const override { return GetModelsRoot(); }
    void CheckFacesInside(std::uint32_t width, std::uint32_t height) const override {
        CheckInside(GetFace(), width, height);
    }
};

}  // namespace Orvexa::Proc
