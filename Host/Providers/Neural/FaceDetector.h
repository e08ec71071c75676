// Where faces could be.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "Host/Providers/Neural/FacePicture.h"
#include "Host/Providers/Neural/Manifest.h"

namespace Orvexa::Proc::Neural {

struct FaceBox {
    cv::Rect2d box;    ///< in pixels of the picture
    double score = 0;  ///< 0..1
};

/// The longer side, in pixels, of a picture in which faces of `minFace` of it are just large enough for the detector.
std::uint32_t DetectionSide(double minFace);

/// The boxes of a score of at least `minScore` in `picture`, which has a reduced copy of `DetectionSide`, those of the
/// higher scores first; of boxes that overlap, the best one. The same for any number of threads.
std::vector<FaceBox> FindBoxes(const Model& detector, const FacePicture& picture, double minScore);

/// How sure the detector is of a face in the middle half of the square.
double ScoreOf(const Model& detector, const FacePicture& picture, const FaceSquare& face);

/// The common part of two boxes, of all that they cover.
double OverlapOf(const cv::Rect2d& a, const cv::Rect2d& b);

}  // namespace Orvexa::Proc::Neural
