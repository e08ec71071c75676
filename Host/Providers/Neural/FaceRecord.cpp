#include "Host/Providers/Neural/FaceRecord.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <optional>

#include "Host/Core/Threads.h"

namespace Orvexa::Proc::Neural {

namespace {

constexpr double kRectangleMargin = 0.1;  // on each side, relative to the points' width and height

// Pupils are searched for in a square of this many pixels around the eye.
constexpr int kEyeSize = 48;
constexpr double kEyeMargin = 1.3;    // the square's side relative to the eye's width
constexpr double kMinEye = 8;         // pixels; the minimum width of an eye for finding a pupil
constexpr double kMinOpening = 0.16;  // height of an eye relative to its width; nearly closed eyes show no pupil
// Radii of the dark disc of pupil and iris, which is 11.7 mm across in an opening of about 30 mm (11.7 / 30 / 2 =
// 0.195), or of the part of it that lids and light eyes leave dark.
constexpr double kRadii[] = {0.12, 0.155, 0.19, 0.225};  // relative to the eye's width
constexpr double kMinShown = 0.6;                        // of the disc, inside the eye's contour
constexpr double kMinContrast = 12;                      // levels between the disc and the rest of the eye

struct Disc {
    cv::Point2d center;
    double radius = 0, contrast = 0;
};

// The disc with the strongest contrast to the rest of the eye.
Disc FindDisc(const cv::Mat& luma, const cv::Mat& eye) {
    double eyeSum = 0, eyeCount = 0;
    for (int y = 0; y < kEyeSize; ++y) {
        for (int x = 0; x < kEyeSize; ++x) {
            if (eye.at<std::uint8_t>(y, x) == 0) continue;
            eyeSum += luma.at<std::uint8_t>(y, x);
            ++eyeCount;
        }
    }
    Disc best;
    for (const double part : kRadii) {
        const double radius = part * kEyeSize / kEyeMargin;
        const int reach = static_cast<int>(radius);
        for (int y = reach; y < kEyeSize - reach; ++y) {
            for (int x = reach; x < kEyeSize - reach; ++x) {
                if (eye.at<std::uint8_t>(y, x) == 0) continue;
                double sum = 0, count = 0, all = 0;
                for (int v = -reach; v <= reach; ++v) {
                    for (int u = -reach; u <= reach; ++u) {
                        if (u * u + v * v > radius * radius) continue;
                        ++all;
                        if (eye.at<std::uint8_t>(y + v, x + u) == 0) continue;
                        sum += luma.at<std::uint8_t>(y + v, x + u);
                        ++count;
                    }
                }
                if (count < kMinShown * all || count >= eyeCount) continue;
                // Among discs of the same contrast a larger one is better: the pupil is the centre of its iris.
                const double contrast = ((eyeSum - sum) / (eyeCount - count) - sum / count) * std::sqrt(part);
                if (contrast > best.contrast) best = {{x + 0.5, y + 0.5}, radius, contrast};
            }
        }
    }
    best.contrast /= best.radius > 0 ? std::sqrt(best.radius * kEyeMargin / kEyeSize) : 1;
    return best;
}

// How much brighter the eye is beside the disc, on the brighter side. The lashes of a closed eye are dark along its
// whole width.
double ContrastBeside(const cv::Mat& luma, const cv::Mat& eye, const Disc& disc) {
    constexpr double kNear = 1.2, kFar = 2.2, kAbove = 0.5;  // in radii from the centre
    double sums[3] = {}, counts[3] = {};                     // left, inside, right
    for (int y = 0; y < kEyeSize; ++y) {
        for (int x = 0; x < kEyeSize; ++x) {
            const double u = (x + 0.5 - disc.center.x) / disc.radius, v = (y + 0.5 - disc.center.y) / disc.radius;
            if (eye.at<std::uint8_t>(y, x) == 0 || std::abs(v) > kAbove || std::abs(u) > kFar) continue;
            if (std::abs(u) > 1 && std::abs(u) < kNear) continue;
            const int place = std::abs(u) <= 1 ? 1 : u < 0 ? 0 : 2;
            sums[place] += luma.at<std::uint8_t>(y, x);
            ++counts[place];
        }
    }
    double brightest = 0;
    for (const int side : {0, 2}) {
        if (counts[side] > 0) brightest = std::max(brightest, sums[side] / counts[side]);
    }
    return counts[1] > 0 ? brightest - sums[1] / counts[1] : 0;
}

std::optional<cv::Point2d> FindPupil(const Landmarks& points, const LandmarkRange& range, const FacePicture& picture) {
    // The corners are the first and the fourth point, the lids the others.
    const cv::Point2d *eye = &points[range.begin], across = eye[3] - eye[0];
    const double width = cv::norm(across);
    const double opening = (cv::norm(eye[1] - eye[5]) + cv::norm(eye[2] - eye[4])) / 2;
    if (width < kMinEye || opening < kMinOpening * width) return {};
    const FaceSquare square{MeanOf(points, range), kEyeMargin * width, std::atan2(across.y, across.x)};
    cv::Mat luma;
    cv::cvtColor(picture.Cut(square, kEyeSize), luma, cv::COLOR_RGB2GRAY);
    std::vector<cv::Point> contour;
    const double cosine = std::cos(square.angle), sine = std::sin(square.angle), scale = kEyeSize / square.side;
    for (std::size_t i = range.begin; i < range.end; ++i) {
        const cv::Point2d offset = points[i] - square.center;
        contour.emplace_back(cvFloor((offset.x * cosine + offset.y * sine) * scale + kEyeSize / 2.0),
                             cvFloor((offset.y * cosine - offset.x * sine) * scale + kEyeSize / 2.0));
    }
    cv::Mat mask = cv::Mat::zeros(kEyeSize, kEyeSize, CV_8U);
    cv::fillPoly(mask, std::vector<std::vector<cv::Point>>{contour}, 255);
    const Disc disc = FindDisc(luma, mask);
    if (disc.contrast < kMinContrast || ContrastBeside(luma, mask, disc) < kMinContrast) return {};
    return square.At(disc.center / kEyeSize);
}

// The pixel that contains a position, or the nearest one.
Point<int> PixelOf(const cv::Point2d& position, const FacePicture& picture) {
    return {static_cast<int>(std::clamp(std::floor(position.x), 0.0, picture.GetWidth() - 1.0)),
            static_cast<int>(std::clamp(std::floor(position.y), 0.0, picture.GetHeight() - 1.0))};
}

}  // namespace

Face MakeFace(const FoundFace& found, const FacePicture& picture) {
    const Core::OnCallingThread alone;
    const auto contour = [&](const LandmarkRange& range) {
        Contour line;
        for (std::size_t i = range.begin; i < range.end; ++i) line.push_back(PixelOf(found.points[i], picture));
        return line;
    };
    const auto pair = [&](const LandmarkRange(&ranges)[2]) {
        return Face::ContourPair{FaceItemBase(contour(ranges[0])), FaceItemBase(contour(ranges[1]))};
    };
    const std::optional<cv::Point2d> first = FindPupil(found.points, kEyePoints[0], picture),
                                     second = FindPupil(found.points, kEyePoints[1], picture);
    const bool hasPupils = first && second;
    const auto eye = [&](std::size_t i, const std::optional<cv::Point2d>& pupil) {
        return Eye(contour(kEyePoints[i]), hasPupils ? PixelOf(*pupil, picture) : Pupil());
    };
    const cv::Rect2d bounds = BoundsOf(found.points);
    const cv::Point2d margin(kRectangleMargin * bounds.width, kRectangleMargin * bounds.height);
    const Point<int> topLeft = PixelOf(bounds.tl() - margin, picture), last = PixelOf(bounds.br() + margin, picture);
    return Face(Outline(contour(kOutlinePoints)), pair(kBrowPoints), pair(kNosePoints),
                Eyes(eye(0, first), eye(1, second), hasPupils),
                Mouth(FaceItemBase(contour(kOuterMouthPoints)), FaceItemBase(contour(kInnerMouthPoints))),
                {topLeft, {last.x + 1, last.y + 1}}, found.score);
}

}  // namespace Orvexa::Proc::Neural
