// What a walk over the cells of a three-dimensional grid remembers, in bricks of 4 x 4 x 4 nodes that are made
// where the walk comes by: sides of the level, cells done, new nodes of edges. A brick's data are read at
// once, so that the waits for memory overlap.
#ifndef ISOFIELD_MOD_UTIL_BRICK_MAP_HPP
#define ISOFIELD_MOD_UTIL_BRICK_MAP_HPP

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <utility>

#include "slot_table.hpp"

namespace isofield::detail {

using Index3 = std::array<int, 3>;

// A number for each of a brick's 192 edges, from 1; 0 where there is none. A sheet crosses few of them: they
// stand in a small hash, and in an array of all when they outgrow it.
class BrickEdges {
  public:
    // The place of an edge's number; null when there is no memory.
    int *find(int axis, int local) {
        const int edge = axis * kLocals + local;
        if (all_) return &all_[edge];
        const auto key = static_cast<std::uint8_t>(edge + 1);
        unsigned slot = key * 11u % kSlots;
        while (keys_[slot] != 0 && keys_[slot] != key) slot = (slot + 1) % kSlots;
        if (keys_[slot] == 0) {
            if (count_ == kMost) return spread() ? &all_[edge] : nullptr;
            keys_[slot] = key;
            ++count_;
        }
        return &numbers_[slot];
    }
    void free() { std::free(all_); }

  private:
    static constexpr int kLocals = 64, kSlots = 32, kMost = 24;

    bool spread() {
        all_ = static_cast<int *>(std::calloc(3 * kLocals, sizeof(int)));
        for (int slot = 0; slot < kSlots && all_; ++slot) {
            if (keys_[slot] != 0) all_[keys_[slot] - 1] = numbers_[slot];
        }
        return all_ != nullptr;
    }

    std::uint8_t keys_[kSlots];
    int numbers_[kSlots];
    int *all_;
    int count_;
};

// All zero to begin with. Nodes, and cells by their lowest nodes, have local numbers, i + 4 * (j + 4 * k).
struct Brick {
    static constexpr int kBits = 2, kSide = 1 << kBits, kLow = kSide - 1;

    Index3 origin;
    int first_node;
    std::uint64_t done;  // a bit for each cell
    // Per plane of nodes, one more than the brick has, a bit for each node: five rows of five.
    std::uint32_t above[kSide + 1], null[kSide + 1];
    Brick *next[8];    // further on along the axes of the bits; null when not met yet
    Brick *before[3];  // further back along an axis
    BrickEdges edges;

    static int local(const Index3 &at) {
        return (at[0] & kLow) | (at[1] & kLow) << kBits | (at[2] & kLow) << (2 * kBits);
    }
    static int along(int local, std::size_t d) { return local >> (kBits * d) & kLow; }

    // The corners of a cell in such planes of bits: four bits each, x before y.
    static unsigned corners(const std::uint32_t *plane, int local) {
        const int shift = along(local, 1) * (kSide + 1) + along(local, 0);
        const auto four = [shift](std::uint32_t bits) {
            const std::uint32_t from = bits >> shift;
            return (from & 3) | (from >> (kSide - 1) & 12);
        };
        const std::size_t k = static_cast<std::size_t>(along(local, 2));
        return four(plane[k]) | four(plane[k + 1]) << 4;
    }
};

// Where the nodes of a cell are: per local number and offset, a bit for each axis, the bits of the axes along
// which they are in the next brick, and their local number there.
struct CornerPlace {
    std::uint8_t beyond, local;
};
inline constexpr auto kCornerPlaces = [] {
    std::array<std::array<CornerPlace, 8>, 64> places{};
    for (unsigned local = 0; local < 64; ++local) {
        for (unsigned offset = 0; offset < 8; ++offset) {
            CornerPlace &place = places[local][offset];
            for (unsigned d = 0; d < 3; ++d) {
                const unsigned at = (local >> 2 * d & 3) + (offset >> d & 1);
                place.beyond = static_cast<std::uint8_t>(place.beyond | at >> 2 << d);
                place.local = static_cast<std::uint8_t>(place.local | (at & 3) << 2 * d);
            }
        }
    }
    return places;
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

    // Further on along the axes of the bits.
    Brick *next(Brick *brick, unsigned bits) {
        if (Brick *known = brick->next[bits]) return known;
        Index3 node = brick->origin;
        for (std::size_t d = 0; d < 3; ++d) node[d] += static_cast<int>(bits >> d & 1) * Brick::kSide;
        return brick->next[bits] = at(node);
    }

    Brick *before(Brick *brick, std::size_t d) {
        if (Brick *known = brick->before[d]) return known;
        Index3 node = brick->origin;
        node[d] -= Brick::kSide;
        return brick->before[d] = at(node);
    }

  private:
    static constexpr int kChunk = 64;
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
        read(*brick);
        return brick;
    }

    // The sides of the nodes, one row and plane beyond the brick's own where the grid has them.
    void read(Brick &brick) const {
        constexpr int kRow = Brick::kSide + 1;
        int n[3];
        for (std::size_t d = 0; d < 3; ++d) n[d] = std::min(kRow, dims_[d] - brick.origin[d]);
        for (int k = 0; k < n[2]; ++k) {
            const T *row = data_ + brick.first_node + std::ptrdiff_t{k} * dims_[0] * dims_[1];
            for (int j = 0; j < n[1]; ++j, row += dims_[0]) {
                const auto bits_where = [&](auto holds) {
                    std::uint32_t bits = 0;
                    if (n[0] == kRow) {
                        for (int i = 0; i < kRow; ++i) bits |= std::uint32_t{holds(row[i])} << i;
                    } else {
                        for (int i = 0; i < n[0]; ++i) bits |= std::uint32_t{holds(row[i])} << i;
                    }
                    return bits << (kRow * j);
                };
                brick.above[k] |= bits_where([this](T value) { return static_cast<Level>(value) >= level_; });
                if (has_nulls_) brick.null[k] |= bits_where([this](T value) { return value == null_value_; });
            }
        }
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
