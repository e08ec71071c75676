#include "Cli/Catalogue.h"

#include <algorithm>
#include <cctype>

#include "Cli/Errors.h"
#include "Cli/OriginalStep.h"
#include "Host/Core/Exception.h"
#include "Host/Proc/EffectFactory.h"
#include "Host/Settings/NearestName.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

bool EqualIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

}  // namespace

const char* EffectEntry::GetKindName() const {
    switch (kind) {
        case Proc::EffectKind::OneInput: return "one-input";
        case Proc::EffectKind::TwoInput: return "two-input";
        case Proc::EffectKind::VarInput: break;
    }
    return "variable-input";
}

bool EffectEntry::IsCppOnly() const {
    const auto defaults = settings->create();
    const Proc::FieldList& fields = defaults->GetFields();
    return std::any_of(fields.begin(), fields.end(), [](const Proc::Field& field) { return field.type == "function"; });
}

Catalogue::Catalogue(const Proc::IEffectFactory& factory) {
    const std::vector<Proc::Registration> registrations = factory.GetRegistrations();
    const auto add = [&](const Proc::Registration& registration, const Proc::SettingsClass& settings) {
        entries_.push_back({entries_.size(), registration.kind, registration.implName, &settings});
    };
    for (const Proc::Registration& registration : registrations) {
        if (registration.implName != ImplNames::ORVEXA) continue;
        const Proc::SettingsClass* settings = Proc::SettingsCatalogue::Find(registration.classId);
        if (settings == nullptr)
            Throw("the module registers an effect for " + registration.classId +
                  ", which is no settings class of this host");
        add(registration, *settings);
    }
    for (const Proc::Registration& registration : registrations) {
        const Proc::SettingsClass* settings = Proc::SettingsCatalogue::Find(registration.classId);
        if (settings != nullptr && settings->group == Proc::Groups::kHost && !settings->effect.empty())
            add(registration, *settings);
    }
    add({Proc::EffectKind::VarInput, OriginalStep::CLASS_ID, ""},
        *Proc::SettingsCatalogue::Find(OriginalStep::CLASS_ID));
}

const EffectEntry& Catalogue::Find(std::string_view name) const {
    std::vector<std::string> names;
    for (const EffectEntry& entry : entries_) {
        if (EqualIgnoringCase(entry.GetName(), name)) return entry;
        names.push_back(entry.GetName());
    }
    const std::string nearest = Proc::NearestName(name, names);
    Throw("there is no effect \"" + std::string(name) + "\"; " +
          (nearest.empty() ? "`kalvatri list` shows the effects" : "did you mean " + nearest + "?"));
}

Proc::FactoryPtr LoadEffects(const Core::ioPath& file, Proc::AllocatorPtr allocator) {
    return WithContext("loading the effects", [&] {
        Proc::FactoryPtr factory = Proc::MakeHostFactory(std::move(allocator));
        // A bare file name would be searched for in the system's library folders.
        Proc::LoadModule(
            file.empty() ? Proc::GetPluginDirectory() / "EffectsKalvatriPhoto.so" : std::filesystem::absolute(file),
            *factory);
        return factory;
    });
}

}  // namespace Kalvatri
