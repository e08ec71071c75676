// Rectangular parts of pictures.
#pragma once

#include <algorithm>
#include <cstring>

#include "Host/Core/Exception.h"
#include "Host/Proc/IData.h"
#include "Host/Settings/Common/CropInfo.h"

namespace Orvexa::Proc::Shared {

/// A view of a rectangle of a frame: a separate frame over the same pixels.
inline FramePtr ViewOf(const IDataVideo& frame, std::uint32_t x, std::uint32_t y, std::uint32_t width,
                       std::uint32_t height) {
    FramePtr view = CloneFrame(frame, kCloneView);
    view->Crop(x, y, width, height);
    return view;
}
inline FramePtr ViewOf(const IDataVideo& frame, const CropInfo& box) {
    return ViewOf(frame, box.left, box.top, box.right - box.left, box.bottom - box.top);
}

inline bool IsEmpty(const CropInfo& box) { return box.left >= box.right || box.top >= box.bottom; }

/// Whether all eight bytes are 0.
inline bool AreBlank(const std::uint8_t* bytes) {
    std::uint64_t eight = 0;
    std::memcpy(&eight, bytes, sizeof(eight));
    return eight == 0;
}

/// The bounding box of all non-zero bytes of a mask; empty if there are none.
inline CropInfo FindBox(const ConstPlane& mask) {
    CropInfo box = CropInfo::Nothing();
    for (std::uint64_t y = 0; y < mask.GetHeight(); ++y) {
        const std::uint8_t* first = mask.GetRow(y);
        const std::uint8_t* const row = first;
        const std::uint8_t* end = first + mask.GetWidth();
        while (end - first >= 8 && AreBlank(first)) first += 8;
        while (first != end && *first == 0) ++first;
        if (first == end) continue;
        while (end - first >= 8 && AreBlank(end - 8)) end -= 8;
        while (end[-1] == 0) --end;
        box.Apart(static_cast<std::uint32_t>(first - row), static_cast<std::uint32_t>(y));
        box.Apart(static_cast<std::uint32_t>(end - 1 - row), static_cast<std::uint32_t>(y));
    }
    return box;
}

/// The same; a mask without any such byte throws `EffectException` "Mask is empty!".
inline CropInfo BoundingBoxOf(const ConstPlane& mask) {
    const CropInfo box = FindBox(mask);
    if (IsEmpty(box)) Throw("Mask is empty!");
    return box;
}

}  // namespace Orvexa::Proc::Shared
