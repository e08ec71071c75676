// Divides the pictures of a batch among machines that need not know about each other.
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
    /// Whether the picture belongs to this part. This depends only on its name relative to the given folder, so that
    /// adding or removing pictures does not move the others.
    bool Contains(std::string_view name) const;
};

/// Parses "K/N"; an empty text stands for all pictures. Anything else throws `EffectException`.
BatchPart ParsePart(const std::string& text);

/// A 64-bit hash (FNV-1a), the same on every machine.
std::uint64_t HashText(std::string_view text);

}  // namespace Kalvatri
