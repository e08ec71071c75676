// Candidate boxes for faces.
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

/// The longer side, in pixels, to which a picture is reduced so that faces of `minFace` of that side are just large
/// enough for the detector.
std::uint32_t DetectionSide(double minFace);

/// The boxes in `picture`, which has a reduced copy of `DetectionSide`, with a score of at least `minScore`, highest
/// scores first; of overlapping boxes only the best. Does not depend on the number of threads.
std::vector<FaceBox> FindBoxes(const Model& detector, const FacePicture& picture, double minScore);

/// The detector's score for a face in the central half of the square.
double ScoreOf(const Model& detector, const FacePicture& picture, const FaceSquare& face);

/// Intersection over union of two boxes.
double OverlapOf(const cv::Rect2d& a, const cv::Rect2d& b);

}  // namespace Orvexa::Proc::Neural
