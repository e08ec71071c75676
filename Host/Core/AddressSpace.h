// Room for memory where the process is limited (RLIMIT_AS, `ulimit -v`).
#pragma once

#include <cstdint>

namespace Orvexa::Core {

/// Throws `EffectException` unless the limit leaves `bytes` of address space. To be called before work is given to
/// libraries that do not survive a lack of memory; where there is no limit, it does nothing.
void RequireAddressSpace(std::uint64_t bytes);

}  // namespace Orvexa::Core
