// The face record that effects use.
#pragma once

#include "Host/Providers/Neural/FaceFinder.h"
#include "Host/Settings/Photo/Face.h"

namespace Orvexa::Proc::Neural {

/// The face's contours, rectangle and pupils, all clipped to the picture. The rectangle is the bounding box of the
/// points, enlarged by a tenth on each side.
Face MakeFace(const FoundFace& found, const FacePicture& picture);

}  // namespace Orvexa::Proc::Neural
