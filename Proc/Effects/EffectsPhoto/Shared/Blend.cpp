// Vectors of 16-bit lanes, with one byte per lane.

#include "Proc/Effects/EffectsPhoto/Shared/Blend.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Proc/Effects/EffectsPhoto/Shared/Blend.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace Orvexa::Proc::Shared::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Lanes16 = hn::ScalableTag<std::uint16_t>;
using Vector16 = hn::Vec<Lanes16>;

HWY_INLINE Vector16 LoadBytes(const std::uint8_t* bytes) {
    return hn::PromoteTo(Lanes16(), hn::LoadU(hn::Rebind<std::uint8_t, Lanes16>(), bytes));
}

// Values of 0..255, which are the same as signed lanes.
HWY_INLINE void StoreBytes(Vector16 values, std::uint8_t* bytes) {
    const hn::Rebind<std::uint8_t, Lanes16> d8;
    hn::StoreU(hn::DemoteTo(d8, hn::BitCast(hn::RebindToSigned<Lanes16>(), values)), d8, bytes);
}

HWY_INLINE Vector16 DivideLanesBy255(Vector16 x) {
    const auto high = hn::ShiftRight<8>(x);
    return hn::ShiftRight<8>(hn::Add(hn::Add(high, x), hn::Set(Lanes16(), 1)));
}

HWY_INLINE Vector16 Blend(Vector16 under, Vector16 over, Vector16 opacity) {
    const auto rest = hn::Sub(hn::Set(Lanes16(), 255), opacity);
    return DivideLanesBy255(hn::Add(hn::Mul(under, rest), hn::Mul(over, opacity)));
}

void BlendConstant(const std::uint8_t* under, const std::uint8_t* over, std::uint16_t opacity, std::uint8_t* result,
                   std::size_t size) {
    const std::size_t lanes = hn::Lanes(Lanes16());
    const auto opacities = hn::Set(Lanes16(), opacity);
    std::size_t i = 0;
    for (; i + lanes <= size; i += lanes)
        StoreBytes(Blend(LoadBytes(under + i), LoadBytes(over + i), opacities), result + i);
    for (; i < size; ++i) result[i] = BlendByte(under[i], over[i], opacity);
}

void BlendVarying(std::uint8_t* under, const std::uint8_t* over, const std::uint8_t* opacities, std::uint8_t scale,
                  std::size_t size) {
    const std::size_t lanes = hn::Lanes(Lanes16());
    const auto scales = hn::Set(Lanes16(), scale);
    std::size_t i = 0;
    for (; i + lanes <= size; i += lanes) {
        const auto opacity = DivideLanesBy255(hn::Mul(LoadBytes(opacities + i), scales));
        StoreBytes(Blend(LoadBytes(under + i), LoadBytes(over + i), opacity), under + i);
    }
    for (; i < size; ++i) {
        under[i] = BlendByte(under[i], over[i],
                             static_cast<std::uint8_t>(DivideBy255(static_cast<std::uint16_t>(opacities[i] * scale))));
    }
}

}  // namespace Orvexa::Proc::Shared::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Orvexa::Proc::Shared {

HWY_EXPORT(BlendConstant);
HWY_EXPORT(BlendVarying);

void BlendRow(const std::uint8_t* under, const std::uint8_t* over, std::uint16_t opacity, std::uint8_t* result,
              std::size_t size) {
    HWY_DYNAMIC_DISPATCH(BlendConstant)(under, over, opacity, result, size);
}

void BlendRow(std::uint8_t* under, const std::uint8_t* over, const std::uint8_t* opacities, std::uint8_t scale,
              std::size_t size) {
    HWY_DYNAMIC_DISPATCH(BlendVarying)(under, over, opacities, scale, size);
}

}  // namespace Orvexa::Proc::Shared
#endif  // HWY_ONCE
