#include "Host/Core/AddressSpace.h"

#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "Host/Core/Exception.h"

namespace Orvexa::Core {

namespace {

std::uint64_t GetUsedAddressSpace() {
    std::uint64_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

std::string Megabytes(std::uint64_t bytes) { return std::to_string(bytes >> 20) + " MB"; }

}  // namespace

void RequireAddressSpace(std::uint64_t bytes) {
    rlimit limit{};
    if (getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return;
    const std::uint64_t used = GetUsedAddressSpace(), left = limit.rlim_cur > used ? limit.rlim_cur - used : 0;
    if (left >= bytes) return;
    Throw("too little memory: " + Megabytes(bytes) + " of address space are needed, and the limit of " +
          Megabytes(limit.rlim_cur) + " (ulimit -v) leaves " + Megabytes(left));
}

}  // namespace Orvexa::Core
