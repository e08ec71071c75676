// The effects that the loaded module offers.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Host/Core/Path.h"
#include "Host/Proc/IEffectFactory.h"
#include "Host/Settings/Settings.h"

namespace Kalvatri {

struct EffectEntry {
    std::size_t index;  ///< position in registration order, the host's own steps after the module's effects
    Orvexa::Proc::EffectKind kind;
    std::string implName;  ///< the implementation used
    const Orvexa::Proc::SettingsClass* settings;

    const std::string& GetName() const { return settings->effect; }
    /// one-input, two-input or variable-input
    const char* GetKindName() const;
    /// Whether the effect needs a setting that has no text form.
    bool IsCppOnly() const;
};

class Catalogue {
public:
    explicit Catalogue(const Orvexa::Proc::IEffectFactory& factory);
    const std::vector<EffectEntry>& GetEntries() const { return entries_; }
    /// The effect of that name, case-insensitive; otherwise throws `EffectException` with the nearest name.
    const EffectEntry& Find(std::string_view name) const;

private:
    std::vector<EffectEntry> entries_;
};

/// A factory with the host's effects and those of the module in `file`; an empty name stands for the module installed
/// with the program. If `allocator` is empty, the factory creates its own.
Orvexa::Proc::FactoryPtr LoadEffects(const Orvexa::Core::ioPath& file, Orvexa::Proc::AllocatorPtr allocator = {});

}  // namespace Kalvatri
