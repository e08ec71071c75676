// Settings objects, with each field declared once.
//
// A settings class names itself with ORVEXA_SETTINGS and lists its fields, one line each, with ORVEXA_FIELD (accessors
// GetX, SetX) or ORVEXA_FLAG (IsX, SetX). Members, accessors, defaults, equality, parsing, description and help are
// generated from these lines:
//
//     class SettingsEffectTone final : public Settings {
//         ORVEXA_SETTINGS(SettingsEffectTone, "Tone", Groups::kTone, "Makes a picture brighter.")
//         ORVEXA_EQUALITY(SettingsEffectTone)
//         ORVEXA_FIELD(double, Gain, 1.0, Range(0, 8), "factor", "How much brighter.")
//         ORVEXA_FIELD(int, Mode, 0, Named("plain=0 soft=1"), "", "How highlights are treated.")
//         ORVEXA_GROUP(SettingsEffectShape, Shape)
//     };
//
// A field's key is its name with a lower-case first letter; the fields of a group have keys of the form group.field.
// ORVEXA_GROUP_FROM gives a group defaults of its own. Ranges are checked where text is parsed, not by the setters. A
// class without equality omits the ORVEXA_EQUALITY line.
//
// Classes may share fields: a base names itself with ORVEXA_BASE_SETTINGS and lists them with ORVEXA_BASE_FIELD;
// ORVEXA_FIELDS_OF in a derived class lists them before its own. ORVEXA_INHERITED_FIELD turns a member that a base
// declared only with ORVEXA_MEMBER into a field, for the classes in which it may be set from text.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Host/Conf/PixFmt.h"
#include "Host/Settings/Groups.h"
#include "Host/Settings/TextCodec.h"

namespace Orvexa::Proc {

class Settings;

struct NamedValue {
    std::string name;
    std::int64_t value;
};

/// The values that a field accepts when set from text.
struct Limits {
    std::optional<double> min, max;
    std::vector<NamedValue> names;
    bool isOfKeys = false;  ///< the range applies to a map's keys
};
/// Numbers (or the numbers in a list) from `min` to `max`, inclusive.
Limits Range(double min, double max);
/// Keys of a map from `min` to `max`, inclusive.
Limits KeyRange(double min, double max);
/// Named numbers: "ellipse=0 circle=1". The field accepts only these numbers and names.
Limits Named(std::string_view namesAndNumbers);
/// No limits beyond the type's own.
inline Limits Any() { return {}; }

/// How values of one type are formatted, parsed and compared, independently of the class that holds them.
struct ValueOperations {
    std::string_view typeName;
    std::string (*format)(const void* value);
    void (*parse)(void* value, std::string_view text);
    bool (*isEqual)(const void* a, const void* b);
};

/// A settings field at run time. Its functions must be given settings of the class that declares the field.
struct Field {
    using Value = void* (*)(Settings&);
    using Group = Settings& (*)(Settings&);

    std::string key;
    std::string_view type;  ///< bool, int, double, enum, color, string, list, map, ...
    Limits limits;
    std::string_view unit;
    std::string_view summary;
    const ValueOperations* operations;
    Value value;                ///< the member in the object that holds it
    std::vector<Group> groups;  ///< the path from the settings to that object, outermost group first

    std::string Format(const Settings& settings) const;
    /// Throws `SettingsException`.
    void Parse(Settings& settings, std::string_view text) const;
    bool IsEqual(const Settings& a, const Settings& b) const;

private:
    const void* Find(const Settings& settings) const;
};

using FieldList = std::vector<Field>;

/// A result that an effect has found in a picture, such as an angle: its name, and its value as JSON text.
struct Finding {
    std::string key;
    std::string json;
};

/// Base of all settings classes.
class Settings {
public:
    virtual ~Settings() = default;
    /// True if these settings have no effect, so that an effect may leave its frame unchanged.
    virtual bool IsEmpty() const { return false; }
    /// Whether a two-input effect needs the second picture with these settings.
    virtual bool NeedsSecondInput() const { return true; }
    /// The number of pixels in the result when the picture has `pixels`.
    virtual std::uint64_t GetResultPixels(std::uint64_t pixels) const { return pixels; }
    /// The findings of the effect that holds these settings in its last picture.
    virtual std::vector<Finding> GetFindings() const { return {}; }
    virtual const std::string& GetClassId() const = 0;
    virtual const FieldList& GetFields() const = 0;
    virtual std::unique_ptr<Settings> Copy() const = 0;

protected:
    Settings() = default;
    Settings(const Settings&) = default;
    Settings& operator=(const Settings&) = default;
};

/// Sets one field from text. An unknown key, malformed text or a value out of range throws `SettingsException` with a
/// message that says what would be right.
void SetField(Settings& settings, std::string_view key, std::string_view text);
/// The field called `key`; throws like `SetField`.
const Field& FindField(const Settings& settings, std::string_view key);
/// key=value pairs, separated by spaces.
std::string FormatSettings(const Settings& settings);

/// How an effect treats a picture's transparency.
enum class AlphaUse : std::uint8_t {
    Kept,     ///< or changed or replaced, as the effect intends
    Dropped,  ///< the effect works on formats without alpha
    Blurred,  ///< dropped, and the colours of hidden pixels bleed into visible ones
    Made,     ///< producing transparency is the purpose of the effect
};

/// What is known about a settings class without an object of it.
struct SettingsClass {
    std::string classId;
    std::string effect;  ///< the effect's user-visible name; empty for the host's sub-effects
    std::string group;
    std::string summary;
    std::unique_ptr<Settings> (*create)();  ///< with the defaults, or the class's own Preset()
    PixFmt (*getSecondInput)();             ///< the required format of a second picture; `None` for any
    double bytesPerPixel;                   ///< see `Details::GetBytesPerPixel`
    AlphaUse alpha;
};

/// Every settings class of the loaded libraries; the module's classes appear when the module is loaded.
class SettingsCatalogue {
public:
    static const SettingsClass* Find(std::string_view classId);
    static std::vector<const SettingsClass*> GetAll();
    static bool Add(SettingsClass settingsClass);
};

namespace Details {

inline constexpr int kMaxFieldLines = 96;  // limits the number of lines in a settings class
template <int Line>
using LineTag = std::integral_constant<int, Line>;

template <class S, class T>
struct FieldDeclaration {
    using Value = T;
    T S::*member;
    const char* name;
    Limits (*limits)();
    const char* unit;
    const char* summary;
};

template <class S, int Line>
concept HasFieldOnLine = requires {
    S::FieldOnLine(LineTag<Line>{});
};

template <class S, int... Lines>
consteval auto FindFieldLines(std::integer_sequence<int, Lines...>) {
    constexpr std::size_t kCount = (std::size_t{HasFieldOnLine<S, Lines>} + ...);
    std::array<int, kCount> lines{};
    std::size_t count = 0;
    ((HasFieldOnLine<S, Lines> ? void(lines[count++] = Lines) : void()), ...);
    return lines;
}

template <class S, int Line>
inline constexpr auto kDeclaration = S::FieldOnLine(LineTag<Line>{});

/// The lines of S, relative to its first, that declare fields.
template <class S>
inline constexpr auto kFieldLines = FindFieldLines<S>(std::make_integer_sequence<int, kMaxFieldLines>{});

/// Calls `visit` with a LineTag for every field of S, in the order of their lines.
template <class S, class Visitor>
constexpr void VisitFieldLines(Visitor&& visit) {
    [&]<std::size_t... Fields>(std::index_sequence<Fields...>) {
        (visit(LineTag<kFieldLines<S>[Fields]> {}), ...);
    }
    (std::make_index_sequence<kFieldLines<S>.size()>{});
}

/// Equality if the type has it; functions and classes without equality never compare equal.
template <class T>
bool ValuesEqual(const T& a, const T& b) {
    if constexpr (std::equality_comparable<T>) return a == b;
    return false;
}

template <class T>
inline const ValueOperations kValueOperations{
    TextCodec<T>::TypeName(),
    [](const void* value) { return TextCodec<T>::Format(*static_cast<const T*>(value)); },
    [](void* value, std::string_view text) { *static_cast<T*>(value) = TextCodec<T>::Parse(text); },
    [](const void* a, const void* b) { return ValuesEqual(*static_cast<const T*>(a), *static_cast<const T*>(b)); },
};

template <class S, int Line>
auto& MemberOnLine(Settings& settings) {
    return static_cast<S&>(settings).*kDeclaration<S, Line>.member;
}

void AddField(FieldList& fields, std::string_view name, Limits limits, std::string_view unit, std::string_view summary,
              const ValueOperations& operations, Field::Value value);
/// Adds the fields of a nested settings object, under the keys group.field.
void AddGroup(FieldList& fields, std::string_view name, const FieldList& inner, Field::Group group);

template <class S>
FieldList MakeFieldList() {
    FieldList fields;
    if constexpr (requires { typename S::FieldsBase; }) fields = S::FieldsBase::Fields();
    VisitFieldLines<S>([&]<int Line>(LineTag<Line>) {
        constexpr auto& declaration = kDeclaration<S, Line>;
        using T = typename std::decay_t<decltype(declaration)>::Value;
        if constexpr (std::is_base_of_v<Settings, T>) {
            AddGroup(fields, declaration.name, T::Fields(),
                     [](Settings& s) -> Settings& { return MemberOnLine<S, Line>(s); });
        } else {
            AddField(fields, declaration.name, declaration.limits(), declaration.unit, declaration.summary,
                     kValueOperations<T>, [](Settings& s) -> void* { return &MemberOnLine<S, Line>(s); });
        }
    });
    return fields;
}

template <class S>
bool FieldsEqual(const S& a, const S& b) {
    bool isEqual = true;
    if constexpr (requires { typename S::FieldsBase; }) {
        using Base = typename S::FieldsBase;
        isEqual = static_cast<const Base&>(a) == static_cast<const Base&>(b);
    }
    VisitFieldLines<S>([&]<int Line>(LineTag<Line>) {
        constexpr auto member = kDeclaration<S, Line>.member;
        isEqual = isEqual && ValuesEqual(a.*member, b.*member);
    });
    return isEqual;
}

/// The users' starting point: the defaults, unless the class declares a Preset().
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

/// How alpha is treated, for a class that declares kAlpha.
template <class S>
constexpr AlphaUse GetAlphaUse() {
    if constexpr (requires { S::kAlpha; }) return S::kAlpha;
    return AlphaUse::Kept;
}

/// The effect's peak memory in bytes per pixel, including its picture and its result and counted in pixels of the
/// larger of the two, for pictures of 4 bytes per pixel. An effect that takes more than two such pictures declares
/// kBytesPerPixel; `scripts/memory.sh` compares this with measurements.
template <class S>
constexpr double GetBytesPerPixel() {
    if constexpr (requires { S::kBytesPerPixel; }) return S::kBytesPerPixel;
    return 8;
}

/// Accessors return small values by value, others by reference.
template <class T>
using Accessed = std::conditional_t<std::is_arithmetic_v<T> || std::is_enum_v<T>, T, const T&>;

}  // namespace Details

#define ORVEXA_BASE_SETTINGS(Class)                                                                      \
public:                                                                                                  \
    static const ::Orvexa::Proc::FieldList& Fields() {                                                   \
        static const ::Orvexa::Proc::FieldList fields = ::Orvexa::Proc::Details::MakeFieldList<Class>(); \
        return fields;                                                                                   \
    }                                                                                                    \
                                                                                                         \
private:                                                                                                 \
    using SelfT = Class;                                                                                 \
    static constexpr int kFirstLine = __LINE__;                                                          \
                                                                                                         \
public:

// The second line hides the base's declarations, whose line numbers have another origin.
#define ORVEXA_FIELDS_OF(Base) \
    using FieldsBase = Base;   \
    static void FieldOnLine(::Orvexa::Proc::Details::LineTag<-1>);

#define ORVEXA_SETTINGS(Class, EffectName, Group, Summary)                                                     \
public:                                                                                                        \
    static inline const std::string CLASS_ID = #Class;                                                         \
    static constexpr std::string_view kClassName = #Class;                                                     \
    const std::string& GetClassId() const override { return CLASS_ID; }                                        \
    const ::Orvexa::Proc::FieldList& GetFields() const override { return Fields(); }                           \
    std::unique_ptr<::Orvexa::Proc::Settings> Copy() const override { return std::make_unique<Class>(*this); } \
    ORVEXA_BASE_SETTINGS(Class)                                                                                \
private:                                                                                                       \
    static inline const bool kIsCatalogued = ::Orvexa::Proc::SettingsCatalogue::Add(                           \
        {#Class, EffectName, Group, Summary, [] { return ::Orvexa::Proc::Details::CreateSettings<Class>(); },  \
         [] { return ::Orvexa::Proc::Details::GetSecondInput<Class>(); },                                      \
         ::Orvexa::Proc::Details::GetBytesPerPixel<Class>(), ::Orvexa::Proc::Details::GetAlphaUse<Class>()});  \
                                                                                                               \
public:

#define ORVEXA_EQUALITY(Class) \
    friend bool operator==(const Class& a, const Class& b) { return ::Orvexa::Proc::Details::FieldsEqual(a, b); }

#define ORVEXA_FIELD_MEMBER(Type, Name, Initial, LimitsValue, Unit, Summary)               \
private:                                                                                   \
    Type value##Name##_ = Initial;                                                         \
                                                                                           \
public:                                                                                    \
    ORVEXA_FIELD_DECLARATION(Type, Name, LimitsValue, Unit, Summary)                       \
    void Set##Name(Type value) { value##Name##_ = std::move(value); }                      \
    bool Is##Name##Default() const { return Is##Name##Equal(SelfT()); }                    \
    bool Is##Name##Equal(const SelfT& other) const {                                       \
        return ::Orvexa::Proc::Details::ValuesEqual(value##Name##_, other.value##Name##_); \
    }

#define ORVEXA_FIELD_DECLARATION(Type, Name, LimitsValue, Unit, Summary)                                            \
    static constexpr auto FieldOnLine(::Orvexa::Proc::Details::LineTag<__LINE__ - kFirstLine>) {                    \
        return ::Orvexa::Proc::Details::FieldDeclaration<SelfT, Type>{                                              \
            &SelfT::value##Name##_, #Name, +[]() -> ::Orvexa::Proc::Limits { return LimitsValue; }, Unit, Summary}; \
    }                                                                                                               \
    static_assert(__LINE__ - kFirstLine < ::Orvexa::Proc::Details::kMaxFieldLines,                                  \
                  "Fields this far down would not be found: raise kMaxFieldLines.");

#define ORVEXA_MEMBER(Type, Name, Initial)                            \
protected:                                                            \
    Type value##Name##_ = Initial;                                    \
                                                                      \
public:                                                               \
    void Set##Name(Type value) { value##Name##_ = std::move(value); } \
    ::Orvexa::Proc::Details::Accessed<Type> Get##Name() const { return value##Name##_; }

#define ORVEXA_BASE_FIELD(Type, Name, Initial, LimitsValue, Unit, Summary) \
    ORVEXA_MEMBER(Type, Name, Initial)                                     \
    ORVEXA_FIELD_DECLARATION(Type, Name, LimitsValue, Unit, Summary)

#define ORVEXA_INHERITED_FIELD(Type, Name, LimitsValue, Unit, Summary) \
    ORVEXA_FIELD_DECLARATION(Type, Name, LimitsValue, Unit, Summary)

#define ORVEXA_FIELD(Type, Name, Initial, LimitsValue, Unit, Summary)    \
    ORVEXA_FIELD_MEMBER(Type, Name, Initial, LimitsValue, Unit, Summary) \
    ::Orvexa::Proc::Details::Accessed<Type> Get##Name() const { return value##Name##_; }

#define ORVEXA_FLAG(Name, Initial, Summary)                                      \
    ORVEXA_FIELD_MEMBER(bool, Name, Initial, ::Orvexa::Proc::Any(), "", Summary) \
    bool Is##Name() const { return value##Name##_; }

#define ORVEXA_GROUP(Type, Name) ORVEXA_GROUP_FROM(Type, Name, Type())

#define ORVEXA_GROUP_FROM(Type, Name, Initial)                              \
    ORVEXA_FIELD_MEMBER(Type, Name, Initial, ::Orvexa::Proc::Any(), "", "") \
    const Type& Get##Name() const { return value##Name##_; }                \
    Type& Get##Name() { return value##Name##_; }

}  // namespace Orvexa::Proc
