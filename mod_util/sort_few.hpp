// Sorting of a few items at a time, very often.
#ifndef ISOFIELD_MOD_UTIL_SORT_FEW_HPP
#define ISOFIELD_MOD_UTIL_SORT_FEW_HPP

#include <algorithm>
#include <cstddef>

namespace isofield::detail {

// Items no two of which are equal. A few are put where the count of those before them tells, without a branch
// that could not be foreseen.
template <class T, class Before>
void sort_few(T *items, std::size_t n, Before &&before) {
    constexpr std::size_t kFew = 24;
    if (n > kFew) {
        std::sort(items, items + n, before);
        return;
    }
    T sorted[kFew];
    for (std::size_t i = 0; i < n; ++i) {
        std::size_t rank = 0;
        for (std::size_t j = 0; j < n; ++j) rank += before(items[j], items[i]);
        sorted[rank] = items[i];
    }
    std::copy_n(sorted, n, items);
}

}  // namespace isofield::detail
#endif
