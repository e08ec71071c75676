// Patches: parts of a picture that are processed separately and copied back.
#pragma once

#include <cstdint>
#include <vector>

#include "Host/Proc/IData.h"
#include "Host/Settings/Common/CropInfo.h"

namespace Orvexa::Proc::Shared {

/// Extends a rectangle, if chroma is subsampled, so that it starts at a whole chroma sample: the chroma of a patch is
/// then that of its own pixels.
CropInfo AlignedToChroma(CropInfo box, PixFmt pixFmt);

/// Copies the colours of selected pixels of a patch into a frame of the same format; alpha is not copied. `mask` has
/// one byte per pixel of the patch, row by row, non-zero for pixels to copy. Subsampled chroma is copied with the pixel
/// at its upper left. The patch lies entirely inside the frame, at (x, y). Throws `EffectException` for indexed frames.
void CopyColors(const IDataVideo& patch, IDataVideo& frame, std::uint32_t x, std::uint32_t y,
                const std::vector<std::uint8_t>& mask);

}  // namespace Orvexa::Proc::Shared
