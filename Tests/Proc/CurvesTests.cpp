// Tone curves applied to planes.

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "Proc/Effects/EffectsPhoto/Shared/Curves.h"

namespace Orvexa::Proc::Shared {
namespace {

// Vectors, their halves and the bytes that are left over, for any table.
TEST(Curves, EveryByteGoesThroughTheTableAndNothingElseIsTouched) {
    std::mt19937 random(11);
    Curve curve;
    for (auto& entry : curve) entry = static_cast<std::uint8_t>(random());
    constexpr std::uint64_t kStride = 320, kHeight = 3;
    std::vector<std::uint8_t> source(kStride * kHeight);
    for (std::size_t i = 0; i < source.size(); ++i)
        source[i] = static_cast<std::uint8_t>(i * 37 + 5);  // every value, in every lane

    for (const std::uint64_t width : {1, 7, 8, 31, 32, 63, 64, 65, 130, 256, 300}) {
        for (const bool isInPlace : {false, true}) {
            std::vector<std::uint8_t> result = isInPlace ? source : std::vector<std::uint8_t>(source.size(), 77);
            const std::vector<std::uint8_t> before = result;
            const Plane destination(result.data(), kStride, width, kHeight, 1, false);
            ApplyCurve(
                curve,
                isInPlace ? ConstPlane(destination) : ConstPlane(source.data(), kStride, width, kHeight, 1, false),
                destination);
            for (std::size_t i = 0; i < result.size(); ++i) {
                const auto expected = i % kStride < width ? curve[source[i]] : before[i];
                ASSERT_EQ(result[i], expected) << "width " << width << ", byte " << i;
            }
        }
    }
}

}  // namespace
}  // namespace Orvexa::Proc::Shared
