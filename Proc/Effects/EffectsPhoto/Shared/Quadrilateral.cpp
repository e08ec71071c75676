#include "Proc/Effects/EffectsPhoto/Shared/Quadrilateral.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>

namespace Orvexa::Proc::Shared {

namespace {

constexpr double kTolerance = 0.00001;  // of u and v

int Multiply(int a, int b) { return static_cast<int>(static_cast<unsigned>(a) * static_cast<unsigned>(b)); }
int Add(int a, int b) { return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b)); }
int Subtract(int a, int b) { return static_cast<int>(static_cast<unsigned>(a) - static_cast<unsigned>(b)); }
unsigned Magnitude(int a) { return a < 0 ? 0u - static_cast<unsigned>(a) : static_cast<unsigned>(a); }

int Cross(int ax, int ay, int bx, int by) { return Subtract(Multiply(ax, by), Multiply(ay, bx)); }

unsigned TriangleOf(const Point<int>& a, const Point<int>& b, const Point<int>& c) {
    return Magnitude(Cross(Subtract(a.x, c.x), Subtract(a.y, c.y), Subtract(b.x, c.x), Subtract(b.y, c.y)));
}

bool IsWithin(double value) { return (value >= -kTolerance) & (value <= 1.0 + kTolerance); }
bool AreWithin(const std::pair<double, double>& place) { return IsWithin(place.first) && IsWithin(place.second); }

// How far coordinates lie outside 0..1, squared.
double ExcessOf(const std::pair<double, double>& place) {
    double sum = 0.0;
    for (const double value : {place.first, place.second}) {
        if (value < -kTolerance) sum += value * value;
        if (value > 1.0 + kTolerance) sum += (value - 1.0) * (value - 1.0);
    }
    return sum;
}

}  // namespace

Quadrilateral::Quadrilateral(const std::array<Point<int>, 4>& corners) : corners_(corners) {
    auto& [p0, p1, p2, p3] = corners_;
    cx_ = Add(Subtract(Subtract(p3.x, p2.x), p1.x), p0.x);
    if (cx_ == 0) {
        p0.x = Add(p0.x, 1);
        cx_ = 1;
    }
    origin_ = p0;
    ax_ = Subtract(p1.x, p0.x), ay_ = Subtract(p1.y, p0.y);
    bx_ = Subtract(p2.x, p0.x), by_ = Subtract(p2.y, p0.y);
    cy_ = Add(Subtract(Subtract(p3.y, p2.y), p1.y), p0.y);
    k0_ = Cross(ax_, ay_, Subtract(p3.x, p2.x), Subtract(p3.y, p2.y));
    k1_ = Cross(Subtract(p3.x, p1.x), Subtract(p3.y, p1.y), bx_, by_);
    doubleArea_ = std::uint64_t{TriangleOf(p0, p1, p2)} + TriangleOf(p3, p1, p2);
}

void Quadrilateral::MarkRow(int y, int width, std::uint8_t* marks) const {
    // A point is inside if its triangles with the four sides fill the quadrilateral. Twice the area of a triangle
    // changes by a constant from pixel to pixel.
    struct Side {
        int first, step;
    };
    const auto sideOf = [&](const Point<int>& a, const Point<int>& b) {
        return Side{Cross(a.x, Subtract(a.y, y), b.x, Subtract(b.y, y)), Subtract(a.y, b.y)};
    };
    const auto& [p0, p1, p2, p3] = corners_;
    const Side sides[] = {sideOf(p0, p1), sideOf(p0, p2), sideOf(p3, p2), sideOf(p3, p1)};
    const auto at = [](const Side& side, int x) { return Magnitude(Add(side.first, Multiply(side.step, x))); };
    const auto area = static_cast<unsigned>(doubleArea_);
    const auto mark = static_cast<std::uint8_t>(area == doubleArea_);
    for (int x = 0; x < width; ++x) {
        const unsigned fan = at(sides[0], x) + at(sides[1], x) + at(sides[2], x) + at(sides[3], x);
        marks[x] = fan == area ? mark : std::uint8_t{0};
    }
}

double Quadrilateral::GetSpan() const {
    const auto sum = [](int a, int b) { return std::abs(static_cast<double>(a)) + std::abs(static_cast<double>(b)); };
    return std::max(sum(bx_, cx_), sum(by_, cy_));
}

Quadrilateral::Equation Quadrilateral::EquationAt(int x, int y) const {
    const int dx = Subtract(x, origin_.x), dy = Subtract(y, origin_.y);
    const int e = Cross(dx, dy, cx_, cy_);
    return {e, Add(Add(Multiply(cx_, e), Multiply(k0_, bx_)), Multiply(ax_, k1_)),
            Subtract(Multiply(ax_, e), Multiply(dx, k0_))};
}

std::pair<double, double> Quadrilateral::CoordinatesOf(int x, int y) const {
    const auto [e, b, q] = EquationAt(x, y);
    if (k0_ != 0 && k1_ != 0) {
        const double a = Multiply(cx_, k1_), root = std::sqrt(static_cast<double>(b) * b - 4.0 * a * q);
        const auto placeAt = [&, offset = e](double v) {
            return std::pair(static_cast<double>(offset) / k0_ + static_cast<double>(k1_) / k0_ * v, v);
        };
        const auto first = placeAt((root - b) / (2.0 * a));
        if (AreWithin(first)) return first;
        const auto second = placeAt((-b - root) / (2.0 * a));
        if (AreWithin(second)) return second;
        return ExcessOf(first) < ExcessOf(second) ? first : second;
    }
    const int dx = Subtract(x, origin_.x), dy = Subtract(y, origin_.y);
    if (k0_ != 0) {
        const int above = Subtract(Multiply(dy, k0_), Multiply(e, ay_)),
                  below = Add(Multiply(cy_, e), Multiply(k0_, by_));
        return {static_cast<double>(e) / k0_, static_cast<double>(above) / below};
    }
    if (k1_ != 0) {
        const int above = Add(Multiply(dx, k1_), Multiply(e, bx_)),
                  below = Subtract(Multiply(k1_, ax_), Multiply(cx_, e));
        return {static_cast<double>(above) / below, -static_cast<double>(e) / k1_};
    }
    const double determinant = Cross(ax_, ay_, bx_, by_);
    return {Cross(dx, dy, bx_, by_) / determinant, Cross(ax_, ay_, dx, dy) / determinant};
}

void Quadrilateral::CoordinatesOfRow(int x, int y, int count, double* u, double* v) const {
    // The usual case, for several points at a time: without branches, and with coefficients that change by a constant
    // from point to point. Points that it does not decide are left as NaN.
    const bool isQuadratic = k0_ != 0 && k1_ != 0;
    const Equation first = EquationAt(x, y);
    const int eStep = cy_, bStep = Multiply(cx_, cy_), qStep = Subtract(Multiply(ax_, cy_), k0_);
    const double a = Multiply(cx_, k1_), k0 = k0_, slope = static_cast<double>(k1_) / k0_;
    for (int i = 0; i < (isQuadratic ? count : 0); ++i) {
        const double e = Add(first.e, Multiply(eStep, i)), b = Add(first.b, Multiply(bStep, i)),
                     q = Add(first.q, Multiply(qStep, i));
        const double root = std::sqrt(b * b - 4.0 * a * q);
        const double v1 = (root - b) / (2.0 * a), v2 = (-b - root) / (2.0 * a);
        const double u1 = e / k0 + slope * v1, u2 = e / k0 + slope * v2;
        const bool isFirst = IsWithin(u1) & IsWithin(v1), isSecond = IsWithin(u2) & IsWithin(v2);
        u[i] = isFirst ? u1 : u2;
        v[i] = isFirst ? v1 : isSecond ? v2 : std::numeric_limits<double>::quiet_NaN();
    }
    for (int i = 0; i < count; ++i) {
        if (!isQuadratic || std::isnan(v[i])) std::tie(u[i], v[i]) = CoordinatesOf(x + i, y);
    }
}

}  // namespace Orvexa::Proc::Shared
