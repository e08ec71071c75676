// DeepImageEnhancer: improves light and colours in one step, with a model trained on photographs and degraded copies of
// them.

#include "Host/Settings/Photo/SettingsEffectDeepImageEnhancer.h"
#include "Proc/Effects/EffectsPhoto/Shared/NeuralEffect.h"

namespace Orvexa::Proc {
namespace {

constexpr Neural::ModelFileId kOneClick{25};

class DeepImageEnhancer : public Shared::AlwaysConfigured<SettingsEffectDeepImageEnhancer> {
public:
    using AlwaysConfigured::AlwaysConfigured;

private:
    void ApplySettings(bool) override {
        SettingsEffectDeepNeuralProcessor processor(settings_.GetModelsRoot());
        processor.SetHasDynamicSize(true);
        Choose(*enhancer_, processor, kOneClick);
    }

    void ProcessInternalImpl(FramePtr& frame) override { Run(*enhancer_, frame); }

    OneInputPtr enhancer_ = CreateProcessor();
};

}  // namespace

bool RegisterDeepImageEnhancer(IEffectFactory& factory) { return RegisterEffect<DeepImageEnhancer>(factory); }

}  // namespace Orvexa::Proc
