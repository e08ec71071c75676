#include <map>
#include <mutex>

#include "Host/Settings/Settings.h"

namespace Orvexa::Proc {

namespace {

struct Catalogue {
    std::mutex mutex;
    std::map<std::string, SettingsClass, std::less<>> classes;
};

Catalogue& TheCatalogue() {
    static Catalogue catalogue;
    return catalogue;
}

}  // namespace

const SettingsClass* SettingsCatalogue::Find(std::string_view classId) {
    Catalogue& catalogue = TheCatalogue();
    const std::lock_guard lock(catalogue.mutex);
    const auto found = catalogue.classes.find(classId);
    return found == catalogue.classes.end() ? nullptr : &found->second;
}

std::vector<const SettingsClass*> SettingsCatalogue::GetAll() {
    Catalogue& catalogue = TheCatalogue();
    const std::lock_guard lock(catalogue.mutex);
    std::vector<const SettingsClass*> all;
    for (const auto& [classId, settingsClass] : catalogue.classes) all.push_back(&settingsClass);
    return all;
}

bool SettingsCatalogue::Add(SettingsClass settingsClass) {
    Catalogue& catalogue = TheCatalogue();
    const std::lock_guard lock(catalogue.mutex);
    std::string key = settingsClass.classId;
    return catalogue.classes.emplace(std::move(key), std::move(settingsClass)).second;
}

}  // namespace Orvexa::Proc
