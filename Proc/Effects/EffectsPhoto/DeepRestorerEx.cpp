// DeepRestorerEx: removes JPEG blocking, slight blur and noise from all or part of the picture, in tiles of one size
// whose overlap is a setting.

#include "Host/Settings/Photo/SettingsEffectDeepNeuralFragmentor.h"
#include "Host/Settings/Photo/SettingsEffectDeepRestorerEx.h"
#include "Proc/Effects/EffectsPhoto/Shared/NeuralEffect.h"

namespace Orvexa::Proc {
namespace {

constexpr Neural::ModelFileId kRestoreTiles{15};
constexpr int kRestoredTile = 256;  // side of a tile, in pixels

class DeepRestorerEx : public Shared::NeuralEffect<SettingsEffectDeepRestorerEx> {
public:
    using NeuralEffect::NeuralEffect;

private:
    void ApplySettings(bool) override {
        Choose(*restorer_,
               SettingsEffectDeepNeuralFragmentor(kRestoredTile, kRestoredTile, 1, settings_.GetModelsRoot(),
                                                  settings_.GetOverlapX(), settings_.GetOverlapY(),
                                                  settings_.GetCropInfo()),
               kRestoreTiles);
    }

    void ProcessInternalImpl(FramePtr& frame) override { Run(*restorer_, frame); }

    OneInputPtr restorer_ = CreateOneInput<SettingsEffectDeepNeuralFragmentor>();
};

}  // namespace

bool RegisterDeepRestorerEx(IEffectFactory& factory) { return RegisterEffect<DeepRestorerEx>(factory); }

}  // namespace Orvexa::Proc
