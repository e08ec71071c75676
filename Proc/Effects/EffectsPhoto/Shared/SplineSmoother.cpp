#include "Proc/Effects/EffectsPhoto/Shared/SplineSmoother.h"

#include <numeric>

#include "Proc/Effects/EffectsPhoto/Shared/Hermite.h"

namespace Orvexa::Proc::Shared {

namespace {

constexpr double kSquaredTolerance = 1e-7;  // relative to the squared norm of the residual
constexpr std::size_t kIterationsPerUnknown = 2;

double Dot(const std::vector<double>& a, const std::vector<double>& b) {
    return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

}  // namespace

SplineSmoother::SplineSmoother(const std::vector<double>& positions, std::size_t knots)
    : unknowns_(2 * knots), normal_(unknowns_ * unknowns_) {
    std::vector<double> knot(knots);
    for (std::size_t i = 0; i < knots; ++i) {
        knot[i] = positions.front() +
                  ((positions.back() - positions.front()) / static_cast<double>(knots - 1)) * static_cast<double>(i);
    }
    knot.back() = positions.back();

    std::size_t segment = 0;
    for (const double position : positions) {
        while (segment + 2 < knots && position > knot[segment + 1]) ++segment;
        const auto weights = HermiteBasis((position - knot[segment]) / (knot[segment + 1] - knot[segment]));
        basis_.push_back({2 * segment, {weights[0], weights[1], weights[2], weights[3]}});
    }
    // Basis times its transpose: each sample affects only a 4 x 4 block.
    for (const Basis& basis : basis_) {
        for (std::size_t i = 0; i < 4; ++i) {
            for (std::size_t k = 0; k < 4; ++k)
                normal_[(basis.first + i) * unknowns_ + basis.first + k] += basis.weights[i] * basis.weights[k];
        }
    }
}

std::vector<double> SplineSmoother::MultiplyNormal(const std::vector<double>& vector) const {
    std::vector<double> product(unknowns_);
    for (std::size_t i = 0; i < unknowns_; ++i) {
        product[i] = std::inner_product(vector.begin(), vector.end(),
                                        normal_.begin() + static_cast<std::ptrdiff_t>(i * unknowns_), 0.0);
    }
    return product;
}

std::vector<double> SplineSmoother::Solve(const std::vector<double>& rightSide) const {
    std::vector<double> solution = rightSide, residual = rightSide;
    const std::vector<double> start = MultiplyNormal(solution);
    for (std::size_t i = 0; i < unknowns_; ++i) residual[i] -= start[i];
    std::vector<double> direction = residual;
    double squared = Dot(residual, residual);
    for (std::size_t iteration = 0; iteration < kIterationsPerUnknown * unknowns_ && squared >= kSquaredTolerance;
         ++iteration) {
        const std::vector<double> image = MultiplyNormal(direction);
        const double step = squared / Dot(direction, image);
        for (std::size_t i = 0; i < unknowns_; ++i) {
            solution[i] += step * direction[i];
            residual[i] -= step * image[i];
        }
        const double next = Dot(residual, residual);
        for (std::size_t i = 0; i < unknowns_; ++i) direction[i] = residual[i] + (next / squared) * direction[i];
        squared = next;
    }
    return solution;
}

std::vector<double> SplineSmoother::Smooth(const std::vector<double>& samples) const {
    std::vector<double> rightSide(unknowns_);
    for (std::size_t j = 0; j < basis_.size(); ++j) {
        for (std::size_t k = 0; k < 4; ++k) rightSide[basis_[j].first + k] += basis_[j].weights[k] * samples[j];
    }
    const std::vector<double> solution = Solve(rightSide);
    std::vector<double> smoothed(basis_.size());
    for (std::size_t j = 0; j < basis_.size(); ++j) {
        for (std::size_t k = 0; k < 4; ++k) smoothed[j] += solution[basis_[j].first + k] * basis_[j].weights[k];
    }
    return smoothed;
}

}  // namespace Orvexa::Proc::Shared
