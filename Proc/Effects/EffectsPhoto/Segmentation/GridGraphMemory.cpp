#include "Proc/Effects/EffectsPhoto/Segmentation/GridGraphMemory.h"

#include <boost/exception/all.hpp>
#include <new>
#include <string>

#include "Host/Core/Exception.h"

#ifdef __linux__
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace Orvexa::Proc::GridGraph {

namespace {

// The first touch of new memory in small pages takes longer than the solver itself, and the search accesses all arrays
// in random order.
void AdviseHugePages([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t size) {
#ifdef __linux__
    constexpr std::size_t kWorthwhile = std::size_t{4} << 20;
    if (size < kWorthwhile) return;
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    if (std::align(page, 1, memory, size) != nullptr) madvise(memory, size, MADV_HUGEPAGE);
#endif
}

}  // namespace

ZeroedBlock::ZeroedBlock(std::size_t size) : memory_(std::calloc(size, 1)), free_(memory_.get()), freeSize_(size) {
    if (memory_ == nullptr) {
        throw boost::enable_error_info(std::bad_alloc()) << Core::TagDescription(
            "Not enough memory: the graph of this picture needs " + std::to_string(size) + " bytes");
    }
    AdviseHugePages(memory_.get(), size);
}

void* ZeroedBlock::TakeBytes(std::size_t size) {
    if (std::align(kAlignment, size, free_, freeSize_) == nullptr) throw std::bad_alloc();
    void* const piece = free_;
    free_ = static_cast<std::uint8_t*>(free_) + size;
    freeSize_ -= size;
    return piece;
}

}  // namespace Orvexa::Proc::GridGraph
