// Pixel format conversion of whole frames.
#pragma once

#include <vector>

#include "Host/Proc/IData.h"

namespace Orvexa::Proc {

/// The one of `candidates` that keeps most of a picture in format `source`; `source` itself if it is among them, or if
/// there are none. In this order of importance: alpha is kept; colour is kept; chroma is no coarser; nothing is carried
/// that the source lacks; of packed formats one with red in its first byte; the first in the list. Indexed formats come
/// last. An unknown format throws `EffectException` "Pixel format is not supported!".
PixFmt ChooseTarget(PixFmt source, const std::vector<PixFmt>& candidates);

/// A new frame in format `target` with the picture of `source`, without timing and extra alpha. Byte orders and plane
/// layouts change exactly; alpha that the source lacks is 255; chroma changes its grid by `ResampleChannel`, RGB and
/// Y'CbCr by `PixelRows.h`. A picture of more than 256 colours cannot become an indexed one: `EffectException` "Pixel
/// format is not supported! ...".
FramePtr ConvertPixFmt(const IDataVideo& source, PixFmt target, const AllocatorPtr& allocator);

/// `frame` itself if it is in format `target`, else what `ConvertPixFmt` makes of it.
template <class Pointer>
Pointer InFormat(const Pointer& frame, PixFmt target, const AllocatorPtr& allocator) {
    return frame->GetPixFmt() == target ? frame : Pointer(ConvertPixFmt(*frame, target, allocator));
}

/// RGBA for indexed pictures, which have no room for new colours; every other format as it is.
inline PixFmt ExpandedFormat(PixFmt format) { return format == PixFmt::Pal8 ? PixFmt::Rgba : format; }

/// The frame with samples that can be mixed: an indexed one as RGBA.
template <class Pointer>
Pointer Expanded(const Pointer& frame, const AllocatorPtr& allocator) {
    return InFormat(frame, ExpandedFormat(frame->GetPixFmt()), allocator);
}

}  // namespace Orvexa::Proc
