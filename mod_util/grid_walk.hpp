// What walks from cell to cell of a grid share: the start at a point, the cells waiting and done, and the new
// nodes of crossed edges. Memory follows what a walk touches, never the size of the grid.
#ifndef ISOFIELD_MOD_UTIL_GRID_WALK_HPP
#define ISOFIELD_MOD_UTIL_GRID_WALK_HPP

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <type_traits>
#include <utility>

#include "output_array.hpp"
#include "types.hpp"

namespace isofield::detail {

// The slots of a set of keys: open addressing in a power of two, at most half full. Keys that share all but
// their low three bits stand together, as cells do that a walk visits one after the other.
class SlotHash {
  public:
    explicit SlotHash(std::size_t nslots) : mask_(nslots - 1), shift_(64 - std::countr_zero(nslots)) {}

    std::size_t first(std::uint64_t key) const {
        constexpr std::uint64_t kGolden = 0x9e3779b97f4a7c15u;
        return static_cast<std::size_t>((key >> 3) * kGolden >> shift_) ^ (key & 7);
    }
    std::size_t next(std::size_t slot) const { return (slot + 1) & mask_; }

  private:
    std::size_t mask_;
    int shift_;
};

// A set of keys with what is stored beside each, Slot::key() being 0 in an empty slot.
template <class Slot>
class SlotTable {
  public:
    bool create() { return allocate(kFirstSlots); }

    // Room for so many more. False when there is no memory.
    bool reserve(std::size_t more) {
        std::size_t nslots = nslots_;
        while (count_ + more > nslots / 2) nslots *= 2;
        if (nslots == nslots_) return true;
        const Working<Slot> old = std::move(slots_);
        const std::size_t nold = nslots_;
        if (!allocate(nslots)) return false;
        for (std::size_t i = 0; i < nold; ++i) {
            if (old[i].key() != 0) find(old[i].key()) = old[i];
        }
        return true;
    }

    // The slot of a key, which may be empty: to be filled, and told by added().
    Slot &find(std::uint64_t key) {
        std::size_t slot = hash_.first(key);
        while (slots_[slot].key() != 0 && slots_[slot].key() != key) slot = hash_.next(slot);
        return slots_[slot];
    }
    void added() { ++count_; }

  private:
    static constexpr std::size_t kFirstSlots = 4096;

    bool allocate(std::size_t nslots) {
        slots_ = allocate_cleared<Slot>(nslots);
        nslots_ = nslots;
        hash_ = SlotHash(nslots);
        return slots_ != nullptr;
    }

    Working<Slot> slots_;
    std::size_t nslots_ = 0, count_ = 0;
    SlotHash hash_{kFirstSlots};
};

// The new nodes of a grid's edges, numbered in the order of first sight. An edge is told by its lower node
// and its axis.
class EdgeNumbers {
  public:
    explicit EdgeNumbers(const char *unit) : min_node_(unit, kStep), max_node_(unit, kStep) {}

    bool create() { return table_.create() && min_node_.create() && max_node_.create(); }

    // Room for so many more. False when there is no memory.
    bool reserve(int more) {
        return table_.reserve(static_cast<std::size_t>(more)) &&
               min_node_.reserve_amply(std::int64_t{count_} + more) &&
               max_node_.reserve_amply(std::int64_t{count_} + more);
    }

    int operator()(int lo, int axis, int hi) {
        const std::uint64_t key =
            std::uint64_t{static_cast<unsigned>(lo)} << 2 | (static_cast<unsigned>(axis) + 1);
        Edge &edge = table_.find(key);
        if (edge.key_ == 0) {
            table_.added();
            edge = {key, count_};
            min_node_.data()[count_] = lo;
            max_node_.data()[count_] = hi;
            ++count_;
        }
        return edge.number;
    }

    void hand_over(int **min_node, int **max_node, int *count) {
        *min_node = min_node_.release();
        *max_node = max_node_.release();
        *count = count_;
    }

  private:
    static constexpr int kStep = 1024;

    struct Edge {
        std::uint64_t key_;
        int number;
        std::uint64_t key() const { return key_; }
    };

    SlotTable<Edge> table_;
    OutputArray<int> min_node_, max_node_;
    int count_ = 0;
};

// A set of cells.
class CellSetHash {
  public:
    bool create() { return table_.create(); }
    bool holds(int cell) { return table_.find(key_of(cell)).key() != 0; }
    // False when there is no memory.
    bool add(int cell) {
        if (!table_.reserve(1)) return false;
        Cell &slot = table_.find(key_of(cell));
        if (slot.key() == 0) table_.added();
        slot.key_ = static_cast<unsigned>(key_of(cell));
        return true;
    }

  private:
    struct Cell {
        unsigned key_;
        std::uint64_t key() const { return key_; }
    };
    static std::uint64_t key_of(int cell) { return std::uint64_t{static_cast<unsigned>(cell)} + 1; }

    SlotTable<Cell> table_;
};

// The cells that wait: the last one in is the first one out.
class CellStack {
  public:
    bool create() { return grow(kFirstCells); }
    // False when there is no memory.
    bool push(const int *cells, int ncells) {
        const auto more = static_cast<std::size_t>(ncells);
        if (count_ + more > capacity_ && !grow(2 * capacity_)) return false;
        std::copy_n(cells, more, cells_.get() + count_);
        count_ += more;
        return true;
    }
    bool empty() const { return count_ == 0; }
    int pop() { return cells_[--count_]; }

  private:
    static constexpr std::size_t kFirstCells = 1024;

    bool grow(std::size_t capacity) {
        Working<int> grown = allocate_working<int>(capacity);
        if (!grown) return false;
        if (count_ > 0) std::copy_n(cells_.get(), count_, grown.get());
        cells_ = std::move(grown);
        capacity_ = capacity;
        return true;
    }

    Working<int> cells_;
    std::size_t capacity_ = 0, count_ = 0;
};

// Results of a walk, empty until they are filled.
struct WalkResults {
    int *nnew, **min_node, **max_node;
    int *nelements, **connect, *nconnect;

    void clear() const {
        *nnew = *nelements = *nconnect = 0;
        *min_node = *max_node = *connect = nullptr;
    }
};

// Everything that a walk holds.
struct Walk {
    Walk(const char *unit, const WalkResults &out) : results(out), edges(unit), connect(unit, kConnectStep) {}

    bool create() { return connect.create() && edges.create() && done.create() && waiting.create(); }

    // Room for so many more ints of connectivity. False, and told, when there is no memory.
    bool reserve_connect(int more) {
        if (connect.reserve_amply(std::int64_t{nconnect} + more)) return true;
        std::fputs("realloc for connect list failed\n", stderr);
        return false;
    }
    void append(int node) { connect.data()[nconnect++] = node; }

    void hand_over(int nodes_of_element) {
        edges.hand_over(results.min_node, results.max_node, results.nnew);
        *results.connect = connect.release();
        *results.nconnect = nconnect;
        *results.nelements = nconnect / nodes_of_element;
    }

    const WalkResults &results;
    EdgeNumbers edges;
    CellSetHash done;
    CellStack waiting;
    OutputArray<int> connect;
    int nconnect = 0;

  private:
    static constexpr int kConnectStep = 1024;
};

// The cell of a point, and the data there, which are the walk's level. False where there is none, told for a
// missing method.
template <class T>
bool find_start(MeshInfo *mesh, BlockTable *table, const T *data, int null_flag, T null_value,
                const float *xyz, int *cell, double *level) {
    const auto find_cell = mesh->field_funcs->find_cell_func;
    const auto interp_data = mesh->field_funcs->interp_data_func;
    if (!find_cell || !interp_data) {
        std::fputs("UTILfind_cell: unable to find interp_cell function\n", stderr);
        return false;
    }
    float uvw[3] = {0, 0, 0}, value = 0;
    if (find_cell(mesh, table, xyz, cell, uvw) != 1) return false;
    if (interp_data(mesh, *cell, 1, data, kTypeCode<T>, null_flag, &null_value, 1, uvw, &value) != 1)
        return false;
    *level = static_cast<double>(value);
    return true;
}

}  // namespace isofield::detail
#endif
