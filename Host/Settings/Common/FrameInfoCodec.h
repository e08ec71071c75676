#pragma once

#include "Host/Conf/FrameInfo.h"
#include "Host/Settings/TextCodec.h"

namespace Orvexa::Proc {

/// Text form: width,height,numerator,denominator
template <>
struct TextCodec<Conf::FrameInfo> {
    static std::string_view TypeName() { return "list"; }
    static std::string Format(const Conf::FrameInfo& info) {
        return TextCodec<std::vector<std::uint32_t>>::Format(
            {info.width, info.height, info.aspect.numerator, info.aspect.denominator});
    }
    static Conf::FrameInfo Parse(std::string_view text) {
        const auto values = TextCodec<std::vector<std::uint32_t>>::Parse(text);
        if (values.size() != 4) ThrowNotA(text, "of the form width,height,numerator,denominator");
        return {values[0], values[1], {values[2], values[3]}};
    }
};

}  // namespace Orvexa::Proc
