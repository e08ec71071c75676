// JSON from external sources: chains of effects, a batch's ledger, the manifest of neural models.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "Host/Core/Path.h"

namespace Orvexa::Core {

/// Preserves the order of an object's members.
using Json = nlohmann::ordered_json;

// Far beyond what any document of this system needs. Printing and copying a document takes stack space for each level,
// and member lookup is linear in the number of members.
inline constexpr std::size_t kMaxJsonDepth = 64, kMaxJsonMembers = 4096, kMaxJsonBytes = std::size_t{4} << 20;

/// Parses a JSON text. Throws `SettingsException` for malformed text, duplicate keys in an object, numbers beyond the
/// range of a double, more than `kMaxJsonDepth` levels or more than `kMaxJsonMembers` members in an object.
Json ParseJson(std::string_view text);

/// The whole content of a stream or a file. Failures, folders and more than `kMaxJsonBytes` throw `EffectException`.
std::string ReadJsonText(std::istream& stream);
std::string ReadJsonText(const ioPath& file);

}  // namespace Orvexa::Core
