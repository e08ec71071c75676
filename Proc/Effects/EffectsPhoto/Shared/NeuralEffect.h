// What effects that ask neural networks have in common.
//
// Their settings come in two ways. Most take settings that differ and bring the models up to date whenever settings are
// given, as `EffectBase` does; some take all settings as they come (`AlwaysConfigured`). A model is chosen by the
// settings of a processor, a sub-effect of the host, or a network is asked directly.
#pragma once

#include <memory>

#include "Host/Proc/Neural.h"
#include "Host/Settings/Photo/SettingsEffectDeepNeuralProcessor.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"

namespace Orvexa::Proc::Shared {

template <class SettingsT>
class NeuralEffect : public EffectBaseOneInput<SettingsT> {
public:
    using EffectBaseOneInput<SettingsT>::EffectBaseOneInput;

protected:
    OneInputPtr CreateProcessor() const { return this->template CreateOneInput<SettingsEffectDeepNeuralProcessor>(); }

    /// Has the processor run a model with `settings`, a processor's, in which only the model is missing.
    template <class ProcessorSettings>
    static void Choose(IOneInputEffectVideo& processor, ProcessorSettings settings, Neural::ModelFileId model) {
        settings.SetModelId(model);
        processor.SetSettings(settings);
    }

    /// Replaces the frame by the model's output. Progress is reported to, and cancelled by, the effect's own caller.
    void Run(IOneInputEffectVideo& processor, FramePtr& frame) const {
        processor.SetProgressController(this->GetProgressController());
        processor.ProcessData(frame);
    }

    /// What a network makes of the frame, which stays as it is. The network is kept no longer than that.
    std::shared_ptr<Neural::NeuralResult> Ask(Neural::NeuralType type, FramePtr& frame) const {
        return Neural::CreateNeural(type, this->settings_.GetImpl(), this->settings_.GetModelsRoot())->Process(frame);
    }
};

/// Takes settings without comparing them, and without a reset in between.
template <class SettingsT>
class AlwaysConfigured : public NeuralEffect<SettingsT> {
public:
    using NeuralEffect<SettingsT>::NeuralEffect;
    using NeuralEffect<SettingsT>::SetSettings;

    void SetSettings(const SettingsT& settings) override {
        this->settings_ = settings;
        this->ApplySettings(true);
    }
};

}  // namespace Orvexa::Proc::Shared
