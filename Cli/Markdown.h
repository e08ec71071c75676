// Text for Markdown documents.
#pragma once

#include <string>

namespace Kalvatri {

/// Escapes the characters that would end a table cell.
inline std::string Cell(std::string text) {
    for (std::size_t at = text.find('|'); at != std::string::npos; at = text.find('|', at + 2))
        text.insert(at, 1, '\\');
    return text;
}

}  // namespace Kalvatri
