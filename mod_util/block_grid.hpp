// The grid of blocks of a search table: which blocks a coordinate or a box touches.
#ifndef ISOFIELD_MOD_UTIL_BLOCK_GRID_HPP
#define ISOFIELD_MOD_UTIL_BLOCK_GRID_HPP

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>

#include "cell_geometry.hpp"

namespace isofield::detail {

struct BlockRange {
    int lo[3] = {0, 0, 0}, hi[3] = {0, 0, 0};
};

class BlockGrid {
  public:
    explicit BlockGrid(const BlockTable &table)
        : nspace_(table.nspace), nblk_(table.nblk), nblocks_(table.nblocks) {
        for (int d = 0; d < nspace_; ++d) {
            min_[d] = table.min[d];
            extent_[d] = table.max[d] - table.min[d];
            flat_[d] = !(static_cast<double>(extent_[d]) > kFlat);
        }
    }

    // The block that holds a point, or nothing outside the table.
    std::optional<int> block_of(const float *xyz) const {
        std::int64_t block = 0, stride = 1;
        for (int d = 0; d < nspace_; ++d, stride *= nblk_) {
            const std::optional<int> number = number_of(d, xyz[d]);
            if (!number) return {};
            block += *number * stride;
        }
        if (block < 0 || block >= nblocks_) return {};
        return static_cast<int>(block);
    }

    // The blocks of a box. Nothing when it is not a number. The upper end is cut off one block beyond the
    // last.
    std::optional<BlockRange> blocks_of(const Box &box) const {
        BlockRange range;
        for (int d = 0; d < nspace_; ++d) {
            const std::optional<int> lo = number_of(d, box.min[d]), hi = number_of(d, box.max[d]);
            if (!lo || !hi) return {};
            range.lo[d] = *lo;
            range.hi[d] = std::min(*hi, nblk_);
        }
        return range;
    }

    // True when no block of the range lies beyond the table on any axis.
    bool inside(const BlockRange &range) const {
        bool all = true;
        for (int d = 0; d < 3; ++d) all &= range.lo[d] >= 0 && range.hi[d] < nblk_;
        return all;
    }

    // Calls enter(first, end) for each run of blocks along the first axis, in the order of the blocks. What
    // lies outside the table is left out; a run beyond an axis' end goes on in the next row, as numbers do.
    template <class Enter>
    void for_each_run(const BlockRange &range, Enter enter) const {
        const std::int64_t n = nblk_;
        const auto [first, end] = range.lo[0] <= range.hi[0]
                                      ? std::pair<std::int64_t, std::int64_t>(range.lo[0], range.hi[0] + 1)
                                      : std::pair<std::int64_t, std::int64_t>(0, 0);
        // Rows and planes further down than this have no block in the table.
        for (std::int64_t k = std::max<std::int64_t>(range.lo[2], -2); k <= range.hi[2]; ++k) {
            for (std::int64_t j = std::max<std::int64_t>(range.lo[1], -k * n - 2); j <= range.hi[1]; ++j) {
                const std::int64_t row = (k * n + j) * n;
                const std::int64_t from = std::max<std::int64_t>(row + first, 0);
                const std::int64_t to = std::min<std::int64_t>(row + end, nblocks_);
                if (from < to) enter(static_cast<int>(from), static_cast<int>(to));
            }
        }
    }

  private:
    static constexpr double kFlat = 1e-30;  // axes of no more extent have one block

    // Beyond what an int counts the ends of its range; nothing for what is not a number.
    std::optional<int> number_of(int d, float x) const {
        if (flat_[d]) return 0;
        using Int = std::numeric_limits<int>;
        const float number = static_cast<float>(nblk_ - 1) * (x - min_[d]) / extent_[d];
        if (number > -2147483648.0f && number < 2147483648.0f) return static_cast<int>(number);
        if (number != number) return {};
        return number < 0 ? Int::min() : Int::max();
    }

    int nspace_, nblk_, nblocks_;
    float min_[3] = {}, extent_[3] = {};
    bool flat_[3] = {};
};

}  // namespace isofield::detail
#endif
