#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Host/Effects/PixelRows.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "Host/Effects/PixelRows.h"

// This file is compiled once per instruction set; the parts common to all come first.
#ifndef ORVEXA_PIXEL_ROWS_SCALAR
#define ORVEXA_PIXEL_ROWS_SCALAR
namespace Orvexa::Proc::PixelRows {

constexpr int kForwardBits = 7;         // fraction bits of the sums in the conversion to Y'CbCr
constexpr int kBackwardBits = 6;        // and in the inverse conversion
constexpr std::int16_t kNeutral = 128;  // chroma of grey
constexpr std::uint8_t kOpaque = 255;

// A factor below one, in units of 1/32768.
constexpr int kOne = 32768;
constexpr int Q15(double factor) { return static_cast<int>(factor * kOne + (factor < 0.0 ? -0.5 : 0.5)); }

// The weights sum to exactly 1 for luma and 0 for chroma, so that grey stays grey.
struct Weights {
    int red, green, blue;
};
constexpr Weights MakeWeights(double red, double blue, int sum) {
    return {Q15(red), sum - Q15(red) - Q15(blue), Q15(blue)};
}
constexpr Weights kY = MakeWeights(0.299, 0.114, kOne);
constexpr Weights kCb = MakeWeights(-0.299 / 1.772, 0.5, 0);
constexpr Weights kCr = MakeWeights(0.5, -0.114 / 1.402, 0);
// Halved, because factors above one do not fit.
constexpr int kRedCr = Q15(1.402 / 2), kBlueCb = Q15(1.772 / 2);
constexpr int kGreenCb = Q15(-0.114 * 1.772 / 0.587 / 2), kGreenCr = Q15(-0.299 * 1.402 / 0.587 / 2);

constexpr int Times(int value, int factor) { return (value * factor + kOne / 2) >> 15; }
constexpr int Rounded(int sum, int bits) { return (sum + (1 << (bits - 1))) >> bits; }
constexpr std::uint8_t ClampByte(int value) {
    return static_cast<std::uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
}

constexpr std::uint8_t WeightedSum(int red, int green, int blue, const Weights& weights, int offset) {
    const auto term = [](int value, int factor) { return Times(value << kForwardBits, factor); };
    const int sum = term(red, weights.red) + term(green, weights.green) + term(blue, weights.blue);
    return ClampByte(Rounded(sum, kForwardBits) + offset);
}

struct Rgb {
    std::uint8_t red, green, blue;
};
constexpr Rgb ToRgb(int y, int cb, int cr) {
    const int luma = y << kBackwardBits, u = (cb - kNeutral) * (2 << kBackwardBits),
              v = (cr - kNeutral) * (2 << kBackwardBits);
    const auto finish = [](int sum) { return ClampByte(Rounded(sum, kBackwardBits)); };
    return {finish(luma + Times(v, kRedCr)), finish(luma + Times(u, kGreenCb) + Times(v, kGreenCr)),
            finish(luma + Times(u, kBlueCb))};
}

}  // namespace Orvexa::Proc::PixelRows
#endif

HWY_BEFORE_NAMESPACE();
namespace Orvexa::Proc::PixelRows::HWY_NAMESPACE {

// Each function processes whole vectors only and returns the number of pixels done; the scalar version processes the
// rest.
#if HWY_TARGET == HWY_SCALAR

std::size_t Shuffle(const ByteOrder&, const std::uint8_t*, std::uint8_t*, std::size_t) { return 0; }
std::size_t RgbToLuma(const PixFmtDescription&, const std::uint8_t*, std::uint8_t*, std::size_t) { return 0; }
std::size_t RgbToYcc(const PixFmtDescription&, const std::uint8_t*, std::uint8_t*, std::uint8_t*, std::uint8_t*,
                     std::size_t) {
    return 0;
}
std::size_t YccToRgb(const PixFmtDescription&, const std::uint8_t*, const std::uint8_t*, const std::uint8_t*,
                     std::uint8_t*, std::size_t) {
    return 0;
}

#else

namespace hn = hwy::HWY_NAMESPACE;

using D8 = hn::ScalableTag<std::uint8_t>;
using DHalf = hn::Half<D8>;
using D16 = hn::Rebind<std::int16_t, DHalf>;
using V8 = hn::Vec<D8>;
using V16 = hn::Vec<D16>;

std::size_t Shuffle(const ByteOrder& order, const std::uint8_t* from, std::uint8_t* to, std::size_t pixels) {
    constexpr std::size_t kBlock = 16, kPixels = 4;  // four pixels of up to four bytes fit into a block
    const auto fromBytes = static_cast<std::size_t>(order.fromBytes), toBytes = static_cast<std::size_t>(order.toBytes);
    HWY_ALIGN std::uint8_t index[kBlock];
    HWY_ALIGN std::uint8_t fill[kBlock];
    for (std::size_t i = 0; i < kBlock; ++i) {
        const int source = i / toBytes < kPixels ? order.order[i % toBytes] : -1;
        index[i] = source < 0 ? std::uint8_t{0x80}
                              : static_cast<std::uint8_t>(i / toBytes * fromBytes + static_cast<std::size_t>(source));
        fill[i] = source < 0 ? 255 : 0;
    }
    const hn::Full128<std::uint8_t> d;
    const auto indices = hn::Load(d, index);
    const auto fills = hn::Load(d, fill);
    std::size_t i = 0;
    // A block is stored whole: the bytes after its four pixels are overwritten by the next one.
    for (; (pixels - i) * fromBytes >= kBlock && (pixels - i) * toBytes >= kBlock; i += kPixels) {
        const auto block = hn::TableLookupBytesOr0(hn::LoadU(d, from + i * fromBytes), indices);
        hn::StoreU(hn::Or(block, fills), d, to + i * toBytes);
    }
    return i;
}

// Samples 0..255 of one half of a vector, widened; and back, clamped.
HWY_INLINE V16 Low(V8 v) { return hn::PromoteTo(D16(), hn::LowerHalf(DHalf(), v)); }
HWY_INLINE V16 High(V8 v) { return hn::PromoteTo(D16(), hn::UpperHalf(DHalf(), v)); }
HWY_INLINE V8 Join(V16 low, V16 high) {
    return hn::Combine(D8(), hn::DemoteTo(DHalf(), high), hn::DemoteTo(DHalf(), low));
}

HWY_INLINE V16 Times(V16 value, int factor) {
    return hn::MulFixedPoint15(value, hn::Set(D16(), static_cast<std::int16_t>(factor)));
}
template <int kBits>
HWY_INLINE V16 Rounded(V16 sum) {
    return hn::ShiftRight<kBits>(hn::Add(sum, hn::Set(D16(), std::int16_t{1 << (kBits - 1)})));
}

struct RgbVectors {
    V16 red, green, blue;
};
HWY_INLINE V16 WeightedSum(const RgbVectors& rgb, const Weights& weights, int offset) {
    const V16 sum =
        hn::Add(hn::Add(Times(rgb.red, weights.red), Times(rgb.green, weights.green)), Times(rgb.blue, weights.blue));
    return hn::Add(Rounded<kForwardBits>(sum), hn::Set(D16(), static_cast<std::int16_t>(offset)));
}

template <int kBytes, int kRed, int kGreen, int kBlue, bool kHasChroma>
std::size_t RgbToYccBlocks(const std::uint8_t* rgb, std::uint8_t* luma, std::uint8_t* cb, std::uint8_t* cr,
                           std::size_t pixels) {
    const D8 d;
    const std::size_t lanes = hn::Lanes(d);
    std::size_t i = 0;
    for (; i + lanes <= pixels; i += lanes) {
        V8 bytes[4];
        if constexpr (kBytes == 3) {
            hn::LoadInterleaved3(d, rgb + i * kBytes, bytes[0], bytes[1], bytes[2]);
        } else {
            hn::LoadInterleaved4(d, rgb + i * kBytes, bytes[0], bytes[1], bytes[2], bytes[3]);
        }
        const auto scaled = [](V16 v) { return hn::ShiftLeft<kForwardBits>(v); };
        const RgbVectors low{scaled(Low(bytes[kRed])), scaled(Low(bytes[kGreen])), scaled(Low(bytes[kBlue]))};
        const RgbVectors high{scaled(High(bytes[kRed])), scaled(High(bytes[kGreen])), scaled(High(bytes[kBlue]))};
        hn::StoreU(Join(WeightedSum(low, kY, 0), WeightedSum(high, kY, 0)), d, luma + i);
        if constexpr (kHasChroma) {
            hn::StoreU(Join(WeightedSum(low, kCb, kNeutral), WeightedSum(high, kCb, kNeutral)), d, cb + i);
            hn::StoreU(Join(WeightedSum(low, kCr, kNeutral), WeightedSum(high, kCr, kNeutral)), d, cr + i);
        }
    }
    return i;
}

HWY_INLINE RgbVectors ToRgbVectors(V16 y, V16 cb, V16 cr) {
    const V16 neutral = hn::Set(D16(), kNeutral);
    const V16 luma = hn::ShiftLeft<kBackwardBits>(y);
    const V16 u = hn::ShiftLeft<kBackwardBits + 1>(hn::Sub(cb, neutral)),
              v = hn::ShiftLeft<kBackwardBits + 1>(hn::Sub(cr, neutral));
    return {Rounded<kBackwardBits>(hn::Add(luma, Times(v, kRedCr))),
            Rounded<kBackwardBits>(hn::Add(hn::Add(luma, Times(u, kGreenCb)), Times(v, kGreenCr))),
            Rounded<kBackwardBits>(hn::Add(luma, Times(u, kBlueCb)))};
}

template <int kBytes, int kRed, int kGreen, int kBlue>
std::size_t YccToRgbBlocks(const std::uint8_t* luma, const std::uint8_t* cb, const std::uint8_t* cr, std::uint8_t* rgb,
                           std::size_t pixels) {
    const D8 d;
    const std::size_t lanes = hn::Lanes(d);
    std::size_t i = 0;
    for (; i + lanes <= pixels; i += lanes) {
        const V8 y = hn::LoadU(d, luma + i), u = hn::LoadU(d, cb + i), v = hn::LoadU(d, cr + i);
        const RgbVectors low = ToRgbVectors(Low(y), Low(u), Low(v)), high = ToRgbVectors(High(y), High(u), High(v));
        V8 bytes[4];
        bytes[0] = bytes[kBytes - 1] = hn::Set(d, kOpaque);  // alpha, if there is any, is at one end
        bytes[kRed] = Join(low.red, high.red);
        bytes[kGreen] = Join(low.green, high.green);
        bytes[kBlue] = Join(low.blue, high.blue);
        if constexpr (kBytes == 3) {
            hn::StoreInterleaved3(bytes[0], bytes[1], bytes[2], d, rgb + i * kBytes);
        } else {
            hn::StoreInterleaved4(bytes[0], bytes[1], bytes[2], bytes[3], d, rgb + i * kBytes);
        }
    }
    return i;
}

// Calls `use` with the layout's numbers as compile-time constants.
template <class Use>
HWY_INLINE std::size_t WithLayout(const PixFmtDescription& layout, Use&& use) {
    const bool isRedFirst = layout.red < layout.blue;
    if (layout.bytesPerPixel == 3)
        return isRedFirst ? use.template operator()<3, 0, 1, 2>() : use.template operator()<3, 2, 1, 0>();
    if (layout.alpha == 0)
        return isRedFirst ? use.template operator()<4, 1, 2, 3>() : use.template operator()<4, 3, 2, 1>();
    return isRedFirst ? use.template operator()<4, 0, 1, 2>() : use.template operator()<4, 2, 1, 0>();
}

std::size_t RgbToLuma(const PixFmtDescription& layout, const std::uint8_t* rgb, std::uint8_t* luma,
                      std::size_t pixels) {
    return WithLayout(layout, [&]<int kBytes, int kRed, int kGreen, int kBlue>() {
        return RgbToYccBlocks<kBytes, kRed, kGreen, kBlue, false>(rgb, luma, nullptr, nullptr, pixels);
    });
}
std::size_t RgbToYcc(const PixFmtDescription& layout, const std::uint8_t* rgb, std::uint8_t* luma, std::uint8_t* cb,
                     std::uint8_t* cr, std::size_t pixels) {
    return WithLayout(layout, [&]<int kBytes, int kRed, int kGreen, int kBlue>() {
        return RgbToYccBlocks<kBytes, kRed, kGreen, kBlue, true>(rgb, luma, cb, cr, pixels);
    });
}
std::size_t YccToRgb(const PixFmtDescription& layout, const std::uint8_t* luma, const std::uint8_t* cb,
                     const std::uint8_t* cr, std::uint8_t* rgb, std::size_t pixels) {
    return WithLayout(layout, [&]<int kBytes, int kRed, int kGreen, int kBlue>() {
        return YccToRgbBlocks<kBytes, kRed, kGreen, kBlue>(luma, cb, cr, rgb, pixels);
    });
}

#endif  // HWY_TARGET

}  // namespace Orvexa::Proc::PixelRows::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Orvexa::Proc {

namespace PixelRows {
HWY_EXPORT(Shuffle);
HWY_EXPORT(RgbToLuma);
HWY_EXPORT(RgbToYcc);
HWY_EXPORT(YccToRgb);
}  // namespace PixelRows

ByteOrder MakeByteOrder(const PixFmtDescription& from, const PixFmtDescription& to) {
    ByteOrder order{from.bytesPerPixel, to.bytesPerPixel, {}};
    const auto set = [&](int byte, int source) {
        order.order[static_cast<std::size_t>(byte)] = static_cast<std::int8_t>(source);
    };
    set(to.red, from.red);
    set(to.green, from.green);
    set(to.blue, from.blue);
    if (to.alpha >= 0) set(to.alpha, from.alpha);
    return order;
}

void ShuffleRow(const ByteOrder& order, const std::uint8_t* from, std::uint8_t* to, std::size_t pixels) {
    for (std::size_t i = HWY_DYNAMIC_DISPATCH(PixelRows::Shuffle)(order, from, to, pixels); i < pixels; ++i) {
        const std::uint8_t* source = from + i * static_cast<std::size_t>(order.fromBytes);
        std::uint8_t* destination = to + i * static_cast<std::size_t>(order.toBytes);
        for (int k = 0; k < order.toBytes; ++k) {
            const int byte = order.order[static_cast<std::size_t>(k)];
            destination[k] = byte < 0 ? PixelRows::kOpaque : source[byte];
        }
    }
}

void RgbToLumaRow(const PixFmtDescription& layout, const std::uint8_t* rgb, std::uint8_t* luma, std::size_t pixels) {
    for (std::size_t i = HWY_DYNAMIC_DISPATCH(PixelRows::RgbToLuma)(layout, rgb, luma, pixels); i < pixels; ++i) {
        const std::uint8_t* p = rgb + i * static_cast<std::size_t>(layout.bytesPerPixel);
        luma[i] = PixelRows::WeightedSum(p[layout.red], p[layout.green], p[layout.blue], PixelRows::kY, 0);
    }
}

void RgbToYccRow(const PixFmtDescription& layout, const std::uint8_t* rgb, std::uint8_t* luma, std::uint8_t* cb,
                 std::uint8_t* cr, std::size_t pixels) {
    for (std::size_t i = HWY_DYNAMIC_DISPATCH(PixelRows::RgbToYcc)(layout, rgb, luma, cb, cr, pixels); i < pixels;
         ++i) {
        const std::uint8_t* p = rgb + i * static_cast<std::size_t>(layout.bytesPerPixel);
        const auto sum = [&](const PixelRows::Weights& weights, int offset) {
            return PixelRows::WeightedSum(p[layout.red], p[layout.green], p[layout.blue], weights, offset);
        };
        luma[i] = sum(PixelRows::kY, 0);
        cb[i] = sum(PixelRows::kCb, PixelRows::kNeutral);
        cr[i] = sum(PixelRows::kCr, PixelRows::kNeutral);
    }
}

void YccToRgbRow(const PixFmtDescription& layout, const std::uint8_t* luma, const std::uint8_t* cb,
                 const std::uint8_t* cr, std::uint8_t* rgb, std::size_t pixels) {
    for (std::size_t i = HWY_DYNAMIC_DISPATCH(PixelRows::YccToRgb)(layout, luma, cb, cr, rgb, pixels); i < pixels;
         ++i) {
        const PixelRows::Rgb value = PixelRows::ToRgb(luma[i], cb[i], cr[i]);
        std::uint8_t* p = rgb + i * static_cast<std::size_t>(layout.bytesPerPixel);
        p[layout.red] = value.red;
        p[layout.green] = value.green;
        p[layout.blue] = value.blue;
        if (layout.alpha >= 0) p[layout.alpha] = PixelRows::kOpaque;
    }
}

}  // namespace Orvexa::Proc
#endif
