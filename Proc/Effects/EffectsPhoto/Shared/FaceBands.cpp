#include "Proc/Effects/EffectsPhoto/Shared/FaceBands.h"

#include <algorithm>
#include <cmath>

namespace Orvexa::Proc::Shared {

namespace {

// How far curves are moved away from the outline where the face is widest, relative to the distance from the centre.
constexpr double kOuterShift = 0.15, kInnerShift = -0.2;
constexpr double kSameWeight = 0.00001;
constexpr int kMaxCorrections = 8;
constexpr double kFarthest = 1 << 20;  // pixels; beyond this, differences between coordinates might not fit into an int

Point<int> CenterOf(const Contour& outline) {
    const auto [left, right] =
        std::minmax_element(outline.begin(), outline.end(), [](const auto& a, const auto& b) { return a.x < b.x; });
    const auto top =
        std::min_element(outline.begin(), outline.end(), [](const auto& a, const auto& b) { return a.y < b.y; });
    return {(right->x - left->x) / 2 + left->x, top->y};
}

// Weights rise from a half's ends, whose weights are halved, to its middle.
double WeightOf(std::size_t index, std::size_t count) {
    const auto middle = static_cast<double>(count / 2 + 1);
    const double weight = 1.0 - std::abs((middle - static_cast<double>(index + 1)) / middle);
    return std::abs(weight - 1.0 / middle) < kSameWeight ? weight / 2.0 : weight;
}

// Moves a point along its ray from the centre, but not beyond the frame.
class Ray {
public:
    Ray(const Point<int>& center, const Point<int>& point, const Conf::FrameInfo& info)
        : center_(center),
          dx_(static_cast<double>(point.x) - center.x),
          dy_(static_cast<double>(point.y) - center.y),
          width_(info.width),
          height_(info.height) {}

    Point<int> Move(double shift, double weight) const {
        Point<int> moved = At(weight * shift + 1.0);
        for (int i = 0; i < kMaxCorrections; ++i) {
            double border, from, distance;
            if (moved.x < 0 || moved.x > width_) {
                border = moved.x < 0 ? 0.0 : width_, from = center_.x, distance = dx_;
            } else if (moved.y < 0 || moved.y > height_) {
                // A point beyond the top is moved to the bottom, too; outlines open upwards.
                border = height_, from = center_.y, distance = dy_;
            } else {
                break;
            }
            if (distance == 0.0) break;
            moved = At(weight * (((border - from) / distance - 1.0) / weight) + 1.0);
        }
        return moved;
    }

private:
    Point<int> At(double scale) const { return {Along(center_.x, dx_ * scale), Along(center_.y, dy_ * scale)}; }
    static int Along(int from, double distance) {
        return static_cast<int>(std::clamp(static_cast<double>(from) + std::trunc(distance), -kFarthest, kFarthest));
    }

    Point<int> center_;
    double dx_, dy_;
    double width_, height_;
};

Contour Moved(const Contour& half, const Point<int>& center, double shift, const Conf::FrameInfo& info) {
    Contour curve;
    for (std::size_t i = 0; i < half.size(); ++i)
        curve.push_back(Ray(center, half[i], info).Move(shift, WeightOf(i, half.size())));
    return curve;
}

}  // namespace

std::vector<BandCorners> BandsAlong(const Contour& outline, const Conf::FrameInfo& info) {
    std::vector<BandCorners> bands;
    if (outline.empty()) return bands;
    const Point<int> center = CenterOf(outline);
    const auto middle = outline.begin() + static_cast<std::ptrdiff_t>(outline.size() / 2);
    for (const Contour& half : {Contour(outline.begin(), middle + 1), Contour(middle, outline.end())}) {
        if (half.size() <= 2) continue;
        const Contour outer = Moved(half, center, kOuterShift, info), inner = Moved(half, center, kInnerShift, info);
        for (std::size_t i = 0; i + 1 < half.size(); ++i)
            bands.push_back({inner[i], inner[i + 1], outer[i], outer[i + 1]});
    }
    return bands;
}

}  // namespace Orvexa::Proc::Shared
