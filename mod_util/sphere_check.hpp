// The points inside circumspheres, for the verification of a tessellation.
#ifndef ISOFIELD_MOD_UTIL_SPHERE_CHECK_HPP
#define ISOFIELD_MOD_UTIL_SPHERE_CHECK_HPP

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>

#include "sphere_index.hpp"
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
        for (int d = 0; d < D; ++d) take_range(npoints, d);
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

    // The points that are inside by more than 1e-5 of the squared radius, in ascending order. Valid until the
    // next call. False when there is no memory.
    bool find(const Sphere<D> &sphere, const WorkingList<int> *&found) {
        found_.clear();
        found = &found_;
        int low[3] = {}, high[3] = {};
        const double radius = std::sqrt(sphere.r2);
        for (int d = 0; d < D; ++d) {
            const double reach = radius + 1e-9 * (radius + std::fabs(sphere.centre[d]));
            low[d] = cell_along(d, sphere.centre[d] - reach, 0);
            high[d] = cell_along(d, sphere.centre[d] + reach, per_axis_ - 1);
        }
        for (int k = low[2]; k <= high[2]; ++k) {
            for (int j = low[1]; j <= high[1]; ++j) {
                if (!look(sphere, cell(low[0], j, k), cell(high[0], j, k) + 1)) return false;
            }
        }
        std::sort(found_.begin(), found_.end());
        return true;
    }

    double distance2(const Sphere<D> &sphere, int point) const {
        return sphere.distance2(at_ + static_cast<std::ptrdiff_t>(point) * D);
    }

  private:
    void take_range(int npoints, int d) {
        double upper = -INFINITY;
        lower_[d] = INFINITY;
        for (int i = 0; i < npoints; ++i) {
            const double x = at_[static_cast<std::ptrdiff_t>(i) * D + d];
            if (!std::isfinite(x)) continue;
            lower_[d] = std::min(lower_[d], x);
            upper = std::max(upper, x);
        }
        scale_[d] = per_axis_ / (upper - lower_[d]);
        if (!std::isfinite(scale_[d]) || !std::isfinite(lower_[d])) scale_[d] = lower_[d] = 0.0;
    }
    int cell_along(int d, double x, int unknown) const {
        const double t = (x - lower_[d]) * scale_[d];
        if (t >= 0.0) return t < per_axis_ ? static_cast<int>(t) : per_axis_ - 1;
        return t < 0.0 ? 0 : unknown;
    }
    std::size_t cell(int i, int j, int k) const {
        const auto n = static_cast<std::size_t>(per_axis_);
        return (static_cast<std::size_t>(k) * n + static_cast<std::size_t>(j)) * n +
               static_cast<std::size_t>(i);
    }
    std::size_t cell_of(int point) const {
        int place[3] = {};
        for (int d = 0; d < D; ++d)
            place[d] = cell_along(d, at_[static_cast<std::ptrdiff_t>(point) * D + d], 0);
        return cell(place[0], place[1], place[2]);
    }

    bool look(const Sphere<D> &sphere, std::size_t first_cell, std::size_t end_cell) {
        for (int p = starts_[first_cell]; p < starts_[end_cell]; ++p) {
            const int point = points_[p];
            if (1.0 - distance2(sphere, point) / sphere.r2 > 1e-05 && !found_.push(point)) return false;
        }
        return true;
    }

    const double *at_ = nullptr;
    int per_axis_ = 1;
    double lower_[D] = {}, scale_[D] = {};
    Working<int> starts_;  // per cell its first place in points_
    Working<int> points_;
    WorkingList<int> found_;
};

}  // namespace isofield::detail
#endif
