// The accumulators of a tile stay in registers while all taps are applied; the sum for each sample keeps the order of
// the taps.

#include "Proc/Effects/EffectsPhoto/Shared/Convolution.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Proc/Effects/EffectsPhoto/Shared/Convolution.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace Orvexa::Proc::Shared::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// Taps over `Vectors` vectors of one row: enough independent sums to hide the latency of the additions.
template <std::size_t Vectors>
HWY_INLINE void ConvolveTile(const std::vector<ConvolutionTap>& taps, const float* source, float* destination) {
    const hn::ScalableTag<float> d;
    const std::size_t lanes = hn::Lanes(d);
    hn::Vec<decltype(d)> sums[Vectors];
    for (std::size_t v = 0; v < Vectors; ++v) sums[v] = hn::LoadU(d, destination + v * lanes);
    for (const ConvolutionTap& tap : taps) {
        const auto weight = hn::Set(d, tap.weight);
        const float* samples = source + tap.offset;
        for (std::size_t v = 0; v < Vectors; ++v)
            sums[v] = hn::Add(sums[v], hn::Mul(weight, hn::LoadU(d, samples + v * lanes)));
    }
    for (std::size_t v = 0; v < Vectors; ++v) hn::StoreU(sums[v], d, destination + v * lanes);
}

void ConvolveRows(const std::vector<ConvolutionTap>& taps, const float* source, std::size_t sourceStride,
                  float* destination, std::size_t destinationStride, std::size_t rows, std::size_t columns) {
    constexpr std::size_t kVectors = 8;
    const std::size_t lanes = hn::Lanes(hn::ScalableTag<float>());
    for (std::size_t y = 0; y < rows; ++y, source += sourceStride, destination += destinationStride) {
        std::size_t x = 0;
        for (; x + kVectors * lanes <= columns; x += kVectors * lanes)
            ConvolveTile<kVectors>(taps, source + x, destination + x);
        for (; x + lanes <= columns; x += lanes) ConvolveTile<1>(taps, source + x, destination + x);
        for (; x < columns; ++x) {
            float sum = destination[x];
            for (const ConvolutionTap& tap : taps) sum += tap.weight * source[x + tap.offset];
            destination[x] = sum;
        }
    }
}

}  // namespace Orvexa::Proc::Shared::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Orvexa::Proc::Shared {

HWY_EXPORT(ConvolveRows);

void Convolve(const std::vector<ConvolutionTap>& taps, const float* source, std::size_t sourceStride,
              float* destination, std::size_t destinationStride, std::size_t rows, std::size_t columns) {
    HWY_DYNAMIC_DISPATCH(ConvolveRows)(taps, source, sourceStride, destination, destinationStride, rows, columns);
}

}  // namespace Orvexa::Proc::Shared
#endif  // HWY_ONCE
