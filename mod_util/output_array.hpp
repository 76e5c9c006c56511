// Arrays of the library: result arrays that grow in fixed steps through the host's allocator and free
// themselves unless they are handed over, working arrays from malloc, and the node mask's retrying
// allocation.
#ifndef ISOFIELD_MOD_UTIL_OUTPUT_ARRAY_HPP
#define ISOFIELD_MOD_UTIL_OUTPUT_ARRAY_HPP

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>

#include "types.hpp"

namespace isofield::detail {

struct Free {
    void operator()(void *block) const { std::free(block); }
};

// A block from malloc or calloc.
template <class T>
using Working = std::unique_ptr<T[], Free>;

template <class T>
Working<T> allocate_working(std::size_t count) {
    return Working<T>(static_cast<T *>(std::malloc(std::max<std::size_t>(count, 1) * sizeof(T))));
}

template <class T>
Working<T> allocate_cleared(std::size_t count) {
    return Working<T>(static_cast<T *>(std::calloc(std::max<std::size_t>(count, 1), sizeof(T))));
}

// A cleared node mask. A size below 1 is told and one byte taken; without memory the host is told and asked
// again, for as long as it takes. `unit` is the calling unit's source name.
inline Working<unsigned char> allocate_mask(int bytes, const char *unit, int line = __builtin_LINE()) {
    if (bytes < 1) {
        std::fprintf(stderr, "Invalid memory allocation: %s line %d, %d bytes < 1\n", unit, line, bytes);
        bytes = 1;
    }
    for (;;) {
        if (void *mask = std::calloc(static_cast<std::size_t>(bytes), 1)) {
            return Working<unsigned char>(static_cast<unsigned char *>(mask));
        }
        ERRout_of_memory("Cannot alloc flags array");
    }
}

// Makes room for `needed` elements in an array of the host's, by whole steps. False, with the array as it
// was, when it can't be had; a size that an int can't count is refused like a failed allocation.
template <class T>
bool grow_in_steps(T *&array, int &capacity, std::int64_t needed, int step, const char *unit,
                   int line = __builtin_LINE()) {
    if (needed <= capacity) return true;
    const std::int64_t steps = (needed - capacity + step - 1) / step;
    const std::int64_t grown_capacity = capacity + steps * step;
    if (grown_capacity > std::numeric_limits<int>::max()) return false;
    void *grown = ARRrealloc_f(array, kTypeCode<T>, static_cast<int>(grown_capacity), nullptr, unit, line);
    if (!grown) return false;
    array = static_cast<T *>(grown);
    capacity = static_cast<int>(grown_capacity);
    return true;
}

// The same for arrays that grow long: by an eighth at least.
template <class T>
bool grow_amply(T *&array, int &capacity, std::int64_t needed, int step, const char *unit,
                int line = __builtin_LINE()) {
    if (needed <= capacity) return true;
    return grow_in_steps(array, capacity, std::max<std::int64_t>(needed, capacity + capacity / 8), step, unit,
                         line);
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
        data_ = static_cast<T *>(ARRalloc_f(nullptr, kCode, step_, nullptr, unit_, line));
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
    static constexpr int kCode = kTypeCode<T>;

    const char *unit_;
    int step_;
    T *data_ = nullptr;
    int capacity_ = 0;
};

}  // namespace isofield::detail
#endif
