// The packed formats that begin with their colour bytes.
#pragma once

#include <vector>

#include "Host/Conf/PixFmt.h"

namespace Orvexa::Proc::Shared {

/// Formats with three colour bytes, red or blue first, with or without an alpha byte after them.
inline const std::vector<PixFmt>& PackedRgbFormats() {
    static const std::vector<PixFmt> formats{PixFmt::Rgb24, PixFmt::Bgr24, PixFmt::Rgba,
                                             PixFmt::Bgra,  PixFmt::Rgba2, PixFmt::Bgra2};
    return formats;
}

}  // namespace Orvexa::Proc::Shared
