#pragma once

#include "Host/Settings/Common/ColorCodec.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

enum class SegmentationAlgorithm : std::int32_t { Auto = 0, Host = 1, GridGraph = 2, HostAlternative = 3 };

class SettingsEffectSegmentation final : public Settings {
public:
    static constexpr PixFmt kSecondInput = PixFmt::Gray8;
    static constexpr double kBytesPerPixel = 48;

    ORVEXA_SETTINGS(SettingsEffectSegmentation, "Segmentation", Groups::kSegmentation,
                    "Separates the subject from the background, given a few strokes on each in a second picture.")
    ORVEXA_EQUALITY(SettingsEffectSegmentation)
    ORVEXA_FIELD(SegmentationAlgorithm, Algorithm, SegmentationAlgorithm::GridGraph,
                 Named("auto=0 host=1 gridGraph=2 hostAlternative=3"), "",
                 "How the picture is separated; auto needs no strokes but a neural model.")
    ORVEXA_FIELD(std::uint8_t, Foreground, 255, Range(0, 255), "", "Value of the strokes on the subject.")
    ORVEXA_FIELD(std::uint8_t, Background, 128, Range(0, 255), "", "Value of the strokes on the background.")
    ORVEXA_FIELD(std::uint8_t, Alpha, 255, Range(0, 255), "", "Value of the subject in the resulting mask.")
    ORVEXA_FIELD(std::uint32_t, Smooth, 0, Range(0, 64), "iterations", "How much the mask is smoothed.")
    ORVEXA_FIELD(bool, KeepSelection, false, Any(), "", "Whether the strokes are copied into the mask.")
    ORVEXA_FIELD(bool, ShowProgress, true, Any(), "", "Whether progress is reported and the effect can be cancelled.")
    ORVEXA_FIELD(bool, DemoMode, false, Any(), "",
                 "Whether the subject is painted over the picture instead of returning the mask.")
    ORVEXA_FIELD(Color, DemoColor, Color(255, 0, 0, 128), Any(), "", "The colour that the subject is painted with.")
    ORVEXA_FIELD(Core::ioPath, ModelsRoot, Core::ioPath(), Any(), "",
                 "Folder of the neural models; empty for the installed one.")

    bool NeedsSecondInput() const override { return GetAlgorithm() != SegmentationAlgorithm::Auto; }
    bool ShowProgress() const { return GetShowProgress(); }
};

}  // namespace Orvexa::Proc
