// Equal cells along an axis, and those of them that a sphere reaches.
#ifndef ISOFIELD_MOD_UTIL_AXIS_CELLS_HPP
#define ISOFIELD_MOD_UTIL_AXIS_CELLS_HPP

#include <cmath>

namespace isofield::detail {

struct CellRange {
    int low = 0, high = 0;
};

// What lies outside belongs to the cells at the ends.
class AxisCells {
  public:
    AxisCells() = default;
    AxisCells(double lower, double upper, int ncells) : lower_(lower), last_(ncells - 1) {
        const double scale = ncells / (upper - lower);
        scale_ = std::isfinite(scale) ? scale : 0.0;
    }

    // `unknown` is for NaN.
    int at(double x, int unknown) const {
        const double t = (x - lower_) * scale_;
        if (t >= 0.0) return t < last_ ? static_cast<int>(t) : last_;
        return t < 0.0 ? 0 : unknown;
    }

    // Wider than the sphere by more than all rounding.
    CellRange reached_by(double centre, double radius) const {
        constexpr double kRounding = 1e-9;
        const double reach = radius + kRounding * (radius + std::fabs(centre));
        return {at(centre - reach, 0), at(centre + reach, last_)};
    }

  private:
    double lower_ = 0.0, scale_ = 0.0;
    int last_ = 0;
};

}  // namespace isofield::detail
#endif
