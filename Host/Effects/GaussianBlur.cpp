#include "Host/Effects/GaussianBlur.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "Host/Effects/Bands.h"

namespace Orvexa::Proc {

namespace {

constexpr int kMaxCell = 256;            // 256 x 256 products of two bytes fit into 32 bits
constexpr double kMaxDeviation = 10000;  // pixels
constexpr int kBlock = 2048;             // samples that stay in the L1 cache through all weights

// The variance of a Gaussian, relative to the full one, after truncation at `length` deviations.
double CutVariance(double length) {
    const double density = std::exp(-0.5 * length * length) / std::sqrt(2.0 * std::numbers::pi);
    return 1.0 - 2.0 * length * density / std::erf(length / std::numbers::sqrt2);
}

int Mirrored(int position, int size) {
    const int folded = ((position % (2 * size)) + 2 * size) % (2 * size);
    return folded < size ? folded : 2 * size - 1 - folded;
}

// to[i] = weights[0] * row(0)[i] + the sum of weights[k] * (row(-k)[i] + row(k)[i]), two k at a time.
template <class Row>
void AddWeighted(const std::vector<float>& weights, float* to, std::size_t count, Row&& row) {
    const int pairs = static_cast<int>(weights.size() - 1) / 2;
    for (std::size_t first = 0; first < count; first += kBlock) {
        const std::size_t end = std::min(first + kBlock, count);
        const float *middle = row(0), *before = row(weights.size() % 2 == 0 ? -1 : 0),
                    *after = row(weights.size() % 2 == 0 ? 1 : 0);
        const float outer = weights.size() % 2 == 0 ? weights[1] : 0.0f;
        for (std::size_t i = first; i < end; ++i) to[i] = weights[0] * middle[i] + outer * (before[i] + after[i]);
        for (int pair = 0; pair < pairs; ++pair) {
            const int k = 2 * pair + (weights.size() % 2 == 0 ? 2 : 1);
            const float near = weights[static_cast<std::size_t>(k)], far = weights[static_cast<std::size_t>(k) + 1];
            const float *nearBefore = row(-k), *nearAfter = row(k), *farBefore = row(-k - 1), *farAfter = row(k + 1);
            for (std::size_t i = first; i < end; ++i)
                to[i] += near * (nearBefore[i] + nearAfter[i]) + far * (farBefore[i] + farAfter[i]);
        }
    }
}

// The weights of a pixel's cell and its two neighbours: the quadratic B-spline, which blurs all pixels equally,
// wherever in their cells they lie.
struct Spline {
    float before, middle, after;
};
Spline SplineOf(int pixel, int cell) {
    if (cell == 1) return {0.0f, 1.0f, 0.0f};
    const double offset = (pixel % cell + 0.5) / cell - 0.5;
    return {static_cast<float>(0.5 * (0.5 - offset) * (0.5 - offset)), static_cast<float>(0.75 - offset * offset),
            static_cast<float>(0.5 * (0.5 + offset) * (0.5 + offset))};
}

// Rows of floats. `GetRow(c)` is row c of cells, blurred along both axes and interpolated horizontally to the width of
// the picture.
class BlurredRows {
public:
    BlurredRows(const PlaneTask& plane, const cv::Mat& opacity, const BlurAxis& alongX, const BlurAxis& alongY)
        : plane_(plane),
          opacity_(opacity),
          x_(alongX),
          y_(alongY),
          pixels_(plane.from.cols),
          channels_(plane.from.channels() + (!opacity.empty() && plane.alpha < 0 ? 1 : 0)),
          weight_(plane.alpha < 0 ? channels_ - 1 : plane.alpha),
          cells_((pixels_ + alongX.cell - 1) / alongX.cell),
          sums_(Samples(pixels_)),
          reduced_(Samples(cells_ + 2 * Margin())),
          along_(Samples(cells_ + 2)),
          window_(2 * alongY.weights.size() - 1) {
        for (auto& row : window_) row.resize(along_.size());
        for (int x = 0; x < x_.cell; ++x) splines_.push_back(SplineOf(x, x_.cell));
    }

    int GetChannels() const { return channels_; }
    int GetWeightChannel() const { return weight_; }

    // Must be called with the previous row plus 1, or start over.
    void GetRow(int cellRow, std::vector<float>& row) {
        const int reach = y_.GetReach();
        for (int c = isStarted_ ? cellRow + reach : cellRow - reach; c <= cellRow + reach; ++c) FillWindow(c);
        isStarted_ = true;
        row.resize(Samples(pixels_));
        const bool isWhole = x_.cell == 1;  // margins are then not needed
        AddWeighted(y_.weights, isWhole ? row.data() : along_.data(), isWhole ? row.size() : along_.size(),
                    [&](int k) { return window_[WindowIndex(cellRow + k)].data() + (isWhole ? channels_ : 0); });
        if (!isWhole) Widen(row.data());
    }

private:
    int Margin() const { return x_.GetReach() + 1; }  // cells; one of them for the interpolation
    std::size_t Samples(int pixels) const {
        return static_cast<std::size_t>(pixels) * static_cast<std::size_t>(channels_);
    }
    std::size_t WindowIndex(int cellRow) const {
        const int size = static_cast<int>(window_.size());
        return static_cast<std::size_t>((cellRow % size + size) % size);
    }

    void FillWindow(int cellRow) {
        std::fill(sums_.begin(), sums_.end(), 0u);
        for (int i = 0; i < y_.cell; ++i) AddPixels(Mirrored(cellRow * y_.cell + i, plane_.from.rows));
        Reduce();
        AddWeighted(x_.weights, window_[WindowIndex(cellRow)].data(), along_.size(),
                    [&](int k) { return reduced_.data() + Samples(x_.GetReach() + k); });
    }

    void AddPixels(int y) {
        const std::uint8_t* from = plane_.from.ptr(y);
        std::uint32_t* sum = sums_.data();
        if (opacity_.empty()) {
            for (std::size_t i = 0; i < sums_.size(); ++i) sum[i] += from[i];
            return;
        }
        const std::uint8_t* opacity = opacity_.ptr(y);
        for (int x = 0; x < pixels_; ++x, sum += channels_, from += plane_.from.channels()) {
            for (int k = 0; k < channels_; ++k)
                sum[k] += k == weight_ ? opacity[x] : std::uint32_t{opacity[x]} * from[k];
        }
    }

    // Averages the row of sums to cells, with a margin on both sides.
    void Reduce() {
        const float scale = 1.0f / static_cast<float>(x_.cell * y_.cell);
        float* to = reduced_.data();
        for (int cell = -Margin(); cell < cells_ + Margin(); ++cell, to += channels_) {
            const int x = cell * x_.cell;
            if (x_.cell == 1 && x == 0) {
                for (std::size_t i = 0; i < sums_.size(); ++i) to[i] = static_cast<float>(sums_[i]) * scale;
                to += Samples(cells_ - 1);
                cell = cells_ - 1;
                continue;
            }
            const bool isInside = x >= 0 && x + x_.cell <= pixels_;
            for (int k = 0; k < channels_; ++k) {
                std::uint32_t sum = 0;
                for (int i = 0; i < x_.cell; ++i)
                    sum += sums_[Samples(isInside ? x + i : Mirrored(x + i, pixels_)) + static_cast<std::size_t>(k)];
                to[k] = static_cast<float>(sum) * scale;
            }
        }
    }

    void Widen(float* to) const {
        const float* before = along_.data();
        for (int cell = 0; cell < cells_; ++cell, before += channels_) {
            const float *middle = before + channels_, *after = middle + channels_;
            const int width = std::min(x_.cell, pixels_ - cell * x_.cell);
            for (int x = 0; x < width; ++x) {
                const Spline& spline = splines_[static_cast<std::size_t>(x)];
                for (int k = 0; k < channels_; ++k)
                    *to++ = spline.before * before[k] + spline.middle * middle[k] + spline.after * after[k];
            }
        }
    }

    const PlaneTask& plane_;
    const cv::Mat& opacity_;
    const BlurAxis &x_, &y_;
    const int pixels_, channels_, weight_, cells_;
    std::vector<Spline> splines_;             // for the pixels of a cell
    std::vector<std::uint32_t> sums_;         // over the picture rows of one row of cells
    std::vector<float> reduced_, along_;      // one row of cells, with margins
    std::vector<std::vector<float>> window_;  // rows of cells, blurred along x
    bool isStarted_ = false;
};

std::uint8_t ToByte(float level) { return static_cast<std::uint8_t>(static_cast<std::int32_t>(level + 0.5f)); }

// Three neighbouring rows of means, and their weights.
struct Means {
    std::vector<float> before, middle, after;
    Spline spline;

    float At(std::size_t i) const {
        return spline.before * before[i] + spline.middle * middle[i] + spline.after * after[i];
    }
};

void WriteRow(const Means& means, std::uint8_t* to) {
    const std::size_t count = means.middle.size();
    if (means.spline.middle == 1.0f) {
        for (std::size_t i = 0; i < count; ++i) to[i] = ToByte(means.middle[i]);
        return;
    }
    const float *before = means.before.data(), *middle = means.middle.data(), *after = means.after.data();
    const Spline spline = means.spline;
    for (std::size_t i = 0; i < count; ++i)
        to[i] = ToByte(spline.before * before[i] + spline.middle * middle[i] + spline.after * after[i]);
}

// The same for means weighted by alpha.
void WriteWeightedRow(const Means& means, const BlurredRows& rows, const std::uint8_t* from, std::uint8_t* to,
                      int toChannels) {
    constexpr float kNothing = 1e-4f;
    const auto channels = static_cast<std::size_t>(rows.GetChannels());
    for (std::size_t i = 0; i < means.middle.size(); i += channels, from += toChannels, to += toChannels) {
        const float weight = means.At(i + static_cast<std::size_t>(rows.GetWeightChannel()));
        for (int k = 0; k < toChannels; ++k) {
            if (k == rows.GetWeightChannel()) {
                to[k] = ToByte(weight);
            } else {
                const float sum = means.At(i + static_cast<std::size_t>(k));
                to[k] = weight < kNothing ? from[k] : ToByte(std::min(sum / weight, 255.0f));
            }
        }
    }
}

}  // namespace

BlurAxis BlurAxis::Make(double deviation, double length, double leastCell) {
    BlurAxis axis;
    if (!(deviation > 0.0) || !(length > 0.0)) return axis;
    deviation = std::min(deviation, kMaxDeviation);
    // The larger the deviation, the more cells it spans, so that fine patterns do not alias.
    axis.cell =
        static_cast<int>(std::clamp(std::max(std::sqrt(deviation), std::round(leastCell)), 1.0, double{kMaxCell}));
    const double reach = std::ceil(length * deviation) + 0.5;  // pixels, including the whole outermost one
    // Averaging and interpolation also blur, with the variances (cell^2 - 1) / 12 and cell^2 / 4.
    const double own = axis.cell == 1 ? 0.0 : (4.0 * axis.cell * axis.cell - 1.0) / 12.0;
    const double variance = deviation * deviation - own / CutVariance(reach / deviation);
    const double inCells = std::sqrt(std::max(variance, 0.0)) / axis.cell;
    std::vector<double> weights{1.0};
    double sum = 1.0;
    for (int k = 1; inCells > 0.0 && k < reach / axis.cell + 0.5; ++k) {
        const double within = std::min(reach / axis.cell + 0.5 - k, 1.0);  // fraction of the cell within reach
        weights.push_back(within * std::exp(-0.5 * k * k / (inCells * inCells)));
        sum += 2.0 * weights.back();
    }
    axis.weights.clear();
    for (const double weight : weights) axis.weights.push_back(static_cast<float>(weight / sum));
    return axis;
}

void BlurPlane(const PlaneTask& plane, const BlurAxis& alongX, const BlurAxis& alongY) {
    const cv::Mat opacity = plane.GetOpacity();
    const int height = plane.from.rows, cellRows = (height + alongY.cell - 1) / alongY.cell;
    // A band also reads the rows within its reach.
    const int bandRows = std::max(cellRows / (4 * Core::GetLibraryThreads()) + 1, 4 * (alongY.GetReach() + 1));
    ForEachBand(cellRows, bandRows, [&](int first, int end) {
        BlurredRows rows(plane, opacity, alongX, alongY);
        Means means;
        rows.GetRow(first - 1, means.middle);
        rows.GetRow(first, means.after);
        for (int cellRow = first; cellRow < end; ++cellRow) {
            std::swap(means.before, means.middle);
            std::swap(means.middle, means.after);
            rows.GetRow(cellRow + 1, means.after);
            for (int y = cellRow * alongY.cell; y < std::min((cellRow + 1) * alongY.cell, height); ++y) {
                means.spline = SplineOf(y, alongY.cell);
                auto* to = const_cast<std::uint8_t*>(plane.to.ptr(y));
                if (opacity.empty()) {
                    WriteRow(means, to);
                } else {
                    WriteWeightedRow(means, rows, plane.from.ptr(y), to, plane.from.channels());
                }
            }
        }
    });
}

}  // namespace Orvexa::Proc
