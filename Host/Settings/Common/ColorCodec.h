#pragma once

#include "Host/Conf/Color.h"
#include "Host/Settings/TextCodec.h"

namespace Orvexa::Proc {

/// Text form: #RRGGBB, or #RRGGBBAA when not opaque.
template <>
struct TextCodec<Color> {
    static std::string_view TypeName() { return "color"; }
    static std::string Format(const Color& color);
    static Color Parse(std::string_view text);
};

}  // namespace Orvexa::Proc
