// DeepRestorer: removes JPEG blocking, slight blur and noise with one model, on the whole picture at once or in tiles
// chosen by the host.

#include "Host/Settings/Photo/SettingsEffectDeepRestorer.h"
#include "Proc/Effects/EffectsPhoto/Shared/NeuralEffect.h"

namespace Orvexa::Proc {
namespace {

constexpr Neural::ModelFileId kRestore{16};
constexpr int kLargestRestored = 3072;  // largest side of the model's input, in pixels

class DeepRestorer : public Shared::NeuralEffect<SettingsEffectDeepRestorer> {
public:
    using NeuralEffect::NeuralEffect;

private:
    void ApplySettings(bool) override {
        Choose(*restorer_,
               SettingsEffectDeepNeuralProcessor(1, kLargestRestored, kLargestRestored, settings_.GetModelsRoot()),
               kRestore);
    }

    void ProcessInternalImpl(FramePtr& frame) override { Run(*restorer_, frame); }

    OneInputPtr restorer_ = CreateProcessor();
};

}  // namespace

bool RegisterDeepRestorer(IEffectFactory& factory) { return RegisterEffect<DeepRestorer>(factory); }

}  // namespace Orvexa::Proc
