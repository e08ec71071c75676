#include "Host/Proc/Plane.h"

#include <algorithm>
#include <cstring>

namespace Orvexa::Proc {

void CopyPlane(const ConstPlane& source, const Plane& destination) {
    const std::uint64_t width = std::min(source.GetWidth(), destination.GetWidth());
    const std::uint64_t height = std::min(source.GetHeight(), destination.GetHeight());
    if (source.GetData() == destination.GetData()) return;
    if (source.GetStride() == destination.GetStride() && width == source.GetWidth() &&
        width == destination.GetWidth() && source.OwnsPadding() && destination.OwnsPadding() &&
        source.GetStride() > 0 && height > 0) {
        std::memcpy(destination.GetData(), source.GetData(),
                    (height - 1) * static_cast<std::uint64_t>(source.GetStride()) + width);
        return;
    }
    for (std::uint64_t y = 0; y < height; ++y) std::memcpy(destination.GetRow(y), source.GetRow(y), width);
}

}  // namespace Orvexa::Proc
