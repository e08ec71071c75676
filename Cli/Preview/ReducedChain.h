// Chains for reduced pictures.
#pragma once

#include "Cli/Chain.h"

namespace Kalvatri {

/// The chain for a picture that is smaller by `factor`: everything that is measured in pixels of the picture, face
/// coordinates included, is multiplied by it and rounded to what the settings accept.
Chain MakeReducedChain(const Catalogue& catalogue, const Json& chain, double factor);

}  // namespace Kalvatri
