#pragma once

#include <string>

#include "Host/Conf/FrameInfo.h"
#include "Host/Settings/Common/SettingsResizer.h"

namespace Orvexa::Proc {

/// A width and a height; none if both are 0.
struct ResizeBox {
    std::uint32_t width = 0, height = 0;
    constexpr bool operator==(const ResizeBox&) const = default;
    constexpr bool IsNone() const { return width == 0; }
};

/// Text form: 2000x1500, or none.
template <>
struct TextCodec<ResizeBox> {
    static constexpr std::string_view kNone = "none";

    static std::string_view TypeName() { return "box"; }
    static std::string Format(const ResizeBox& box) {
        if (box.IsNone()) return std::string(kNone);
        return std::to_string(box.width) + "x" + std::to_string(box.height);
    }
    static ResizeBox Parse(std::string_view text) {
        if (text == kNone) return {};
        const std::size_t middle = text.find('x');
        if (middle == std::string_view::npos) ThrowNotA(text, "a box like 2000x1500");
        const ResizeBox box{TextCodec<std::uint32_t>::Parse(text.substr(0, middle)),
                            TextCodec<std::uint32_t>::Parse(text.substr(middle + 1))};
        if (box.width == 0 || box.height == 0) ThrowNotA(text, "a box like 2000x1500");
        return box;
    }
};

/// Scales a picture as users specify it: to a width or a height or both, into a box, or by a factor. One of them must
/// be given.
class SettingsEffectResize final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectResize, "Resize", Groups::kHost,
                    "Scales the picture to a width or a height, into a box, or by a factor.")
    ORVEXA_EQUALITY(SettingsEffectResize)
    ORVEXA_FIELD(std::uint32_t, Width, 0, Range(0, 131072), "pixels",
                 "The new width; without a height the aspect is kept.")
    ORVEXA_FIELD(std::uint32_t, Height, 0, Range(0, 131072), "pixels",
                 "The new height; without a width the aspect is kept.")
    ORVEXA_FIELD(ResizeBox, Fit, ResizeBox(), Any(), "pixels",
                 "A box like 2000x1500 that the picture is to fit into; it is never enlarged.")
    ORVEXA_FIELD(double, Scale, 0.0, Range(0, 65536), "factor", "Factor of both sides.")
    ORVEXA_FIELD(SettingsResizer::ResizeMethods, Method, SettingsResizer::ResizeMethods::Lanczos,
                 SettingsResizer::ResizeMethodNames(), "",
                 "Interpolation; reductions average areas, except with nearest.")

    /// The geometry of the result. Throws `SettingsException` if the settings specify nothing, or more than one thing.
    Conf::FrameInfo GetNewInfo(const Conf::FrameInfo& info) const;
    std::uint64_t GetResultPixels(std::uint64_t pixels) const override;
};

}  // namespace Orvexa::Proc
