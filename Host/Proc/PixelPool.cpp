#include "Host/Proc/PixelPool.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <new>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace Orvexa::Proc {

namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;
// Smaller blocks cost little to touch, and the C library recycles them well.
constexpr std::size_t kPooledFrom = std::size_t{256} << 10;

constexpr std::size_t RoundUp(std::size_t size, std::size_t unit) { return (size + unit - 1) / unit * unit; }

constexpr bool IsPooled(std::size_t size) { return size >= kPooledFrom; }
constexpr bool IsHuge(std::size_t size) { return size >= 2 * kHugePage; }
constexpr std::size_t AlignmentOf(std::size_t size) { return IsHuge(size) ? kHugePage : PixelPool::kAlignment; }

/// `size` is a multiple of its alignment.
std::uint8_t* AllocateBlock(std::size_t size) {
    void* data = std::aligned_alloc(AlignmentOf(size), size);
#ifdef __linux__
    if (data != nullptr && IsHuge(size)) madvise(data, size, MADV_HUGEPAGE);
#endif
    return static_cast<std::uint8_t*>(data);
}

}  // namespace

std::shared_ptr<PixelPool> PixelPool::Create(std::size_t capacity) {
    return std::shared_ptr<PixelPool>(new PixelPool(capacity));
}

PixelPool::~PixelPool() { Clear(); }

std::shared_ptr<std::uint8_t> PixelPool::Allocate(std::size_t size) {
    // Picture sizes differ little between pixel formats; with rounding, they can share blocks.
    const Block block = Take(size == 0 ? kAlignment : RoundUp(size, AlignmentOf(size)));
    // If the control block cannot be allocated, the deleter runs at once, so the block is not lost.
    return {block.data, [pool = shared_from_this(), block](std::uint8_t*) { pool->Keep(block); }};
}

PixelPool::Block PixelPool::Take(std::size_t size) {
    std::list<Block> evicted;
    if (IsPooled(size)) {
        const std::lock_guard lock(mutex_);
        auto best = idle_.end();
        for (auto block = idle_.begin(); block != idle_.end(); ++block) {
            // A block may be at most an eighth larger than requested: larger ones are kept for requests that need them.
            if (block->size < size || block->size - size > size / 8) continue;
            if (best == idle_.end() || block->size < best->size) best = block;
        }
        takenBytes_ += best == idle_.end() ? size : best->size;
        mostTakenBytes_ = std::max(mostTakenBytes_, takenBytes_);
        if (best != idle_.end()) {
            const Block taken = *best;
            idleBytes_ -= taken.size;
            idle_.erase(best);
            return taken;
        }
        // The slack prevents a small request from evicting a large block.
        evicted = EvictDownTo(mostTakenBytes_ + mostTakenBytes_ / 8 - takenBytes_);
    }
    Free(evicted);
    std::uint8_t* data = AllocateBlock(size);
    if (data == nullptr) {
        Clear();
        data = AllocateBlock(size);
    }
    if (data == nullptr) {
        if (IsPooled(size)) {
            const std::lock_guard lock(mutex_);
            takenBytes_ -= size;
        }
        throw std::bad_alloc();
    }
    return {data, size};
}

void PixelPool::Keep(Block block) noexcept {
    std::list<Block> evicted;
    if (IsPooled(block.size)) {
        const std::lock_guard lock(mutex_);
        takenBytes_ -= block.size;
        if (block.size <= capacity_) {
            try {
                idle_.push_front(block);
                idleBytes_ += block.size;
                block.data = nullptr;
                evicted = EvictDownTo(capacity_);
            } catch (const std::bad_alloc&) {
                // The block is freed instead.
            }
        }
    }
    std::free(block.data);
    Free(evicted);
}

std::list<PixelPool::Block> PixelPool::EvictDownTo(std::size_t bytes) noexcept {
    std::list<Block> evicted;
    while (idleBytes_ > bytes) {
        idleBytes_ -= idle_.back().size;
        evicted.splice(evicted.end(), idle_, std::prev(idle_.end()));
    }
    return evicted;
}

void PixelPool::Free(const std::list<Block>& blocks) noexcept {
    for (const Block& block : blocks) std::free(block.data);
}

void PixelPool::Clear() {
    std::list<Block> dropped;
    {
        const std::lock_guard lock(mutex_);
        dropped.swap(idle_);
        idleBytes_ = 0;
    }
    Free(dropped);
}

std::size_t PixelPool::GetIdleBytes() const {
    const std::lock_guard lock(mutex_);
    return idleBytes_;
}

std::size_t PixelPool::GetMostTakenBytes() const {
    const std::lock_guard lock(mutex_);
    return mostTakenBytes_;
}

}  // namespace Orvexa::Proc
