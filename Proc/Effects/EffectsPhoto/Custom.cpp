// Custom: runs a C++ function supplied by the host on the picture. Its settings have no equality, so every SetSettings
// replaces the function.

#include <functional>

#include "Host/Settings/Photo/SettingsEffectCustom.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"

namespace Orvexa::Proc {
namespace {

class Custom : public EffectBaseOneInput<SettingsEffectCustom> {
public:
    using EffectBaseOneInput::EffectBaseOneInput;

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        // A copy, since the function may change this effect's settings. Calling an empty one throws
        // std::bad_function_call.
        const SettingsEffectCustom::FunctorType function = settings_.GetFunctor();
        function(frame);
    }
};

}  // namespace

bool RegisterCustom(IEffectFactory& factory) { return RegisterEffect<Custom>(factory); }

}  // namespace Orvexa::Proc
