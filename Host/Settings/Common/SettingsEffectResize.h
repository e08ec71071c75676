#pragma once

#include <string>

#include "Host/Conf/FrameInfo.h"
#include "Host/Settings/Common/SettingsResizer.h"

namespace Orvexa::Proc {

/// Scales a picture in the terms of people: to a width or a height or both, into a box, or by a factor. One of them
/// must be given.
class SettingsEffectResize final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectResize, "Resize", Groups::kHost,
                    "Scales the picture to a width or a height, into a box, or by a factor.")
    ORVEXA_EQUALITY(SettingsEffectResize)
    ORVEXA_FIELD(std::uint32_t, Width, 0, Range(0, 131072), "pixels",
                 "The new width; without a height the aspect is kept.")
    ORVEXA_FIELD(std::uint32_t, Height, 0, Range(0, 131072), "pixels",
                 "The new height; without a width the aspect is kept.")
    ORVEXA_FIELD(std::string, Fit, "", Any(), "",
                 "A box like 2000x1500 that the picture is to fit into; it is never enlarged.")
    ORVEXA_FIELD(double, Scale, 0.0, Range(0, 65536), "factor", "Factor of both sides.")
    ORVEXA_FIELD(SettingsResizer::ResizeMethods, Method, SettingsResizer::ResizeMethods::Lanczos,
                 SettingsResizer::ResizeMethodNames(), "",
                 "Interpolation; reductions average areas, except with nearest.")

    /// The geometry that a picture will have. Settings that say nothing, several things, or no box where one is
    /// expected throw `SettingsException`.
    Conf::FrameInfo GetNewInfo(const Conf::FrameInfo& info) const;
    std::uint64_t GetResultPixels(std::uint64_t pixels) const override;
};

}  // namespace Orvexa::Proc
