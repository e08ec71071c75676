// The detector is fast but takes many things for faces. The points decide: on a real face they are found in the same
// places in another crop, they form a face, and the detector also finds a face in a crop centred on them.

#include "Host/Providers/Neural/FaceFinder.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>

#include "Host/Core/Exception.h"
#include "Host/Core/Threads.h"
#include "Host/Providers/Neural/Inference.h"

namespace Orvexa::Proc::Neural {

namespace {

constexpr double kCropMargin = 1.2;      // the side of the landmarks' crop relative to that of the points
constexpr double kSameFace = 0.3;        // overlap above which two faces are the same
constexpr double kCandidateScore = 0.5;  // relative to the threshold: the minimum score of a box for a closer look

// How far points may move from crop to crop, in distances between the eyes. The first crop is the detector's imprecise
// box; if it was good, a third crop would add nothing.
constexpr double kMaxMoves[] = {0.3, 0.15}, kGoodMove = 0.06;

struct Range {
    double min, max;
    bool Has(double value) const { return value >= min && value <= max; }
};

// Coordinates along the line of the eyes, with the first eye's centre as origin and the distance between the eyes as
// unit.
class EyeFrame {
public:
    explicit EyeFrame(const Landmarks& points)
        : origin_(MeanOf(points, kEyePoints[0])), eyes_(MeanOf(points, kEyePoints[1]) - origin_) {}

    double GetAngle() const { return std::atan2(eyes_.y, eyes_.x); }
    double GetDistance() const { return std::hypot(eyes_.x, eyes_.y); }
    cv::Point2d Of(const cv::Point2d& point) const {
        const cv::Point2d offset = point - origin_;
        return {offset.dot(eyes_) / eyes_.dot(eyes_), eyes_.cross(offset) / eyes_.dot(eyes_)};
    }

private:
    cv::Point2d origin_, eyes_;
};

cv::Rect2d BoundsOf(const Landmarks& points, const cv::Point2d& axis) {
    const auto along = [&](const cv::Point2d& point) { return point.dot(axis); };
    const auto across = [&](const cv::Point2d& point) { return axis.cross(point); };
    const auto [left, right] = std::minmax_element(points.begin(), points.end(),
                                                   [&](const auto& a, const auto& b) { return along(a) < along(b); });
    const auto [top, bottom] = std::minmax_element(points.begin(), points.end(),
                                                   [&](const auto& a, const auto& b) { return across(a) < across(b); });
    return {along(*left), across(*top), along(*right) - along(*left), across(*bottom) - across(*top)};
}

// The smallest square around the points with sides along the line of the eyes.
FaceSquare SquareOf(const Landmarks& points) {
    const double angle = EyeFrame(points).GetAngle();
    const cv::Point2d axis(std::cos(angle), std::sin(angle));
    const cv::Rect2d bounds = BoundsOf(points, axis);
    const cv::Point2d center = (bounds.tl() + bounds.br()) / 2;
    return {{center.x * axis.x - center.y * axis.y, center.x * axis.y + center.y * axis.x},
            std::max(bounds.width, bounds.height),
            angle};
}

Landmarks PointsIn(const Model& model, const FacePicture& picture, const FaceSquare& square) {
    if (model.width != model.height) Throw("The model " + model.file.string() + " must take a square!");
    const cv::Mat values = InferPicture(model, picture.Cut(square, static_cast<int>(model.width)));
    const auto* value = values.ptr<float>();
    Landmarks points;
    for (cv::Point2d& point : points) {
        point = square.At({value[0], value[1]});
        value += 2;
    }
    return points;
}

// Whether the points could be those of a face. The ranges include faces turned sideways by 45 degrees, and mouths that
// are wide open.
bool IsPlausible(const Landmarks& points) {
    constexpr Range kMouthX{0.15, 0.85}, kMouthY{0.7, 1.7}, kNoseY{0.25, 1}, kWidth{1.6, 2.9}, kHeight{1.4, 3.4};
    constexpr double kMinChin = 0.15;  // below the mouth
    const EyeFrame frame(points);
    const cv::Point2d mouth = frame.Of(MeanOf(points, kOuterMouthPoints)), chin = frame.Of(points[8]),
                      nose = frame.Of(MeanOf(points, {27, 36}));
    Landmarks inEyes;
    std::transform(points.begin(), points.end(), inEyes.begin(),
                   [&](const cv::Point2d& point) { return frame.Of(point); });
    const cv::Rect2d bounds = BoundsOf(inEyes, {1, 0});
    return kMouthX.Has(mouth.x) && kMouthY.Has(mouth.y) && kNoseY.Has(nose.y) && nose.y < mouth.y &&
           chin.y > mouth.y + kMinChin && kWidth.Has(bounds.width) && kHeight.Has(bounds.height);
}

std::optional<FoundFace> LookAt(const FaceModels& models, const FacePicture& picture, const FaceBox& box) {
    const cv::Rect2d& area = box.box;
    Landmarks points =
        PointsIn(models.landmarks, picture, {(area.tl() + area.br()) / 2, std::max(area.width, area.height), 0});
    for (const double maxMove : kMaxMoves) {
        const Landmarks before = points;
        FaceSquare square = SquareOf(before);
        if (!(square.side >= 1)) return {};
        square.side *= kCropMargin;
        points = PointsIn(models.landmarks, picture, square);
        double move = 0;
        for (std::size_t i = 0; i < points.size(); ++i)
            move += cv::norm(points[i] - before[i]) / static_cast<double>(points.size());
        move /= EyeFrame(points).GetDistance();
        if (!(move <= maxMove)) return {};
        if (move < kGoodMove) break;
    }
    if (!IsPlausible(points)) return {};
    return FoundFace{points, (box.score + ScoreOf(models.detector, picture, SquareOf(points))) / 2};
}

}  // namespace

cv::Point2d MeanOf(const Landmarks& points, const LandmarkRange& range) {
    cv::Point2d sum;
    for (std::size_t i = range.begin; i < range.end; ++i) sum += points[i];
    return sum / static_cast<double>(range.end - range.begin);
}

cv::Rect2d BoundsOf(const Landmarks& points) { return BoundsOf(points, {1, 0}); }

std::vector<FoundFace> FindFaces(const FaceModels& models, const FacePicture& picture, double minFace,
                                 double threshold) {
    const std::vector<FaceBox> boxes = FindBoxes(models.detector, picture, kCandidateScore * threshold);
    std::vector<std::optional<FoundFace>> looks(boxes.size());
    Core::ParallelFor(boxes.size(), [&](std::size_t i) {
        const Core::OnCallingThread alone;
        looks[i] = LookAt(models, picture, boxes[i]);
    });
    std::vector<FoundFace> found;
    for (const std::optional<FoundFace>& look : looks) {
        if (look && look->score >= threshold && SquareOf(look->points).side >= minFace * picture.GetLongerSide())
            found.push_back(*look);
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const FoundFace& a, const FoundFace& b) { return a.score > b.score; });
    std::vector<FoundFace> faces;
    for (const FoundFace& face : found) {
        const bool isNew = std::none_of(faces.begin(), faces.end(), [&](const FoundFace& other) {
            return OverlapOf(BoundsOf(face.points), BoundsOf(other.points)) > kSameFace;
        });
        if (isNew) faces.push_back(face);
    }
    return faces;
}

}  // namespace Orvexa::Proc::Neural
