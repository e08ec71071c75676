#pragma once

#include <cstddef>
#include <string_view>

namespace Orvexa::Io::Details {

/// The number in these bytes, the highest one first.
inline std::size_t BigEndian(std::string_view bytes) {
    std::size_t number = 0;
    for (const char byte : bytes) number = number << 8 | static_cast<unsigned char>(byte);
    return number;
}

}  // namespace Orvexa::Io::Details
