#pragma once

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

enum class MorphologyOperation : std::int32_t { Erode = 1, Dilate = 2, Open = 3, Close = 4 };
enum class MorphologyKernel : std::int32_t { Rectangle = 0, Ellipse = 1, Cross = 2 };
enum class MorphologyBorder : std::int32_t { Constant = 0, Replicate = 1, Reflect = 2 };

/// Dilates or erodes bright areas of a frame.
class SettingsEffectMorphology final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectMorphology, "Morphology", Groups::kHost,
                    "Grows or shrinks what is bright in a frame.")
    ORVEXA_EQUALITY(SettingsEffectMorphology)
    ORVEXA_FIELD(MorphologyOperation, Operation, MorphologyOperation::Close, Named("erode=1 dilate=2 open=3 close=4"),
                 "", "Shrinks (erode), grows (dilate), or one after the other.")
    ORVEXA_FIELD(int, Size, 1, Range(0, 64), "pixels",
                 "Half the side of the kernel's square, without its middle pixel.")
    ORVEXA_FIELD(MorphologyKernel, Kernel, MorphologyKernel::Rectangle, Named("rectangle=0 ellipse=1 cross=2"), "",
                 "Shape of the kernel.")
    ORVEXA_FIELD(MorphologyBorder, Border, MorphologyBorder::Constant, Named("constant=0 replicate=1 reflect=2"), "",
                 "What lies beyond the frame; constant: nothing that changes it.")
    ORVEXA_FIELD(std::uint32_t, Iterations, 1, Range(0, 64), "", "How often the frame is shrunk and grown.")

    SettingsEffectMorphology() = default;
    SettingsEffectMorphology(MorphologyOperation operation, int size, MorphologyKernel kernel,
                             MorphologyBorder border) {
        SetOperation(operation);
        SetSize(size);
        SetKernel(kernel);
        SetBorder(border);
    }
};

}  // namespace Orvexa::Proc
