// DeepAligner: levels a tilted photograph. One network says whether there is anything to level it by, another by how
// much it is turned; the picture is then turned back and cut to the largest rectangle without empty corners. What was
// found stays in the effect's settings.

#include "Host/Settings/Common/SettingsEffectRotate.h"
#include "Host/Settings/Photo/SettingsEffectDeepAligner.h"
#include "Proc/Effects/EffectsPhoto/Shared/NeuralEffect.h"

namespace Orvexa::Proc {
namespace {

constexpr int kInscribed = 2;  // cut to the largest rectangle of the same aspect

class DeepAligner : public Shared::NeuralEffect<SettingsEffectDeepAligner> {
public:
    using NeuralEffect::NeuralEffect;

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        if (!FindHorizon(frame)) return;
        settings_.SetAngle(Ask(Neural::NeuralType::TiltAngle, frame)->GetDouble());
        SettingsEffectRotate rotation;
        rotation.SetAngle(-settings_.GetAngle());
        rotation.SetOutputSizeMode(kInscribed);
        rotator_->SetSettings(rotation);
        rotator_->ProcessData(frame);
    }

    // Without a network that could tell, every picture is taken to have a horizon.
    bool FindHorizon(FramePtr& frame) {
        try {
            settings_.SetHorizonDetected(Ask(Neural::NeuralType::HorizonFlag, frame)->GetBool());
            return settings_.GetHorizonDetected();
        } catch (...) {
            return true;
        }
    }

    OneInputPtr rotator_ = CreateOneInput<SettingsEffectRotate>();
};

}  // namespace

bool RegisterDeepAligner(IEffectFactory& factory) { return RegisterEffect<DeepAligner>(factory); }

}  // namespace Orvexa::Proc
