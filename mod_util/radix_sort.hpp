// Numbers sorted by floats that belong to them.
#ifndef ISOFIELD_MOD_UTIL_RADIX_SORT_HPP
#define ISOFIELD_MOD_UTIL_RADIX_SORT_HPP

#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "working_array.hpp"

namespace isofield::detail {

// Bits that are ordered as floats are: 0 as -0, NaN last.
inline std::uint32_t ordered_bits(float x) {
    constexpr std::uint32_t kSign = 0x80000000u;
    if (x != x) return ~std::uint32_t{0};
    const auto bits = std::bit_cast<std::uint32_t>(x == 0.0f ? 0.0f : x);
    return bits & kSign ? ~bits : bits | kSign;
}

// The numbers below n by ascending value(number), equal ones by number. Null when there is no memory.
template <class Value>
Working<int> sort_by_float(int n, Value &&value) {
    constexpr int kBits = 11, kPasses = 3;
    constexpr std::uint32_t kMask = (1u << kBits) - 1;
    struct Item {
        std::uint32_t key;
        int number;
    };
    const auto count = static_cast<std::size_t>(n);
    auto items = allocate_working<Item>(count), sorted = allocate_working<Item>(count);
    auto starts = allocate_cleared<int>(kPasses << kBits);
    auto numbers = allocate_working<int>(count);
    if (!items || !sorted || !starts || !numbers) return nullptr;
    for (int i = 0; i < n; ++i) {
        items[i] = {ordered_bits(value(i)), i};
        for (int pass = 0; pass < kPasses; ++pass)
            ++starts[(pass << kBits) + static_cast<int>(items[i].key >> (pass * kBits) & kMask)];
    }
    for (int pass = 0; pass < kPasses; ++pass) {
        int *const start = starts.get() + (pass << kBits);
        for (int digit = 0, sum = 0; digit <= static_cast<int>(kMask); ++digit)
            sum += std::exchange(start[digit], sum);
        for (int i = 0; i < n; ++i) sorted[start[items[i].key >> (pass * kBits) & kMask]++] = items[i];
        std::swap(items, sorted);
    }
    for (int i = 0; i < n; ++i) numbers[i] = items[i].number;
    return numbers;
}

}  // namespace isofield::detail
#endif
