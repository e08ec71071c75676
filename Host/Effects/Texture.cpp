// The mean of two windows of noise has less contrast than either of them, which shows as a pale grid. Levels are
// therefore mapped to a Gaussian distribution first, blended with weights whose squares add up to 1, which preserves
// that distribution, and mapped back (E. Heitz, F. Neyret, "High-performance by-example noise using a
// histogram-preserving blending operator", Proc. ACM CGIT 1(2), 2018).

#include "Host/Effects/Texture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>
#include <random>
#include <vector>

namespace Orvexa::Proc {
namespace {

// Fixed point, so that every machine produces the same bytes.
constexpr int kWeightBits = 12, kFullWeight = 1 << kWeightBits;
constexpr int kDeviationUnit = 256, kMaxDeviation = 4 * kDeviationUnit;
constexpr std::size_t kDeviations = 2 * kMaxDeviation + 1;

// Windows are half a texture long and fade over an eighth. Smaller ones would cut off the texture's features.
constexpr int kWindowShare = 2, kFadeShare = 8, kUnlikeShare = 4;

// A segment of one axis of the target.
struct Cell {
    int begin, length;
};

// The weight of a cell at a position: a quarter of a sine wave over a fade at either end, 0 outside.
int WeightAt(const Cell& cell, int position, int fade, bool fadesIn, bool fadesOut) {
    const auto rise = [fade](int distance, bool isFading) {
        if (distance < 0) return 0.0;
        return !isFading || distance >= fade ? 1.0 : std::sin((distance + 0.5) / fade * std::numbers::pi / 2.0);
    };
    const double weight =
        rise(position - cell.begin, fadesIn) * rise(cell.begin + cell.length - 1 - position, fadesOut);
    return static_cast<int>(std::lround(weight * kFullWeight));
}

// The positions of the windows and of the texture itself along one axis of the target.
struct Axis {
    int size, fade;
    Cell texture;
    std::vector<Cell> cells;  // of windows

    Axis(int textureSize, int origin, int targetSize)
        : size(targetSize), fade(textureSize / kFadeShare), texture{origin, textureSize} {
        const int window = std::max(textureSize / kWindowShare, 1);
        for (int begin = 0; begin < targetSize; begin += window - fade) cells.push_back({begin, window});
    }

    /// The number of possible window positions in the texture, less one.
    int GetRange() const { return texture.length - cells.front().length; }
    int WindowWeightAt(std::size_t index, int position) const {
        return WeightAt(cells[index], position, fade, index > 0, index + 1 < cells.size());
    }
    int TextureWeightAt(int position) const {
        return WeightAt(texture, position, fade, texture.begin > 0, texture.begin + texture.length < size);
    }
};

// Maps one channel's levels to deviations of a Gaussian distribution, and back.
struct Distribution {
    std::array<std::int16_t, 256> deviations{};
    std::array<std::uint8_t, kDeviations> levels{};

    Distribution(const cv::Mat& texture, int channel) {
        std::array<double, 256> shares{};
        for (int y = 0; y < texture.rows; ++y) {
            const std::uint8_t* sample = texture.ptr(y) + channel;
            for (int x = 0; x < texture.cols; ++x, sample += texture.elemSize()) shares[*sample] += 1.0;
        }
        const double total = static_cast<double>(texture.rows) * texture.cols;
        std::array<double, kDeviations> normal;
        for (std::size_t i = 0; i < normal.size(); ++i) {
            const double deviation = (static_cast<double>(i) - kMaxDeviation) / kDeviationUnit;
            normal[i] = std::erfc(-deviation / std::numbers::sqrt2) / 2.0;
        }
        double below = 0.0;
        auto next = levels.begin();
        for (int level = 0; level < 256; ++level) {
            if (shares[level] == 0.0) continue;
            const auto middle =
                std::lower_bound(normal.begin(), normal.end() - 1, (below + shares[level] / 2.0) / total);
            deviations[level] = static_cast<std::int16_t>(middle - normal.begin() - kMaxDeviation);
            below += shares[level];
            for (; next != levels.end() && normal[static_cast<std::size_t>(next - levels.begin())] <= below / total;
                 ++next) {
                *next = static_cast<std::uint8_t>(level);
            }
        }
    }
};

// The windows' positions in the texture, by row and column of cells.
class Windows {
public:
    Windows(const Axis& across, const Axis& down)
        : columns_(across.cells.size()), places_(columns_ * down.cells.size()) {
        // The same content in two neighbours would show double in the fade between them, and a feature that recurs
        // nearby is conspicuous.
        const int unlike = std::max(across.texture.length, down.texture.length) / kUnlikeShare;
        const cv::Point shiftOfTexture(-across.texture.begin, -down.texture.begin);
        std::mt19937 random;  // NOLINT: a fixed seed
        for (std::size_t row = 0; row < down.cells.size(); ++row) {
            for (std::size_t column = 0; column < columns_; ++column) {
                int best = -1;
                for (int attempt = 0; attempt < kAttempts && best < unlike; ++attempt) {
                    const cv::Point place(Draw(random, across.GetRange()), Draw(random, down.GetRange()));
                    const cv::Point shift = place - cv::Point(across.cells[column].begin, down.cells[row].begin);
                    int distance = Distance(shift, shiftOfTexture);
                    for (const auto& [dy, dx] : {std::pair{0, -1}, {-1, -1}, {-1, 0}, {-1, 1}}) {
                        const std::size_t r = row + static_cast<std::size_t>(dy),
                                          c = column + static_cast<std::size_t>(dx);
                        if (r >= down.cells.size() || c >= columns_) continue;  // includes -1
                        distance = std::min(distance, Distance(shift, Get(r, c) - cv::Point(across.cells[c].begin,
                                                                                            down.cells[r].begin)));
                    }
                    if (distance <= best) continue;
                    best = distance;
                    places_[row * columns_ + column] = place;
                }
            }
        }
    }

    cv::Point Get(std::size_t row, std::size_t column) const { return places_[row * columns_ + column]; }

private:
    static constexpr int kAttempts = 8;

    static int Draw(std::mt19937& random, int range) {
        return static_cast<int>(random() % (static_cast<unsigned>(range) + 1));
    }
    static int Distance(const cv::Point& a, const cv::Point& b) {
        return std::max(std::abs(a.x - b.x), std::abs(a.y - b.y));
    }

    std::size_t columns_;
    std::vector<cv::Point> places_;
};

class Extension {
public:
    Extension(const cv::Mat& texture, const Axis& across, const Axis& down)
        : texture_(texture),
          across_(across),
          down_(down),
          windows_(across, down),
          sums_(static_cast<std::size_t>(across.size * texture.channels())) {
        for (int channel = 0; channel < texture.channels(); ++channel) distributions_.emplace_back(texture, channel);
        for (std::size_t i = 0; i < across.cells.size(); ++i) {
            std::vector<int>& weights = windowWeights_.emplace_back();
            for (int x = 0; x < across.cells[i].length; ++x)
                weights.push_back(across.WindowWeightAt(i, across.cells[i].begin + x));
        }
        for (int x = 0; x < across.texture.length; ++x)
            textureWeights_.push_back(across.TextureWeightAt(across.texture.begin + x));
    }

    void FillRow(int y, std::uint8_t* row) {
        std::fill(sums_.begin(), sums_.end(), 0);
        for (std::size_t i = 0; i < down_.cells.size(); ++i) {
            const int weight = down_.WindowWeightAt(i, y);
            for (std::size_t k = 0; k < across_.cells.size() && weight > 0; ++k) AddWindow(i, k, y, weight);
        }
        for (int& sum : sums_) sum /= kFullWeight;
        const int textureWeight = down_.TextureWeightAt(y);
        if (textureWeight > 0) LayTexture(y, textureWeight);
        const auto channels = static_cast<std::size_t>(texture_.channels());
        for (std::size_t i = 0; i < sums_.size(); ++i) {
            const int deviation = std::clamp(sums_[i], -kMaxDeviation, kMaxDeviation);
            row[i] = distributions_[i % channels].levels[static_cast<std::size_t>(deviation + kMaxDeviation)];
        }
        // Where the texture does not fade, its own levels are copied exactly.
        if (textureWeight == kFullWeight) CopyTexture(y, row);
    }

private:
    void AddWindow(std::size_t row, std::size_t column, int y, int rowWeight) {
        const Cell& cell = across_.cells[column];
        const cv::Point place = windows_.Get(row, column);
        const std::uint8_t* samples = texture_.ptr(place.y + y - down_.cells[row].begin, place.x);
        const int channels = texture_.channels(), end = std::min(cell.length, across_.size - cell.begin);
        int* sum = sums_.data() + static_cast<std::ptrdiff_t>(cell.begin) * channels;
        for (int x = 0; x < end; ++x) {
            const int weight = rowWeight * windowWeights_[column][static_cast<std::size_t>(x)] >> kWeightBits;
            for (int k = 0; k < channels; ++k)
                *sum++ += weight * distributions_[static_cast<std::size_t>(k)].deviations[*samples++];
        }
    }

    void LayTexture(int y, int rowWeight) {
        const std::uint8_t* samples = texture_.ptr(y - down_.texture.begin);
        const int channels = texture_.channels();
        int* sum = sums_.data() + static_cast<std::ptrdiff_t>(across_.texture.begin) * channels;
        for (const int columnWeight : textureWeights_) {
            const int weight = rowWeight * columnWeight >> kWeightBits;
            const int rest = static_cast<int>(std::lround(std::sqrt(kFullWeight * kFullWeight - weight * weight)));
            for (int k = 0; k < channels; ++k, ++sum) {
                *sum = (weight * distributions_[static_cast<std::size_t>(k)].deviations[*samples++] + rest * *sum) /
                       kFullWeight;
            }
        }
    }

    void CopyTexture(int y, std::uint8_t* row) const {
        const auto isFull = [](int weight) { return weight == kFullWeight; };
        const auto first = std::find_if(textureWeights_.begin(), textureWeights_.end(), isFull);
        const auto end = std::find_if_not(first, textureWeights_.end(), isFull);
        const auto channels = static_cast<std::ptrdiff_t>(texture_.channels());
        const std::ptrdiff_t begin = (first - textureWeights_.begin()) * channels;
        std::memcpy(row + across_.texture.begin * channels + begin, texture_.ptr(y - down_.texture.begin) + begin,
                    static_cast<std::size_t>((end - first) * channels));
    }

    const cv::Mat& texture_;
    const Axis &across_, &down_;
    const Windows windows_;
    std::vector<Distribution> distributions_;
    std::vector<std::vector<int>> windowWeights_;  // by cell, along a row
    std::vector<int> textureWeights_;              // along a row
    std::vector<int> sums_;
};

}  // namespace

void ExtendTexture(const cv::Mat& from, cv::Mat to, int left, int top) {
    const Axis across(from.cols, left, to.cols), down(from.rows, top, to.rows);
    Extension extension(from, across, down);
    for (int y = 0; y < to.rows; ++y) extension.FillRow(y, to.ptr(y));
}

}  // namespace Orvexa::Proc
