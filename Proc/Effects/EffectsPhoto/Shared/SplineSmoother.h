// Smoothing by a least-squares cubic Hermite spline.
#pragma once

#include <cstddef>
#include <vector>

namespace Orvexa::Proc::Shared {

/// Fits a spline with evenly spaced knots, each with a value and a slope, to samples at fixed positions. The normal
/// equations are solved by conjugate gradients (Hestenes and Stiefel, 1952), starting from their right-hand side.
class SplineSmoother {
public:
    /// `positions` are ascending; `knots` is at least 2.
    SplineSmoother(const std::vector<double>& positions, std::size_t knots);

    /// The spline fitted to `samples`, one per position, evaluated at the positions. Not clamped.
    std::vector<double> Smooth(const std::vector<double>& samples) const;

private:
    // The four basis functions that are non-zero at a position, and the index of their first coefficient.
    struct Basis {
        std::size_t first;
        double weights[4];
    };

    std::vector<double> MultiplyNormal(const std::vector<double>& vector) const;
    std::vector<double> Solve(const std::vector<double>& rightSide) const;

    std::size_t unknowns_;
    std::vector<Basis> basis_;
    std::vector<double> normal_;  // unknowns x unknowns, row-major
};

}  // namespace Orvexa::Proc::Shared
