// Working arrays: blocks from malloc, which free themselves.
#ifndef ISOFIELD_MOD_UTIL_WORKING_ARRAY_HPP
#define ISOFIELD_MOD_UTIL_WORKING_ARRAY_HPP

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>

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

// Brings a block that a record owns to another size. False, with the block as it was, when there is no
// memory.
template <class T>
bool grow_working(T *&block, std::size_t count) {
    void *const grown = std::realloc(block, count * sizeof(T));
    if (grown) block = static_cast<T *>(grown);
    return grown != nullptr;
}

}  // namespace isofield::detail
#endif
