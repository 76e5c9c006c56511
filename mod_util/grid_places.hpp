// The place of a coordinate along one axis of a uniform or rectilinear grid, and what an axis holds.
#ifndef ISOFIELD_MOD_UTIL_GRID_PLACES_HPP
#define ISOFIELD_MOD_UTIL_GRID_PLACES_HPP

#include <algorithm>
#include <cmath>
#include <limits>

#include "mesh_access.hpp"

namespace isofield::detail {

// The range of an axis for points, which is a little wider than its ends where these are near 0. As floats,
// so that a float compares with them as it does with the doubles that they stand for.
class AxisRange {
  public:
    AxisRange(float lo, float hi) {
        constexpr double kWider = 1e-30;
        constexpr float kFar = std::numeric_limits<float>::infinity();
        const double lowest = static_cast<double>(lo) - kWider, highest = static_cast<double>(hi) + kWider;
        lowest_ = static_cast<float>(lowest);
        if (static_cast<double>(lowest_) < lowest) lowest_ = std::nextafter(lowest_, kFar);
        highest_ = static_cast<float>(highest);
        if (static_cast<double>(highest_) > highest) highest_ = std::nextafter(highest_, -kFar);
    }

    bool holds(float x) const { return (x >= lowest_) & (x <= highest_); }

  private:
    float lowest_, highest_;
};

// Axis d of a grid with steps: a coordinate on a grid line belongs to the cell above it.
class UniformAxis {
  public:
    static constexpr bool kRectilinear = false;

    UniformAxis(const MeshInfo *mesh, const float *points, int d)
        : range_(points[d], points[mesh->nspace + d]), lo_(points[d]), last_(mesh->dims[d] - 2) {
        const float hi = points[mesh->nspace + d];
        const double steps = static_cast<double>(mesh->dims[d]) + -1.0;
        step_ = static_cast<float>(static_cast<double>(hi - lo_) / steps);
        flat_ = lo_ == hi || mesh->dims[d] == 1;
    }

    bool holds(float x) const { return range_.holds(x); }
    bool flat() const { return flat_; }

    // The cell's index, and the place in it from -1 to 1, of an x that the axis holds; some place for others.
    void place(float x, int &index, float &at) const {
        const float steps = (x - lo_) / step_;
        // Compared before it becomes an int; false for what is not a number.
        constexpr float kMost = 2147483520.0f;
        const float whole = steps >= 1.0f ? steps : 0.0f;
        index = std::min(static_cast<int>(whole < kMost ? whole : kMost), last_);
        // In double the last step would come to the same float.
        at = (steps - static_cast<float>(index)) * 2.0f - 1.0f;
    }

  private:
    AxisRange range_;
    float lo_, step_;
    int last_;
    bool flat_;
};

// Of increasing lines the first interval that ends at or above x, at most `last`, sought from one near by.
template <class Line>
int interval_near(Line line, int last, int near, float x) {
    while (near > 0 && x <= line(near)) --near;
    while (near < last && x > line(near + 1)) ++near;
    return near;
}

// Axis d of a grid with lines of its own: a coordinate on a grid line belongs to the cell below it.
class RectilinearAxis {
  public:
    static constexpr bool kRectilinear = true;

    RectilinearAxis(const MeshInfo *mesh, const float *points, int d)
        : axes_(mesh->ndim, mesh->dims, mesh->nspace, points),
          d_(d),
          lines_(mesh->dims[d]),
          range_(line(0), line(lines_ - 1)) {}

    float line(int i) const { return axes_.on_axis(d_, i); }
    int lines() const { return lines_; }
    bool holds(float x) const { return range_.holds(x); }
    bool flat() const { return lines_ == 1; }

    // The place of x between two lines.
    static float place_of(float x, float lo, float hi) { return ((x - lo) / (hi - lo)) * 2.0f - 1.0f; }

    // The first interval that holds x. Without one the index is that of the last line.
    void place(float x, int &index, float &at) const {
        for (index = 0; index < lines_ - 1; ++index) {
            if (x <= line(index + 1) && x >= line(index)) {
                at = place_of(x, line(index), line(index + 1));
                return;
            }
        }
    }

  private:
    RectilinearAxes axes_;
    int d_, lines_;
    AxisRange range_;
};

// The upper corner of the axes that a grid does not have, in the row after the first; a rectilinear grid of
// one grid line has no such row.
inline const float *far_corner(const MeshInfo *mesh, const float *points, bool rectilinear) {
    const bool one_row = rectilinear && mesh->ndim == 1 && mesh->dims[0] == 1;
    return one_row ? points : points + mesh->nspace;
}

}  // namespace isofield::detail
#endif
