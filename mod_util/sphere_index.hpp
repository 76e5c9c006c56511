// The circumspheres that a sweep along x may still meet, by where they are across x.
#ifndef ISOFIELD_MOD_UTIL_SPHERE_INDEX_HPP
#define ISOFIELD_MOD_UTIL_SPHERE_INDEX_HPP

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>

#include "output_array.hpp"

namespace isofield::detail {

template <int D>
struct Sphere {
    double centre[D];
    double r2;

    // Strictly inside, by rounded sums: the one test on which all depends.
    bool holds(const double *p) const { return distance2(p) < r2; }
    double distance2(const double *p) const {
        const double dx = p[0] - centre[0], dy = p[1] - centre[1];
        double sum = dx * dx + dy * dy;
        if constexpr (D == 3) {
            const double dz = p[2] - centre[2];
            sum += dz * dz;
        }
        return sum;
    }
};

// Spheres in D dimensions with a number each, in cells across the first axis. There are levels of cells, each
// twice as wide as those below: a sphere is on the lowest on which it covers no more than kSpan of them along
// an axis. Every sphere round a point is thus in one of the cells in which the point is, one a level, and
// only once.
template <int D>
class SphereIndex {
  public:
    struct Entry : Sphere<D> {
        int id;
        unsigned stamp;
    };

    // For so many points within bounds, which need not hold them all. False when there is no memory.
    bool create(int npoints, const double *lower, const double *upper) {
        const double per_axis = std::pow(static_cast<double>(npoints), 1.0 / D) / kPointsPerCell;
        while (nlevels_ < kMaxLevels - 1 && (1 << nlevels_) < per_axis) ++nlevels_;
        const int ncells = 1 << nlevels_;
        ++nlevels_;
        for (int d = 0; d < kAxes; ++d) {
            lower_[d] = lower[d + 1];
            const double scale = ncells / (upper[d + 1] - lower[d + 1]);
            scale_[d] = std::isfinite(scale) ? scale : 0.0;
            last_[d] = ncells - 1;
        }
        std::size_t total = 0;
        for (int level = 0; level < nlevels_; ++level) {
            first_[level] = total;
            total += std::size_t{1} << (kAxes * (nlevels_ - 1 - level));
        }
        cells_ = allocate_cleared<Cell>(total);
        count_ = cells_ ? total : 0;
        return cells_ != nullptr;
    }
    SphereIndex() = default;
    SphereIndex(const SphereIndex &) = delete;
    SphereIndex &operator=(const SphereIndex &) = delete;
    ~SphereIndex() {
        for (std::size_t c = 0; c < count_; ++c) std::free(cells_[c].entries);
    }

    // is_current(entry) tells which of the entries of a full cell are to be kept. False when there is no memory.
    template <class Test>
    bool add(const Entry &entry, Test &&is_current) {
        int low[kAxes], high[kAxes];
        int level = 0;
        const double radius = std::sqrt(entry.r2);
        for (int d = 0; d < kAxes; ++d) {
            // Wider than the sphere by more than all rounding.
            const double at = entry.centre[d + 1];
            const double reach = radius + kRounding * (radius + std::fabs(at));
            low[d] = cell_along(d, at - reach, 0);
            high[d] = cell_along(d, at + reach, last_[d]);
            while ((high[d] >> level) - (low[d] >> level) >= kSpan) ++level;
        }
        if constexpr (kAxes == 1) {
            for (int i = low[0] >> level; i <= high[0] >> level; ++i) {
                if (!push(cell(level, i, 0), entry, is_current)) return false;
            }
        } else {
            for (int j = low[1] >> level; j <= high[1] >> level; ++j) {
                for (int i = low[0] >> level; i <= high[0] >> level; ++i) {
                    if (!push(cell(level, i, j), entry, is_current)) return false;
                }
            }
        }
        return true;
    }

    // Calls found(entry) for the spheres that hold p, until that returns false for "give this entry up".
    // Entries that lie behind p along x are given up on the way.
    template <class Found>
    void each_holding(const double *p, Found &&found) {
        const int i = cell_along(0, p[1], 0);
        int j = 0;
        if constexpr (kAxes == 2) j = cell_along(1, p[2], 0);
        for (int level = 0; level < nlevels_; ++level) {
            Cell &at = cell(level, i >> level, j >> level);
            for (int e = 0; e < at.count;) {
                const Entry &entry = at.entries[e];
                const double dx = p[0] - entry.centre[0];
                const bool stays =
                    entry.holds(p) ? found(entry) : !(dx > 0.0 && dx * dx > kBehind * entry.r2);
                if (stays) {
                    ++e;
                } else {
                    at.entries[e] = at.entries[--at.count];
                }
            }
        }
    }

  private:
    static constexpr int kAxes = D - 1;
    static constexpr int kMaxLevels = D == 2 ? 16 : 10;
    static constexpr int kSpan = 2;
    static constexpr double kPointsPerCell = 1.5;
    static constexpr double kRounding = 1e-9;
    static constexpr double kBehind = 1.0 + 1e-9;

    struct Cell {
        Entry *entries;
        int count, capacity;
    };

    // What lies outside belongs to the cells at the ends. `unknown` is for NaN.
    int cell_along(int d, double at, int unknown) const {
        const double t = (at - lower_[d]) * scale_[d];
        if (t >= 0.0) return t < last_[d] ? static_cast<int>(t) : last_[d];
        return t < 0.0 ? 0 : unknown;
    }
    Cell &cell(int level, int i, int j) {
        return cells_[first_[level] + static_cast<std::size_t>(i) +
                      (static_cast<std::size_t>(j) << (nlevels_ - 1 - level))];
    }

    static bool grow(Cell &cell) {
        const int capacity = std::max(4, 2 * cell.capacity);
        void *const grown = std::realloc(cell.entries, static_cast<std::size_t>(capacity) * sizeof(Entry));
        if (!grown) return false;
        cell.entries = static_cast<Entry *>(grown);
        cell.capacity = capacity;
        return true;
    }
    // A full cell grows when most of it has to stay.
    template <class Test>
    static bool push(Cell &cell, const Entry &entry, Test &&is_current) {
        if (cell.count == cell.capacity) {
            Entry *const end = std::remove_if(cell.entries, cell.entries + cell.count,
                                              [&](const Entry &old) { return !is_current(old); });
            cell.count = static_cast<int>(end - cell.entries);
            if (4 * cell.count >= 3 * cell.capacity && !grow(cell)) return false;
        }
        cell.entries[cell.count++] = entry;
        return true;
    }

    Working<Cell> cells_;  // level after level, from the finest
    std::size_t count_ = 0;
    std::size_t first_[kMaxLevels] = {};
    int nlevels_ = 0;
    double lower_[kAxes] = {}, scale_[kAxes] = {};
    int last_[kAxes] = {};
};

}  // namespace isofield::detail
#endif
