// Gaussian blur of one plane, with a separate deviation along each axis.
#pragma once

#include <vector>

#include "Host/Effects/PlanesEffect.h"

namespace Orvexa::Proc {

/// How one axis is blurred: pixels are averaged in cells, the kernel is applied to the cells, and the result is
/// interpolated between them. With cells of one pixel this is plain convolution.
struct BlurAxis {
    int cell = 1;                      ///< pixels of the plane, 1..256
    std::vector<float> weights{1.0f};  ///< of the centre cell, of each of its neighbours, and so on

    /// `deviation`: in pixels of the plane; 0 or below: no blur. `length`: the kernel radius in deviations. Cells are
    /// at least `leastCell` pixels, and larger for large deviations, so that the cost does not grow with the deviation.
    static BlurAxis Make(double deviation, double length, double leastCell);

    int GetReach() const { return static_cast<int>(weights.size()) - 1; }
    bool IsNeutral() const { return cell == 1 && weights.size() == 1; }
};

/// Fills `plane.to`. The picture is mirrored beyond its edges. Colours of a transparent picture are weighted by alpha;
/// where no pixel within reach is visible, they are left unchanged.
void BlurPlane(const PlaneTask& plane, const BlurAxis& alongX, const BlurAxis& alongY);

}  // namespace Orvexa::Proc
