// Alpha as the weight of a pixel's colour: what a transparent pixel hides must not bleed into what shows.
#pragma once

#include "Host/Proc/IEffectFactory.h"

namespace Orvexa::Proc {

/// Whether any pixel lets something through. Indexed frames count as opaque: they are expanded before pixels are mixed.
bool IsTransparent(const IDataVideo& frame);

/// Gives the pixels of alpha 0 the colour of the nearest ones that show, as a coarse mean; for what cannot weight
/// colours by alpha. The pixels are changed in place; the format must be packed, with alpha. `factory` makes the
/// resizer that this takes.
void FillHiddenPixels(IDataVideo& frame, const FactoryPtr& factory);

}  // namespace Orvexa::Proc
