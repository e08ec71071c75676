// The members of the page's requests. What is missing or wrong throws `CommandError` of wrong usage, which says what
// would be right.
#pragma once

#include <string>

#include "Cli/SettingsJson.h"

namespace Kalvatri {

inline constexpr char kReadingRequest[] = "reading the request";

const Json& Member(const Json& json, const char* key);
std::string TextMember(const Json& json, const char* key);
double NumberMember(const Json& json, const char* key, double min, double max);

/// False if it is not there.
bool FlagMember(const Json& json, const char* key);
/// Of lossy formats, the default if it is not there.
int QualityMember(const Json& json);

}  // namespace Kalvatri
