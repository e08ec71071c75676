// DeepDenoiser: removes noise with two models, one after the other. The first handles sensor noise of any strength; the
// second removes what the first leaves, mainly blotches and compression artefacts.

#include "Host/Settings/Photo/SettingsEffectDeepDenoiser.h"
#include "Proc/Effects/EffectsPhoto/Shared/NeuralEffect.h"

namespace Orvexa::Proc {
namespace {

constexpr Neural::ModelFileId kDenoise{7}, kRefine{6};

class DeepDenoiser : public Shared::AlwaysConfigured<SettingsEffectDeepDenoiser> {
public:
    using AlwaysConfigured::AlwaysConfigured;

private:
    void ApplySettings(bool) override {
        const SettingsEffectDeepNeuralProcessor processor(settings_.GetModelsRoot());
        Choose(*denoiser_, processor, kDenoise);
        Choose(*refiner_, processor, kRefine);
    }

    void ProcessInternalImpl(FramePtr& frame) override {
        Run(*denoiser_, frame);
        Run(*refiner_, frame);
    }

    OneInputPtr denoiser_ = CreateProcessor();
    OneInputPtr refiner_ = CreateProcessor();
};

}  // namespace

bool RegisterDeepDenoiser(IEffectFactory& factory) { return RegisterEffect<DeepDenoiser>(factory); }

}  // namespace Orvexa::Proc
