// Palettes of indexed frames.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

#include "Host/Proc/IData.h"

namespace Orvexa::Proc::Shared {

/// 256 colours in `Color::rgba` form.
using Palette = std::array<std::uint32_t, 256>;

/// Writes the palette into plane 1 of an indexed frame.
inline void SetPalette(IDataVideo& indexed, const Palette& palette) {
    static_assert(sizeof(Palette) == 1024);
    std::memcpy(indexed.GetPlane(1).GetData(), palette.data(), sizeof palette);
}

}  // namespace Orvexa::Proc::Shared
