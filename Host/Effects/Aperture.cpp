// Aperture: draws the image of a lens aperture, white on black, for blurs that spread every bright point into its
// shape.
//
// Every shape is a set of closed outlines inside the circle that touches the edges of the image, filled by the even-odd
// rule. A pixel's value is its covered area: exact along the row, sampled at kSubrows heights.

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "Host/Effects/HostEffect.h"
#include "Host/Settings/Common/SettingsEffectVideoGenerator.h"

namespace Orvexa::Proc {
namespace {

constexpr int kSubrows = 16;
constexpr int kCurvePoints = 1440;  // of a circle or heart; the error is 0.001 pixels at a size of 1023
constexpr double kRingHole = 0.6;   // radius of the hole relative to the outer radius; like the rings of mirror lenses
constexpr double kStarNotch =
    0.45;  // radius of the notches; below cos(60 degrees), so that three points also make a star

struct Point {
    double x, y;  // y points up
};
using Outline = std::vector<Point>;

constexpr double kTurn = 2.0 * std::numbers::pi;

// Corners at equal angles, the first one at the top.
Outline Corners(int count, double radius, double phase = 0.0) {
    Outline outline;
    for (int i = 0; i < count; ++i) {
        const double angle = kTurn * (i + phase) / count;
        outline.push_back({-radius * std::sin(angle), radius * std::cos(angle)});
    }
    return outline;
}

Outline Star(int points) {
    const Outline tips = Corners(points, 1.0), notches = Corners(points, kStarNotch, 0.5);
    Outline outline;
    for (std::size_t i = 0; i < tips.size(); ++i) {
        outline.push_back(tips[i]);
        outline.push_back(notches[i]);
    }
    return outline;
}

// The well-known heart curve, with its bounding box centred and its farthest point on the unit circle.
Outline Heart() {
    Outline outline;
    double top = 0.0, bottom = 0.0;
    for (int i = 0; i < kCurvePoints; ++i) {
        const double t = kTurn * i / kCurvePoints;
        const double x = 16.0 * std::pow(std::sin(t), 3),
                     y = 13.0 * std::cos(t) - 5.0 * std::cos(2 * t) - 2.0 * std::cos(3 * t) - std::cos(4 * t);
        outline.push_back({x, y});
        top = std::max(top, y);
        bottom = std::min(bottom, y);
    }
    double radius = 0.0;
    for (Point& point : outline) {
        point.y -= (top + bottom) / 2;
        radius = std::max(radius, std::hypot(point.x, point.y));
    }
    for (Point& point : outline) point = {point.x / radius, point.y / radius};
    return outline;
}

std::vector<Outline> OutlinesOf(const SettingsEffectVideoGenerator& settings) {
    const int blades = settings.GetBlades();
    const auto checkBlades = [&] {
        if (blades < 3) Throw("An aperture needs at least 3 blades!");
    };
    switch (settings.GetShape()) {
        case ApertureShape::Disc: return {Corners(kCurvePoints, 1.0)};
        case ApertureShape::Polygon: checkBlades(); return {Corners(blades, 1.0)};
        case ApertureShape::Ring: return {Corners(kCurvePoints, 1.0), Corners(kCurvePoints, kRingHole)};
        case ApertureShape::Heart: return {Heart()};
        case ApertureShape::Star: checkBlades(); return {Star(blades)};
    }
    Throw("Aperture shape is not supported! It must be 0..4.");
}

// Adds the covered length of each pixel between `begin` and `end` to its coverage.
void AddSpan(std::vector<double>& coverage, double begin, double end) {
    const double size = static_cast<double>(coverage.size());
    begin = std::clamp(begin, 0.0, size);
    end = std::clamp(end, 0.0, size);
    for (auto x = static_cast<std::size_t>(begin); static_cast<double>(x) < end; ++x) {
        coverage[x] += std::min(end, static_cast<double>(x + 1)) - std::max(begin, static_cast<double>(x));
    }
}

void FillRow(const std::vector<Outline>& outlines, int y, std::vector<double>& coverage, std::uint8_t* row) {
    std::fill(coverage.begin(), coverage.end(), 0.0);
    std::vector<double> crossings;
    for (int k = 0; k < kSubrows; ++k) {
        const double height = y + (k + 0.5) / kSubrows;
        crossings.clear();
        for (const Outline& outline : outlines) {
            for (std::size_t i = 0; i < outline.size(); ++i) {
                const Point &a = outline[i], &b = outline[i + 1 == outline.size() ? 0 : i + 1];
                if ((a.y <= height) == (b.y <= height)) continue;
                crossings.push_back(a.x + (b.x - a.x) * (height - a.y) / (b.y - a.y));
            }
        }
        std::sort(crossings.begin(), crossings.end());
        for (std::size_t i = 0; i + 1 < crossings.size(); i += 2) AddSpan(coverage, crossings[i], crossings[i + 1]);
    }
    for (std::size_t x = 0; x < coverage.size(); ++x)
        row[x] = static_cast<std::uint8_t>(std::min(coverage[x] / kSubrows, 1.0) * 255.0 + 0.5);
}

class Aperture : public HostGenerator<SettingsEffectVideoGenerator> {
public:
    using HostGenerator::HostGenerator;

protected:
    FramePtr Generate() override {
        const auto size = static_cast<std::uint32_t>(settings_.GetSize());
        FramePtr frame = NewFrame(allocator_, PixFmt::Gray8, FrameInfo(size, size));
        const double radius = settings_.GetSize() / 2.0;
        const double angle = settings_.GetRotation() * std::numbers::pi / 180.0;
        const double sine = std::sin(angle), cosine = std::cos(angle);
        std::vector<Outline> outlines = OutlinesOf(settings_);
        for (Outline& outline : outlines) {
            for (Point& p : outline)
                p = {radius + radius * (p.x * cosine - p.y * sine), radius - radius * (p.x * sine + p.y * cosine)};
        }
        const Plane plane = frame->GetPlane(0);
        std::vector<double> coverage(size);
        for (std::uint32_t y = 0; y < size; ++y) FillRow(outlines, static_cast<int>(y), coverage, plane.GetRow(y));
        return frame;
    }
};

}  // namespace

OneInputPtr CreateAperture(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<Aperture>(factory, allocator);
}

}  // namespace Orvexa::Proc
