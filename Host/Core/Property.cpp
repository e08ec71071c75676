#include "Host/Core/Property.h"

#include <algorithm>

namespace Orvexa::Core {

Property& Property::Add(Property&& child) {
    children_.push_back(std::move(child));
    return *this;
}

Property& Property::SetChild(std::string_view key, std::string_view value) {
    const auto found =
        std::find_if(children_.begin(), children_.end(), [&](const Property& child) { return child.name_ == key; });
    if (found == children_.end()) return children_.emplace_back(std::string(key), std::string(value));
    found->value_ = value;
    return *found;
}

const Property* Property::FindChild(std::string_view key) const {
    const auto found =
        std::find_if(children_.begin(), children_.end(), [&](const Property& child) { return child.name_ == key; });
    return found == children_.end() ? nullptr : &*found;
}

Property MakeStatistics(std::string_view name, std::int64_t total, std::uint64_t count) {
    Property statistics{std::string(name)};
    statistics.SetChild("total", std::to_string(total));
    statistics.SetChild("count", std::to_string(count));
    return statistics;
}

}  // namespace Orvexa::Core
