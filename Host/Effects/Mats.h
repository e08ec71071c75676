// OpenCV matrices over planes and channels.
#pragma once

#include <opencv2/core.hpp>

#include "Host/Effects/Channels.h"

namespace Orvexa::Proc {

/// A matrix over the plane's own bytes, with one channel for each byte of a pixel.
inline cv::Mat AsMat(const Plane& plane) {
    return {static_cast<int>(plane.GetHeight()), static_cast<int>(plane.GetPixelsPerRow()),
            CV_8UC(static_cast<int>(plane.GetBytesPerPixel())), plane.GetData(),
            static_cast<std::size_t>(plane.GetStride())};
}
/// The same, read-only.
inline const cv::Mat AsMat(const ConstPlane& plane) {
    return AsMat(Plane(const_cast<std::uint8_t*>(plane.GetData()), plane.GetStride(), plane.GetWidth(),
                       plane.GetHeight(), plane.GetBytesPerPixel(), false));
}

/// The alpha of a frame on the grid of one of its planes, one byte per sample. The frame's format must have alpha.
inline cv::Mat AlphaOnGridOf(const IDataVideo& frame, std::uint8_t plane) {
    const PixFmtDescription& description = PixFmtDescription::Get(frame.GetPixFmt());
    const ConstPlane grid = frame.GetPlane(plane);
    cv::Mat alpha(static_cast<int>(grid.GetHeight()), static_cast<int>(grid.GetPixelsPerRow()), CV_8U);
    const Channel to{alpha.data, static_cast<std::int64_t>(alpha.step), 1, alpha.cols, alpha.rows};
    ResampleChannel(GetChannel(frame, ChannelKind::Alpha), to, description.GetShiftX(plane),
                    description.GetShiftY(plane));
    return alpha;
}

}  // namespace Orvexa::Proc
