// Address-space limits of the process (RLIMIT_AS, `ulimit -v`).
#pragma once

#include <cstdint>

namespace Orvexa::Core {

/// Throws `EffectException` unless the limit leaves `bytes` of address space. To be called before work is passed to
/// libraries that do not survive running out of memory; does nothing if there is no limit.
void RequireAddressSpace(std::uint64_t bytes);

}  // namespace Orvexa::Core
