// Memory asked for before it is needed, where the machine does not foresee it or not soon enough.
#ifndef ISOFIELD_MOD_UTIL_PREFETCH_HPP
#define ISOFIELD_MOD_UTIL_PREFETCH_HPP

#include <cstddef>

namespace isofield::detail {

// n elements, to be written if kWrite.
template <bool kWrite = false, class T>
void prefetch(const T *from, std::ptrdiff_t n) {
    constexpr std::ptrdiff_t kLine = 64 / sizeof(T);  // elements of a line of the cache
    for (std::ptrdiff_t i = 0; i < n; i += kLine) __builtin_prefetch(from + i, kWrite);
}

}  // namespace isofield::detail
#endif
