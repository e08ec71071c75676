#pragma once

namespace Orvexa::Core {

/// Lets the environment select the SIMD code of this system's own loops: ORVEXA_VECTORS=baseline restricts it to the
/// instructions that every processor of the architecture has. Results are the same; `scripts/same-bytes.sh` uses it to
/// verify that. Any other value counts as unset. Takes effect once, on the first call.
void ChooseVectors();

}  // namespace Orvexa::Core
