// The common base of every effect with a settings class, in the host or in the module.
#pragma once

#include <concepts>
#include <string>

#include "Host/Core/Exception.h"
#include "Host/Proc/IEffectFactory.h"

namespace Orvexa::Proc {

/// Holds the settings, the factory and the allocator of an effect, and counts its runs.
template <class InterfaceT, class SettingsT>
class SettingsEffect : public InterfaceT {
public:
    using Interface = InterfaceT;
    using SettingsType = SettingsT;

    SettingsEffect(const FactoryPtr& factory, const AllocatorPtr& allocator)
        : factory_(factory), allocator_(allocator) {}

    Core::Property GetProperties() const override { return Core::Property(""); }
    void Refresh() override {}
    void ResetSettings() override { settings_ = SettingsT(); }
    const Settings& GetSettingsBase() const override { return settings_; }
    bool QueryCapability() const override { return false; }

protected:
    template <class Pointer>
    static void RequireFrame(const Pointer& frame) {
        if (frame == nullptr) Throw("There is no frame to process!");
    }

    /// Runs `process` on the frame held by `data`; the frame that it holds afterwards, if any, gets the same timing.
    template <class Process>
    static void KeepTiming(DataPtr& data, Process&& process) {
        RequireFrame(data);
        const std::int64_t timestamp = data->GetTimestamp();
        const std::int64_t duration = data->GetDuration();
        LendAs<IDataVideo>(data, process);
        if (data == nullptr) return;
        data->SetTimestamp(timestamp);
        data->SetDuration(duration);
    }

    /// Creates the sub-effect of a settings class. Sub-effects take their frames from the factory's own allocator.
    template <class SubSettings>
    OneInputPtr CreateOneInput(const std::string& implName = ImplNames::DEFAULT) const {
        OneInputPtr effect;
        factory_->CreateOneInputEffect(effect, SubSettings::CLASS_ID, implName, AllocatorPtr());
        return effect;
    }
    template <class SubSettings>
    TwoInputPtr CreateTwoInput(const std::string& implName = ImplNames::DEFAULT) const {
        TwoInputPtr effect;
        factory_->CreateTwoInputEffect(effect, SubSettings::CLASS_ID, implName, AllocatorPtr());
        return effect;
    }
    /// The same, with initial settings.
    template <std::derived_from<Settings> SubSettings>
    OneInputPtr CreateOneInput(const SubSettings& settings) const {
        const OneInputPtr effect = CreateOneInput<SubSettings>();
        effect->SetSettings(settings);
        return effect;
    }
    template <std::derived_from<Settings> SubSettings>
    TwoInputPtr CreateTwoInput(const SubSettings& settings) const {
        const TwoInputPtr effect = CreateTwoInput<SubSettings>();
        effect->SetSettings(settings);
        return effect;
    }

    FactoryPtr factory_;
    AllocatorPtr allocator_;
    SettingsT settings_;
    std::uint64_t processedCount_ = 0;
};

}  // namespace Orvexa::Proc
