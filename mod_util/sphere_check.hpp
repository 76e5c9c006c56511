// The points inside circumspheres, for the verification of a tessellation.
#ifndef ISOFIELD_MOD_UTIL_SPHERE_CHECK_HPP
#define ISOFIELD_MOD_UTIL_SPHERE_CHECK_HPP

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>

#include "axis_cells.hpp"
#include "sphere_table.hpp"
#include "working_array.hpp"
#include "working_list.hpp"

namespace isofield::detail {

// Points in the cells of a grid.
template <int D>
class SphereCheck {
  public:
    // at: npoints x D, kept by the caller. False when there is no memory.
    bool create(int npoints, const double *at) {
        at_ = at;
        per_axis_ = std::max(1, static_cast<int>(std::pow(static_cast<double>(npoints), 1.0 / D)));
        for (int d = 0; d < D; ++d) axes_[d] = cells_along(npoints, d);
        std::size_t ncells = 1;
        for (int d = 0; d < D; ++d) ncells *= static_cast<std::size_t>(per_axis_);
        starts_ = allocate_cleared<int>(ncells + 2);
        points_ = allocate_working<int>(static_cast<std::size_t>(npoints));
        if (!starts_ || !points_) return false;
        for (int i = 0; i < npoints; ++i) ++starts_[cell_of(i) + 2];
        std::partial_sum(starts_.get(), starts_.get() + ncells + 2, starts_.get());
        for (int i = 0; i < npoints; ++i) points_[starts_[cell_of(i) + 1]++] = i;
        return true;
    }

    // The points that are inside by more than the tolerance, in ascending order. Valid until the next call.
    // False when there is no memory.
    bool find(const Sphere<D> &sphere, const WorkingList<int> *&found) {
        found_.clear();
        found = &found_;
        CellRange along[3] = {};
        const double radius = std::sqrt(sphere.r2);
        for (int d = 0; d < D; ++d) along[d] = axes_[d].reached_by(sphere.centre[d], radius);
        for (int k = along[2].low; k <= along[2].high; ++k) {
            for (int j = along[1].low; j <= along[1].high; ++j) {
                if (!look(sphere, cell(along[0].low, j, k), cell(along[0].high, j, k) + 1)) return false;
            }
        }
        std::sort(found_.begin(), found_.end());
        return true;
    }

    double distance2(const Sphere<D> &sphere, int point) const {
        return sphere.distance2(at_ + static_cast<std::ptrdiff_t>(point) * D);
    }

  private:
    static constexpr double kTolerance = 1e-05;  // of the squared radius

    AxisCells cells_along(int npoints, int d) const {
        double lower = INFINITY, upper = -INFINITY;
        for (int i = 0; i < npoints; ++i) {
            const double x = at_[static_cast<std::ptrdiff_t>(i) * D + d];
            if (!std::isfinite(x)) continue;
            lower = std::min(lower, x);
            upper = std::max(upper, x);
        }
        return {lower, upper, per_axis_};
    }
    std::size_t cell(int i, int j, int k) const {
        const auto n = static_cast<std::size_t>(per_axis_);
        return (static_cast<std::size_t>(k) * n + static_cast<std::size_t>(j)) * n +
               static_cast<std::size_t>(i);
    }
    std::size_t cell_of(int point) const {
        int place[3] = {};
        for (int d = 0; d < D; ++d)
            place[d] = axes_[d].at(at_[static_cast<std::ptrdiff_t>(point) * D + d], 0);
        return cell(place[0], place[1], place[2]);
    }

    bool look(const Sphere<D> &sphere, std::size_t first_cell, std::size_t end_cell) {
        for (int p = starts_[first_cell]; p < starts_[end_cell]; ++p) {
            const int point = points_[p];
            const double inside = 1.0 - distance2(sphere, point) / sphere.r2;
            if (inside > kTolerance && !found_.push(point)) return false;
        }
        return true;
    }

    const double *at_ = nullptr;
    int per_axis_ = 1;
    AxisCells axes_[D];
    Working<int> starts_;  // per cell its first place in points_
    Working<int> points_;
    WorkingList<int> found_;
};

}  // namespace isofield::detail
#endif
