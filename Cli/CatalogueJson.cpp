#include "Cli/CatalogueJson.h"

#include <optional>

namespace Kalvatri {

using Orvexa::Proc::Field;

namespace {

// Whole numbers without a fraction; null if there is no limit.
Json ToJson(const std::optional<double>& limit) {
    return limit ? Json::parse(Orvexa::Proc::FormatDouble(*limit)) : Json();
}

Json ToJson(const Field& field, const Orvexa::Proc::Settings& defaults) {
    Json values = Json::array();
    for (const auto& named : field.limits.names) values.push_back({{"name", named.name}, {"value", named.value}});
    return {{"key", field.key},
            {"type", field.type},
            {"default", FieldToJson(field, field.Format(defaults))},
            {"min", ToJson(field.limits.min)},
            {"max", ToJson(field.limits.max)},
            {"values", std::move(values)},
            {"unit", field.unit},
            {"summary", field.summary}};
}

}  // namespace

Json ListToJson(const Catalogue& catalogue) {
    Json list = Json::array();
    for (const EffectEntry& entry : catalogue.GetEntries()) list.push_back(EntryToJson(entry));
    return list;
}

Json DescribeToJson(const EffectEntry& effect) {
    return {{"effect", effect.GetName()},
            {"settings", effect.settings->classId},
            {"kind", effect.GetKindName()},
            {"summary", effect.settings->summary},
            {"bytesPerPixel", effect.settings->bytesPerPixel},
            {"fields", FieldsToJson(*effect.settings->create())}};
}

Json EntryToJson(const EffectEntry& entry) {
    return {{"index", entry.index},        {"effect", entry.GetName()},      {"settings", entry.settings->classId},
            {"kind", entry.GetKindName()}, {"group", entry.settings->group}, {"summary", entry.settings->summary}};
}

Json FieldsToJson(const Orvexa::Proc::Settings& defaults) {
    Json fields = Json::array();
    for (const Field& field : defaults.GetFields()) fields.push_back(ToJson(field, defaults));
    return fields;
}

}  // namespace Kalvatri
