// Suggestions for mistyped words.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Orvexa::Proc {

/// The entry of `candidates` that was most likely meant by `word`, or an empty text.
std::string NearestName(std::string_view word, const std::vector<std::string>& candidates);

}  // namespace Orvexa::Proc
