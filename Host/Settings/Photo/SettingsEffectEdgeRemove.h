#pragma once

#include "Host/Settings/Common/CropInfo.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

class SettingsEffectEdgeRemove final : public Settings {
public:
    static constexpr PixFmt kSecondInput = PixFmt::Gray8;
    static constexpr double kBytesPerPixel = 24;

    ORVEXA_SETTINGS(SettingsEffectEdgeRemove, "EdgeRemove", Groups::kSegmentation,
                    "Removes a dark line along a given segment. A second picture masks where, a third takes the "
                    "result; without them it is everywhere and the picture itself.")
    ORVEXA_EQUALITY(SettingsEffectEdgeRemove)
    ORVEXA_FIELD(CropInfo, Rect, CropInfo(), Any(), "pixels",
                 "The rectangle worked on: left, right, top and bottom, right and bottom exclusive. 0,0,0,0 is the "
                 "whole picture.")
    ORVEXA_FIELD(std::int32_t, FromX, 0, Range(-131072, 131072), "pixels",
                 "Start of the segment, from the left; the segment must be given.")
    ORVEXA_FIELD(std::int32_t, FromY, 0, Range(-131072, 131072), "pixels", "Start of the segment, from the top.")
    ORVEXA_FIELD(std::int32_t, ToX, 0, Range(-131072, 131072), "pixels", "End of the segment, from the left.")
    ORVEXA_FIELD(std::int32_t, ToY, 0, Range(-131072, 131072), "pixels", "End of the segment, from the top.")
    ORVEXA_FIELD(int, Radius, 10, Range(1, 1024), "pixels", "How far from the segment the line is looked for.")
    ORVEXA_FIELD(int, MaxValue, 255, Range(1, 255), "", "The mask's value that counts as fully opaque.")
};

}  // namespace Orvexa::Proc
