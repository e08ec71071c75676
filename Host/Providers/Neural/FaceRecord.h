// The record of a face that effects work with.
#pragma once

#include "Host/Providers/Neural/FaceFinder.h"
#include "Host/Settings/Photo/Face.h"

namespace Orvexa::Proc::Neural {

/// The face's contours, rectangle and pupils, all inside the picture. The rectangle is that of the points, wider by a
/// tenth on each side.
Face MakeFace(const FoundFace& found, const FacePicture& picture);

}  // namespace Orvexa::Proc::Neural
