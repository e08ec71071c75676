#include "Host/Proc/PixelPool.h"

#include <cstdlib>
#include <new>
#include <vector>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace Orvexa::Proc {

namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;
// Below this size a block costs little to touch; the C library keeps such blocks well by itself.
constexpr std::size_t kPooledFrom = std::size_t{256} << 10;

constexpr std::size_t RoundUp(std::size_t size, std::size_t unit) { return (size + unit - 1) / unit * unit; }

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

std::shared_ptr<PixelPool> PixelPool::Create(std::size_t capacity) { return std::shared_ptr<PixelPool>(new PixelPool(capacity)); }

PixelPool::~PixelPool() { Clear(); }

std::shared_ptr<std::uint8_t> PixelPool::Allocate(std::size_t size) {
    // A picture's size differs little between pixel formats; rounded up, one's blocks serve the other.
    const Block block = Take(size == 0 ? kAlignment : RoundUp(size, AlignmentOf(size)));
    // If the control block cannot be allocated the deleter runs at once, so the block is not lost.
    return {block.data, [pool = shared_from_this(), block](std::uint8_t*) { pool->Keep(block); }};
}

PixelPool::Block PixelPool::Take(std::size_t size) {
    if (size >= kPooledFrom) {
        const std::lock_guard lock(mutex_);
        auto best = idle_.end();
        for (auto block = idle_.begin(); block != idle_.end(); ++block) {
            // A block may be an eighth larger than asked for, no more: memory is reserved for what needs it.
            if (block->size < size || block->size - size > size / 8) continue;
            if (best == idle_.end() || block->size < best->size) best = block;
        }
        if (best != idle_.end()) {
            const Block taken = *best;
            idleBytes_ -= taken.size;
            idle_.erase(best);
            return taken;
        }
    }
    std::uint8_t* data = AllocateBlock(size);
    if (data == nullptr) {
        Clear();
        data = AllocateBlock(size);
    }
    if (data == nullptr) throw std::bad_alloc();
    return {data, size};
}

void PixelPool::Keep(Block block) noexcept {
    std::vector<Block> evicted;
    if (block.size < kPooledFrom || block.size > capacity_) {
        std::free(block.data);
        return;
    }
    try {
        const std::lock_guard lock(mutex_);
        evicted.reserve(idle_.size());
        idle_.push_front(block);
        idleBytes_ += block.size;
        while (idleBytes_ > capacity_) {
            evicted.push_back(idle_.back());
            idleBytes_ -= idle_.back().size;
            idle_.pop_back();
        }
    } catch (...) {
        std::free(block.data);
    }
    for (const Block& old : evicted) std::free(old.data);
}

void PixelPool::Clear() {
    std::list<Block> dropped;
    {
        const std::lock_guard lock(mutex_);
        dropped.swap(idle_);
        idleBytes_ = 0;
    }
    for (const Block& block : dropped) std::free(block.data);
}

std::size_t PixelPool::GetIdleBytes() const {
    const std::lock_guard lock(mutex_);
    return idleBytes_;
}

}  // namespace Orvexa::Proc
