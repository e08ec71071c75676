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

OneInputPtr CreateEmptyEffect(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<EmptyEffect>(factory, allocator);
}

}  // namespace Orvexa::Proc
