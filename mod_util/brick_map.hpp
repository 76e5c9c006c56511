// What a walk over the cells of a three-dimensional grid remembers, in bricks of 4 x 4 x 4 nodes that are made
// where the walk comes by: sides of the level, cells done, new nodes of edges. A brick's data are read at
// once, so that the waits for memory overlap.
#ifndef ISOFIELD_MOD_UTIL_BRICK_MAP_HPP
#define ISOFIELD_MOD_UTIL_BRICK_MAP_HPP

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "slot_table.hpp"

namespace isofield::detail {

using Index3 = std::array<int, 3>;

struct Brick {
    static constexpr int kBits = 2, kSide = 1 << kBits, kLow = kSide - 1;
    static constexpr int kNodes = kSide * kSide * kSide;

    int origin[3];
    // Per plane of nodes, one more than the brick has, a bit for each node: five rows of five.
    std::uint32_t above[kSide + 1], null[kSide + 1];
    std::uint64_t done;    // a bit for each cell, by its lowest node
    Brick *next[8];        // the bricks further on along the axes of the bits; null when not met yet
    int edges[3][kNodes];  // per axis and lower node: the new node, from 1; 0 when none

    static int local(int i, int j, int k) {
        return (i & kLow) | (j & kLow) << kBits | (k & kLow) << (2 * kBits);
    }
    bool holds(const Index3 &at) const {
        return ((at[0] ^ origin[0]) | (at[1] ^ origin[1]) | (at[2] ^ origin[2])) >> kBits == 0;
    }
    bool is_done(const Index3 &cell) const { return (done >> local(cell[0], cell[1], cell[2]) & 1) != 0; }
    void set_done(const Index3 &cell) { done |= std::uint64_t{1} << local(cell[0], cell[1], cell[2]); }

    // The corners of a cell in two planes of bits: four bits each, x before y.
    template <class Plane>
    static unsigned corners(const Plane &plane, const Index3 &cell) {
        const int shift = (cell[1] & kLow) * (kSide + 1) + (cell[0] & kLow);
        const auto four = [shift](std::uint32_t bits) {
            const std::uint32_t from = bits >> shift;
            return (from & 3) | (from >> (kSide - 1) & 12);
        };
        const int k = cell[2] & kLow;
        return four(plane[k]) | four(plane[k + 1]) << 4;
    }
};

template <class T>
class BrickMap {
  public:
    BrickMap(const int *dims, const T *data, double level, bool has_nulls, T null_value)
        : dims_{dims[0], dims[1], dims[2]},
          data_(data),
          level_(level),
          has_nulls_(has_nulls),
          null_value_(null_value) {}

    // False when there is no memory.
    bool create() { return table_.create(); }

    // The brick of a node or cell; null when there is no memory.
    Brick *at(const Index3 &node) {
        if (last_ && last_->holds(node)) return last_;
        return last_ = find_or_make(node);
    }

    // The same for a node of one of the brick's cells: `bits` tells the axes along which it is beyond.
    Brick *beyond(Brick *brick, unsigned bits) {
        if (bits == 0) return brick;
        if (!brick->next[bits]) {
            Index3 node;
            for (unsigned d = 0; d < 3; ++d)
                node[d] = brick->origin[d] + static_cast<int>(bits >> d & 1) * Brick::kSide;
            brick->next[bits] = find_or_make(node);
        }
        return brick->next[bits];
    }

  private:
    static constexpr int kChunk = 64;

    struct Chunk {
        Brick bricks[kChunk];
        Chunk *older;
    };
    struct FreeChunks {
        void operator()(Chunk *chunk) const {
            while (chunk) std::free(std::exchange(chunk, chunk->older));
        }
    };
    struct Slot {
        std::uint64_t key_;
        Brick *brick;
        std::uint64_t key() const { return key_; }
    };

    Brick *find_or_make(const Index3 &node) {
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

    Brick *make(const Index3 &node) {
        if (nbricks_ % kChunk == 0) {
            auto *chunk = static_cast<Chunk *>(std::calloc(1, sizeof(Chunk)));
            if (!chunk) return nullptr;
            chunk->older = chunks_.release();
            chunks_.reset(chunk);
        }
        Brick *brick = &chunks_->bricks[nbricks_++ % kChunk];
        for (std::size_t d = 0; d < 3; ++d) brick->origin[d] = node[d] & ~Brick::kLow;
        read(*brick);
        return brick;
    }

    void read(Brick &brick) const {
        constexpr int kRow = Brick::kSide + 1;
        const auto [i0, j0, k0] = brick.origin;
        const int ni = std::min(kRow, dims_[0] - i0), nj = std::min(kRow, dims_[1] - j0);
        const int nk = std::min(kRow, dims_[2] - k0);
        for (int k = 0; k < nk; ++k) {
            for (int j = 0; j < nj; ++j) {
                const T *row = data_ + (std::ptrdiff_t{k0 + k} * dims_[1] + j0 + j) * dims_[0] + i0;
                std::uint32_t above = 0, null = 0;
                for (int i = 0; i < ni; ++i) {
                    above |= (static_cast<double>(row[i]) >= level_ ? 1u : 0u) << i;
                    null |= (row[i] == null_value_ ? 1u : 0u) << i;
                }
                brick.above[k] |= above << (kRow * j);
                brick.null[k] |= (has_nulls_ ? null : 0) << (kRow * j);
            }
        }
    }

    Index3 dims_;
    const T *data_;
    double level_;
    bool has_nulls_;
    T null_value_;

    SlotTable<Slot> table_;
    std::unique_ptr<Chunk, FreeChunks> chunks_;
    std::size_t nbricks_ = 0;
    Brick *last_ = nullptr;
};

}  // namespace isofield::detail
#endif
