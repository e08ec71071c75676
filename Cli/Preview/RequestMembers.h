// Accessors for the members of the page's requests. Missing or wrong members throw `CommandError` for wrong usage,
// which says what would be right.
#pragma once

#include <string>

#include "Cli/SettingsJson.h"

namespace Kalvatri {

inline constexpr char kReadingRequest[] = "reading the request";

const Json& Member(const Json& json, const char* key);
std::string TextMember(const Json& json, const char* key);
double NumberMember(const Json& json, const char* key, double min, double max);

/// False if the member is absent.
bool FlagMember(const Json& json, const char* key);
/// The quality for lossy formats; the default if the member is absent.
int QualityMember(const Json& json);

}  // namespace Kalvatri
