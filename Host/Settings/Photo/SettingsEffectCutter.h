#pragma once

#include "Host/Settings/Common/ColorCodec.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

enum class CutterPadMode : std::int32_t { Replicate = 0, Fill = 1 };

class SettingsEffectCutter final : public Settings {
public:
    static constexpr double kBytesPerPixel = 14;

    using PadMode = CutterPadMode;

    ORVEXA_SETTINGS(
        SettingsEffectCutter, "Cutter", Groups::kSegmentation,
        "Cuts the picture into overlapping patches of one size, row by row; Stitcher puts them together again.")
    ORVEXA_EQUALITY(SettingsEffectCutter)
    ORVEXA_FIELD(std::uint32_t, PatchWidth, 512, Range(1, 131072), "pixels", "Width of a patch.")
    ORVEXA_FIELD(std::uint32_t, PatchHeight, 512, Range(1, 131072), "pixels", "Height of a patch.")
    ORVEXA_FIELD(std::uint32_t, OverlapX, 64, Range(0, 131071), "pixels", "Columns that patches side by side share.")
    ORVEXA_FIELD(std::uint32_t, OverlapY, 64, Range(0, 131071), "pixels", "Rows that patches above each other share.")
    ORVEXA_FIELD(CutterPadMode, PadMode, CutterPadMode::Replicate, Named("replicate=0 fill=1"), "",
                 "What patches show that reach beyond the picture: its edge or a colour.")
    ORVEXA_FIELD(Color, PadColor, Color::Black(Opacity::Opaque), Any(), "",
                 "The colour that patches are filled up with.")
};

}  // namespace Orvexa::Proc
