// Conversion of settings values to and from text.
#pragma once

#include <charconv>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "Host/Core/Path.h"

namespace Orvexa::Proc {

/// `TypeName`, `Format` and `Parse` for a value type. `Parse` throws `SettingsException` with a description of the
/// error.
template <class T>
struct TextCodec;

/// Throws the standard message: `"text" is not <expected>`.
[[noreturn]] void ThrowNotA(std::string_view text, std::string_view expected);
/// Splits `text` at each `separator`; an empty text has no parts.
std::vector<std::string_view> SplitText(std::string_view text, char separator);
std::string FormatDouble(double value);
double ParseDouble(std::string_view text);
/// A whole number in the range, inclusive; `expected` is the description used in the error message.
std::int64_t ParseInteger(std::string_view text, std::int64_t min, std::int64_t max,
                          std::string_view expected = "a whole number");
/// Throws unless the text is a number in the range, inclusive.
void CheckRange(std::string_view text, double min, double max);

template <>
struct TextCodec<bool> {
    static std::string_view TypeName() { return "bool"; }
    static std::string Format(bool value) { return value ? "true" : "false"; }
    static bool Parse(std::string_view text);
};

template <std::integral T>
struct TextCodec<T> {
    static std::string_view TypeName() { return "int"; }
    static std::string Format(T value) { return std::to_string(value); }
    static T Parse(std::string_view text) {
        return static_cast<T>(ParseInteger(text, static_cast<std::int64_t>(std::numeric_limits<T>::min()),
                                           std::numeric_limits<T>::max() > std::numeric_limits<std::int64_t>::max()
                                               ? std::numeric_limits<std::int64_t>::max()
                                               : static_cast<std::int64_t>(std::numeric_limits<T>::max())));
    }
};

template <std::floating_point T>
struct TextCodec<T> {
    static std::string_view TypeName() { return "double"; }
    static std::string Format(T value) { return FormatDouble(value); }
    static T Parse(std::string_view text) { return static_cast<T>(ParseDouble(text)); }
};

/// Enumerations as numbers; names, if there are any, are handled by the field.
template <class T>
requires std::is_enum_v<T>
struct TextCodec<T> {
    using Number = std::underlying_type_t<T>;
    static std::string_view TypeName() { return "enum"; }
    static std::string Format(T value) { return std::to_string(static_cast<std::int64_t>(value)); }
    static T Parse(std::string_view text) { return static_cast<T>(TextCodec<Number>::Parse(text)); }
};

template <>
struct TextCodec<std::string> {
    static std::string_view TypeName() { return "string"; }
    static std::string Format(const std::string& value) { return value; }
    static std::string Parse(std::string_view text) { return std::string(text); }
};

template <>
struct TextCodec<Core::ioPath> {
    static std::string_view TypeName() { return "path"; }
    static std::string Format(const Core::ioPath& value) { return value.string(); }
    static Core::ioPath Parse(std::string_view text) { return Core::ioPath(text); }
};

/// Lists: a,b,c
template <class T>
struct TextCodec<std::vector<T>> {
    static std::string_view TypeName() { return "list"; }
    static std::string Format(const std::vector<T>& values) {
        std::string text;
        for (const T& value : values) text += (text.empty() ? "" : ",") + TextCodec<T>::Format(value);
        return text;
    }
    static std::vector<T> Parse(std::string_view text) {
        std::vector<T> values;
        for (const std::string_view part : SplitText(text, ',')) values.push_back(TextCodec<T>::Parse(part));
        return values;
    }
};

/// Maps: key:value,key:value
template <class K, class V>
struct TextCodec<std::map<K, V>> {
    static std::string_view TypeName() { return "map"; }
    static std::string Format(const std::map<K, V>& values) {
        std::string text;
        for (const auto& [key, value] : values) {
            text += (text.empty() ? "" : ",") + TextCodec<K>::Format(key) + ":" + TextCodec<V>::Format(value);
        }
        return text;
    }
    static std::map<K, V> Parse(std::string_view text) {
        std::map<K, V> values;
        for (const std::string_view part : SplitText(text, ',')) {
            const std::size_t colon = part.find(':');
            if (colon == std::string_view::npos) ThrowNotA(part, "of the form key:value");
            const K key = TextCodec<K>::Parse(part.substr(0, colon));
            if (!values.emplace(key, TextCodec<V>::Parse(part.substr(colon + 1))).second)
                ThrowNotA(part, "new: its key was given before");
        }
        return values;
    }
};

/// Functions have no text form; they can only be set in C++.
template <class Signature>
struct TextCodec<std::function<Signature>> {
    static std::string_view TypeName() { return "function"; }
    static std::string Format(const std::function<Signature>& value) { return value ? "(function)" : ""; }
    [[noreturn]] static std::function<Signature> Parse(std::string_view text) {
        ThrowNotA(text, "a C++ function, and nothing else can be given here");
    }
};

}  // namespace Orvexa::Proc
