// Chains for reduced pictures.
#pragma once

#include "Cli/Chain.h"

namespace Kalvatri {

/// The chain for a picture that is smaller by `factor`: whatever is measured in pixels of the picture, places of faces
/// included, is multiplied by it and rounded to what the settings take.
Chain MakeReducedChain(const Catalogue& catalogue, const Json& chain, double factor);

}  // namespace Kalvatri
