// The table of the host's own sub-effects.

#include "Host/Proc/EffectFactory.h"

namespace Orvexa::Proc {

void RegisterHostEffects(IEffectFactory&) {}

}  // namespace Orvexa::Proc
