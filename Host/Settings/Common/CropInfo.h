#pragma once

#include <algorithm>
#include <cstdint>

#include "Host/Settings/TextCodec.h"

namespace Orvexa::Proc {

/// A rectangle of pixels; right and bottom are exclusive. Also used for four margins.
struct CropInfo {
    std::uint32_t left = 0;
    std::uint32_t right = 0;
    std::uint32_t top = 0;
    std::uint32_t bottom = 0;

    constexpr bool operator==(const CropInfo&) const = default;

    /// The empty rectangle, which any `Apart` turns into a single pixel: left and top all ones, right and bottom 0.
    static constexpr CropInfo Nothing() { return {~0u, 0, ~0u, 0}; }
    /// Extends the rectangle to contain pixel (x, y).
    constexpr const CropInfo& Apart(std::uint32_t x, std::uint32_t y) {
        left = std::min(left, x);
        right = std::max(right, x + 1);
        top = std::min(top, y);
        bottom = std::max(bottom, y + 1);
        return *this;
    }
    /// The smallest rectangle that contains both.
    constexpr CropInfo Union(const CropInfo& other) const {
        return {std::min(left, other.left), std::max(right, other.right), std::min(top, other.top),
                std::max(bottom, other.bottom)};
    }
};

/// Text form: left,right,top,bottom
template <>
struct TextCodec<CropInfo> {
    static std::string_view TypeName() { return "list"; }
    static std::string Format(const CropInfo& crop) {
        return TextCodec<std::vector<std::uint32_t>>::Format({crop.left, crop.right, crop.top, crop.bottom});
    }
    static CropInfo Parse(std::string_view text) {
        const auto values = TextCodec<std::vector<std::uint32_t>>::Parse(text);
        if (values.size() != 4) ThrowNotA(text, "of the form left,right,top,bottom");
        return {values[0], values[1], values[2], values[3]};
    }
};

}  // namespace Orvexa::Proc
