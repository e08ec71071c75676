// Lengths that patches of one size can cover.
#pragma once

#include <cstdint>

#include "Host/Core/Exception.h"

namespace Orvexa::Proc::Shared {

/// The smallest length of at least `size` pixels that patches cover exactly, with neighbours overlapping by `overlap`
/// pixels. Throws `EffectException` "Overlap must be smaller than the patch!" if the overlap leaves no step between
/// patches.
inline std::uint32_t Fit(std::uint32_t size, std::uint32_t patch, std::uint32_t overlap) {
    if (overlap >= patch) Throw("Overlap must be smaller than the patch!");
    if (size < patch) return patch;
    const std::uint32_t step = patch - overlap, rest = (size - patch) % step;
    return rest == 0 ? size : size + step - rest;
}

}  // namespace Orvexa::Proc::Shared
