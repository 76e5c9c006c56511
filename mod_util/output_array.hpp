// Arrays of the host's allocator: result arrays grow in fixed steps, and free themselves unless they are
// handed over.
#ifndef ISOFIELD_MOD_UTIL_OUTPUT_ARRAY_HPP
#define ISOFIELD_MOD_UTIL_OUTPUT_ARRAY_HPP

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

#include "types.hpp"
#include "working_array.hpp"

namespace isofield::detail {

// An array of the host's. Null when it can't be had; a size that an int can't count is refused like a failed
// allocation.
template <class T>
T *allocate_array(std::int64_t count, const char *unit, int line = __builtin_LINE()) {
    if (count > std::numeric_limits<int>::max()) return nullptr;
    return static_cast<T *>(ARRalloc_f(nullptr, kTypeCode<T>, static_cast<int>(count), nullptr, unit, line));
}

// Makes room for `needed` elements in such an array, by whole steps. False, with the array as it was, when it
// can't be had. Kept out of loops, which test for room themselves.
[[gnu::noinline]] inline bool grow_in_steps(void *&array, int dtype, int &capacity, std::int64_t needed,
                                            int step, const char *unit, int line = __builtin_LINE()) {
    if (needed <= capacity) return true;
    const std::int64_t steps = (needed - capacity + step - 1) / step;
    const std::int64_t grown_capacity = capacity + steps * step;
    if (grown_capacity > std::numeric_limits<int>::max()) return false;
    void *grown = ARRrealloc_f(array, dtype, static_cast<int>(grown_capacity), nullptr, unit, line);
    if (!grown) return false;
    array = grown;
    capacity = static_cast<int>(grown_capacity);
    return true;
}

template <class T>
bool grow_in_steps(T *&array, int &capacity, std::int64_t needed, int step, const char *unit,
                   int line = __builtin_LINE()) {
    if (needed <= capacity) return true;
    void *grown = array;
    if (!grow_in_steps(grown, kTypeCode<T>, capacity, needed, step, unit, line)) return false;
    array = static_cast<T *>(grown);
    return true;
}

// The capacity to ask for in arrays that grow long: an eighth more at least.
inline std::int64_t ample_capacity(int capacity, std::int64_t needed) {
    return needed <= capacity ? needed : std::max<std::int64_t>(needed, capacity + capacity / 8);
}

template <class T>
bool grow_amply(T *&array, int &capacity, std::int64_t needed, int step, const char *unit,
                int line = __builtin_LINE()) {
    return grow_in_steps(array, capacity, ample_capacity(capacity, needed), step, unit, line);
}

// A result array, which grows in steps. Frees itself unless handed over.
template <class T>
class OutputArray {
  public:
    OutputArray(const char *unit, int step) : unit_(unit), step_(step) {}
    ~OutputArray() { reset(); }
    OutputArray(const OutputArray &) = delete;
    OutputArray &operator=(const OutputArray &) = delete;

    // Allocates the first step. False when there is no memory.
    bool create(int line = __builtin_LINE()) {
        reset();
        data_ = allocate_array<T>(step_, unit_, line);
        capacity_ = data_ ? step_ : 0;
        return data_ != nullptr;
    }

    // Makes room for `needed` elements. False, with the array as it was, when it can't be had.
    bool reserve(std::int64_t needed, int line = __builtin_LINE()) {
        return grow_in_steps(data_, capacity_, needed, step_, unit_, line);
    }

    // The same for arrays that grow long.
    bool reserve_amply(std::int64_t needed, int line = __builtin_LINE()) {
        return grow_amply(data_, capacity_, needed, step_, unit_, line);
    }

    T *data() const { return data_; }
    int capacity() const { return capacity_; }

    // Hands the array to the caller of the operation.
    T *release() {
        capacity_ = 0;
        return std::exchange(data_, nullptr);
    }

    void reset() {
        if (data_) ARRfree_f(data_, unit_, 0);
        data_ = nullptr;
        capacity_ = 0;
    }

  private:
    const char *unit_;
    int step_;
    T *data_ = nullptr;
    int capacity_ = 0;
};

}  // namespace isofield::detail
#endif
