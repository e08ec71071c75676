// Finds the faces in a picture, with their points.
#pragma once

#include <array>
#include <vector>

#include "Host/Proc/Neural.h"
#include "Host/Providers/Neural/FaceDetector.h"

namespace Orvexa::Proc::Neural {

/// In pixels of the picture; docs/models.md lists the points.
using Landmarks = std::array<cv::Point2d, kLandmarksCount>;

// The range of a face part's points.
struct LandmarkRange {
    std::size_t begin, end;
};
inline constexpr LandmarkRange kOutlinePoints{0, 17},
    kBrowPoints[] = {{17, 22}, {22, 27}}, kNosePoints[] = {{27, 31}, {31, 36}}, kEyePoints[] = {{36, 42}, {42, 48}},
    kOuterMouthPoints{48, 60}, kInnerMouthPoints{60, 68}, kAllPoints{0, 68};

/// The mean of a range of points.
cv::Point2d MeanOf(const Landmarks& points, const LandmarkRange& range);
/// The axis-aligned bounding rectangle of the points.
cv::Rect2d BoundsOf(const Landmarks& points);

struct FoundFace {
    Landmarks points;
    double score = 0;  ///< 0..1
};

struct FaceModels {
    Model detector, landmarks;
};

/// The faces whose height is at least `minFace` of the picture's longer side and whose score is at least `threshold`,
/// highest score first; `picture` has a reduced copy of `DetectionSide(minFace)`. Does not depend on the number of
/// threads.
std::vector<FoundFace> FindFaces(const FaceModels& models, const FacePicture& picture, double minFace,
                                 double threshold);

}  // namespace Orvexa::Proc::Neural
