// Pixel format conversion of whole frames.
#pragma once

#include <vector>

#include "Host/Proc/IData.h"

namespace Orvexa::Proc {

/// The one of `candidates` that preserves most of a picture in format `source`; `source` itself if it is among them, or
/// if there are none. The criteria, most important first: alpha is kept; colour is kept; chroma is no coarser; nothing
/// is stored that the source lacks; among packed formats, red is in the first byte; the format comes first in the list.
/// Indexed formats come last. An unknown format throws `EffectException` "Pixel format is not supported!".
PixFmt ChooseTarget(PixFmt source, const std::vector<PixFmt>& candidates);

/// A new frame in format `target` with the picture of `source`, without timing and extra alpha. Changes of byte order
/// and plane layout are lossless; alpha that the source lacks is 255; chroma is resampled by `ResampleChannel`, and RGB
/// and Y'CbCr are converted as described in `PixelRows.h`. A picture with more than 256 colours cannot be converted to
/// an indexed format: `EffectException` "Pixel format is not supported! ...".
FramePtr ConvertPixFmt(const IDataVideo& source, PixFmt target, const AllocatorPtr& allocator);

/// `frame` itself if it is in format `target`, else the result of `ConvertPixFmt`.
template <class Pointer>
Pointer InFormat(const Pointer& frame, PixFmt target, const AllocatorPtr& allocator) {
    return frame->GetPixFmt() == target ? frame : Pointer(ConvertPixFmt(*frame, target, allocator));
}

/// RGBA for indexed formats, which have no room for new colours; every other format unchanged.
inline PixFmt ExpandedFormat(PixFmt format) { return format == PixFmt::Pal8 ? PixFmt::Rgba : format; }

/// The frame with samples that can be interpolated: an indexed one as RGBA.
template <class Pointer>
Pointer Expanded(const Pointer& frame, const AllocatorPtr& allocator) {
    return InFormat(frame, ExpandedFormat(frame->GetPixFmt()), allocator);
}

}  // namespace Orvexa::Proc
