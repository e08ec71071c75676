// Views of one plane of a frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace Orvexa::Proc {

namespace Details {

/// A view of one plane: rows of bytes, `GetStride` bytes apart. Non-owning; valid while its frame is held and not
/// replaced. The width is in bytes, so a row of a packed format holds width / bytes-per-pixel pixels.
template <bool IsConst>
class PlaneTemplate {
public:
    using Byte = std::conditional_t<IsConst, const std::uint8_t, std::uint8_t>;

    PlaneTemplate() = default;
    /// `ownsPadding`: the bytes between the end of a row and the start of the next belong to this plane alone, so
    /// vector stores may run past the end of a row.
    PlaneTemplate(Byte* data, std::int64_t stride, std::uint64_t width, std::uint64_t height,
                  std::uint64_t bytesPerPixel, bool ownsPadding)
        : data_(data),
          stride_(stride),
          width_(width),
          height_(height),
          bytesPerPixel_(bytesPerPixel),
          ownsPadding_(ownsPadding) {}
    /// Converts a mutable view to a read-only one.
    template <bool OtherConst>
    requires(IsConst && !OtherConst) PlaneTemplate(const PlaneTemplate<OtherConst>& other)
        : PlaneTemplate(other.GetData(), other.GetStride(), other.GetWidth(), other.GetHeight(),
                        other.GetBytesPerPixel(), other.OwnsPadding()) {}

    Byte* GetData() const { return data_; }
    std::int64_t GetStride() const { return stride_; }
    std::uint64_t GetWidth() const { return width_; }  ///< bytes per row
    std::uint64_t GetHeight() const { return height_; }
    std::uint64_t GetBytesPerPixel() const { return bytesPerPixel_; }
    std::uint64_t GetPixelsPerRow() const { return width_ / bytesPerPixel_; }
    bool OwnsPadding() const { return ownsPadding_; }

    Byte* GetRow(std::uint64_t y) const { return data_ + static_cast<std::int64_t>(y) * stride_; }
    Byte* GetOffsetPtr(std::uint64_t x, std::uint64_t y) const { return GetRow(y) + x * bytesPerPixel_; }

    /// The part of this plane under a rectangle given in luma pixels. For a plane subsampled by 2^shiftX, 2^shiftY the
    /// offset is rounded down and the size up. The rectangle must lie inside the plane.
    PlaneTemplate MakeSubplane(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height,
                               std::uint8_t bytesPerPixel, std::uint8_t shiftX, std::uint8_t shiftY) const {
        const auto ceilShift = [](std::uint64_t size, std::uint8_t shift) {
            return (size + (1u << shift) - 1) >> shift;
        };
        return {GetRow(y >> shiftY) + static_cast<std::uint64_t>(x >> shiftX) * bytesPerPixel,
                stride_,
                ceilShift(width, shiftX) * bytesPerPixel,
                ceilShift(height, shiftY),
                bytesPerPixel,
                false};
    }

private:
    Byte* data_ = nullptr;
    std::int64_t stride_ = 0;
    std::uint64_t width_ = 0;
    std::uint64_t height_ = 0;
    std::uint64_t bytesPerPixel_ = 1;
    bool ownsPadding_ = false;
};

}  // namespace Details

using Plane = Details::PlaneTemplate<false>;
using ConstPlane = Details::PlaneTemplate<true>;

/// Copies the area common to both planes, row by row.
void CopyPlane(const ConstPlane& source, const Plane& destination);

}  // namespace Orvexa::Proc
