// Settings objects to JSON and back, by way of their text forms.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "Host/Settings/Settings.h"

namespace Kalvatri {

using Json = nlohmann::ordered_json;

/// A field's text form as JSON: numbers, true and false, lists as arrays, everything else as a string.
Json FieldToJson(const Orvexa::Proc::Field& field, const std::string& text);
/// All fields; those of a group as an object of its own.
Json SettingsToJson(const Orvexa::Proc::Settings& settings);
/// Sets one field, or the fields of a group. An array stands for a list; an object for a map or a group. Errors as `SetField`.
void SetFromJson(Orvexa::Proc::Settings& settings, const std::string& key, const Json& value);

/// Parses a JSON text; an error throws `SettingsException` with the place.
Json ParseJson(const std::string& text);
/// The text of a document for people and programs alike.
std::string FormatJson(const Json& json);

}  // namespace Kalvatri
