// What bands and cuts put in the caller's words: the output cells, six arrays by type index, with the lists
// of the cells that they come from, and the lines along the levels.
#ifndef ISOFIELD_MOD_UTIL_CELL_ARRAYS_HPP
#define ISOFIELD_MOD_UTIL_CELL_ARRAYS_HPP

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "cell_types.hpp"
#include "output_array.hpp"
#include "reports.hpp"

namespace isofield::detail {

// What the arrays of one operation are like. Reports are null where a failure goes unreported.
struct CellArrayTraits {
    const char *unit;
    int step;  // first size and growth
    const char *connect_report = nullptr;
    const char *list_report = nullptr;

    bool report(const char *text) const {
        if (text) refuse("UTILcut", text);
        return false;
    }
};

// No cells in the caller's words.
inline void empty_cells(int *ncells, int **connect, int *size) {
    std::fill_n(ncells, kCellTypes, 0);
    std::fill_n(connect, kCellTypes, nullptr);
    std::fill_n(size, kCellTypes, 0);
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
        for (int t = 0; t < kCellTypes; ++t) {
            if (connect_[t] && capacity_[t] != 0) continue;
            if (connect_[t]) ARRfree_f(connect_[t], traits_.unit, line);
            size_[t] = 0;
            connect_[t] = allocate_array<int>(traits_.step, traits_.unit, line);
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
        for (int t = 0; t < kCellTypes; ++t) {
            if (connect_[t]) ARRfree_f(connect_[t], traits_.unit, __LINE__);
            connect_[t] = nullptr;
            ncells_[t] = size_[t] = 0;
            capacity_[t] = kStopped;
        }
    }

    // The arrays of no cells go.
    void free_unused(UnusedWords words) {
        for (int t = 0; t < kCellTypes; ++t) {
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

    std::array<int, kCellTypes> capacity{};
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
        if (count_) std::fill_n(count_, kCellTypes, 0);
        if (list_) std::fill_n(list_, kCellTypes, nullptr);
    }

    // Six empty lists.
    bool create(int line = __builtin_LINE()) {
        clear();
        for (int t = 0; wanted() && t < kCellTypes; ++t) {
            list_[t] = allocate_array<int>(traits_.step, traits_.unit, line);
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
        for (int t = 0; wanted() && t < kCellTypes; ++t) {
            if (list_[t]) ARRfree_f(list_[t], traits_.unit, __LINE__);
        }
        clear();
    }

  private:
    const CellArrayTraits &traits_;
    int *count_;
    int **list_;
    std::array<int, kCellTypes> capacity_;
};

// The segments along one level, in the caller's words. A count that is not 0 asks for them.
class LineList {
  public:
    // Nothing is asked for.
    LineList() = default;
    LineList(int *count, int **lines, const char *unit)
        : count_(count), lines_(lines), unit_(unit), wanted_(*count != 0) {}

    bool create(int line = __builtin_LINE()) {
        if (!count_) return true;
        *count_ = 0;
        if (!wanted_) return true;
        *lines_ = allocate_array<int>(2 * kStep, unit_, line);
        capacity_ = *lines_ ? 2 * kStep : 0;
        return wanted_ = *lines_ != nullptr;
    }

    bool wanted() const { return wanted_; }

    // Room for so many more segments.
    bool reserve(std::int64_t more) {
        return !wanted_ || grow_amply(*lines_, capacity_, 2 * (*count_ + more), 2 * kStep, unit_);
    }

    // Appends segments; `ends` are places among new nodes, whose rows are given.
    void append(int nlines, const unsigned char *ends, const int *new_rows) {
        int *out = *lines_ + 2 * std::ptrdiff_t{*count_};
        for (int i = 0; i < 2 * nlines; ++i) *out++ = new_rows[ends[i]];
        *count_ += nlines;
    }

    // The list that was made here goes.
    void free() {
        if (count_) *count_ = 0;
        if (capacity_ == 0) return;
        ARRfree_f(*lines_, unit_, __LINE__);
        *lines_ = nullptr;
        capacity_ = 0;
        wanted_ = false;
    }

  private:
    static constexpr int kStep = 1000;

    int *count_ = nullptr;
    int **lines_ = nullptr;
    const char *unit_ = nullptr;
    bool wanted_ = false;
    int capacity_ = 0;
};

// All that the splitting of cells writes to.
struct SplitOutput {
    CellArrays &arrays;
    CellLists &lists;
    LineList &lines_lo, &lines_hi;
};

}  // namespace isofield::detail
#endif
