// A 256-entry table look-up by byte shuffles, 16 entries each.
//
// A shuffle gives 0 if the index's highest bit is set. Eight of them cover half the table: the index is lowered by 16
// from one to the next until it is negative and drops out, and the entries of each are the changes (exclusive or) to
// the result so far.

#include "Proc/Effects/EffectsPhoto/Shared/Curves.h"

#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Proc/Effects/EffectsPhoto/Shared/Curves.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace Orvexa::Proc::Shared::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// Reads and writes eight bytes at once: the look-ups alone keep the load units busy.
HWY_INLINE void LookUp(const Curve& curve, const std::uint8_t* from, std::uint8_t* to, std::size_t size) {
    std::size_t x = 0;
    for (; x + 8 <= size; x += 8) {
        std::uint64_t in, out = 0;
        std::memcpy(&in, from + x, sizeof in);
        for (int shift = 0; shift < 64; shift += 8) out |= std::uint64_t{curve[in >> shift & 255]} << shift;
        std::memcpy(to + x, &out, sizeof out);
    }
    for (; x < size; ++x) to[x] = curve[from[x]];
}

#if HWY_TARGET <= HWY_AVX2

using Bytes = hn::ScalableTag<std::uint8_t>;
using SignedBytes = hn::RebindToSigned<Bytes>;

constexpr std::size_t kShuffleEntries = 16, kHalf = 128;

// The entries of half the table, each after the first 16 combined with the entry 16 before it.
HWY_INLINE std::array<std::uint8_t, kHalf> Changes(const std::uint8_t* entries) {
    std::array<std::uint8_t, kHalf> changes;
    for (std::size_t i = 0; i < kHalf; ++i) {
        changes[i] =
            i < kShuffleEntries ? entries[i] : static_cast<std::uint8_t>(entries[i] ^ entries[i - kShuffleEntries]);
    }
    return changes;
}

// Indices of 128 and above, negative as signed bytes, give 0.
HWY_INLINE hn::Vec<Bytes> LookUpHalf(const std::array<std::uint8_t, kHalf>& changes, hn::Vec<Bytes> index) {
    auto result = hn::Zero(Bytes());
    auto left = hn::BitCast(SignedBytes(), index);
    for (std::size_t k = 0; k < kHalf; k += kShuffleEntries) {
        result = hn::Xor(
            result, hn::TableLookupBytesOr0(hn::LoadDup128(Bytes(), changes.data() + k), hn::BitCast(Bytes(), left)));
        left = hn::SaturatedSub(left, hn::Set(SignedBytes(), static_cast<std::int8_t>(kShuffleEntries)));
    }
    return result;
}

void LookUpPlane(const Curve& curve, const ConstPlane& source, const Plane& destination) {
    const auto low = Changes(curve.data()), high = Changes(curve.data() + kHalf);
    const std::size_t lanes = hn::Lanes(Bytes());
    for (std::uint64_t y = 0; y < source.GetHeight(); ++y) {
        const std::uint8_t* from = source.GetRow(y);
        std::uint8_t* to = destination.GetRow(y);
        std::size_t x = 0;
        for (; x + lanes <= source.GetWidth(); x += lanes) {
            const auto index = hn::LoadU(Bytes(), from + x);
            const auto flipped = hn::Xor(index, hn::Set(Bytes(), static_cast<std::uint8_t>(kHalf)));
            hn::StoreU(hn::Or(LookUpHalf(low, index), LookUpHalf(high, flipped)), Bytes(), to + x);
        }
        LookUp(curve, from + x, to + x, source.GetWidth() - x);
    }
}

#else

void LookUpPlane(const Curve& curve, const ConstPlane& source, const Plane& destination) {
    for (std::uint64_t y = 0; y < source.GetHeight(); ++y)
        LookUp(curve, source.GetRow(y), destination.GetRow(y), source.GetWidth());
}

#endif

}  // namespace Orvexa::Proc::Shared::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Orvexa::Proc::Shared {

HWY_EXPORT(LookUpPlane);

void ApplyCurve(const Curve& curve, const ConstPlane& source, const Plane& destination) {
    HWY_DYNAMIC_DISPATCH(LookUpPlane)(curve, source, destination);
}

}  // namespace Orvexa::Proc::Shared
#endif  // HWY_ONCE
