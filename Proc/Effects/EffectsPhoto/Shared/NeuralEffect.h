// Common base of effects that use neural networks.
//
// Settings are taken in one of two ways. Most effects take settings that differ, and update the models whenever
// settings are set, as `EffectBase` does; some take all settings without comparison (`AlwaysConfigured`). A model is
// run by a processor, a sub-effect of the host, and selected by the processor's settings; other networks are queried
// directly.
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

    /// Configures the processor with `settings`, which lack only the model.
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

    /// A network's answer for the frame, which is not modified. The network is released afterwards.
    std::shared_ptr<Neural::NeuralResult> Ask(Neural::NeuralType type, FramePtr& frame) const {
        return Neural::CreateNeural(type, this->settings_.GetImpl(), this->settings_.GetModelsRoot())->Process(frame);
    }
};

/// Takes settings without comparing them and without resetting first.
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
