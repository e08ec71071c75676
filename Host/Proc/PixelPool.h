// Storage for pixels, kept for reuse.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>

namespace Orvexa::Proc {

/// Hands out blocks of pixel memory and keeps freed ones for reuse. The first touch of fresh memory costs more than
/// most effects, so large blocks are advised to huge pages and freed blocks stay in a bounded pool, oldest out first.
/// Before fresh memory is taken, waiting blocks make room, so that pool and pictures together take at most an eighth
/// more than the pictures alone once did. Thread safe.
class PixelPool : public std::enable_shared_from_this<PixelPool> {
public:
    /// Rows and blocks are aligned for the widest vectors and for cache lines.
    static constexpr std::size_t kAlignment = 64;

    /// `capacity` bounds the bytes that wait for reuse.
    static std::shared_ptr<PixelPool> Create(std::size_t capacity);
    PixelPool(const PixelPool&) = delete;
    PixelPool& operator=(const PixelPool&) = delete;
    ~PixelPool();

    /// A block of at least `size` bytes, aligned to `kAlignment`, with undefined contents. It returns to the pool with
    /// the last pointer to it.
    std::shared_ptr<std::uint8_t> Allocate(std::size_t size);
    /// Frees everything that waits for reuse.
    void Clear();
    /// Bytes that wait for reuse.
    std::size_t GetIdleBytes() const;
    /// The most bytes that were handed out at a time, small blocks not counted.
    std::size_t GetMostTakenBytes() const;

private:
    struct Block {
        std::uint8_t* data;
        std::size_t size;
    };

    explicit PixelPool(std::size_t capacity) : capacity_(capacity) {}
    Block Take(std::size_t size);
    void Keep(Block block) noexcept;
    /// Takes the oldest blocks out until no more than `bytes` wait for reuse. The mutex must be held.
    std::list<Block> EvictDownTo(std::size_t bytes) noexcept;
    static void Free(const std::list<Block>& blocks) noexcept;

    const std::size_t capacity_;
    mutable std::mutex mutex_;
    std::list<Block> idle_;  // newest first
    std::size_t idleBytes_ = 0, takenBytes_ = 0, mostTakenBytes_ = 0;
};

}  // namespace Orvexa::Proc
