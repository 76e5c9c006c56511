// Where a sweep along x has been: its steps, numbered from 0, and the x at each.
#ifndef ISOFIELD_MOD_UTIL_SWEEP_LOG_HPP
#define ISOFIELD_MOD_UTIL_SWEEP_LOG_HPP

#include <algorithm>
#include <cstddef>

#include "working_list.hpp"

namespace isofield::detail {

// A sphere is behind the sweep from the first step after it was made whose x is farther right of its centre
// than the radius. Mostly x ascends; a point that was moved to the right leaves a peak.
class SweepLog {
  public:
    // False when there is no memory.
    bool step(double x) {
        while (!peaks_.empty() && peaks_.back().x <= x) peaks_.pop();
        return highest_.push(highest_.empty() || x > highest_.back() ? x : highest_.back()) && x_.push(x) &&
               peaks_.push({static_cast<int>(x_.size()) - 1, x});
    }
    int now() const { return static_cast<int>(x_.size()) - 1; }

    bool is_behind(double centre, double radius, int made) const {
        const Peak *peak = peaks_.begin();
        while (peak != peaks_.end() && peak->step <= made) ++peak;
        return peak != peaks_.end() && peak->x - centre > radius;
    }

    // The step from which on that holds, or -1.
    int left_behind(double centre, double radius, int made) const {
        const auto is_left = [=](double x) { return x - centre > radius; };
        const double *const from = highest_.begin() + made + 1, *const end = highest_.end();
        if (from == end) return -1;
        if (made >= 0 && is_left(highest_[static_cast<std::size_t>(made)])) {
            // In the shadow of a peak that came before.
            const double *const x = std::find_if(x_.begin() + made + 1, x_.end(), is_left);
            return x == x_.end() ? -1 : static_cast<int>(x - x_.begin());
        }
        std::ptrdiff_t low = 0, reach = 1;
        while (from + reach < end && !is_left(from[reach])) {
            low = reach;
            reach *= 2;
        }
        const double *const last = std::min(from + reach + 1, end);
        const double *const found =
            std::partition_point(from + low, last, [&](double x) { return !is_left(x); });
        return found == end ? -1 : static_cast<int>(found - highest_.begin());
    }

  private:
    struct Peak {
        int step;
        double x;
    };

    WorkingList<double> x_;
    WorkingList<double> highest_;  // so far
    WorkingList<Peak> peaks_;      // the steps that no later one is above; x descends
};

}  // namespace isofield::detail
#endif
