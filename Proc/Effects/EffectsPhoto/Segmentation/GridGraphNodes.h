// Nodes of the grid graph: their layout, and the data stored for each.
//
// The picture is surrounded by a ring of nodes without pixels, so that every pixel has four neighbours, and rounded up
// to tiles of 8 x 8 nodes: a tile's bytes fill one cache line, and most neighbours are in the same one.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <type_traits>

namespace Orvexa::Proc::GridGraph {

using NodeIndex = std::uint32_t;
using Capacity = std::uint16_t;

enum Label : std::uint8_t { kFree = 0, kSourceTree = 1, kSinkTree = 2 };

/// The direction of a neighbour, or of a node's parent, which may be the terminal itself or missing.
enum Direction : std::uint8_t { kRight, kDown, kUp, kLeft, kNoParent, kTerminal };
inline constexpr std::size_t kDirections = 4;

constexpr Direction Opposite(Direction direction) { return static_cast<Direction>(3 - direction); }

/// A direction as a type, so that its neighbour offset and flag bit are compile-time constants.
template <Direction D>
using DirectionTag = std::integral_constant<Direction, D>;

/// One byte per node: its label in bits 0 and 1; in bits 2 to 5, for each direction, whether the edge from the node has
/// residual capacity; and in bit 6 whether the node is in its worker's queue of active nodes. The edge bits across a
/// closed region boundary are clear, whatever the residual capacity.
using Flags = std::uint8_t;

constexpr Flags kLabelMask = 3;
constexpr Flags kIsActive = 64;
constexpr Label LabelOf(Flags flags) { return static_cast<Label>(flags & kLabelMask); }
constexpr Flags WithLabel(Flags flags, Label label) { return static_cast<Flags>((flags & ~kLabelMask) | label); }
constexpr Flags EdgeBit(Direction direction) { return static_cast<Flags>(4 << direction); }
constexpr bool HasResidual(Flags flags, Direction direction) { return (flags & EdgeBit(direction)) != 0; }

/// Indices of a picture's nodes. Coordinates are those of the padded grid: pixel (x, y) is node (x + 1, y + 1).
class GridLayout {
public:
    static constexpr std::uint32_t kTileSide = 8;
    static constexpr std::uint32_t kTileNodes = kTileSide * kTileSide;

    GridLayout(std::uint32_t width, std::uint32_t height)
        : paddedWidth_(static_cast<std::uint32_t>(Padded(width))),
          paddedHeight_(static_cast<std::uint32_t>(Padded(height))),
          rowJump_(kTileSide * paddedWidth_ - (kTileNodes - kTileSide)) {}

    /// The side of the padded grid for a picture's side.
    static constexpr std::uint64_t Padded(std::uint64_t side) { return (side + 1) / kTileSide * kTileSide + kTileSide; }

    std::uint32_t GetPaddedWidth() const { return paddedWidth_; }
    std::uint32_t GetPaddedHeight() const { return paddedHeight_; }
    std::size_t GetNodeCount() const { return std::size_t{paddedWidth_} * paddedHeight_; }

    NodeIndex GetIndex(std::uint32_t x, std::uint32_t y) const {
        return y / kTileSide * (kTileSide * paddedWidth_) + x / kTileSide * kTileNodes + y % kTileSide * kTileSide +
               x % kTileSide;
    }

    /// The neighbour of a node that is not at that edge of the padded grid.
    template <Direction D>
    NodeIndex GetNeighbour(NodeIndex node) const {
        constexpr std::uint32_t kLast = kTileSide - 1, kTileJump = kTileNodes - kLast;
        const std::uint32_t column = node % kTileSide, row = node % kTileNodes / kTileSide;
        if constexpr (D == kRight) return column != kLast ? node + 1 : node + kTileJump;
        if constexpr (D == kDown) return row != kLast ? node + kTileSide : node + rowJump_;
        if constexpr (D == kUp) return row != 0 ? node - kTileSide : node - rowJump_;
        if constexpr (D == kLeft) return column != 0 ? node - 1 : node - kTileJump;
    }

private:
    std::uint32_t paddedWidth_, paddedHeight_;
    std::uint32_t rowJump_;  // from a tile's last row to the first row of the tile below
};

/// The arrays of the graph, one entry per node. A thread accesses only nodes of its region, with one exception: it
/// reads the flags of neighbours across a closed boundary. It uses only the edge bit in them, which is clear on both
/// sides, but their owner may be changing other bits: flags are therefore relaxed atomics.
struct NodeArrays {
    GridLayout layout;
    Flags* flags = nullptr;
    Direction* parentDirection = nullptr;           ///< the parent's index is derived from it, so it is not stored
    std::array<Capacity*, kDirections> residual{};  ///< of the edge from the node in each direction
    Capacity* terminalResidual = nullptr;           ///< capacity left to the terminal of the node's tree
    std::uint32_t* stamp = nullptr;                 ///< when the node's path to the terminal was last confirmed

    Flags GetFlags(NodeIndex node) const { return std::atomic_ref<Flags>(flags[node]).load(std::memory_order_relaxed); }
    void SetFlags(NodeIndex node, Flags value) const {
        std::atomic_ref<Flags>(flags[node]).store(value, std::memory_order_relaxed);
    }
    void OpenEdge(NodeIndex node, Direction direction) const { SetFlags(node, GetFlags(node) | EdgeBit(direction)); }
    void CloseEdge(NodeIndex node, Direction direction) const {
        SetFlags(node, static_cast<Flags>(GetFlags(node) & ~EdgeBit(direction)));
    }
};

}  // namespace Orvexa::Proc::GridGraph
