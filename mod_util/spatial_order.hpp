// Items in the order of a curve that fills space, so that neighbours in the order are neighbours in space.
// The curve: G. Morton, "A computer oriented geodetic data base", 1966.
#ifndef ISOFIELD_MOD_UTIL_SPATIAL_ORDER_HPP
#define ISOFIELD_MOD_UTIL_SPATIAL_ORDER_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace isofield::detail {

struct CurveItem {
    std::uint32_t code;
    int item;
};

// Codes of points in a box: 7 bits an axis, interleaved.
class CurveCoder {
  public:
    CurveCoder(const float *min, const float *max) {
        for (int d = 0; d < 3; ++d) {
            const float extent = max[d] - min[d];
            min_[d] = min[d];
            scale_[d] = extent > 0 ? 127.99f / extent : 0.0f;
        }
    }

    std::uint32_t operator()(const float *xyz) const {
        std::uint32_t code = 0;
        for (int d = 0; d < 3; ++d) {
            const float number = (xyz[d] - min_[d]) * scale_[d];
            // Whatever is no number, or lies outside, goes to an end.
            const std::uint32_t step =
                number >= 1.0f ? static_cast<std::uint32_t>(std::min(number, 127.0f)) : 0;
            code |= spread(step) << d;
        }
        return code;
    }

  private:
    // Two zeros between each two of 7 bits.
    static std::uint32_t spread(std::uint32_t bits) {
        bits = (bits | bits << 8) & 0x0700fu;
        bits = (bits | bits << 4) & 0x430c3u;
        return (bits | bits << 2) & 0x49249u;
    }

    float min_[3], scale_[3];
};

// Sorts by code, stably. `scratch` has room for as many.
inline void sort_by_code(CurveItem *items, CurveItem *scratch, std::size_t count) {
    constexpr std::size_t kFew = 256;
    if (count < kFew) {
        std::stable_sort(items, items + count, [](CurveItem a, CurveItem b) { return a.code < b.code; });
        return;
    }
    constexpr int kBits = 11;
    for (const int shift : {0, kBits}) {
        std::size_t start[(1u << kBits) + 1] = {};
        const auto digit = [shift](CurveItem i) { return i.code >> shift & ((1u << kBits) - 1); };
        for (std::size_t i = 0; i < count; ++i) ++start[digit(items[i]) + 1];
        for (std::size_t b = 0; b < 1u << kBits; ++b) start[b + 1] += start[b];
        for (std::size_t i = 0; i < count; ++i) scratch[start[digit(items[i])]++] = items[i];
        std::swap(items, scratch);
    }
}

}  // namespace isofield::detail
#endif
