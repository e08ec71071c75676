#include "Host/Settings/NearestName.h"

#include <algorithm>
#include <cctype>
#include <numeric>

namespace Orvexa::Proc {

std::string NearestName(std::string_view word, const std::vector<std::string>& candidates) {
    const auto lower = [](char c) { return std::tolower(static_cast<unsigned char>(c)); };
    std::string nearest;
    std::size_t nearestDistance = word.size() / 2 + 1;  // if more than half of the letters differ, it is another word
    for (const std::string& candidate : candidates) {
        const std::size_t longer = std::max(word.size(), candidate.size()),
                          shorter = std::min(word.size(), candidate.size());
        if (longer - shorter >= nearestDistance)
            continue;  // a lower bound of the distance, since long words are expensive
        // Levenshtein distance, one row at a time, case-insensitive.
        std::vector<std::size_t> row(candidate.size() + 1);
        std::iota(row.begin(), row.end(), std::size_t{0});
        for (std::size_t i = 0; i < word.size(); ++i) {
            std::size_t diagonal = row[0];
            row[0] = i + 1;
            for (std::size_t j = 0; j < candidate.size(); ++j) {
                const std::size_t substituted = diagonal + (lower(word[i]) == lower(candidate[j]) ? 0 : 1);
                diagonal = row[j + 1];
                row[j + 1] = std::min({substituted, row[j] + 1, diagonal + 1});
            }
        }
        if (row.back() < nearestDistance) {
            nearestDistance = row.back();
            nearest = candidate;
        }
    }
    return nearest;
}

}  // namespace Orvexa::Proc
