// The channels of a picture, wherever its format stores them.
#pragma once

#include <cstdint>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Proc/IData.h"

namespace Orvexa::Proc {

/// Samples `step` bytes apart, in rows `stride` bytes apart. Non-owning.
template <class Byte>
struct ChannelView {
    Byte* data = nullptr;
    std::int64_t stride = 0;
    int step = 1;
    int width = 0;
    int height = 0;

    Byte* GetRow(int y) const { return data + y * stride; }
    operator ChannelView<const std::uint8_t>() const { return {data, stride, step, width, height}; }
};
using Channel = ChannelView<std::uint8_t>;
using ConstChannel = ChannelView<const std::uint8_t>;

/// The channel of a frame; throws `EffectException` if its format lacks it. The colours and alpha of an indexed frame
/// are not channels.
Channel GetChannel(IDataVideo& frame, ChannelKind kind);
ConstChannel GetChannel(const IDataVideo& frame, ChannelKind kind);

/// The samples of a plane with one byte per pixel.
ConstChannel AsChannel(const ConstPlane& plane);

/// Both channels must have the same size.
void CopyChannel(const ConstChannel& from, const Channel& to);
void FillChannel(const Channel& to, std::uint8_t value);

/// Resamples a channel to a grid that is coarser by 2^shift along each axis, or finer if the shift is negative; sizes
/// are rounded up. Coarser samples are the mean of those that they cover, finer ones are interpolated linearly between
/// the sample centres, with a single rounding at the end. Shifts are -2..2. `to` may be a part of the new grid: all
/// columns of the rows from `firstRow` on.
void ResampleChannel(const ConstChannel& from, const Channel& to, int shiftX, int shiftY, int firstRow = 0);

}  // namespace Orvexa::Proc
