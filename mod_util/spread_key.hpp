// Multiplicative hashing: keys that are near each other are far apart in the high bits of the product. See
// D. E. Knuth, "The Art of Computer Programming", volume 3, section 6.4.
#ifndef ISOFIELD_MOD_UTIL_SPREAD_KEY_HPP
#define ISOFIELD_MOD_UTIL_SPREAD_KEY_HPP

#include <cstdint>

namespace isofield::detail {

// The factors: 2^32 and 2^64 over the golden ratio.
inline std::uint32_t spread_key(std::uint32_t key) {
    return key * 0x9e3779b9u;
}

inline std::uint64_t spread_key(std::uint64_t key) {
    return key * 0x9e3779b97f4a7c15u;
}

}  // namespace isofield::detail
#endif
