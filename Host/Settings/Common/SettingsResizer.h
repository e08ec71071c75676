#pragma once

#include "Host/Settings/Common/FrameInfoCodec.h"
#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

/// Scales a frame to a size or by a factor.
class SettingsResizer final : public Settings {
public:
    enum class ResizeMethods : std::int32_t {
        FastBilinear = 0,
        Bilinear = 1,
        Bicubic = 2,
        Nearest = 4,
        Area = 5,
        BicubicLuma = 6,  ///< bicubic luma, bilinear chroma
        Gaussian = 7,
        Sinc = 8,
        Lanczos = 9,
        Spline = 10,
    };
    enum CustomModes : int {
        kExactSize = 0,
        kExactSizeAlias = 1,
        kFitInside = 5,  ///< into the box, keeping the aspect ratio, never enlarged
    };

    static Limits ResizeMethodNames() {
        return Named(
            "fastBilinear=0 bilinear=1 bicubic=2 nearest=4 area=5 bicubicLuma=6 gaussian=7 sinc=8 lanczos=9 spline=10");
    }

    ORVEXA_SETTINGS(SettingsResizer, "", Groups::kHost, "Scales a frame, to a size or by a factor.")
    ORVEXA_EQUALITY(SettingsResizer)
    ORVEXA_FIELD(ResizeMethods, ResizeMethod, ResizeMethods::FastBilinear, ResizeMethodNames(), "",
                 "Interpolation; reductions average areas, except with nearest.")
    ORVEXA_FIELD(int, CustomMode, 0, Named("exact=0 exactToo=1 fit=5"), "",
                 "Whether the size is exact or a box to fit into.")
    ORVEXA_FIELD(Conf::FrameInfo, CustomInfo, Conf::FrameInfo(0, 0), Any(), "pixels",
                 "The size; 0 x 0 leaves it to the scale.")
    ORVEXA_FIELD(double, CustomScale, 1.0, Range(0, 65536), "factor", "Factor of both sides, used without a size.")
    ORVEXA_FIELD(bool, Accurate, false, Any(), "", "Asks for more precision.")
    ORVEXA_FIELD(bool, FullChroma, false, Any(), "", "Asks for more precision in chroma.")

    SettingsResizer() = default;
    explicit SettingsResizer(ResizeMethods method) { SetResizeMethod(method); }
    SettingsResizer(ResizeMethods method, CustomModes mode, const Conf::FrameInfo& info) {
        SetResizeMethod(method);
        SetCustomMode(mode, info);
    }
    /// Takes the size from `info`; overrides a scale set earlier.
    void SetCustomMode(int mode, const Conf::FrameInfo& info) {
        SetCustomMode(mode);
        SetCustomInfo(info);
    }
};

/// The resizer under the name used by the processing interfaces.
struct IResize {
    static inline const std::string CLASS_ID = "SettingsResizer";
};

}  // namespace Orvexa::Proc
