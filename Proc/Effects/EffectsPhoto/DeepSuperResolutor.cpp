// DeepSuperResolutor: enlarges a picture to three times its width and height, with a model that restores the edges and
// textures that interpolation leaves soft.

#include "Host/Settings/Photo/SettingsEffectDeepSuperResolutor.h"
#include "Proc/Effects/EffectsPhoto/Shared/NeuralEffect.h"

namespace Orvexa::Proc {
namespace {

constexpr Neural::ModelFileId kEnlarge{17};
constexpr int kLargestEnlarged = 4096;  // largest side of the model's input, in pixels

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
