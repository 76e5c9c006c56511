// Four floats that are worked on at once.
#ifndef ISOFIELD_MOD_UTIL_LANES_HPP
#define ISOFIELD_MOD_UTIL_LANES_HPP

#include <cstring>

#include "wide.hpp"

namespace isofield::detail {

using Lanes = float __attribute__((vector_size(16)));
using LaneWords = int __attribute__((vector_size(16)));  // one for each lane; in masks of all bits or none

inline Lanes splat(float a) {
    return Lanes{a, a, a, a};
}

inline Lanes load_lanes(const float *from) {
    Lanes lanes;
    std::memcpy(&lanes, from, sizeof lanes);
    return lanes;
}

inline void store_lanes(Lanes lanes, float *to) {
    std::memcpy(to, &lanes, sizeof lanes);
}

// Clears the lanes that a mask does not keep. For wider lanes too.
template <class Mask, class AnyLanes>
ISOFIELD_INLINE void keep(const Mask &mask, AnyLanes &lanes) {
    Mask words;
    std::memcpy(&words, &lanes, sizeof words);
    words &= mask;
    std::memcpy(&lanes, &words, sizeof lanes);
}

inline Lanes clear_fourth(Lanes a) {
    keep(LaneWords{-1, -1, -1, 0}, a);
    return a;
}

// Four rows of three between memory and a component's lanes each.
struct FourRows {
    Lanes x, y, z;
};

inline FourRows split_rows(Lanes a, Lanes b, Lanes c) {
    const Lanes xy = __builtin_shufflevector(b, c, 2, 3, 5, 6);  // x2 y2 x3 y3
    const Lanes yz = __builtin_shufflevector(a, b, 1, 2, 4, 5);  // y0 z0 y1 z1
    return {__builtin_shufflevector(a, xy, 0, 3, 4, 6), __builtin_shufflevector(yz, xy, 0, 2, 5, 7),
            __builtin_shufflevector(yz, c, 1, 3, 4, 7)};
}

inline void store_rows(const FourRows &rows, float *to) {
    const Lanes xy = __builtin_shufflevector(rows.x, rows.y, 0, 2, 4, 6);  // x0 x2 y0 y2
    const Lanes yz = __builtin_shufflevector(rows.y, rows.z, 1, 3, 5, 7);  // y1 y3 z1 z3
    const Lanes zx = __builtin_shufflevector(rows.z, rows.x, 0, 2, 5, 7);  // z0 z2 x1 x3
    store_lanes(__builtin_shufflevector(xy, zx, 0, 2, 4, 6), to);
    store_lanes(__builtin_shufflevector(yz, xy, 0, 2, 5, 7), to + 4);
    store_lanes(__builtin_shufflevector(zx, yz, 1, 3, 5, 7), to + 8);
}

// Whether two, in memory, have the same bits: 0 is not -0, NaN is itself.
inline bool same_bits(const Lanes &a, const Lanes &b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// 1 / a, or a itself where that is 0.
inline Lanes reciprocal_or_zero(Lanes a) {
    const auto zero = a == 0.0f;
    return zero ? a : 1.0f / (zero ? splat(1) : a);
}

// Whether no lane is infinite or NaN.
inline bool all_finite(Lanes a) {
    using Words = unsigned long long __attribute__((vector_size(16)));
    const Lanes zero_or_nan = a - a;
    Words words;
    std::memcpy(&words, &zero_or_nan, sizeof words);
    return (words[0] | words[1]) == 0;
}

}  // namespace isofield::detail
#endif
