// The pictures of a batch divided among machines that need to know nothing of each other.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Kalvatri {

struct BatchPart {
    static constexpr std::int64_t kMaxCount = 100000;
    std::uint64_t number = 1, count = 1;

    bool IsAll() const { return count == 1; }
    /// "3/8"
    std::string GetName() const { return std::to_string(number) + "/" + std::to_string(count); }
    /// Whether the picture belongs to this part. It depends on its name alone, which is relative to the folder that was
    /// given, so that pictures which are added or removed leave the others where they are.
    bool Contains(std::string_view name) const;
};

/// Reads "K/N"; an empty text stands for all pictures. Anything else throws `EffectException`.
BatchPart ParsePart(const std::string& text);

/// 64 bits by which texts are told apart, the same on every machine (FNV-1a).
std::uint64_t HashText(std::string_view text);

}  // namespace Kalvatri
