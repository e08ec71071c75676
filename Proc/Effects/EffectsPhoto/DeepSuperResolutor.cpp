// DeepSuperResolutor: makes a picture three times as wide and high, by a model that adds the edges and textures which
// interpolation leaves soft.

#include "Host/Settings/Photo/SettingsEffectDeepSuperResolutor.h"
#include "Proc/Effects/EffectsPhoto/Shared/NeuralEffect.h"

namespace Orvexa::Proc {
namespace {

constexpr Neural::ModelFileId kEnlarge{17};
constexpr int kLargestEnlarged = 4096;  // sides of what goes through the model at once, in pixels

class DeepSuperResolutor : public Shared::NeuralEffect<SettingsEffectDeepSuperResolutor> {
public:
    using NeuralEffect::NeuralEffect;

private:
    void ApplySettings(bool) override {
        Choose(*enlarger_,
               SettingsEffectDeepNeuralProcessor(SettingsEffectDeepSuperResolutor::kScale, kLargestEnlarged,
                                                 kLargestEnlarged, settings_.GetModelsRoot()),
               kEnlarge);
    }

    void ProcessInternalImpl(FramePtr& frame) override { Run(*enlarger_, frame); }

    OneInputPtr enlarger_ = CreateProcessor();
};

}  // namespace

bool RegisterDeepSuperResolutor(IEffectFactory& factory) { return RegisterEffect<DeepSuperResolutor>(factory); }

}  // namespace Orvexa::Proc
