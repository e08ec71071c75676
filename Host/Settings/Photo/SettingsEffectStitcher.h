#pragma once

#include "Host/Settings/Common/CropInfo.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectStitcher final : public Settings {
public:
    static constexpr double kBytesPerPixel = 14;

    ORVEXA_SETTINGS(SettingsEffectStitcher, "Stitcher", Groups::kSegmentation,
                    "Puts patches of a picture together; where they overlap, one fades into the other.")
    ORVEXA_EQUALITY(SettingsEffectStitcher)
    ORVEXA_FIELD(std::uint32_t, FrameWidth, 0, Range(0, 131072), "pixels",
                 "Width of the picture that was cut; must be given.")
    ORVEXA_FIELD(std::uint32_t, FrameHeight, 0, Range(0, 131072), "pixels",
                 "Height of the picture that was cut; must be given.")
    ORVEXA_FIELD(std::uint32_t, OverlapX, 64, Range(0, 131071), "pixels",
                 "Columns that patches side by side share; with the cropped margins as many as they were cut with.")
    ORVEXA_FIELD(std::uint32_t, OverlapY, 64, Range(0, 131071), "pixels",
                 "Rows that patches above each other share; with the cropped margins as many as they were cut with.")
    ORVEXA_FIELD(CropInfo, Crop, CropInfo(), Any(), "pixels",
                 "Margins of each patch that carry no picture: left, right, top and bottom.")
    ORVEXA_FLAG(Overlapped, true, "Whether patches fade into each other; else the later one covers the earlier.")

    const CropInfo& GetCropInfo() const { return GetCrop(); }
};

}  // namespace Orvexa::Proc
