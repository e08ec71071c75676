#include "Host/Settings/Settings.h"

#include <algorithm>
#include <cctype>

#include "Host/Core/Exception.h"
#include "Host/Settings/NearestName.h"

namespace Orvexa::Proc {

Limits Range(double min, double max) { return {min, max, {}, false}; }

Limits KeyRange(double min, double max) { return {min, max, {}, true}; }

Limits Named(std::string_view namesAndNumbers) {
    Limits limits;
    for (const std::string_view entry : SplitText(namesAndNumbers, ' ')) {
        const std::size_t equals = entry.find('=');
        limits.names.push_back(
            {std::string(entry.substr(0, equals)), ParseInteger(entry.substr(equals + 1), INT32_MIN, INT32_MAX)});
    }
    return limits;
}

namespace {

std::string KeyOf(std::string_view name) {
    std::string key(name);
    key[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(key[0])));
    return key;
}

// Replaces names by their numbers and checks numbers against the limits.
std::string CheckLimits(std::string_view text, std::string_view type, const Limits& limits) {
    if (!limits.names.empty()) {
        std::string known;
        for (const NamedValue& named : limits.names) {
            const std::string number = std::to_string(named.value);
            if (text == named.name || text == number) return number;
            known += (known.empty() ? "" : ", ") + named.name + " (" + number + ")";
        }
        ThrowNotA(text, "one of " + known);
    }
    if (!limits.min) return std::string(text);
    if (type == "int") {
        const auto min = static_cast<std::int64_t>(*limits.min), max = static_cast<std::int64_t>(*limits.max);
        ParseInteger(text, min, max, "a whole number in the range " + std::to_string(min) + ".." + std::to_string(max));
    } else if (type == "double") {
        CheckRange(text, *limits.min, *limits.max);
    } else if (type == "list" || limits.isOfKeys) {
        for (const std::string_view part : SplitText(text, ',')) {
            CheckRange(limits.isOfKeys ? part.substr(0, part.find(':')) : part, *limits.min, *limits.max);
        }
    }
    return std::string(text);
}

}  // namespace

const void* Field::Find(const Settings& settings) const {
    Settings* holder = &const_cast<Settings&>(settings);  // the same accessors read and write
    for (const Group group : groups) holder = &group(*holder);
    return value(*holder);
}

std::string Field::Format(const Settings& settings) const {
    const std::string text = operations->format(Find(settings));
    for (const NamedValue& named : limits.names) {
        if (std::to_string(named.value) == text) return named.name;
    }
    return text;
}

void Field::Parse(Settings& settings, std::string_view text) const {
    operations->parse(const_cast<void*>(Find(settings)), CheckLimits(text, type, limits));
}

bool Field::IsEqual(const Settings& a, const Settings& b) const { return operations->isEqual(Find(a), Find(b)); }

namespace Details {

void AddField(FieldList& fields, std::string_view name, Limits limits, std::string_view unit, std::string_view summary,
              const ValueOperations& operations, Field::Value value) {
    const std::string_view type = limits.names.empty() ? operations.typeName : "enum";
    fields.push_back({KeyOf(name), type, std::move(limits), unit, summary, &operations, value, {}});
}

void AddGroup(FieldList& fields, std::string_view name, const FieldList& inner, Field::Group group) {
    for (Field field : inner) {
        field.key = KeyOf(name) + "." + field.key;
        field.groups.insert(field.groups.begin(), group);
        fields.push_back(std::move(field));
    }
}

}  // namespace Details

namespace {

// The key that was most likely meant; a group's field may be named without the group: "shape" for "aperture.shape".
std::string NearestKey(std::string_view key, const std::vector<std::string>& keys) {
    std::vector<std::string> names = keys;
    for (const std::string& full : keys) names.push_back(full.substr(full.rfind('.') + 1));
    const auto found = std::find(names.begin(), names.end(), NearestName(key, names));
    return found == names.end() ? "" : keys[static_cast<std::size_t>(found - names.begin()) % keys.size()];
}

}  // namespace

const Field& FindField(const Settings& settings, std::string_view key) {
    std::vector<std::string> keys;
    for (const Field& field : settings.GetFields()) {
        if (field.key == key) return field;
        keys.push_back(field.key);
    }
    std::string message = "there is no setting \"" + std::string(key) + "\"";
    const std::string nearest = NearestKey(key, keys);
    if (keys.empty()) {
        message += ", this effect has none";
    } else if (!nearest.empty()) {
        message += "; did you mean " + nearest + "?";
    } else {
        message += "; the settings are ";
        for (std::size_t i = 0; i < keys.size(); ++i) message += (i == 0 ? "" : ", ") + keys[i];
    }
    Throw<SettingsException>(message);
}

void SetField(Settings& settings, std::string_view key, std::string_view text) {
    const Field& field = FindField(settings, key);
    try {
        field.Parse(settings, text);
    } catch (const SettingsException& exception) {
        Throw<SettingsException>(std::string(key) + ": " + exception.what());
    }
}

std::string FormatSettings(const Settings& settings) {
    std::string text;
    for (const Field& field : settings.GetFields())
        text += (text.empty() ? "" : " ") + field.key + "=" + field.Format(settings);
    return text;
}

}  // namespace Orvexa::Proc
