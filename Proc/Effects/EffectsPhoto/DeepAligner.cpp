// DeepAligner: levels a tilted photograph. One network decides whether there is anything to level it by, another
// estimates the tilt; the picture is then rotated back and cropped to the largest rectangle without empty corners. The
// result is stored in the effect's settings.

#include "Host/Settings/Common/SettingsEffectRotate.h"
#include "Host/Settings/Photo/SettingsEffectDeepAligner.h"
#include "Proc/Effects/EffectsPhoto/Shared/NeuralEffect.h"

namespace Orvexa::Proc {
namespace {

constexpr int kInscribed = 2;  // crop to the largest rectangle with the same aspect ratio

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

    // Without a network to decide, every picture is assumed to have a horizon.
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
