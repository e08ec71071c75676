// Estimates the tilt of a picture from its straight edges.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

namespace Orvexa::Proc::Neural {

/// A straight edge: its direction, from 0 to below 180 degrees counter-clockwise from the horizontal, and its length as
/// a fraction of the picture's longer side.
struct LineSegment {
    double direction, length;
};

struct Tilt {
    double angle = 0;        ///< degrees by which the picture is rotated counter-clockwise, within 15
    bool isCertain = false;  ///< enough edges agree on it, and no other angle is supported
};

/// The longer side, in pixels, of the grey picture in which segments are detected.
inline constexpr int kSegmentsSide = 800;

/// The segments in a grey picture with one byte per pixel.
std::vector<LineSegment> FindLineSegments(const cv::Mat& grey);

/// The tilt for which the most segments are horizontal or vertical.
Tilt TiltOf(const std::vector<LineSegment>& segments);

}  // namespace Orvexa::Proc::Neural
