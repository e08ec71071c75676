// Quadrilaterals with integer corners, and the bilinear coordinates of the points in them.
#pragma once

#include <array>
#include <cstdint>
#include <utility>

#include "Host/Settings/Common/Point.h"

namespace Orvexa::Proc::Shared {

/// The quadrilateral p0, p1, p3, p2. A point in it is p0 + u A + v B + u v C, where A is the vector from p0 to p1, B
/// that from p0 to p2, and C the difference between the opposite side, from p2 to p3, and A; u and v are 0..1. The
/// inverse is the root of a quadratic equation (P. S. Heckbert, "Fundamentals of texture mapping and image warping",
/// University of California, 1989, 2.2.3).
///
/// Products of coordinates wrap in 32 bits, so that results are defined for corners at any distance.
class Quadrilateral {
public:
    /// In the order p0, p1, p2, p3. If C.x = 0, p0 is moved one to the right: the equation would not be quadratic.
    explicit Quadrilateral(const std::array<Point<int>, 4>& corners);

    /// Marks the pixels 0 <= x < width of row y: 1 inside the quadrilateral or on its edge, 0 elsewhere.
    void MarkRow(int y, int width, std::uint8_t* marks) const;

    /// The coordinates u and v of a point inside; NaN if there are none.
    std::pair<double, double> CoordinatesOf(int x, int y) const;
    /// The same for `count` points from (x, y) to the right.
    void CoordinatesOfRow(int x, int y, int count, double* u, double* v) const;

    /// The point with the given coordinates.
    std::pair<double, double> PointAt(double u, double v) const {
        const double uv = u * v;
        return {origin_.x + ax_ * u + bx_ * v + cx_ * uv, origin_.y + ay_ * u + by_ * v + cy_ * uv};
    }

    /// An upper bound on the change of a coordinate of `PointAt` with v.
    double GetSpan() const;

private:
    // The point-dependent terms of the quadratic equation a v^2 + b v + q = 0, with k0 u - k1 v.
    struct Equation {
        int e, b, q;
    };
    Equation EquationAt(int x, int y) const;

    std::array<Point<int>, 4> corners_;
    Point<int> origin_;                // p0
    int ax_, ay_, bx_, by_, cx_, cy_;  // A, B and C
    int k0_, k1_;                      // cross products of the sides along u, and along v
    std::uint64_t doubleArea_;         // twice the sum of the triangles p0 p1 p2 and p3 p1 p2
};

}  // namespace Orvexa::Proc::Shared
