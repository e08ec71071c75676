// Converts settings objects to JSON and back, through their text forms.
#pragma once

#include <set>
#include <string>

#include "Host/Core/Json.h"
#include "Host/Settings/Settings.h"

namespace Kalvatri {

using Orvexa::Core::Json;
using Orvexa::Core::ParseJson;

/// A field's text form as JSON: numbers, true and false, lists as arrays, JSON unchanged, everything else as a string.
Json FieldToJson(const Orvexa::Proc::Field& field, const std::string& text);
/// All fields; those of a group as a nested object.
Json SettingsToJson(const Orvexa::Proc::Settings& settings);
/// The fields that differ from those of `start`, in the same form.
Json DifferencesToJson(const Orvexa::Proc::Settings& settings, const Orvexa::Proc::Settings& start);
/// Sets one field, or the fields of a group. An array stands for a list, an object for a map or a group. `given`
/// collects the fields set; a field that is in it already, and the errors of `SetField`, throw `SettingsException`.
void SetFromJson(Orvexa::Proc::Settings& settings, const std::string& key, const Json& value,
                 std::set<std::string>& given);

/// Formats a document for people and programs alike: lists of numbers and of points stay on one line.
std::string FormatJson(const Json& json);

}  // namespace Kalvatri
