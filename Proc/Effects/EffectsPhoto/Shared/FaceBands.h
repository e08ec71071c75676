// The bands along a face's outline that FaceThinning warps.
#pragma once

#include <array>
#include <vector>

#include "Host/Conf/FrameInfo.h"
#include "Host/Settings/Common/Point.h"

namespace Orvexa::Proc::Shared {

/// The corners of a quadrilateral between two curves: two points of the inner curve, then the two corresponding points
/// of the outer one.
using BandCorners = std::array<Point<int>, 4>;

/// Constructs bands along both halves of an outline, from ear to chin and from chin to ear, which lie inside a frame of
/// this size as far as the outline does. A half of two points or fewer has no bands.
std::vector<BandCorners> BandsAlong(const Contour& outline, const Conf::FrameInfo& info);

}  // namespace Orvexa::Proc::Shared
