#pragma once

namespace Orvexa::Core {

/// Lets the environment choose the vector code of this system's own loops: ORVEXA_VECTORS=baseline restricts it to the
/// instructions that every processor of the architecture has. Results are the same; `scripts/same-bytes.sh` relies on
/// it to show that. Any other value counts as unset. Takes effect once, on the first call.
void ChooseVectors();

}  // namespace Orvexa::Core
