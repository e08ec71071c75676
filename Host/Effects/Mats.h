// Planes as OpenCV sees them.
#pragma once

#include <opencv2/core.hpp>

#include "Host/Proc/Plane.h"

namespace Orvexa::Proc {

/// A matrix over the plane's own bytes, one channel for each byte of a pixel.
inline cv::Mat AsMat(const Plane& plane) {
    return {static_cast<int>(plane.GetHeight()), static_cast<int>(plane.GetPixelsPerRow()),
            CV_8UC(static_cast<int>(plane.GetBytesPerPixel())), plane.GetData(), static_cast<std::size_t>(plane.GetStride())};
}
/// The same for reading only.
inline const cv::Mat AsMat(const ConstPlane& plane) {
    return AsMat(Plane(const_cast<std::uint8_t*>(plane.GetData()), plane.GetStride(), plane.GetWidth(), plane.GetHeight(),
                       plane.GetBytesPerPixel(), false));
}

}  // namespace Orvexa::Proc
