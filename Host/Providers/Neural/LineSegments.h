// By how much a picture is tilted, told from its straight edges.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

namespace Orvexa::Proc::Neural {

/// A straight edge: its direction, 0 to below 180 degrees counter-clockwise from the horizontal, and its length as a
/// part of the picture's longer side.
struct LineSegment {
    double direction, length;
};

struct Tilt {
    double angle = 0;        ///< by how many degrees the picture is turned counter-clockwise, within 15
    bool isCertain = false;  ///< whether edges enough agree on it, and none on another angle
};

/// The longer side, in pixels, of the grey picture in which segments are looked for.
inline constexpr int kSegmentsSide = 800;

/// The segments in a grey picture of one byte a pixel.
std::vector<LineSegment> FindLineSegments(const cv::Mat& grey);

/// The tilt for which most segments are level or upright.
Tilt TiltOf(const std::vector<LineSegment>& segments);

}  // namespace Orvexa::Proc::Neural
