// Alpha as the weight of a pixel's colour: colours hidden by transparent pixels must not bleed into visible ones.
#pragma once

#include "Host/Proc/IEffectFactory.h"

namespace Orvexa::Proc {

/// Whether any pixel is not opaque. Indexed frames count as opaque: they are expanded before pixels are mixed.
bool IsTransparent(const IDataVideo& frame);

/// Gives pixels with alpha 0 the colour of the nearest visible ones, as a coarse mean; for operations that cannot
/// weight colours by alpha. The pixels are changed in place; the format must be packed, with alpha. `factory` creates
/// the resizer that this uses.
void FillHiddenPixels(IDataVideo& frame, const FactoryPtr& factory);

}  // namespace Orvexa::Proc
