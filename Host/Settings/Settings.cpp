#include "Host/Settings/Settings.h"

#include <algorithm>
#include <cctype>
#include <mutex>
#include <numeric>
#include <sstream>

#include "Host/Core/Exception.h"
#include "Host/Settings/Common/Color.h"

namespace Orvexa::Proc {

void ThrowNotA(std::string_view text, std::string_view expected) {
    Throw<SettingsException>("\"" + std::string(text) + "\" is not " + std::string(expected));
}

std::vector<std::string_view> SplitText(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    if (text.empty()) return parts;
    for (;;) {
        const std::size_t end = text.find(separator);
        parts.push_back(text.substr(0, end));
        if (end == std::string_view::npos) return parts;
        text.remove_prefix(end + 1);
    }
}

std::string FormatDouble(double value) {
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

namespace {

// Reads a number that has to be all of the text.
template <class Number>
std::errc ReadNumber(std::string_view text, Number& value) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return end == text.data() + text.size() ? error : std::errc::invalid_argument;
}

std::string RangeText(std::int64_t min, std::int64_t max) {
    return "in the range " + std::to_string(min) + ".." + std::to_string(max);
}

std::int64_t ParseWhole(std::string_view text, std::int64_t min, std::int64_t max, std::string_view expected) {
    std::int64_t value = 0;
    const std::errc error = ReadNumber(text, value);
    if (error == std::errc::invalid_argument) ThrowNotA(text, expected);
    if (error != std::errc() || value < min || value > max) ThrowNotA(text, RangeText(min, max));
    return value;
}

void CheckRange(std::string_view text, const Limits& limits) {
    const std::string range = "in the range " + FormatDouble(*limits.min) + ".." + FormatDouble(*limits.max);
    double value = 0;
    if (ReadNumber(text, value) != std::errc() || std::isnan(value)) ThrowNotA(text, "a number " + range);
    if (value < *limits.min || value > *limits.max) ThrowNotA(text, range);
}

}  // namespace

double ParseDouble(std::string_view text) {
    double value = 0;
    if (ReadNumber(text, value) != std::errc() || !std::isfinite(value)) ThrowNotA(text, "a number");
    return value;
}

std::int64_t ParseInteger(std::string_view text, std::int64_t min, std::int64_t max) {
    return ParseWhole(text, min, max, "a whole number");
}

bool TextCodec<bool>::Parse(std::string_view text) {
    if (text == "true" || text == "1") return true;
    if (text == "false" || text == "0") return false;
    ThrowNotA(text, "true or false");
}

std::string TextCodec<Color>::Format(const Color& color) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text = "#";
    for (int i = 0; i < (color.alpha() == 255 ? 3 : 4); ++i) {
        text += kDigits[color[i] >> 4];
        text += kDigits[color[i] & 15];
    }
    return text;
}

Color TextCodec<Color>::Parse(std::string_view text) {
    std::uint32_t value = 0;
    const bool hasForm = (text.size() == 7 || text.size() == 9) && text[0] == '#';
    const auto [end, error] = std::from_chars(text.data() + (hasForm ? 1 : 0), text.data() + text.size(), value, 16);
    if (!hasForm || error != std::errc() || end != text.data() + text.size())
        ThrowNotA(text, "a color like #RRGGBB or #RRGGBBAA");
    if (text.size() == 7) value = value << 8 | 255;
    return Color(static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
                 static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value));
}

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
        ParseWhole(text, min, max, "a whole number " + RangeText(min, max));
    } else if (type == "double") {
        CheckRange(text, limits);
    } else if (type == "list" || limits.isOfKeys) {
        for (const std::string_view part : SplitText(text, ',')) {
            CheckRange(limits.isOfKeys ? part.substr(0, part.find(':')) : part, limits);
        }
    }
    return std::string(text);
}

}  // namespace

const void* Field::Find(const Settings& settings) const {
    Settings* holder = &const_cast<Settings&>(settings);  // the accessors serve reading and writing
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

// The key that was most likely meant, a group's field by its own name, too: "shape" for "aperture.shape".
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

std::string NearestName(std::string_view word, const std::vector<std::string>& candidates) {
    const auto lower = [](char c) { return std::tolower(static_cast<unsigned char>(c)); };
    std::string nearest;
    std::size_t nearestDistance = word.size() / 2 + 1;  // more than half of the word wrong is another word
    for (const std::string& candidate : candidates) {
        const std::size_t longer = std::max(word.size(), candidate.size()),
                          shorter = std::min(word.size(), candidate.size());
        if (longer - shorter >= nearestDistance)
            continue;  // a distance is at least that large, and long words take long
        // Levenshtein distance, one row at a time, letter case ignored.
        std::vector<std::size_t> row(candidate.size() + 1);
        std::iota(row.begin(), row.end(), std::size_t{0});
        for (std::size_t i = 0; i < word.size(); ++i) {
            std::size_t diagonal = row[0];
            row[0] = i + 1;
            for (std::size_t j = 0; j < candidate.size(); ++j) {
                const std::size_t substituted = diagonal + (lower(word[i]) == lower(candidate[j]) ? 0 : 1);
                diagonal = row[j + 1];
                row[j + 1] = std::min({substituted, row[j] + 1, diagonal + 1});
            }
        }
        if (row.back() < nearestDistance) {
            nearestDistance = row.back();
            nearest = candidate;
        }
    }
    return nearest;
}

namespace {

struct Catalogue {
    std::mutex mutex;
    std::map<std::string, SettingsClass, std::less<>> classes;
};

Catalogue& TheCatalogue() {
    static Catalogue catalogue;
    return catalogue;
}

}  // namespace

const SettingsClass* SettingsCatalogue::Find(std::string_view classId) {
    Catalogue& catalogue = TheCatalogue();
    const std::lock_guard lock(catalogue.mutex);
    const auto found = catalogue.classes.find(classId);
    return found == catalogue.classes.end() ? nullptr : &found->second;
}

std::vector<const SettingsClass*> SettingsCatalogue::GetAll() {
    Catalogue& catalogue = TheCatalogue();
    const std::lock_guard lock(catalogue.mutex);
    std::vector<const SettingsClass*> all;
    for (const auto& [classId, settingsClass] : catalogue.classes) all.push_back(&settingsClass);
    return all;
}

bool SettingsCatalogue::Add(SettingsClass settingsClass) {
    Catalogue& catalogue = TheCatalogue();
    const std::lock_guard lock(catalogue.mutex);
    std::string key = settingsClass.classId;
    return catalogue.classes.emplace(std::move(key), std::move(settingsClass)).second;
}

}  // namespace Orvexa::Proc
