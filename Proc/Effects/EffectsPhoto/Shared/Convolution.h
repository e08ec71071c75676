// Convolution of float rows with a sparse kernel.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Orvexa::Proc::Shared {

/// One kernel weight, and the offset, in floats, of its source sample from the destination sample's own position.
struct ConvolutionTap {
    std::size_t offset;
    float weight;
};

/// For every y < `rows` and i < `columns`: destination[y * destinationStride + i] += tap.weight * source[y *
/// sourceStride + i + tap.offset], one tap after another in the given order, in single precision with separate
/// multiplication and addition: the sums are the same on every machine. Rows may have any alignment.
void Convolve(const std::vector<ConvolutionTap>& taps, const float* source, std::size_t sourceStride,
              float* destination, std::size_t destinationStride, std::size_t rows, std::size_t columns);

}  // namespace Orvexa::Proc::Shared
