// A named tree of values, used by effects to report their statistics.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Orvexa::Core {

class Property {
public:
    explicit Property(std::string name, std::string value = {}) : name_(std::move(name)), value_(std::move(value)) {}

    /// Appends `child`; returns this property, so that calls can be chained.
    Property& Add(Property&& child);
    /// Sets the value of the child called `key`, which is appended if there is none; returns the child.
    Property& SetChild(std::string_view key, std::string_view value);

    const std::string& GetName() const { return name_; }
    const std::string& GetValue() const { return value_; }
    const std::vector<Property>& GetChildren() const { return children_; }
    /// The first child called `key`, or null.
    const Property* FindChild(std::string_view key) const;

private:
    std::string name_;
    std::string value_;
    std::vector<Property> children_;
};

/// A statistics record: `name` with the children "total" and "count".
Property MakeStatistics(std::string_view name, std::int64_t total, std::uint64_t count);

/// The name of the child of a statistics record that describes in words what the user should know about the last run;
/// absent if all went well.
inline constexpr std::string_view kNoteKey = "note";

/// The name of the child of a statistics record that identifies the effect.
struct PerformanceTimer {
    static inline const std::string IMPL_NAME = "PerformanceTimer.ImplName";
};

}  // namespace Orvexa::Core
