#include "Cli/SettingsJson.h"

#include <algorithm>

#include "Host/Core/Exception.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

// The number if `text` is one in JSON's grammar, else `text` itself.
Json NumberOrText(const std::string& text) {
    const Json number = Json::parse(text, nullptr, false);
    return number.is_number() ? number : Json(text);
}

std::string ScalarText(const std::string& key, const Json& value) {
    switch (value.type()) {
        case Json::value_t::string: return value.get<std::string>();
        case Json::value_t::number_float: return Proc::FormatDouble(value.get<double>());
        case Json::value_t::boolean:
        case Json::value_t::number_integer:
        case Json::value_t::number_unsigned: return value.dump();
        default:
            Throw<Proc::SettingsException>(key + ": expected a number, a text, true or false instead of " +
                                           value.dump());
    }
}

bool IsGroup(const Proc::Settings& settings, const std::string& key) {
    const Proc::FieldList& fields = settings.GetFields();
    return std::any_of(fields.begin(), fields.end(),
                       [&](const Proc::Field& field) { return field.key.starts_with(key + "."); });
}

}  // namespace

Json FieldToJson(const Proc::Field& field, const std::string& text) {
    if (field.type == "int" || field.type == "double" || field.type == "enum") return NumberOrText(text);
    if (field.type == "bool") return text == "true";
    if (field.type == "json" && !text.empty()) return ParseJson(text);
    if (field.type != "list") return text;
    Json list = Json::array();
    for (const std::string_view part : Proc::SplitText(text, ',')) list.push_back(NumberOrText(std::string(part)));
    return list;
}

namespace {

Json ToJson(const Proc::Settings& settings, const Proc::Settings* start) {
    Json json = Json::object();
    for (const Proc::Field& field : settings.GetFields()) {
        if (start != nullptr && field.IsEqual(settings, *start)) continue;
        Json* place = &json;
        for (const std::string_view name : Proc::SplitText(field.key, '.')) place = &(*place)[std::string(name)];
        *place = FieldToJson(field, field.Format(settings));
    }
    return json;
}

}  // namespace

Json SettingsToJson(const Proc::Settings& settings) { return ToJson(settings, nullptr); }

Json DifferencesToJson(const Proc::Settings& settings, const Proc::Settings& start) { return ToJson(settings, &start); }

void SetFromJson(Proc::Settings& settings, const std::string& key, const Json& value, std::set<std::string>& given) {
    if (value.is_object() && IsGroup(settings, key)) {
        for (const auto& [name, member] : value.items()) SetFromJson(settings, key + "." + name, member, given);
        return;
    }
    if (!given.insert(key).second) Throw<Proc::SettingsException>(key + ": is given twice");
    if (!value.is_structured()) return Proc::SetField(settings, key, ScalarText(key, value));
    if (Proc::FindField(settings, key).type == "json") return Proc::SetField(settings, key, value.dump());
    std::string text;
    for (const auto& [name, member] : value.items()) {
        if (!text.empty()) text += ',';
        if (value.is_object()) text += name + ":";
        text += ScalarText(key, member);
    }
    Proc::SetField(settings, key, text);
}

namespace {

// Whether a value is written on one line: lists of numbers, of points and the like.
bool IsFlat(const Json& json) {
    return !json.is_structured() || json.empty() || (json.is_array() && std::all_of(json.begin(), json.end(), IsFlat));
}

void Write(std::string& text, const Json& json, const std::string& newLine) {
    const auto dump = [](const Json& flat) { return flat.dump(-1, ' ', false, Json::error_handler_t::replace); };
    if (IsFlat(json)) {
        text += dump(json);
        return;
    }
    const std::string inner = newLine + "  ";
    const char* separator = "";
    text += json.is_object() ? "{" : "[";
    for (const auto& [key, value] : json.items()) {
        text.append(separator).append(inner);
        if (json.is_object()) text += dump(key) + ": ";
        Write(text, value, inner);
        separator = ",";
    }
    text.append(newLine).append(json.is_object() ? "}" : "]");
}

}  // namespace

std::string FormatJson(const Json& json) {
    std::string text;
    Write(text, json, "\n");
    return text;
}

}  // namespace Kalvatri
