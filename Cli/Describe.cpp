// kalvatri describe: one effect's settings.
#include <iostream>
#include <optional>

#include "Cli/Catalogue.h"
#include "Cli/Commands.h"
#include "Cli/Errors.h"
#include "Cli/Markdown.h"
#include "Cli/SettingsJson.h"

namespace Kalvatri {

using Orvexa::Proc::Field;

namespace {

// Without a fraction where there is none, null where there is no limit.
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

// "double 0..1, fraction" or "disc (0), ring (2)"
std::string ValuesText(const Field& field) {
    std::string text;
    for (const auto& named : field.limits.names)
        text += (text.empty() ? "" : ", ") + named.name + " (" + std::to_string(named.value) + ")";
    if (text.empty()) text = field.type;
    if (field.limits.min)
        text +=
            " " + Orvexa::Proc::FormatDouble(*field.limits.min) + ".." + Orvexa::Proc::FormatDouble(*field.limits.max);
    if (!field.unit.empty()) text += ", " + std::string(field.unit);
    return text;
}

void Print(const EffectEntry& effect, const Orvexa::Proc::Settings& defaults) {
    std::cout << effect.GetName() << " (" << effect.GetKindName() << "): " << effect.settings->summary << '\n';
    for (const Field& field : defaults.GetFields()) {
        std::cout << "  " << field.key << "=" << field.Format(defaults) << "    " << ValuesText(field) << "\n      "
                  << field.summary << '\n';
    }
}

void PrintReference(const Catalogue& catalogue) {
    std::cout << "# Effects\n\nMade by `scripts/docs.sh`, generated from the settings declarations.\n";
    for (const EffectEntry& effect : catalogue.GetEntries()) {
        std::cout << "\n## " << effect.GetName() << "\n\n"
                  << effect.settings->summary << "\n\n"
                  << effect.settings->group << ", " << effect.GetKindName() << ", `" << effect.settings->classId
                  << "`.\n";
        const auto defaults = effect.settings->create();
        if (defaults->GetFields().empty()) continue;
        std::cout << "\n| setting | default | values | meaning |\n|---|---|---|---|\n";
        for (const Field& field : defaults->GetFields()) {
            const std::string value = field.Format(*defaults);
            std::cout << "| `" << field.key << "` | " << (value.empty() ? "" : "`" + Cell(value) + "`") << " | "
                      << Cell(ValuesText(field)) << " | " << Cell(std::string(field.summary)) << " |\n";
        }
    }
}

}  // namespace

Json DescribeToJson(const EffectEntry& effect) {
    const auto settings = effect.settings->create();
    const Orvexa::Proc::Settings& defaults = *settings;
    Json fields = Json::array();
    for (const Field& field : defaults.GetFields()) fields.push_back(ToJson(field, defaults));
    return {{"effect", effect.GetName()},
            {"settings", effect.settings->classId},
            {"kind", effect.GetKindName()},
            {"summary", effect.settings->summary},
            {"bytesPerPixel", effect.settings->bytesPerPixel},
            {"fields", std::move(fields)}};
}

void RunDescribe(const DescribeOptions& options) {
    if (options.isMarkdown) {
        if (!options.effect.empty())
            ThrowUsage("describing the effects", "--markdown describes all effects and takes no name");
        return PrintReference(Catalogue(*LoadEffects(options.module)));
    }
    if (options.effect.empty())
        ThrowUsage("describing an effect", "its name is missing; `kalvatri list` shows the effects");
    const auto factory = LoadEffects(options.module);
    const Catalogue catalogue(*factory);
    const EffectEntry& effect = WithContext("describing an effect", ExitCode::WrongUsage,
                                            [&]() -> const EffectEntry& { return catalogue.Find(options.effect); });
    if (options.isJson) {
        std::cout << FormatJson(DescribeToJson(effect)) << '\n';
    } else {
        Print(effect, *effect.settings->create());
    }
}

}  // namespace Kalvatri
