// The crossed cells of a row of a grid, found among the cases of all its cells.
#ifndef ISOFIELD_MOD_UTIL_CROSSED_CELLS_HPP
#define ISOFIELD_MOD_UTIL_CROSSED_CELLS_HPP

#include <cstdint>
#include <cstring>

namespace isofield::detail {

// Cases are looked at by words: a row of them has this many zero bytes behind its end.
constexpr int kCaseWord = sizeof(std::uint64_t);

// Lists the cells of a row whose case is neither 0 nor all_above, and returns their number. `active` has
// room for all of the row.
inline int list_crossed(const unsigned char *cases, int ncells, unsigned char all_above, int *active) {
    const std::uint64_t all_words = ~std::uint64_t{0} / 255 * all_above;
    int nactive = 0;
    for (int i = 0; i < ncells; i += kCaseWord) {
        std::uint64_t word;
        std::memcpy(&word, cases + i, kCaseWord);
        if (word == 0 || word == all_words) continue;
        for (int c = i; c < i + kCaseWord; ++c) {
            active[nactive] = c;
            nactive += static_cast<unsigned char>(cases[c] - 1) < all_above - 1;
        }
    }
    return nactive;
}

}  // namespace isofield::detail
#endif
