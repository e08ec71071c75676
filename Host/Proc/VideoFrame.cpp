#include "Host/Proc/VideoFrame.h"

#include <cstring>

#include "Host/Core/Exception.h"

namespace Orvexa::Proc {

namespace {

constexpr std::uint64_t kMaxPlaneBytes = std::uint64_t{1} << 31;

constexpr std::uint64_t AlignedStride(std::uint64_t widthBytes) {
    return (widthBytes + PixelPool::kAlignment - 1) / PixelPool::kAlignment * PixelPool::kAlignment;
}

void CheckSize(const FrameInfo& info) {
    if (info.width == 0 || info.height == 0 || info.width > kMaxFrameSide || info.height > kMaxFrameSide)
        Throw("Frame size is not supported!");
}

bool HaveSameBytes(const ConstPlane& a, const ConstPlane& b) {
    if (a.GetWidth() != b.GetWidth() || a.GetHeight() != b.GetHeight()) return false;
    for (std::uint64_t y = 0; y < a.GetHeight(); ++y) {
        if (std::memcmp(a.GetRow(y), b.GetRow(y), a.GetWidth()) != 0) return false;
    }
    return true;
}

}  // namespace

VideoFrame::VideoFrame(std::shared_ptr<PixelPool> pool, PixFmt pixFmt, const FrameInfo& info,
                       std::shared_ptr<std::uint8_t> pixels, std::int64_t stride)
    : pool_(std::move(pool)),
      storage_(std::move(pixels)),
      isForeign_(true),
      description_(&PixFmtDescription::Get(pixFmt)),
      info_(info) {
    CheckSize(info);
    if (description_->planes != 1) Throw("Pixel format is not supported!");
    const std::uint64_t width = description_->GetPlanWidthSize(static_cast<int>(info.width), 0);
    if (static_cast<std::uint64_t>(stride) * info.height > kMaxPlaneBytes) Throw("Frame size is not supported!");
    planes_[0] = Plane(storage_.get(), stride, width, info.height, description_->GetBytesPerPixel(0), false);
}

VideoFrame::VideoFrame(std::shared_ptr<PixelPool> pool, PixFmt pixFmt, const FrameInfo& info)
    : pool_(std::move(pool)), description_(&PixFmtDescription::Get(pixFmt)), info_(info) {
    CheckSize(info);
    struct Layout {
        std::uint64_t width, height, stride, offset;
    };
    std::array<Layout, PixFmtDescription::kMaxPlanes> layouts{};
    std::uint64_t total = 0;
    for (std::uint8_t i = 0; i < description_->planes; ++i) {
        Layout& layout = layouts[i];
        layout.width = description_->GetPlanWidthSize(static_cast<int>(info.width), i);
        layout.height = description_->GetPlaneHeight(static_cast<int>(info.height), i);
        layout.stride = AlignedStride(layout.width);
        layout.offset = total;
        if (layout.stride * layout.height > kMaxPlaneBytes) Throw("Frame size is not supported!");
        total += layout.stride * layout.height;
    }
    storage_ = pool_->Allocate(total);
    for (std::uint8_t i = 0; i < description_->planes; ++i) {
        const Layout& layout = layouts[i];
        planes_[i] = Plane(storage_.get() + layout.offset, static_cast<std::int64_t>(layout.stride), layout.width,
                           layout.height, description_->GetBytesPerPixel(i), true);
    }
}

Plane VideoFrame::CheckedPlane(std::uint8_t index) const {
    if (index >= description_->planes) Throw("Pixel format has no such plane!");
    return planes_[index];
}

Plane VideoFrame::GetPlane(std::uint8_t index) { return CheckedPlane(index); }
ConstPlane VideoFrame::GetPlane(std::uint8_t index) const { return CheckedPlane(index); }

VideoFrame::ExtraAlpha& VideoFrame::CheckedExtraAlpha(std::uint8_t index) {
    if (index >= extraAlpha_.size()) Throw("Extra alpha index must be 0 or 1!");
    return extraAlpha_[index];
}

void VideoFrame::SetExtraAlpha(std::uint8_t index, const ConstPlane& plane) {
    ExtraAlpha& attached = CheckedExtraAlpha(index);
    // Formats without subsampled chroma are given the same mask twice; it is only read.
    if (const ExtraAlpha& other = extraAlpha_[1 - index];
        other.storage != nullptr && HaveSameBytes(plane, other.plane)) {
        attached = other;
        return;
    }
    const std::uint64_t stride = AlignedStride(plane.GetWidth());
    ExtraAlpha extra;
    extra.storage = pool_->Allocate(stride * plane.GetHeight());
    const Plane copy(extra.storage.get(), static_cast<std::int64_t>(stride), plane.GetWidth(), plane.GetHeight(), 1,
                     true);
    CopyPlane(plane, copy);
    extra.plane = copy;
    attached = std::move(extra);
}

void VideoFrame::ShareExtraAlpha(std::uint8_t index, const VideoFrame& mask) {
    CheckedExtraAlpha(index) = {mask.storage_, mask.planes_[0]};
}

void ShareExtraAlpha(IDataVideo& frame, std::uint8_t index, const ConstFramePtr& mask) {
    auto* const own = dynamic_cast<VideoFrame*>(&frame);
    const auto* const ownMask = dynamic_cast<const VideoFrame*>(mask.get());
    if (own != nullptr && ownMask != nullptr) {
        own->ShareExtraAlpha(index, *ownMask);
    } else {
        frame.SetExtraAlpha(index, mask->GetPlane(0));
    }
}

std::optional<ConstPlane> VideoFrame::GetExtraAlpha(std::uint8_t index) const {
    if (index >= extraAlpha_.size() || extraAlpha_[index].storage == nullptr) return std::nullopt;
    return extraAlpha_[index].plane;
}

void VideoFrame::Clone(FramePtr& out, int mode) const {
    boost::intrusive_ptr<VideoFrame> clone;
    if (mode == kCloneView) {
        clone = Core::MakeRefCounted<VideoFrame>(*this);
        clone->extraAlpha_ = {};
    } else {
        clone = Core::MakeRefCounted<VideoFrame>(pool_, description_->pixFmt, info_);
        for (std::uint8_t i = 0; i < description_->planes; ++i) CopyPlane(planes_[i], clone->planes_[i]);
        clone->duration_ = duration_;
        clone->timestamp_ = timestamp_;
    }
    out = std::move(clone);
}

void VideoFrame::Crop(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height) {
    const bool isInside = x < info_.width && y < info_.height && width <= info_.width - x && height <= info_.height - y;
    if (width == 0 || height == 0 || !isInside) Throw("Crop rectangle is outside the frame!");
    if (width == info_.width && height == info_.height) return;
    for (std::uint8_t i = 0; i < description_->planes; ++i) {
        if (description_->GetRole(i) == PlaneRole::Palette) continue;
        planes_[i] = planes_[i].MakeSubplane(x, y, width, height, description_->GetBytesPerPixel(i),
                                             description_->GetShiftX(i), description_->GetShiftY(i));
    }
    info_.width = width;
    info_.height = height;
    extraAlpha_ = {};  // its geometry no longer matches
}

FramePtr FrameAllocator::WrapPixels(PixFmt pixFmt, const FrameInfo& info, std::shared_ptr<std::uint8_t> pixels,
                                    std::int64_t stride) const {
    return Core::MakeRefCounted<VideoFrame>(pool_, pixFmt, info, std::move(pixels), stride);
}

void FrameAllocator::AllocateFrame(FramePtr& out, PixFmt pixFmt, const FrameInfo& info) {
    out = Core::MakeRefCounted<VideoFrame>(pool_, pixFmt, info);
}

}  // namespace Orvexa::Proc
