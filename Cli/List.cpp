// kalvatri list: the effects that there are.
#include <algorithm>
#include <iomanip>
#include <iostream>

#include "Cli/Catalogue.h"
#include "Cli/Commands.h"
#include "Cli/SettingsJson.h"

namespace Kalvatri {

namespace {

Json ToJson(const Catalogue& catalogue) {
    Json list = Json::array();
    for (const EffectEntry& entry : catalogue.GetEntries()) {
        list.push_back({{"index", entry.index},
                        {"effect", entry.GetName()},
                        {"settings", entry.settings->classId},
                        {"kind", entry.GetKindName()},
                        {"group", entry.settings->group},
                        {"summary", entry.settings->summary}});
    }
    return list;
}

std::string Remark(const EffectEntry& entry) {
    if (entry.IsCppOnly()) return "(C++ only) ";
    return entry.kind == Orvexa::Proc::EffectKind::OneInput ? "" : std::string("(") + entry.GetKindName() + ") ";
}

void Print(const Catalogue& catalogue) {
    std::vector<std::string> groups;  // in the order of their first effects
    std::size_t width = 0;
    for (const EffectEntry& entry : catalogue.GetEntries()) {
        width = std::max(width, entry.GetName().size());
        if (std::find(groups.begin(), groups.end(), entry.settings->group) == groups.end())
            groups.push_back(entry.settings->group);
    }
    for (const std::string& group : groups) {
        std::cout << group << '\n';
        for (const EffectEntry& entry : catalogue.GetEntries()) {
            if (entry.settings->group != group) continue;
            std::cout << "  " << std::left << std::setw(static_cast<int>(width)) << entry.GetName() << "  "
                      << Remark(entry) << entry.settings->summary << '\n';
        }
    }
}

}  // namespace

void RunList(const ListOptions& options) {
    const auto factory = LoadEffects(options.module);
    const Catalogue catalogue(*factory);
    if (options.isJson) {
        std::cout << FormatJson(ToJson(catalogue)) << '\n';
    } else {
        Print(catalogue);
    }
}

}  // namespace Kalvatri
