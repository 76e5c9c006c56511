// How far a grid's heights are from the edges and triangles that are to take their place.
#ifndef ISOFIELD_MOD_UTIL_HEIGHT_FEASIBILITY_HPP
#define ISOFIELD_MOD_UTIL_HEIGHT_FEASIBILITY_HPP

#include <algorithm>
#include <cstddef>
#include <utility>

#include "output_array.hpp"

namespace isofield::detail {

struct GridPlace {
    int i, j;

    bool operator==(const GridPlace &) const = default;
};

class HeightFeasibility {
  public:
    HeightFeasibility(int nx, int ny, double tolerance) : nx_(nx), ny_(ny), tolerance_(tolerance) {}

    // Reads all values, as doubles. False when there is no memory.
    bool create(int type, const void *data) {
        const std::size_t count = static_cast<std::size_t>(nx_) * static_cast<std::size_t>(ny_);
        const auto rows = static_cast<std::size_t>(std::max(nx_, ny_));
        values_ = allocate_working<double>(count);
        if (!values_) return false;
        for (auto &buffer : buffers_) {
            buffer = allocate_working<double>(rows);
            if (!buffer) return false;
        }
        const auto size = static_cast<std::size_t>(DTYPEtype_size[type]);
        for (std::size_t n = 0; n < count; ++n)
            UTILtype_to_double(&values_[n], static_cast<const char *>(data) + n * size, type);
        return true;
    }

    bool is_inside(GridPlace at) const { return at.i >= 0 && at.i < nx_ && at.j >= 0 && at.j < ny_; }
    int index(GridPlace at) const { return nx_ * at.j + at.i; }
    double value(GridPlace at) const { return value(at.i, at.j); }

    // Whether all grid nodes on an edge, and all that it passes between, are within the tolerance of it.
    bool allows(GridPlace a, GridPlace b) const { return allows(a, b, buffers_[0].get()); }

    // The same of a triangle: its edges, and the nodes inside it, row by row.
    bool allows(GridPlace a, GridPlace b, GridPlace c) const {
        const GridPlace corners[] = {a, b, c, a};
        Side sides[3];
        for (int e = 0; e < 3; ++e) {
            GridPlace low = corners[e], high = corners[e + 1];
            if (high.j < low.j || (high.j == low.j && high.i < low.i)) std::swap(low, high);
            sides[e] = {low.j, high.j, static_cast<double>(low.i), 0.0, buffers_[e].get()};
            if (low.j != high.j)
                sides[e].slope = static_cast<double>(high.i - low.i) / static_cast<double>(high.j - low.j);
            if (!allows(low, high, sides[e].heights)) return false;
        }
        const auto [first, last] = std::minmax({a.j, b.j, c.j});
        for (int j = first; j < last; ++j) {
            if (!allows_row(sides, j)) return false;
        }
        return true;
    }

  private:
    struct Side {
        int low, high;  // rows
        double x;       // on the row at hand
        double slope;
        double *heights;  // per row, from the lowest on
    };

    double value(int i, int j) const { return values_[static_cast<std::ptrdiff_t>(nx_) * j + i]; }
    bool is_close(double value, double line) const {
        return !(value - tolerance_ > line) && !(value + tolerance_ < line);
    }

    // The whole numbers next to a place on the grid, both the same on a grid line.
    struct Whole {
        int below, above;
    };
    static Whole whole_around(double x) {
        int below = static_cast<int>(x);
        if (below > x) --below;
        return {below, below < x ? below + 1 : below};
    }

    bool allows(GridPlace a, GridPlace b, double *heights) const {
        if (a.j == b.j) return allows_along_row(a.j, std::min(a.i, b.i), std::max(a.i, b.i));
        if (b.j < a.j) std::swap(a, b);
        if (a.i == b.i) return allows_along_column(a.i, a.j, b.j, heights);
        return allows_across_rows(a, b, heights) && allows_across_columns(a, b);
    }
    bool allows_along_row(int j, int low, int high) const {
        if (high - low <= 1) return true;
        double line = value(low, j);
        const double step = (value(high, j) - line) / (high - low);
        for (int i = low; i <= high; ++i, line += step) {
            if (!is_close(value(i, j), line)) return false;
        }
        return true;
    }
    bool allows_along_column(int i, int low, int high, double *heights) const {
        double line = value(i, low);
        const double step = (value(i, high) - line) / (high - low);
        for (int j = low; j <= high; ++j, line += step) {
            if (!is_close(value(i, j), line)) return false;
            heights[j - low] = line;
        }
        return true;
    }
    // Between the nodes of a row: where the edge passes through a node it is not held to it.
    bool allows_across_rows(GridPlace low, GridPlace high, double *heights) const {
        const double rows = high.j - low.j;
        const double slope = (high.i - low.i) / rows;
        double x = low.i, line = value(low);
        const double step = (value(high) - line) / rows;
        for (int j = low.j; j <= high.j; ++j, x += slope, line += step) {
            const auto [left, right] = whole_around(x);
            double height;
            if (left != right && left < nx_ - 1) {
                height = value(std::max(left, 0), j) * (right - x) + value(right, j) * (x - left);
                if (!is_close(height, line)) return false;
            } else {
                height = value(std::max(left, 0), j);
            }
            heights[j - low.j] = height;
        }
        return true;
    }
    bool allows_across_columns(GridPlace low, GridPlace high) const {
        if (high.i < low.i) std::swap(low, high);
        const double columns = high.i - low.i;
        const double slope = (high.j - low.j) / columns;
        double y = low.j, line = value(low);
        const double step = (value(high) - line) / columns;
        for (int i = low.i; i <= high.i; ++i, y += slope, line += step) {
            const auto [below, above] = whole_around(y);
            if (below == above || below >= ny_ - 1) continue;
            const double height = value(i, std::max(below, 0)) * (above - y) + value(i, above) * (y - below);
            if (!is_close(height, line)) return false;
        }
        return true;
    }

    // The heights that the row is held to are not quite those of the triangle.
    bool allows_row(Side *sides, int j) const {
        const Side *spans[3];
        int nspans = 0;
        double x[3];
        for (int e = 0; e < 3; ++e) {
            Side &side = sides[e];
            if (!(side.low <= j && j < side.high)) continue;
            x[nspans] = side.x;
            spans[nspans++] = &side;
            side.x += side.slope;
        }
        if (nspans < 2) return true;
        const int l = x[1] < x[0] ? 1 : 0, r = 1 - l;
        const double xl = x[l], xr = x[r];
        const double hl = spans[l]->heights[j - spans[l]->low], hr = spans[r]->heights[j - spans[r]->low];
        const int first = whole_around(xl).above, last = whole_around(xr).below;
        if (first >= last) return true;
        const double width = xr - xl;
        const double h0 = hl + (xl - first) * hr / width, h1 = hr - (last - xr) * hl / width;
        const double step = (h1 - h0) / (last - first);
        for (int k = first; k <= last; ++k) {
            if (!is_close(value(k, j), h0 + (k - first) * step)) return false;
        }
        return true;
    }

    int nx_, ny_;
    double tolerance_;
    Working<double> values_;
    Working<double> buffers_[3];  // per edge of a triangle its height on each row
};

}  // namespace isofield::detail
#endif
