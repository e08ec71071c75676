// Pixel formats by number.
#pragma once

#include <cstdint>

namespace Orvexa {

/// Values 0..33 are numbered as in libavutil. All Y'CbCr formats are full range, ITU-R BT.601; alpha is not
/// premultiplied.
enum class PixFmt : std::int32_t {
    None = -1,  ///< no format yet
    Yuv420p = 0,
    Rgb24 = 2,
    Bgr24 = 3,
    Yuv422p = 4,
    Yuv444p = 5,
    Yuv410p = 6,
    Yuv411p = 7,
    Gray8 = 8,  ///< one plane: grey, luma or mask
    Pal8 = 11,  ///< plane 0 indices, plane 1 a palette of 256 entries in `Color::rgba` form
    Yuvj420p = 12,
    Yuvj422p = 13,
    Yuvj444p = 14,
    Nv12 = 23,
    Nv21 = 24,
    Argb = 25,
    Rgba = 26,
    Abgr = 27,
    Bgra = 28,
    Yuv440p = 31,
    Yuvj440p = 32,
    Yuva420p = 33,
    Yuva422p = 80,
    Yuva444p = 81,
    Argb2 = 120,  ///< 120..123 are laid out as 25..28
    Rgba2 = 121,
    Abgr2 = 122,
    Bgra2 = 123,
    Yuvj411p = 140,
};

}  // namespace Orvexa
