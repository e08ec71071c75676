// Settings objects, each field declared once.
//
// A settings class names itself with ORVEXA_SETTINGS and lists its fields, one line each, with ORVEXA_FIELD (accessors GetX, SetX)
// or ORVEXA_FLAG (IsX, SetX). Members, accessors, defaults, equality, parsing, description and help follow from these lines:
//
//     class SettingsEffectTone final : public Settings {
//         ORVEXA_SETTINGS(SettingsEffectTone, "Tone", "tone", "Makes a picture brighter.")
//         ORVEXA_EQUALITY(SettingsEffectTone)
//         ORVEXA_FIELD(double, Gain, 1.0, Range(0, 8), "factor", "How much brighter.")
//         ORVEXA_FIELD(int, Mode, 0, Named("plain=0 soft=1"), "", "How highlights are treated.")
//         ORVEXA_GROUP(SettingsEffectShape, Shape)
//     };
//
// A field's key is its name with a small first letter; a group's fields are keyed group.field. ORVEXA_GROUP_FROM gives a group defaults of
// its own. Ranges are checked where text enters, not by
// the setters. A class without equality leaves the ORVEXA_EQUALITY line out.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Host/Conf/PixFmt.h"
#include "Host/Settings/TextCodec.h"

namespace Orvexa::Proc {

class Settings;

struct NamedValue {
    std::string name;
    std::int64_t value;
};

/// What a field accepts when it is given as text.
struct Limits {
    std::optional<double> min, max;
    std::vector<NamedValue> names;
    bool isOfKeys = false;  ///< the range is that of a map's keys
};
/// Numbers (or the numbers of a list) from `min` to `max`, both included.
Limits Range(double min, double max);
/// Keys of a map from `min` to `max`, both included.
Limits KeyRange(double min, double max);
/// Numbers with names: "ellipse=0 circle=1". A field with names accepts these numbers and names only.
Limits Named(std::string_view namesAndNumbers);
/// No limits beyond the type's own.
inline Limits Any() { return {}; }

/// A settings field at run time.
struct Field {
    std::string key;
    std::string_view type;  ///< bool, int, double, enum, color, string, list, map, ...
    Limits limits;
    std::string_view unit;
    std::string_view summary;
    std::function<std::string(const Settings&)> format;
    std::function<void(Settings&, std::string_view)> parse;  ///< throws `SettingsException`
    std::function<bool(const Settings&, const Settings&)> isEqual;
};

using FieldList = std::vector<Field>;

/// Base of all settings classes.
class Settings {
public:
    virtual ~Settings() = default;
    /// True when these settings ask for nothing, so that an effect may leave its frame alone.
    virtual bool IsEmpty() const { return false; }
    /// Whether an effect of two pictures needs the second one with these settings.
    virtual bool NeedsSecondInput() const { return true; }
    /// How many pixels the result has that an effect with these settings makes of a picture of `pixels`.
    virtual std::uint64_t GetResultPixels(std::uint64_t pixels) const { return pixels; }
    virtual const std::string& GetClassId() const = 0;
    virtual const FieldList& GetFields() const = 0;
    virtual std::unique_ptr<Settings> Copy() const = 0;

protected:
    Settings() = default;
    Settings(const Settings&) = default;
    Settings& operator=(const Settings&) = default;
};

/// Sets one field from text. An unknown key, malformed text or a value out of range throws `SettingsException` with a text that says what
/// would be right.
void SetField(Settings& settings, std::string_view key, std::string_view text);
/// The field called `key`; throws like `SetField`.
const Field& FindField(const Settings& settings, std::string_view key);
/// key=value pairs, separated by blanks.
std::string FormatSettings(const Settings& settings);
/// The entry of `candidates` that `word` was most likely meant to be, or an empty text.
std::string NearestName(std::string_view word, const std::vector<std::string>& candidates);

/// What is known about a settings class before any object of it exists.
struct SettingsClass {
    std::string classId;
    std::string effect;  ///< the effect's name for people; empty for the host's sub-effects
    std::string group;
    std::string summary;
    std::unique_ptr<Settings> (*create)();  ///< with the defaults, or the class's own Preset()
    PixFmt (*getSecondInput)();             ///< the format that a second picture has to be in; `None` for any
    double bytesPerPixel;                   ///< see `Details::GetBytesPerPixel`
};

/// Every settings class of the loaded libraries; the module's classes appear when the module is loaded.
class SettingsCatalogue {
public:
    static const SettingsClass* Find(std::string_view classId);
    static std::vector<const SettingsClass*> GetAll();
    static bool Add(SettingsClass settingsClass);
};

namespace Details {

inline constexpr int kMaxFieldLines = 96;  // a settings class has no more lines than this
template <int Line>
using LineTag = std::integral_constant<int, Line>;

template <class S, class T>
struct FieldDeclaration {
    using Class = S;
    using Value = T;
    T S::*member;
    const char* name;
    Limits (*limits)();
    const char* unit;
    const char* summary;
    bool isGroup;
};

/// Calls `visit` with the declaration of every field of S, in the order of their lines.
template <class S, class Visitor>
constexpr void VisitFields(Visitor&& visit) {
    const auto visitLine = [&]<int Line>(LineTag<Line> line) {
        if constexpr (requires { S::FieldOnLine(line); }) visit(S::FieldOnLine(line));
    };
    [&]<int... Lines>(std::integer_sequence<int, Lines...>) { (visitLine(LineTag<Lines>{}), ...); }
    (std::make_integer_sequence<int, kMaxFieldLines>{});
}

std::string KeyOf(std::string_view name);
std::string FormatWithNames(std::string text, const Limits& limits);
/// Replaces names by their numbers and checks numbers against the limits.
std::string CheckLimits(std::string_view text, std::string_view type, const Limits& limits);

/// Equality where the type has it; functions and classes without equality are never equal.
template <class T>
bool ValuesEqual(const T& a, const T& b) {
    if constexpr (std::equality_comparable<T>) return a == b;
    return false;
}

template <class S>
FieldList MakeFieldList() {
    FieldList fields;
    VisitFields<S>([&](const auto& declaration) {
        using T = typename std::decay_t<decltype(declaration)>::Value;
        const auto member = declaration.member;
        if constexpr (std::is_base_of_v<Settings, T>) {
            for (Field inner : T::Fields()) {
                inner.key = KeyOf(declaration.name) + "." + inner.key;
                inner.format = [member, format = inner.format](const Settings& s) { return format(static_cast<const S&>(s).*member); };
                inner.parse = [member, parse = inner.parse](Settings& s, std::string_view text) {
                    parse(static_cast<S&>(s).*member, text);
                };
                inner.isEqual = [member, isEqual = inner.isEqual](const Settings& a, const Settings& b) {
                    return isEqual(static_cast<const S&>(a).*member, static_cast<const S&>(b).*member);
                };
                fields.push_back(std::move(inner));
            }
        } else {
            Field field;
            field.key = KeyOf(declaration.name);
            field.limits = declaration.limits();
            field.type = field.limits.names.empty() ? TextCodec<T>::TypeName() : "enum";
            field.unit = declaration.unit;
            field.summary = declaration.summary;
            field.format = [member, limits = field.limits](const Settings& s) {
                return FormatWithNames(TextCodec<T>::Format(static_cast<const S&>(s).*member), limits);
            };
            field.parse = [member, type = field.type, limits = field.limits](Settings& s, std::string_view text) {
                static_cast<S&>(s).*member = TextCodec<T>::Parse(CheckLimits(text, type, limits));
            };
            field.isEqual = [member](const Settings& a, const Settings& b) {
                return ValuesEqual(static_cast<const S&>(a).*member, static_cast<const S&>(b).*member);
            };
            fields.push_back(std::move(field));
        }
    });
    return fields;
}

template <class S>
bool FieldsEqual(const S& a, const S& b) {
    bool isEqual = true;
    VisitFields<S>([&](const auto& declaration) { isEqual = isEqual && ValuesEqual(a.*declaration.member, b.*declaration.member); });
    return isEqual;
}

/// Settings to start from: the defaults, unless the class declares that people should start from something else.
template <class S>
std::unique_ptr<Settings> CreateSettings() {
    if constexpr (requires { S::Preset(); }) {
        return std::make_unique<S>(S::Preset());
    } else {
        return std::make_unique<S>();
    }
}

/// The format of the second picture, for a class that declares kSecondInput.
template <class S>
PixFmt GetSecondInput() {
    if constexpr (requires { S::kSecondInput; }) return S::kSecondInput;
    return PixFmt::None;
}

/// The memory that an effect takes at its peak, in bytes per pixel of the larger one of its picture and its result, both included, when
/// pictures have 4 bytes a pixel. An effect that takes more than two such pictures declares kBytesPerPixel; `scripts/memory.sh` compares
/// with what is measured.
template <class S>
constexpr double GetBytesPerPixel() {
    if constexpr (requires { S::kBytesPerPixel; }) return S::kBytesPerPixel;
    return 8;
}

/// Accessors hand out small values by value, others by reference.
template <class T>
using Accessed = std::conditional_t<std::is_arithmetic_v<T> || std::is_enum_v<T>, T, const T&>;

}  // namespace Details

#define ORVEXA_SETTINGS(Class, EffectName, Group, Summary)                                                                      \
public:                                                                                                                         \
    static inline const std::string CLASS_ID = #Class;                                                                          \
    static constexpr std::string_view kClassName = #Class;                                                                      \
    const std::string& GetClassId() const override { return CLASS_ID; }                                                         \
    const ::Orvexa::Proc::FieldList& GetFields() const override { return Fields(); }                                            \
    std::unique_ptr<::Orvexa::Proc::Settings> Copy() const override { return std::make_unique<Class>(*this); }                  \
    static const ::Orvexa::Proc::FieldList& Fields() {                                                                          \
        static const ::Orvexa::Proc::FieldList fields = ::Orvexa::Proc::Details::MakeFieldList<Class>();                        \
        return fields;                                                                                                          \
    }                                                                                                                           \
                                                                                                                                \
private:                                                                                                                        \
    using SelfT = Class;                                                                                                        \
    static constexpr int kFirstLine = __LINE__;                                                                                 \
    static inline const bool kIsCatalogued = ::Orvexa::Proc::SettingsCatalogue::Add(                                            \
        {#Class, EffectName, Group, Summary, [] { return ::Orvexa::Proc::Details::CreateSettings<Class>(); },                   \
         [] { return ::Orvexa::Proc::Details::GetSecondInput<Class>(); }, ::Orvexa::Proc::Details::GetBytesPerPixel<Class>()}); \
                                                                                                                                \
public:

#define ORVEXA_EQUALITY(Class) \
    friend bool operator==(const Class& a, const Class& b) { return ::Orvexa::Proc::Details::FieldsEqual(a, b); }

#define ORVEXA_FIELD_MEMBER(Type, Name, Initial, LimitsValue, Unit, Summary, IsGroup)                    \
private:                                                                                                 \
    Type value##Name##_ = Initial;                                                                       \
                                                                                                         \
public:                                                                                                  \
    static constexpr auto FieldOnLine(::Orvexa::Proc::Details::LineTag<__LINE__ - kFirstLine>) {         \
        return ::Orvexa::Proc::Details::FieldDeclaration<SelfT, Type>{                                   \
            &SelfT::value##Name##_, #Name, +[]() -> ::Orvexa::Proc::Limits { return LimitsValue; }, Unit, Summary, IsGroup}; \
    }                                                                                                    \
    void Set##Name(Type value) { value##Name##_ = std::move(value); }                                    \
    bool Is##Name##Default() const { return Is##Name##Equal(SelfT()); }                                  \
    bool Is##Name##Equal(const SelfT& other) const { return ::Orvexa::Proc::Details::ValuesEqual(value##Name##_, other.value##Name##_); }

#define ORVEXA_FIELD(Type, Name, Initial, LimitsValue, Unit, Summary)           \
    ORVEXA_FIELD_MEMBER(Type, Name, Initial, LimitsValue, Unit, Summary, false) \
    ::Orvexa::Proc::Details::Accessed<Type> Get##Name() const { return value##Name##_; }

#define ORVEXA_FLAG(Name, Initial, Summary)                                             \
    ORVEXA_FIELD_MEMBER(bool, Name, Initial, ::Orvexa::Proc::Any(), "", Summary, false) \
    bool Is##Name() const { return value##Name##_; }

#define ORVEXA_GROUP(Type, Name) ORVEXA_GROUP_FROM(Type, Name, Type())

#define ORVEXA_GROUP_FROM(Type, Name, Initial)                                    \
    ORVEXA_FIELD_MEMBER(Type, Name, Initial, ::Orvexa::Proc::Any(), "", "", true) \
    const Type& Get##Name() const { return value##Name##_; }                      \
    Type& Get##Name() { return value##Name##_; }

}  // namespace Orvexa::Proc
