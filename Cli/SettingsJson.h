// Settings objects to JSON and back, by way of their text forms.
#pragma once

#include <set>
#include <string>

#include "Host/Core/Json.h"
#include "Host/Settings/Settings.h"

namespace Kalvatri {

using Orvexa::Core::Json;
using Orvexa::Core::ParseJson;

/// A field's text form as JSON: numbers, true and false, lists as arrays, JSON as it is, everything else as a string.
Json FieldToJson(const Orvexa::Proc::Field& field, const std::string& text);
/// All fields; those of a group as an object of its own.
Json SettingsToJson(const Orvexa::Proc::Settings& settings);
/// The fields that differ from those of `start`, as above.
Json DifferencesToJson(const Orvexa::Proc::Settings& settings, const Orvexa::Proc::Settings& start);
/// Sets one field, or the fields of a group. An array stands for a list; an object for a map or a group. `given`
/// collects the fields; one that is there already, and errors as of `SetField`, throw `SettingsException`.
void SetFromJson(Orvexa::Proc::Settings& settings, const std::string& key, const Json& value,
                 std::set<std::string>& given);

/// The text of a document for people and programs alike: lists of numbers and of points on one line.
std::string FormatJson(const Json& json);

}  // namespace Kalvatri
