// JSON that comes from outside: chains of effects, a batch's record, the manifest of neural models.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "Host/Core/Path.h"

namespace Orvexa::Core {

/// Keeps the order of an object's members.
using Json = nlohmann::ordered_json;

// Far beyond what any document of this system needs. Printing and copying a document takes stack for each level, and
// finding a member takes time for each member.
inline constexpr std::size_t kMaxJsonDepth = 64, kMaxJsonMembers = 4096, kMaxJsonBytes = std::size_t{4} << 20;

/// Parses a JSON text. Malformed text, a key that stands twice in an object, numbers beyond the range of a double, more
/// than `kMaxJsonDepth` levels and more than `kMaxJsonMembers` members in an object throw `SettingsException`.
Json ParseJson(std::string_view text);

/// All of a stream or of a file. Failures, folders and more than `kMaxJsonBytes` throw `EffectException`.
std::string ReadJsonText(std::istream& stream);
std::string ReadJsonText(const ioPath& file);

}  // namespace Orvexa::Core
