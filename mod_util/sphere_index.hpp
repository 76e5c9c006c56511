// The circumspheres that a sweep along x may still meet, by where they are across x.
#ifndef ISOFIELD_MOD_UTIL_SPHERE_INDEX_HPP
#define ISOFIELD_MOD_UTIL_SPHERE_INDEX_HPP

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>

#include "axis_cells.hpp"
#include "sphere_table.hpp"
#include "working_array.hpp"
#include "working_list.hpp"

namespace isofield::detail {

// Spheres in D dimensions in cells across the first axis. There are levels of cells, each twice as wide as
// those below: a sphere is on the lowest on which it covers no more than two of them along an axis. Every
// sphere round a point is thus in one of the cells in which the point is, one a level, and only once.
template <int D>
class SphereIndex {
  public:
    using Name = typename SphereTable<D>::Name;

    SphereIndex() = default;
    SphereIndex(const SphereIndex &) = delete;
    SphereIndex &operator=(const SphereIndex &) = delete;
    ~SphereIndex() {
        for (std::size_t c = 0; c < ncells_; ++c) cells_[c].free();
    }

    // For so many points within bounds, which need not hold them all. False when there is no memory.
    bool create(int npoints, const double *lower, const double *upper) {
        const double per_axis = std::pow(static_cast<double>(npoints), 1.0 / D) / kPointsPerCell;
        while (nlevels_ < kMaxLevels - 1 && (1 << nlevels_) < per_axis) ++nlevels_;
        const int ncells = 1 << nlevels_;
        ++nlevels_;
        for (int d = 0; d < kAxes; ++d) axes_[d] = AxisCells(lower[d + 1], upper[d + 1], ncells);
        std::size_t total = 0;
        for (int level = 0; level < nlevels_; ++level) {
            first_[level] = total;
            total += std::size_t{1} << (kAxes * (nlevels_ - 1 - level));
        }
        cells_ = allocate_cleared<SphereTable<D>>(total);
        ncells_ = cells_ ? total : 0;
        return cells_ && found_.reserve(kFirstFound);
    }

    // is_current(name) tells which of the spheres in a full cell are to be kept. False when there is no
    // memory.
    template <class Test>
    bool add(const Sphere<D> &sphere, Name name, Test &&is_current) {
        CellRange across[2] = {};
        int level = 0;
        const double radius = std::sqrt(sphere.r2);
        for (int d = 0; d < kAxes; ++d) {
            const auto [low, high] = across[d] = axes_[d].reached_by(sphere.centre[d + 1], radius);
            level = std::max(level, static_cast<int>(std::bit_width(static_cast<unsigned>(high - low))) - 1);
            if ((high >> level) - (low >> level) > 1) ++level;
        }
        // Where there are only two cells along an axis the one above them serves as well.
        const bool is_wide = level == nlevels_ - 2;
        for (int d = 0; d < kAxes && is_wide && level < nlevels_ - 1; ++d) {
            if (across[d].low >> level != across[d].high >> level) ++level;
        }
        for (int j = across[1].low >> level; j <= across[1].high >> level; ++j) {
            for (int i = across[0].low >> level; i <= across[0].high >> level; ++i) {
                if (!push(cell(level, i, j), sphere, name, is_current)) return false;
            }
        }
        return true;
    }

    // Calls found(name) for the spheres that hold p, and gives them up. So are those that lie behind p along
    // x.
    template <class Found>
    void take_holding(const double *p, Found &&found) {
        const int i = axes_[0].at(p[1], 0);
        const int j = kAxes == 2 ? axes_[kAxes - 1].at(p[kAxes], 0) : 0;
        for (int level = 0; level < nlevels_; ++level) {
            SphereTable<D> &at = cell(level, i >> level, j >> level);
            for (int k = at.find(p, found_.data()) - 1; k >= 0; --k) {
                const int e = found_[static_cast<std::size_t>(k)];
                if (at.holds(e, p)) found(at.name(e));
                at.remove(e);
            }
        }
    }

  private:
    static constexpr int kAxes = D - 1;
    static constexpr int kMaxLevels = D == 2 ? 16 : 10;
    static constexpr std::size_t kFirstFound = 64;
    static constexpr double kPointsPerCell = 1.5;

    SphereTable<D> &cell(int level, int i, int j) {
        return cells_[first_[level] + static_cast<std::size_t>(i) +
                      (static_cast<std::size_t>(j) << (nlevels_ - 1 - level))];
    }

    // A full cell grows when most of it has to stay.
    template <class Test>
    bool push(SphereTable<D> &cell, const Sphere<D> &sphere, Name name, Test &&is_current) {
        if (cell.is_full()) {
            for (int e = cell.count() - 1; e >= 0; --e) {
                if (!is_current(cell.name(e))) cell.remove(e);
            }
            if (4 * cell.count() >= 3 * cell.capacity() && !cell.grow()) return false;
            if (!found_.reserve(static_cast<std::size_t>(cell.capacity()) + 1)) return false;
        }
        cell.push(sphere, name);
        return true;
    }

    Working<SphereTable<D>> cells_;  // level after level, from the finest
    std::size_t ncells_ = 0;
    std::size_t first_[kMaxLevels] = {};
    int nlevels_ = 0;
    AxisCells axes_[kAxes];  // of the finest level
    WorkingList<int> found_;
};

}  // namespace isofield::detail
#endif
