// The single allocation of a grid graph.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace Orvexa::Proc::GridGraph {

/// A zero-filled block, handed out piece by piece and freed as a whole.
class ZeroedBlock {
public:
    /// Pieces begin on cache lines.
    static constexpr std::size_t kAlignment = 64;

    /// Throws `std::bad_alloc`, with a description that states the number of bytes, if the memory cannot be allocated.
    explicit ZeroedBlock(std::size_t size);

    /// Returns `count` zeros. All pieces together must fit into the block, each with up to `kAlignment` - 1 bytes
    /// before it.
    template <class T>
    T* Take(std::size_t count) {
        return static_cast<T*>(TakeBytes(count * sizeof(T)));
    }

private:
    struct Free {
        void operator()(void* memory) const { std::free(memory); }
    };

    void* TakeBytes(std::size_t size);

    std::unique_ptr<void, Free> memory_;
    void* free_;
    std::size_t freeSize_;
};

}  // namespace Orvexa::Proc::GridGraph
