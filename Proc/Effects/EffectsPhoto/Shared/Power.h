// Powers of numbers from 0 to 1, for effects in which `std::pow` would dominate the running time.
#pragma once

#include <cmath>
#include <vector>

namespace Orvexa::Proc::Shared {

/// v^exponent for a fixed exponent, from a table where that is precise enough.
class Power {
public:
    /// The error of linear interpolation is at most h^2 / 8 times the second derivative, p |1 - p| v^(p - 2), which is
    /// below 82 for the exponents and values for which the table is used.
    static constexpr double kError = 82.0 / 8.0 / (4096.0 * 4096.0);

    explicit Power(double exponent) : exponent_(exponent) {
        if (exponent < kLeastExponent || exponent > kMostExponent) return;
        for (int i = 0; i <= kSteps; ++i) table_.push_back(std::pow(static_cast<double>(i) / kSteps, exponent));
    }

    /// As `std::pow`; v below 0 counts as 0.
    double Exactly(double v) const { return std::pow(v > 0.0 ? v : 0.0, exponent_); }

    /// The same within `kError`.
    double Nearly(double v) const {
        if (table_.empty() || !(v >= kLeastValue && v < 1.0)) return Exactly(v);
        const double position = v * kSteps;
        const auto index = static_cast<int>(position);
        const double* const from = &table_[static_cast<std::size_t>(index)];
        return from[0] + (from[1] - from[0]) * (position - index);
    }

private:
    static constexpr int kSteps = 4096;
    static constexpr double kLeastExponent = 0.6, kMostExponent = 1.4, kLeastValue = 1.0 / 64.0;

    double exponent_;
    std::vector<double> table_;
};

}  // namespace Orvexa::Proc::Shared
