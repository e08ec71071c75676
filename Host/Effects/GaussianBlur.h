// Gaussian blur of one plane, along each axis as far as it is asked for.
#pragma once

#include <vector>

#include "Host/Effects/PlanesEffect.h"

namespace Orvexa::Proc {

/// How one axis is blurred: pixels are averaged in cells, the cells' values are weighted, and results in between are
/// interpolated. With cells of one pixel this is the plain sum of weighted pixels.
struct BlurAxis {
    int cell = 1;                      ///< pixels of the plane, 1..256
    std::vector<float> weights{1.0f};  ///< of the middle cell, of each of its neighbours, and so on

    /// `deviation`: in pixels of the plane; 0 or below: no blur. `length`: the reach in deviations. Cells are at least
    /// `leastCell` pixels, and more where the deviation is large, so that the cost does not grow with it.
    static BlurAxis Make(double deviation, double length, double leastCell);

    int GetReach() const { return static_cast<int>(weights.size()) - 1; }
    bool IsNeutral() const { return cell == 1 && weights.size() == 1; }
};

/// Fills `plane.to`. Pixels beyond the edge are those before it, mirrored. Colours of a transparent picture are
/// weighted by alpha; where nothing shows in reach they stay.
void BlurPlane(const PlaneTask& plane, const BlurAxis& alongX, const BlurAxis& alongY);

}  // namespace Orvexa::Proc
