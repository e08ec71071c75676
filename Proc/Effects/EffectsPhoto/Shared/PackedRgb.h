// The packed formats that start with their colour bytes.
#pragma once

#include <cstdint>
#include <vector>

#include "Host/Conf/PixFmtDescription.h"

namespace Orvexa::Proc::Shared {

/// Formats of three colour bytes, red or blue first, with or without a byte of alpha after them.
inline const std::vector<PixFmt>& PackedRgbFormats() {
    static const std::vector<PixFmt> formats{PixFmt::Rgb24, PixFmt::Bgr24, PixFmt::Rgba,
                                             PixFmt::Bgra,  PixFmt::Rgba2, PixFmt::Bgra2};
    return formats;
}

/// How one of these formats is laid out.
struct PackedRgb {
    std::uint64_t bytesPerPixel;
    bool isBlueFirst;

    explicit PackedRgb(PixFmt pixFmt) {
        const PixFmtDescription& description = PixFmtDescription::Get(pixFmt);
        bytesPerPixel = description.bytesPerPixel;
        isBlueFirst = description.red == 2;
    }
};

}  // namespace Orvexa::Proc::Shared
