// kalvatri list: the available effects.
#include <algorithm>
#include <iomanip>
#include <iostream>

#include "Cli/Catalogue.h"
#include "Cli/CatalogueJson.h"
#include "Cli/Commands.h"
#include "Cli/Markdown.h"

namespace Kalvatri {

namespace {

std::string Remark(const EffectEntry& entry) {
    if (entry.IsCppOnly()) return "(C++ only) ";
    return entry.kind == Orvexa::Proc::EffectKind::OneInput ? "" : std::string("(") + entry.GetKindName() + ") ";
}

// Calls `visit` with every group and its effects; the groups are in the order of their first effects.
template <class Visit>
void ForEachGroup(const Catalogue& catalogue, Visit&& visit) {
    std::vector<std::pair<std::string, std::vector<EffectEntry>>> groups;
    for (const EffectEntry& entry : catalogue.GetEntries()) {
        const auto found = std::find_if(groups.begin(), groups.end(),
                                        [&](const auto& group) { return group.first == entry.settings->group; });
        if (found != groups.end()) {
            found->second.push_back(entry);
        } else {
            groups.push_back({entry.settings->group, {entry}});
        }
    }
    for (const auto& [name, entries] : groups) visit(name, entries);
}

void Print(const Catalogue& catalogue) {
    std::size_t width = 0;
    for (const EffectEntry& entry : catalogue.GetEntries()) width = std::max(width, entry.GetName().size());
    ForEachGroup(catalogue, [&](const std::string& group, const std::vector<EffectEntry>& entries) {
        std::cout << group << '\n';
        for (const EffectEntry& entry : entries) {
            std::cout << "  " << std::left << std::setw(static_cast<int>(width)) << entry.GetName() << "  "
                      << Remark(entry) << entry.settings->summary << '\n';
        }
    });
}

void PrintTable(const Catalogue& catalogue) {
    std::cout << "| effect | what it does |\n|---|---|\n";
    ForEachGroup(catalogue, [](const std::string& group, const std::vector<EffectEntry>& entries) {
        std::cout << "| **" << group << "** | |\n";
        for (const EffectEntry& entry : entries)
            std::cout << "| `" << entry.GetName() << "` | " << Remark(entry) << Cell(entry.settings->summary) << " |\n";
    });
}

}  // namespace

void RunList(const ListOptions& options) {
    const auto factory = LoadEffects(options.module);
    const Catalogue catalogue(*factory);
    if (options.isJson) {
        std::cout << FormatJson(ListToJson(catalogue)) << '\n';
    } else if (options.isMarkdown) {
        PrintTable(catalogue);
    } else {
        Print(catalogue);
    }
}

}  // namespace Kalvatri
