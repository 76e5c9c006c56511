// The inner loops of the edge tables: growth, and the walk along a bucket's chain. Shared by the exported
// operations and by kernels that look up many edges at a time.
#ifndef ISOFIELD_MOD_UTIL_EDGE_TABLE_HPP
#define ISOFIELD_MOD_UTIL_EDGE_TABLE_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "output_array.hpp"
#include "types.hpp"
#include "working_array.hpp"

namespace isofield::detail {

constexpr char kEdgeTableUnit[] = "mod_util/edge_tbl";

template <class Table>
constexpr bool kHasLevel = requires(Table *table) {
    table->level_flag;
};

template <class Table>
constexpr bool kRolling = requires(Table *table) {
    table->slot_entry;
};

template <class T>
bool grow_list(T *&list, int count) {
    void *grown = ARRrealloc_f(list, kTypeCode<T>, count, nullptr, kEdgeTableUnit, __LINE__);
    if (!grown) return false;
    list = static_cast<T *>(grown);
    return true;
}

// The next step of a growing size, or 0 when an int can't count it.
inline int next_capacity(int capacity, int step) {
    const std::int64_t next = std::int64_t{capacity} + step;
    return step > 0 && next <= std::numeric_limits<int>::max() ? static_cast<int>(next) : 0;
}

template <class Table>
bool grow_next(Table *table, int &old_count, int new_count) {
    const auto count = static_cast<std::size_t>(new_count);
    if (new_count == 0 || !grow_working(table->next, count)) return false;
    if constexpr (kRolling<Table>) {
        if (!grow_working(table->slot_entry, count)) return false;
    }
    std::fill(table->next + old_count, table->next + new_count, 0);
    old_count = new_count;
    return true;
}

template <class Table>
bool grow_entries(Table *table, int new_count) {
    if (new_count == 0 || !grow_list(table->max_node, new_count) || !grow_list(table->min_node, new_count)) {
        return false;
    }
    if constexpr (kHasLevel<Table>) {
        if (!grow_list(table->level_flag, new_count)) return false;
    }
    return true;
}

// Makes room for the entry `count` and its slot, and returns the slot; 0 when there is no memory.
template <class Table>
int new_slot(Table *table) {
    if constexpr (kRolling<Table>) {
        if (table->next_slot + 1 >= table->slot_capacity &&
            !grow_next(table, table->slot_capacity, next_capacity(table->slot_capacity, table->grow))) {
            return 0;
        }
        if (table->count >= table->capacity) {
            const int capacity = next_capacity(table->capacity, table->grow);
            if (!grow_entries(table, capacity)) return 0;
            table->capacity = capacity;
        }
        table->slot_entry[table->next_slot - 1] = table->count;
        return table->next_slot++;
    } else {
        const int slot = table->count + 1;
        if (slot >= table->capacity - 1) {
            const int capacity = next_capacity(table->capacity, table->grow);
            if (!grow_entries(table, capacity) || !grow_next(table, table->capacity, capacity)) return 0;
        }
        return slot;
    }
}

// Looks an edge up in its bucket's chain, or puts it in front. Returns its entry, or -1 when there is no
// memory. Both ends are compared: buckets may be shared, and in a rolling table a chain may end in entries of
// planes left behind.
template <class Table>
int find_or_add(Table *table, int bucket, int lo, int hi, [[maybe_unused]] int level) {
    [[maybe_unused]] const auto flag = static_cast<unsigned char>(level);
    for (int slot = table->head[bucket]; slot != 0; slot = table->next[slot]) {
        int entry = slot - 1;
        if constexpr (kRolling<Table>) entry = table->slot_entry[slot - 1];
        bool same = table->max_node[entry] == hi && table->min_node[entry] == lo;
        if constexpr (kHasLevel<Table>) same = same && table->level_flag[entry] == flag;
        if (same) return entry;
    }
    const int slot = new_slot(table);
    if (slot == 0) return -1;
    const int entry = table->count++;
    table->min_node[entry] = lo;
    table->max_node[entry] = hi;
    if constexpr (kHasLevel<Table>) {
        table->level_flag[entry] = flag;
        ++(level != 0 ? table->nupper : table->nlower);
    }
    table->next[slot] = table->head[bucket];
    table->head[bucket] = slot;
    return entry;
}

// The kernels' way into a table with a bucket for every node, flat, or rolling with `base` as the first node
// of its window. Room is made for a block of cells at once; then edges are looked up without a test for it.
template <class Table>
class EdgeLookup {
  public:
    explicit EdgeLookup(Table *table) : table_(table) {}

    void set_base(int base) { base_ = base; }

    // Room for so many more edges. False when there is no memory.
    bool reserve(std::int64_t more) {
        // A table grows before its last slot but one.
        const std::int64_t needed = table_->count + more + 2;
        if constexpr (kRolling<Table>) {
            if (needed > table_->slot_capacity &&
                !grow_next(table_, table_->slot_capacity, amply(table_->slot_capacity, needed))) {
                return false;
            }
        }
        if (needed <= table_->capacity) return true;
        const int capacity = amply(table_->capacity, needed);
        if (!grow_entries(table_, capacity)) return false;
        if constexpr (kRolling<Table>) {
            table_->capacity = capacity;
            return true;
        } else {
            return grow_next(table_, table_->capacity, capacity);
        }
    }

    // The new node of the edge between two nodes; at a level, in tables that have levels.
    int operator()(int a, int b, [[maybe_unused]] int level = 0) {
        const int lo = std::min(a, b), hi = std::max(a, b);
        int &head = table_->head[lo - base_];
        for (int slot = head; slot != 0; slot = table_->next[slot]) {
            // No slot is used twice: slots and entries count alike in both forms.
            const int entry = slot - 1;
            bool same = table_->max_node[entry] == hi;
            if constexpr (kRolling<Table>) same = same && table_->min_node[entry] == lo;
            if constexpr (kHasLevel<Table>) same = same && table_->level_flag[entry] == level;
            if (same) return entry;
        }
        const int entry = table_->count++;
        table_->min_node[entry] = lo;
        table_->max_node[entry] = hi;
        if constexpr (kHasLevel<Table>) {
            table_->level_flag[entry] = static_cast<unsigned char>(level);
            ++(level != 0 ? table_->nupper : table_->nlower);
        }
        if constexpr (kRolling<Table>) table_->slot_entry[table_->next_slot++ - 1] = entry;
        table_->next[entry + 1] = head;
        head = entry + 1;
        return entry;
    }

  private:
    // The next capacity in whole steps, by an eighth at least: `next` may move, and be copied, each time. 0
    // when an int can't count it.
    int amply(int capacity, std::int64_t needed) const {
        const std::int64_t short_by = ample_capacity(capacity, needed) - capacity;
        const std::int64_t steps = (short_by + table_->grow - 1) / table_->grow;
        const std::int64_t ample = capacity + steps * table_->grow;
        return ample <= std::numeric_limits<int>::max() ? static_cast<int>(ample) : 0;
    }

    Table *table_;
    int base_ = 0;
};

}  // namespace isofield::detail
#endif
