// Pooled pixel memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>

namespace Orvexa::Proc {

/// Allocates blocks of pixel memory and keeps freed ones for reuse. The first touch of new memory costs more than most
/// effects, so large blocks are advised to use huge pages, and freed blocks stay in a bounded pool from which the
/// oldest are evicted first. Idle blocks are freed before new memory is allocated, so that pool and pictures together
/// take at most an eighth more than the pictures alone took at their peak. Thread safe.
class PixelPool : public std::enable_shared_from_this<PixelPool> {
public:
    /// Rows and blocks are aligned for the widest vectors and for cache lines.
    static constexpr std::size_t kAlignment = 64;

    /// `capacity` limits the idle bytes in the pool.
    static std::shared_ptr<PixelPool> Create(std::size_t capacity);
    PixelPool(const PixelPool&) = delete;
    PixelPool& operator=(const PixelPool&) = delete;
    ~PixelPool();

    /// A block of at least `size` bytes, aligned to `kAlignment`, with undefined contents. It returns to the pool with
    /// the last pointer to it.
    std::shared_ptr<std::uint8_t> Allocate(std::size_t size);
    /// Frees all idle blocks.
    void Clear();
    /// Bytes available for reuse.
    std::size_t GetIdleBytes() const;
    /// The peak of the bytes in use, not counting small blocks.
    std::size_t GetMostTakenBytes() const;

private:
    struct Block {
        std::uint8_t* data;
        std::size_t size;
    };

    explicit PixelPool(std::size_t capacity) : capacity_(capacity) {}
    Block Take(std::size_t size);
    void Keep(Block block) noexcept;
    /// Evicts the oldest blocks until at most `bytes` are idle. The mutex must be held.
    std::list<Block> EvictDownTo(std::size_t bytes) noexcept;
    static void Free(const std::list<Block>& blocks) noexcept;

    const std::size_t capacity_;
    mutable std::mutex mutex_;
    std::list<Block> idle_;  // newest first
    std::size_t idleBytes_ = 0, takenBytes_ = 0, mostTakenBytes_ = 0;
};

}  // namespace Orvexa::Proc
