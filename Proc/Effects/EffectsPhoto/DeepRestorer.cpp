// DeepRestorer: removes JPEG blocks, slight blur and noise by one model, whole pictures at once or in tiles that the
// host chooses.

#include "Host/Settings/Photo/SettingsEffectDeepRestorer.h"
#include "Proc/Effects/EffectsPhoto/Shared/NeuralEffect.h"

namespace Orvexa::Proc {
namespace {

constexpr Neural::ModelFileId kRestore{16};
constexpr int kLargestRestored = 3072;  // sides of what goes through the model at once, in pixels

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
