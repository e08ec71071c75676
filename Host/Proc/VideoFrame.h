// The host's frame and its allocator.
#pragma once

#include <array>
#include <memory>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Proc/IData.h"
#include "Host/Proc/PixelPool.h"

namespace Orvexa::Proc {

class VideoFrame : public IDataVideo {
public:
    /// A frame with undefined contents, duration and time stamp; see `IFrameAllocator::AllocateFrame` for the errors.
    VideoFrame(std::shared_ptr<PixelPool> pool, PixFmt pixFmt, const FrameInfo& info);

    /// A single-plane frame over pixels of another owner. They count as shared, so that nobody writes into them.
    /// `pixels` keeps them alive; rows are `stride` bytes apart.
    VideoFrame(std::shared_ptr<PixelPool> pool, PixFmt pixFmt, const FrameInfo& info,
               std::shared_ptr<std::uint8_t> pixels, std::int64_t stride);

    std::int64_t GetDuration() const override { return duration_; }
    void SetDuration(std::int64_t duration) override { duration_ = duration; }
    std::int64_t GetTimestamp() const override { return timestamp_; }
    void SetTimestamp(std::int64_t timestamp) override { timestamp_ = timestamp; }

    const FrameInfo& GetFrameInfo() const override { return info_; }
    PixFmt GetPixFmt() const override { return description_->pixFmt; }
    Plane GetPlane(std::uint8_t index) override;
    ConstPlane GetPlane(std::uint8_t index) const override;
    void SetExtraAlpha(std::uint8_t index, const ConstPlane& plane) override;
    void Clone(FramePtr& out, int mode) const override;
    void Crop(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height) override;
    std::optional<ConstPlane> GetExtraAlpha(std::uint8_t index) const override;
    bool SharesPixels() const override { return isForeign_ || storage_.use_count() > 1; }
    /// See the free function of that name.
    void ShareExtraAlpha(std::uint8_t index, const VideoFrame& mask);
    void ClearExtraAlpha() override { extraAlpha_ = {}; }

private:
    struct ExtraAlpha {
        std::shared_ptr<std::uint8_t> storage;
        ConstPlane plane;
    };

    VideoFrame(const VideoFrame& other) = default;
    Plane CheckedPlane(std::uint8_t index) const;
    ExtraAlpha& CheckedExtraAlpha(std::uint8_t index);
    friend class Core::RefCounted<VideoFrame>;

    std::shared_ptr<PixelPool> pool_;
    std::shared_ptr<std::uint8_t> storage_;
    bool isForeign_ = false;  // the pixels belong to another owner
    const PixFmtDescription* description_;
    FrameInfo info_;
    std::array<Plane, PixFmtDescription::kMaxPlanes> planes_;
    std::array<ExtraAlpha, 2> extraAlpha_;
    std::int64_t duration_ = 0;
    std::int64_t timestamp_ = 0;
};

/// As `frame.SetExtraAlpha(index, plane 0 of mask)`, but without copying the pixels, which count as shared from then on
/// (`IDataVideo::SharesPixels`). For masks that nobody modifies while they are attached.
void ShareExtraAlpha(IDataVideo& frame, std::uint8_t index, const ConstFramePtr& mask);

/// Allocates frames from one pixel pool; thread safe.
class FrameAllocator : public IFrameAllocator {
public:
    /// `poolCapacity` limits the freed pixel memory kept for reuse, in bytes.
    explicit FrameAllocator(std::size_t poolCapacity = std::size_t{512} << 20)
        : pool_(PixelPool::Create(poolCapacity)) {}
    void AllocateFrame(FramePtr& out, PixFmt pixFmt, const FrameInfo& info) override;
    /// A frame over pixels of another owner, which are never modified; copies of it come from the pool.
    FramePtr WrapPixels(PixFmt pixFmt, const FrameInfo& info, std::shared_ptr<std::uint8_t> pixels,
                        std::int64_t stride) const;
    const std::shared_ptr<PixelPool>& GetPool() const { return pool_; }

private:
    std::shared_ptr<PixelPool> pool_;
};

}  // namespace Orvexa::Proc
