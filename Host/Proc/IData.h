// Data items and frames.
#pragma once

#include <cstdint>
#include <optional>

#include "Host/Conf/Color.h"
#include "Host/Conf/FrameInfo.h"
#include "Host/Conf/PixFmt.h"
#include "Host/Core/RefCount.h"
#include "Host/Proc/Plane.h"

namespace Orvexa::Proc {

using Conf::FrameInfo;

/// A timed item; duration and time stamp are in the caller's unit.
class IData : public virtual Core::IRefCountable {
public:
    virtual std::int64_t GetDuration() const = 0;
    virtual void SetDuration(std::int64_t duration) = 0;
    virtual std::int64_t GetTimestamp() const = 0;
    virtual void SetTimestamp(std::int64_t timestamp) = 0;
};

/// How `IDataVideo::Clone` treats the pixels.
enum CloneMode : int {
    kCloneCopy = 0,         ///< a plain copy, for frames that are only input to a converter or a mask operation
    kCloneView = 1,         ///< shares the pixels; a later `Crop` restricts only the view
    kCloneIndependent = 2,  ///< a copy with rows of its own, safe to modify
};

/// One image: up to four planes over shared pixel storage.
class IDataVideo : public IData {
public:
    virtual const FrameInfo& GetFrameInfo() const = 0;
    virtual PixFmt GetPixFmt() const = 0;
    /// A view of plane 0..3. Throws `EffectException` if the format lacks the plane.
    virtual Plane GetPlane(std::uint8_t index) = 0;
    virtual ConstPlane GetPlane(std::uint8_t index) const = 0;
    /// Attaches a copy of `plane` as the frame's extra alpha plane 0 (for plane 0) or 1 (for subsampled chroma), which
    /// the image blender reads.
    virtual void SetExtraAlpha(std::uint8_t index, const ConstPlane& plane) = 0;
    /// A new frame with this one's format, geometry and timing, without its extra alpha; `mode` is a `CloneMode`.
    virtual void Clone(boost::intrusive_ptr<IDataVideo>& out, int mode) const = 0;
    /// Reduces the frame to a rectangle of itself, without touching the pixels. On subsampled planes the offset is
    /// rounded down and the size up. A rectangle that is empty or not inside the frame throws `EffectException` "Crop
    /// rectangle is outside the frame!".
    virtual void Crop(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height) = 0;
    /// The attached extra alpha plane, if there is one.
    virtual std::optional<ConstPlane> GetExtraAlpha(std::uint8_t index) const = 0;
    /// True while another frame views the same pixels.
    virtual bool SharesPixels() const = 0;
    /// Detaches the extra alpha planes.
    virtual void ClearExtraAlpha() = 0;

    /// Sets every pixel to `color`, converted to the frame's format; alpha is set, too, if the format has it. An
    /// indexed frame gets index 0 everywhere and `color` as palette entry 0.
    void Fill(const Color& color);
};

using DataPtr = boost::intrusive_ptr<IData>;
using ConstDataPtr = boost::intrusive_ptr<const IData>;
using FramePtr = boost::intrusive_ptr<IDataVideo>;
using ConstFramePtr = boost::intrusive_ptr<const IDataVideo>;

/// The largest width and height of a frame, in pixels.
inline constexpr std::uint32_t kMaxFrameSide = 1u << 17;

/// Creates frames.
class IFrameAllocator : public virtual Core::IRefCountable {
public:
    /// Returns a frame with undefined contents. Throws `EffectException` "Frame size is not supported!" for a side of 0
    /// or above `kMaxFrameSide` or a plane above 2^31 bytes, and "Pixel format is not supported!" for an unknown
    /// format.
    virtual void AllocateFrame(FramePtr& out, PixFmt pixFmt, const FrameInfo& info) = 0;
};

using AllocatorPtr = boost::intrusive_ptr<IFrameAllocator>;

/// Number of planes of the frame's format, alpha or palette included.
std::uint8_t GetPlanesCount(const IDataVideo& frame);

/// Copies the source image into the destination with its top-left corner at (x, y), clipped to the destination. On
/// subsampled planes the offset is rounded down. Throws `EffectException` if the frames' formats differ.
void CopyDataVideo(const ConstFramePtr& source, const FramePtr& destination, int x, int y);

/// `frame->Clone(mode)` as a value.
FramePtr CloneFrame(const IDataVideo& frame, CloneMode mode);

/// A new frame of `allocator` as a value.
FramePtr NewFrame(const AllocatorPtr& allocator, PixFmt pixFmt, const FrameInfo& info);

/// True when nobody but the holder of `frame` can see its pixels, so that they may be changed in place.
bool IsExclusive(const FramePtr& frame);

/// Makes a frame safe to modify: replaces it by an independent copy unless it is exclusive. Its extra alpha is dropped
/// in either case, so that what a frame carries does not depend on who else holds it.
void MakeWritable(FramePtr& frame);

}  // namespace Orvexa::Proc
