// Guessing what a mistyped word was meant to be.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Orvexa::Proc {

/// The entry of `candidates` that `word` was most likely meant to be, or an empty text.
std::string NearestName(std::string_view word, const std::vector<std::string>& candidates);

}  // namespace Orvexa::Proc
