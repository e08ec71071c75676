// Patches: pieces of a picture that are changed apart from it and copied back.
#pragma once

#include <cstdint>
#include <vector>

#include "Host/Proc/IData.h"
#include "Host/Settings/Common/CropInfo.h"

namespace Orvexa::Proc::Shared {

/// Grows a rectangle, where chroma is subsampled, so that it starts at a whole chroma sample: the chroma of a patch is
/// then that of its own pixels.
CropInfo AlignedToChroma(CropInfo box, PixFmt pixFmt);

/// Copies the colours of some pixels of a patch into a frame of the same format; alpha stays. `mask` has a byte for
/// every pixel of the patch, row by row, that is not 0 where it is copied. Subsampled chroma goes with the pixel at its
/// upper left. (x, y) is where the patch lies, as a whole, in the frame. Indexed frames throw `EffectException`.
void CopyColors(const IDataVideo& patch, IDataVideo& frame, std::uint32_t x, std::uint32_t y,
                const std::vector<std::uint8_t>& mask);

}  // namespace Orvexa::Proc::Shared
