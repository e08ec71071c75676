// The faces of a picture, with their points.
#pragma once

#include <array>
#include <vector>

#include "Host/Proc/Neural.h"
#include "Host/Providers/Neural/FaceDetector.h"

namespace Orvexa::Proc::Neural {

/// In pixels of the picture; docs/models.md describes which point is where.
using Landmarks = std::array<cv::Point2d, kLandmarksCount>;

// Where a part's points begin and end.
struct LandmarkRange {
    std::size_t begin, end;
};
inline constexpr LandmarkRange kOutlinePoints{0, 17},
    kBrowPoints[] = {{17, 22}, {22, 27}}, kNosePoints[] = {{27, 31}, {31, 36}}, kEyePoints[] = {{36, 42}, {42, 48}},
    kOuterMouthPoints{48, 60}, kInnerMouthPoints{60, 68}, kAllPoints{0, 68};

/// The mean of some of the points.
cv::Point2d MeanOf(const Landmarks& points, const LandmarkRange& range);
/// The upright rectangle around the points.
cv::Rect2d BoundsOf(const Landmarks& points);

struct FoundFace {
    Landmarks points;
    double score = 0;  ///< 0..1
};

struct FaceModels {
    Model detector, landmarks;
};

/// The faces that are at least `minFace` of the picture's longer side high, of a score of at least `threshold`, the
/// surest first; `picture` has a reduced copy of `DetectionSide(minFace)`. The same for any number of threads.
std::vector<FoundFace> FindFaces(const FaceModels& models, const FacePicture& picture, double minFace,
                                 double threshold);

}  // namespace Orvexa::Proc::Neural
