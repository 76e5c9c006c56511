// What a walk over the cells of a three-dimensional grid remembers, in bricks of 4 x 4 x 4 nodes that are
// made where the walk comes by: sides of the level, cells done, new nodes of edges. A brick's data are read
// at once, so that the waits for memory overlap.
#ifndef ISOFIELD_MOD_UTIL_BRICK_MAP_HPP
#define ISOFIELD_MOD_UTIL_BRICK_MAP_HPP

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <type_traits>
#include <utility>

#include "slot_table.hpp"

namespace isofield::detail {

using Index3 = std::array<int, 3>;

// A number for each of a brick's 192 edges, from 1; 0 where there is none. A sheet crosses few of them: their
// numbers stand in a short list, or in an array of all when they outgrow it. All zero to begin with.
class BrickEdges {
  public:
    static constexpr int kEdges = 192;

    // The place of an edge's number; null when there is no memory.
    int *find(int edge) {
        const unsigned place = place_[edge] - 1u;
        return place < kMost ? &numbers_[place] : find_new(edge);
    }
    void free() { std::free(all_); }

  private:
    static constexpr unsigned kMost = 30;
    static constexpr std::uint8_t kInAll = 255;  // instead of a place

    [[gnu::noinline]] int *find_new(int edge) {
        if (!all_ && count_ == kMost && !spread()) return nullptr;
        if (all_) return &all_[edge];
        numbers_[count_] = 0;
        place_[edge] = ++count_;
        return &numbers_[count_ - 1];
    }

    bool spread() {
        all_ = static_cast<int *>(std::calloc(kEdges, sizeof(int)));
        for (int edge = 0; edge < kEdges && all_; ++edge) {
            if (place_[edge] != 0) all_[edge] = numbers_[place_[edge] - 1];
            place_[edge] = kInAll;
        }
        return all_ != nullptr;
    }

    std::uint8_t place_[kEdges];  // in the list, from 1
    std::uint8_t count_;
    int numbers_[kMost];
    int *all_;
};

// Nodes, and cells by their lowest nodes, have local numbers, i + 4 * (j + 4 * k).
struct Brick {
    static constexpr int kBits = 2, kSide = 1 << kBits, kLow = kSide - 1;
    static constexpr int kNodes = kSide * kSide * kSide;
    static constexpr int kRow = kSide + 1;  // nodes of a row of the planes of bits

    Index3 origin;
    int first_node;
    std::uint64_t done;  // a bit for each cell
    // Per plane of nodes, one more than the brick has, a bit for each node: kRow rows.
    std::uint32_t above[kRow], null[kRow];
    // Null when not met yet. Below kBack: further on along the axes of the bits, the first being the brick
    // itself; from kBack on: further back along an axis.
    static constexpr unsigned kBack = 8;
    Brick *near[kBack + 3];
    BrickEdges edges;

    static int local(const Index3 &at) {
        return (at[0] & kLow) | (at[1] & kLow) << kBits | (at[2] & kLow) << (2 * kBits);
    }
    static constexpr int along(int local, std::size_t d) { return local >> (kBits * d) & kLow; }

    // The corners of a cell in such planes of bits: four bits each, x before y.
    static unsigned corners(const std::uint32_t *plane, int local) {
        const int shift = along(local, 1) * kRow + along(local, 0);
        const auto four = [shift](std::uint32_t bits) {
            const std::uint32_t from = bits >> shift;
            return (from & 3) | (from >> (kSide - 1) & 12);
        };
        const std::size_t k = static_cast<std::size_t>(along(local, 2));
        return four(plane[k]) | four(plane[k + 1]) << 4;
    }
};

// Something of a brick or of one near it: which, as Brick::near counts, and its local number there.
struct NearPlace {
    std::uint8_t brick, local;
};

// The node that is offset from one of the brick's along the axes of the bits.
constexpr NearPlace offset_place(int local, unsigned offset) {
    NearPlace place{};
    for (unsigned d = 0; d < 3; ++d) {
        const unsigned at = static_cast<unsigned>(Brick::along(local, d)) + (offset >> d & 1);
        place.brick = static_cast<std::uint8_t>(place.brick | at >> Brick::kBits << d);
        place.local = static_cast<std::uint8_t>(place.local | (at & Brick::kLow) << Brick::kBits * d);
    }
    return place;
}

// Per cell and step, 2 * axis back and 2 * axis + 1 on: the next cell.
inline constexpr auto kSteps = [] {
    std::array<std::array<NearPlace, 6>, Brick::kNodes> steps{};
    for (int local = 0; local < Brick::kNodes; ++local) {
        for (unsigned d = 0; d < 3; ++d) {
            const bool first = Brick::along(local, d) == 0;
            const int stride = 1 << (Brick::kBits * static_cast<int>(d));
            auto &cell = steps[static_cast<std::size_t>(local)];
            cell[2 * d] = {static_cast<std::uint8_t>(first ? Brick::kBack + d : 0),
                           static_cast<std::uint8_t>(local + (first ? Brick::kLow : -1) * stride)};
            cell[2 * d + 1] = offset_place(local, 1u << d);
        }
    }
    return steps;
}();

template <class T>
class BrickMap {
  public:
    BrickMap(const int *dims, const T *data, double level, bool has_nulls, T null_value)
        : dims_{dims[0], dims[1], dims[2]},
          data_(data),
          level_(static_cast<Level>(level)),
          has_nulls_(has_nulls),
          null_value_(null_value) {}

    // False when there is no memory.
    bool create() { return table_.create(); }

    // The brick of a node or cell; null when there is no memory. So below.
    Brick *at(const Index3 &node) {
        const auto across = [this](std::size_t d) {
            return static_cast<std::uint64_t>((dims_[d] + Brick::kLow) >> Brick::kBits);
        };
        const auto number = [&node](std::size_t d) {
            return static_cast<std::uint64_t>(node[d] >> Brick::kBits);
        };
        const std::uint64_t key = number(0) + across(0) * (number(1) + across(1) * number(2)) + 1;
        if (!table_.reserve(1)) return nullptr;
        Slot &slot = table_.find(key);
        if (slot.key_ == 0) {
            Brick *made = make(node);
            if (!made) return nullptr;
            slot = {key, made};
            table_.added();
        }
        return slot.brick;
    }

    Brick *near(Brick *brick, unsigned which) {
        Brick *const known = brick->near[which];
        return known ? known : brick->near[which] = meet(*brick, which);
    }

  private:
    static constexpr int kChunk = 64, kRow = Brick::kRow;
    // Levels are floats to begin with, and compare alike as such.
    using Level = std::conditional_t<std::is_same_v<T, float>, float, double>;

    struct Chunk {
        Brick bricks[kChunk];
        Chunk *older;
    };
    struct FreeChunks {
        void operator()(Chunk *chunk) const {
            while (chunk) {
                for (Brick &brick : chunk->bricks) brick.edges.free();
                std::free(std::exchange(chunk, chunk->older));
            }
        }
    };
    struct Slot {
        std::uint64_t key_;
        Brick *brick;
        std::uint64_t key() const { return key_; }
    };

    [[gnu::noinline]] Brick *meet(const Brick &brick, unsigned which) {
        Index3 node = brick.origin;
        for (std::size_t d = 0; d < 3; ++d) {
            if (which < Brick::kBack) node[d] += static_cast<int>(which >> d & 1) * Brick::kSide;
        }
        if (which >= Brick::kBack) node[which - Brick::kBack] -= Brick::kSide;
        return at(node);
    }

    Brick *make(const Index3 &node) {
        if (nbricks_ % kChunk == 0) {
            auto *chunk = static_cast<Chunk *>(std::calloc(1, sizeof(Chunk)));
            if (!chunk) return nullptr;
            chunk->older = chunks_.release();
            chunks_.reset(chunk);
        }
        Brick *brick = &chunks_->bricks[nbricks_++ % kChunk];
        for (std::size_t d = 0; d < 3; ++d) brick->origin[d] = node[d] & ~Brick::kLow;
        const auto [i, j, k] = brick->origin;
        brick->first_node = i + dims_[0] * (j + dims_[1] * k);
        brick->near[0] = brick;
        read(*brick);
        return brick;
    }

    // The sides of the nodes, one row and plane beyond the brick's own where the grid has them.
    void read(Brick &brick) const {
        int n[3];
        for (std::size_t d = 0; d < 3; ++d) n[d] = std::min(kRow, dims_[d] - brick.origin[d]);
        for (int k = 0; k < n[2]; ++k) {
            const T *rows = data_ + brick.first_node + std::ptrdiff_t{k} * dims_[0] * dims_[1];
            const auto above = [this](T value) { return static_cast<Level>(value) >= level_; };
            brick.above[k] = n[0] == kRow && n[1] == kRow ? full_plane(rows, above) : plane(rows, n, above);
            if (has_nulls_) brick.null[k] = plane(rows, n, [this](T value) { return value == null_value_; });
        }
    }

    // A bit for each node of a plane of which something holds.
    template <class Holds>
    std::uint32_t plane(const T *row, const int *n, Holds holds) const {
        std::uint32_t bits = 0;
        for (int j = 0; j < n[1]; ++j, row += dims_[0]) {
            for (int i = 0; i < n[0]; ++i) bits |= std::uint32_t{holds(row[i])} << (kRow * j + i);
        }
        return bits;
    }

    // The same in full rows, four nodes and a fifth.
    template <class Holds>
    std::uint32_t full_plane(const T *row, Holds holds) const {
        std::uint32_t four[4] = {}, fifth = 0;
        for (int j = 0; j < kRow; ++j, row += dims_[0]) {
            for (int i = 0; i < 4; ++i) four[i] |= holds(row[i]) ? 1u << (kRow * j + i) : 0u;
            fifth |= holds(row[4]) ? 1u << (kRow * j + 4) : 0u;
        }
        return four[0] | four[1] | four[2] | four[3] | fifth;
    }

    Index3 dims_;
    const T *data_;
    Level level_;
    bool has_nulls_;
    T null_value_;

    SlotTable<Slot> table_;
    std::unique_ptr<Chunk, FreeChunks> chunks_;
    std::size_t nbricks_ = 0;
};

}  // namespace isofield::detail
#endif
