#include "Host/Proc/IData.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Core/Exception.h"

namespace Orvexa::Proc {

std::uint8_t GetPlanesCount(const IDataVideo& frame) { return PixFmtDescription::Get(frame.GetPixFmt()).planes; }

void CopyDataVideo(const ConstFramePtr& source, const FramePtr& destination, int x, int y) {
    if (source->GetPixFmt() != destination->GetPixFmt()) Throw("Frames to copy must have the same pixel format!");
    const PixFmtDescription& description = PixFmtDescription::Get(source->GetPixFmt());
    for (std::uint8_t i = 0; i < description.planes; ++i) {
        const ConstPlane from = source->GetPlane(i);
        const Plane to = destination->GetPlane(i);
        if (description.GetRole(i) == PlaneRole::Palette) {
            CopyPlane(from, to);
            continue;
        }
        // `>>` of a negative offset rounds down, as intended.
        const std::int64_t left = static_cast<std::int64_t>(x >> description.GetShiftX(i)) *
                                  static_cast<std::int64_t>(from.GetBytesPerPixel());
        const std::int64_t top = y >> description.GetShiftY(i);
        const std::int64_t right = std::min<std::int64_t>(left + static_cast<std::int64_t>(from.GetWidth()),
                                                          static_cast<std::int64_t>(to.GetWidth()));
        const std::int64_t bottom = std::min<std::int64_t>(top + static_cast<std::int64_t>(from.GetHeight()),
                                                           static_cast<std::int64_t>(to.GetHeight()));
        const std::int64_t firstX = std::max<std::int64_t>(left, 0);
        if (firstX >= right) continue;
        for (std::int64_t row = std::max<std::int64_t>(top, 0); row < bottom; ++row) {
            std::memcpy(to.GetRow(static_cast<std::uint64_t>(row)) + firstX,
                        from.GetRow(static_cast<std::uint64_t>(row - top)) + (firstX - left),
                        static_cast<std::size_t>(right - firstX));
        }
    }
}

FramePtr CloneFrame(const IDataVideo& frame, CloneMode mode) {
    FramePtr clone;
    frame.Clone(clone, mode);
    return clone;
}

FramePtr NewFrame(const AllocatorPtr& allocator, PixFmt pixFmt, const FrameInfo& info) {
    FramePtr frame;
    allocator->AllocateFrame(frame, pixFmt, info);
    return frame;
}

bool IsExclusive(const FramePtr& frame) { return frame->GetRefCount() == 1 && !frame->SharesPixels(); }

void MakeWritable(FramePtr& frame) {
    if (IsExclusive(frame)) {
        frame->ClearExtraAlpha();
    } else {
        frame = CloneFrame(*frame, kCloneIndependent);
    }
}

namespace {

// Fills the plane with a pixel of `size` bytes: the first row by doubling, the others as copies of it.
void FillPixels(const Plane& plane, const std::uint8_t* pixel, std::uint64_t size) {
    const std::uint64_t width = plane.GetWidth();
    if (width < size) return;
    std::memcpy(plane.GetData(), pixel, size);
    for (std::uint64_t filled = size; filled < width; filled *= 2) {
        std::memcpy(plane.GetData() + filled, plane.GetData(), std::min(filled, width - filled));
    }
    for (std::uint64_t y = 1; y < plane.GetHeight(); ++y) std::memcpy(plane.GetRow(y), plane.GetData(), width);
}

std::uint8_t SampleOf(const Color& color, ChannelKind channel) {
    switch (channel) {
        case ChannelKind::Red: return color.red();
        case ChannelKind::Green: return color.green();
        case ChannelKind::Blue: return color.blue();
        case ChannelKind::Luma: return color.y();
        case ChannelKind::Cb: return color.u();
        case ChannelKind::Cr: return color.v();
        case ChannelKind::Alpha: return color.alpha();
        case ChannelKind::Index: break;  // the colour has index 0
    }
    return 0;
}

}  // namespace

void IDataVideo::Fill(const Color& color) {
    const PixFmtDescription& description = PixFmtDescription::Get(GetPixFmt());
    for (std::uint8_t i = 0; i < description.planes; ++i) {
        const std::string_view channels = description.layout[i];
        std::array<std::uint8_t, 4> pixel{};
        for (std::size_t k = 0; k < channels.size(); ++k)
            pixel[k] = SampleOf(color, static_cast<ChannelKind>(channels[k]));
        const Plane plane = GetPlane(i);
        if (description.GetRole(i) == PlaneRole::Palette) {
            std::memset(plane.GetData(), 0, plane.GetWidth());
            std::memcpy(plane.GetData(), pixel.data(), channels.size());
        } else {
            FillPixels(plane, pixel.data(), channels.size());
        }
    }
}

}  // namespace Orvexa::Proc
