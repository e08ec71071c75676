// Most straight edges in photographs are horizontal or vertical in the world: horizons, walls, poles, furniture. Each
// straight edge (R. Grompone von Gioi et al.: LSD, a Line Segment Detector, Image Processing On Line 2012) therefore
// votes for the tilt that would explain its direction. Votes grow more than proportionally with length, but up to a
// limit, so that a single long edge cannot outvote many others, such as an outer wall that leans because of
// perspective. The votes are spread by a Gaussian, to allow for perspective and detection errors. The tilt is certain
// if edges of a sufficient total length agree, more densely than edges of random direction would, and no other tilt
// comes near.
//
// On photographs of houses, towers, a room, a bridge, a portrait and a sunset rotated by up to 7 degrees the median
// error is 0.2 degrees. Of cats, leaves, mountains, flowers, textures and still lifes, 1 in 84 is considered certain.

#include "Host/Providers/Neural/LineSegments.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <opencv2/imgproc.hpp>

namespace Orvexa::Proc::Neural {

namespace {

constexpr double kMaxTilt = 15;       // degrees; a larger rotation is most likely intentional
constexpr double kStep = 0.1;         // degrees between candidates
constexpr double kSpread = 0.7;       // standard deviation of a vote, in degrees
constexpr double kMinLength = 0.025;  // shorter edges have no reliable direction
constexpr double kMaxLength = 0.2;    // longer edges count as this long
constexpr double kPower = 1.5;        // exponent of the length in a vote
// Conditions for a certain tilt.
constexpr double kNear = 1;          // degrees within which edges agree
constexpr double kMinSupport = 0.8;  // total length of agreeing edges, relative to the picture's longer side
constexpr double kMinDensity = 3.5;  // of their votes, relative to all votes spread over all directions
constexpr double kApart = 2.5;       // degrees from which a tilt counts as a different one
constexpr double kMaxRival = 0.6;    // votes for another tilt, relative to the best

struct Vote {
    double angle, length, weight;

    explicit Vote(const LineSegment& segment)
        : angle(std::fmod(segment.direction + 45, 90) - 45),  // from the nearest horizontal or vertical direction
          length(segment.length),
          weight(std::pow(std::min(segment.length, kMaxLength), kPower)) {}

    double For(double candidate) const {
        const double distance = (angle - candidate) / kSpread;
        return weight * std::exp(-0.5 * distance * distance);
    }
};

}  // namespace

std::vector<LineSegment> FindLineSegments(const cv::Mat& grey) {
    std::vector<LineSegment> segments;
    std::vector<cv::Vec4f> lines;
    cv::createLineSegmentDetector()->detect(grey, lines);
    for (const cv::Vec4f& line : lines) {
        const double across = line[2] - line[0], up = line[1] - line[3];
        const double length = std::hypot(across, up) / std::max(grey.cols, grey.rows);
        if (length < kMinLength) continue;
        const double direction = std::atan2(up, across) * 180 / std::numbers::pi;
        segments.push_back({std::fmod(direction + 360, 180), length});
    }
    return segments;
}

Tilt TiltOf(const std::vector<LineSegment>& segments) {
    const std::vector<Vote> votes(segments.begin(), segments.end());
    const int steps = static_cast<int>(std::lround(kMaxTilt / kStep));
    std::vector<double> sums;
    for (int i = -steps; i <= steps; ++i) {
        double sum = 0;
        for (const Vote& vote : votes) sum += vote.For(i * kStep);
        sums.push_back(sum);
    }
    const auto best = std::max_element(sums.begin(), sums.end());
    Tilt tilt;
    if (*best <= 0) return tilt;
    tilt.angle = (static_cast<double>(best - sums.begin()) - steps) * kStep;
    double support = 0, agreeing = 0, all = 0, rival = 0;
    for (const Vote& vote : votes) {
        all += vote.weight;
        if (std::abs(vote.angle - tilt.angle) >= kNear) continue;
        support += vote.length;
        agreeing += vote.weight;
    }
    for (int i = -steps; i <= steps; ++i) {
        if (std::abs(i * kStep - tilt.angle) > kApart)
            rival = std::max(rival, sums[static_cast<std::size_t>(i + steps)]);
    }
    const double density = (agreeing / (2 * kNear)) / (all / 90);
    tilt.isCertain = support >= kMinSupport && density >= kMinDensity && rival <= kMaxRival * *best;
    return tilt;
}

}  // namespace Orvexa::Proc::Neural
