// Rows of packed pixels: byte order, and conversion between RGB and Y'CbCr.
//
// Y'CbCr is full range ITU-R BT.601 (the JPEG convention), here in 16-bit fixed point: each product is rounded to 1/128
// of a level (1/64 in the inverse direction) and the sum of products to a level, so that results lie within 0.52 of the
// exact value, and neutral greys stay exactly neutral. All processors compute the same bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "Host/Conf/PixFmtDescription.h"

namespace Orvexa::Proc {

/// Builds pixels of `toBytes` bytes from pixels of `fromBytes` bytes: byte k is byte order[k] of the source pixel, or
/// 255 where order[k] is -1.
struct ByteOrder {
    int fromBytes, toBytes;
    std::array<std::int8_t, 4> order;
};
/// For a packed or grey source and a packed target; grey is copied to every colour byte.
ByteOrder MakeByteOrder(const PixFmtDescription& from, const PixFmtDescription& to);

void ShuffleRow(const ByteOrder& order, const std::uint8_t* from, std::uint8_t* to, std::size_t pixels);

// `layout` is a packed format.
void RgbToLumaRow(const PixFmtDescription& layout, const std::uint8_t* rgb, std::uint8_t* luma, std::size_t pixels);
void RgbToYccRow(const PixFmtDescription& layout, const std::uint8_t* rgb, std::uint8_t* luma, std::uint8_t* cb,
                 std::uint8_t* cr, std::size_t pixels);
/// Sets alpha to 255.
void YccToRgbRow(const PixFmtDescription& layout, const std::uint8_t* luma, const std::uint8_t* cb,
                 const std::uint8_t* cr, std::uint8_t* rgb, std::size_t pixels);

}  // namespace Orvexa::Proc
