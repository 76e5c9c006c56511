// The output cells of bands and cuts: six arrays by type index in the caller's words, and beside them the
// lists of the cells that they come from.
#ifndef ISOFIELD_MOD_UTIL_CELL_ARRAYS_HPP
#define ISOFIELD_MOD_UTIL_CELL_ARRAYS_HPP

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "output_array.hpp"

namespace isofield::detail {

constexpr int kTypes = 6;

// What the arrays of one operation are like. Reports are null where a failure goes unreported.
struct CellArrayTraits {
    const char *unit;
    int step;  // first size and growth
    const char *connect_report = nullptr;
    const char *list_report = nullptr;

    bool report(const char *text) const {
        if (text) ERRerror("UTILcut", 1, 2, "%s", text);
        return false;
    }
};

// No cells in the caller's words.
inline void empty_cells(int *ncells, int **connect, int *size) {
    std::fill_n(ncells, kTypes, 0);
    std::fill_n(connect, kTypes, nullptr);
    std::fill_n(size, kTypes, 0);
}

// What becomes of the words of types without cells, whose arrays go: operations differ.
enum class UnusedWords { kDangling, kNull };

class CellArrays {
  public:
    static constexpr int kStopped = -1;

    // ncells, connect and size are six words each.
    CellArrays(const CellArrayTraits &traits, int *ncells, int **connect, int *size, int *capacity)
        : traits_(traits), ncells_(ncells), connect_(connect), size_(size), capacity_(capacity) {}

    // New arrays where there are none.
    bool create(int line = __builtin_LINE()) {
        for (int t = 0; t < kTypes; ++t) {
            if (connect_[t] && capacity_[t] != 0) continue;
            if (connect_[t]) ARRfree_f(connect_[t], traits_.unit, line);
            size_[t] = 0;
            connect_[t] =
                static_cast<int *>(ARRalloc_f(nullptr, 3, traits_.step, nullptr, traits_.unit, line));
            capacity_[t] = connect_[t] ? traits_.step : 0;
            if (!connect_[t]) return false;
        }
        return true;
    }

    // Room for so many more ints in the cells of a type.
    bool reserve(int type, std::int64_t more) {
        return grow_amply(connect_[type], capacity_[type], size_[type] + more, traits_.step, traits_.unit) ||
               traits_.report(traits_.connect_report);
    }

    // Where the next cell of a type goes.
    int *end(int type) const { return connect_[type] + size_[type]; }

    // Counts the cells of `nodes` nodes that were written up to `end`.
    void close(int type, const int *end, int nodes) {
        const int more = static_cast<int>(end - this->end(type));
        size_[type] += more;
        ncells_[type] += more / nodes;
    }

    // All arrays go, and the capacities tell.
    void stop() {
        for (int t = 0; t < kTypes; ++t) {
            if (connect_[t]) ARRfree_f(connect_[t], traits_.unit, __LINE__);
            connect_[t] = nullptr;
            ncells_[t] = size_[t] = 0;
            capacity_[t] = kStopped;
        }
    }

    // The arrays of no cells go.
    void free_unused(UnusedWords words) {
        for (int t = 0; t < kTypes; ++t) {
            if (ncells_[t] != 0 || !connect_[t]) continue;
            ARRfree_f(connect_[t], traits_.unit, __LINE__);
            if (words == UnusedWords::kNull) connect_[t] = nullptr;
        }
    }

  private:
    const CellArrayTraits &traits_;
    int *ncells_;
    int **connect_;
    int *size_;
    int *capacity_;
};

// The same for one operation, which owns the arrays until it hands them over.
class OwnedCellArrays {
  public:
    OwnedCellArrays(const CellArrayTraits &traits, int *ncells, int **connect, int *size)
        : arrays(traits, ncells, connect, size, capacity.data()) {
        empty_cells(ncells, connect, size);
    }
    ~OwnedCellArrays() {
        if (!handed_over_) arrays.stop();
    }
    OwnedCellArrays(const OwnedCellArrays &) = delete;
    OwnedCellArrays &operator=(const OwnedCellArrays &) = delete;

    void hand_over(UnusedWords words) {
        arrays.free_unused(words);
        handed_over_ = true;
    }

    std::array<int, kTypes> capacity{};
    CellArrays arrays;

  private:
    bool handed_over_ = false;
};

// The lists of input cells, six words of counts and of lists. Without counts nobody asks for lists.
class CellLists {
  public:
    CellLists(const CellArrayTraits &traits, int *count, int **list)
        : traits_(traits), count_(count), list_(count ? list : nullptr) {
        capacity_.fill(traits.step);
    }

    bool wanted() const { return list_ != nullptr; }

    // No lists, and counts of 0.
    void clear() {
        if (count_) std::fill_n(count_, kTypes, 0);
        if (list_) std::fill_n(list_, kTypes, nullptr);
    }

    // Six empty lists.
    bool create(int line = __builtin_LINE()) {
        clear();
        for (int t = 0; wanted() && t < kTypes; ++t) {
            list_[t] = static_cast<int *>(ARRalloc_f(nullptr, 3, traits_.step, nullptr, traits_.unit, line));
            if (!list_[t]) return false;
        }
        return true;
    }

    bool reserve(int type, std::int64_t more) {
        return !wanted() ||
               grow_amply(list_[type], capacity_[type], count_[type] + more, traits_.step, traits_.unit) ||
               traits_.report(traits_.list_report);
    }

    // The cell that so many more output cells of a type come from.
    void append(int type, int cell, int more) {
        if (list_) std::fill_n(list_[type] + count_[type], more, cell);
        if (count_) count_[type] += more;
    }

    void free() {
        for (int t = 0; wanted() && t < kTypes; ++t) {
            if (list_[t]) ARRfree_f(list_[t], traits_.unit, __LINE__);
        }
        clear();
    }

  private:
    const CellArrayTraits &traits_;
    int *count_;
    int **list_;
    std::array<int, kTypes> capacity_;
};

}  // namespace isofield::detail
#endif
