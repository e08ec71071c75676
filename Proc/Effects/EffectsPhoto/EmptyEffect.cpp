// EmptyEffect: passes the picture through unchanged; counts and logs like any effect.

#include "Host/Settings/Photo/SettingsEffectEmpty.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"

namespace Orvexa::Proc {
namespace {

class EmptyEffect : public EffectBaseOneInput<SettingsEffectEmpty> {
public:
    using EffectBaseOneInput::EffectBaseOneInput;

private:
    void ProcessInternalImpl(FramePtr&) override {}
};

}  // namespace

bool RegisterEmptyEffect(IEffectFactory& factory) { return RegisterEffect<EmptyEffect>(factory); }

}  // namespace Orvexa::Proc
