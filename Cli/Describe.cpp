// kalvatri describe: the settings of an effect.
#include <iostream>

#include "Cli/Catalogue.h"
#include "Cli/CatalogueJson.h"
#include "Cli/Commands.h"
#include "Cli/Errors.h"
#include "Cli/Markdown.h"

namespace Kalvatri {

using Orvexa::Proc::Field;

namespace {

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
