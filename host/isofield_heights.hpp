// Part of isofield.hpp: triangles of few nodes in place of a grid of heights.
#ifndef ISOFIELD_HEIGHTS_HPP
#define ISOFIELD_HEIGHTS_HPP

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "isofield.h"
#include "isofield_data.hpp"
#include "isofield_surface.hpp"

namespace isofield {

// A grid with equal steps between two corners.
struct HeightGrid {
    std::array<int, 2> dims;            // nodes along x and y
    std::array<float, 2> lower, upper;  // where the first and the last node are
};

// What stands in place of a grid of heights, and how well.
struct HeightMesh {
    std::vector<float> points;        // n x 3: x, y and the height
    std::vector<Triangle> triangles;  // rows into points, counterclockwise seen from above
    std::size_t grid_nodes = 0;       // of the grid that they stand for
    double tolerance = 0;             // the goal that was given
    double worst = 0, rms = 0;        // |height - triangles| over the grid nodes inside a triangle
    std::size_t above_tolerance = 0;  // grid nodes
    double coverage = 0;              // the triangles' area by the grid's
};

namespace front {

inline void check_heights(const DataView &heights, const HeightGrid &grid, double tolerance,
                          std::optional<double> null_value) {
    const std::size_t nnodes = count_nodes("grid.dims", grid.dims, 1, 2);
    for (std::size_t d = 0; d < 2; ++d) {
        const std::string index = "[" + std::to_string(d) + "]";
        if (grid.dims[d] < 2) {
            throw BadInput("grid.dims" + index + " is " + std::to_string(grid.dims[d]) +
                           ", but must be at least 2");
        }
        check_finite<float>("grid.lower", grid.lower);
        check_finite<float>("grid.upper", grid.upper);
        if (!(grid.lower[d] < grid.upper[d])) {
            throw BadInput("grid.upper" + index + " is " + value_text(grid.upper[d]) +
                           ", but must be above grid.lower" + index + ", " + value_text(grid.lower[d]));
        }
    }
    if (!(tolerance >= 0)) {
        throw BadInput("tolerance is " + value_text(tolerance) + ", but must be at least 0");
    }
    if (heights.components() != 1) {
        throw BadInput("heights has " + std::to_string(heights.components()) +
                       " components, but must be a scalar");
    }
    if (heights.rows() != nnodes) {
        throw BadInput("heights has " + std::to_string(heights.rows()) + " rows, but the grid has " +
                       std::to_string(nnodes) + " nodes");
    }
    const std::vector<unsigned char> missing = missing_rows(heights, null_value);
    if (missing.empty()) return;
    const auto first = static_cast<int>(std::find(missing.begin(), missing.end(), 1) - missing.begin());
    throw BadInput("heights has a missing value at node (" + std::to_string(first % grid.dims[0]) + ", " +
                   std::to_string(first / grid.dims[0]) +
                   "): fill it first, for instance with the mean of its neighbours");
}

// Measures how far a grid's heights are from triangles, in units of the grid's steps.
class HeightCheck {
  public:
    using Place = std::array<double, 3>;  // along the axes, and the height

    HeightCheck(const DataView &heights, const HeightGrid &grid, std::vector<Place> places)
        : grid_(grid), heights_(heights, {}), errors_(heights.rows(), kOutside), places_(std::move(places)) {}

    // Turns the triangles that are clockwise.
    void measure(HeightMesh &mesh) {
        double area = 0;
        for (Triangle &triangle : mesh.triangles) {
            double twice = twice_area(triangle);
            if (twice < 0) std::swap(triangle[1], triangle[2]);
            area += std::abs(twice) / 2;
            compare(triangle, std::abs(twice));
        }
        mesh.coverage = area / (grid_.dims[0] - 1.0) / (grid_.dims[1] - 1.0);
        double squares = 0, inside = 0;
        for (std::size_t n = 0; n < errors_.size(); ++n) {
            const double error = errors_[n], rounding = 1e-12 * std::abs(heights_.view()[n]);
            if (error == kOutside) continue;
            mesh.worst = std::max(mesh.worst, error);
            mesh.above_tolerance += error > mesh.tolerance + rounding;
            squares += error * error;
            ++inside;
        }
        mesh.rms = inside > 0 ? std::sqrt(squares / inside) : 0;
    }

  private:
    static constexpr double kOutside = -1, kRounding = 1e-9;

    const Place &corner(const Triangle &triangle, std::size_t c) const {
        return places_[static_cast<std::size_t>(triangle[c % 3])];
    }
    static double twice_area(const Place &a, const Place &b, double x, double y) {
        return (b[0] - a[0]) * (y - a[1]) - (x - a[0]) * (b[1] - a[1]);
    }
    double twice_area(const Triangle &triangle) const {
        const Place &c = corner(triangle, 2);
        return twice_area(corner(triangle, 0), corner(triangle, 1), c[0], c[1]);
    }

    // Takes the grid nodes in a triangle, row by row; a node of several has its largest error.
    void compare(const Triangle &triangle, double area) {
        if (area == 0) return;
        const auto [lowest, highest] =
            std::minmax({corner(triangle, 0)[1], corner(triangle, 1)[1], corner(triangle, 2)[1]});
        const auto last = static_cast<int>(std::min(std::floor(highest), grid_.dims[1] - 1.0));
        for (int j = static_cast<int>(std::max(std::ceil(lowest), 0.0)); j <= last; ++j) {
            double from = grid_.dims[0] - 1.0, to = 0;
            for (std::size_t c = 0; c < 3; ++c) {
                const Place &a = corner(triangle, c), &b = corner(triangle, c + 1);
                if (std::min(a[1], b[1]) > j || std::max(a[1], b[1]) < j) continue;
                const double share = a[1] == b[1] ? 0 : (j - a[1]) / (b[1] - a[1]);
                const double x = a[0] + share * (b[0] - a[0]);
                from = std::min({from, x, a[1] == b[1] ? b[0] : x});
                to = std::max({to, x, a[1] == b[1] ? b[0] : x});
            }
            const auto end = static_cast<int>(std::min(std::floor(to + kRounding), grid_.dims[0] - 1.0));
            for (int i = static_cast<int>(std::max(std::ceil(from - kRounding), 0.0)); i <= end; ++i)
                compare(triangle, area, i, j);
        }
    }
    void compare(const Triangle &triangle, double area, int i, int j) {
        double height = 0;
        for (std::size_t c = 0; c < 3; ++c) {
            const double share = twice_area(corner(triangle, c + 1), corner(triangle, c + 2), i, j) / area;
            if (share < -kRounding) return;
            height += share * corner(triangle, c)[2];
        }
        const auto node = static_cast<std::size_t>(i) +
                          static_cast<std::size_t>(grid_.dims[0]) * static_cast<std::size_t>(j);
        errors_[node] = std::max(errors_[node], std::abs(heights_.view()[node] - height));
    }

    const HeightGrid &grid_;
    DoubleValues heights_;
    std::vector<double> errors_;  // per grid node
    std::vector<Place> places_;   // per point
};

// Heights above the plane that fits them best, in the grid's steps. Triangles are as far from one as from the
// other, but the library's test of their rows is the better the nearer the heights are to 0. The plane's
// coefficients are floats, so that heights in a plane of such are exactly 0.
class LevelledHeights {
  public:
    LevelledHeights(const DataView &heights, const std::array<int, 2> &dims) : dims_(dims) {
        const DoubleValues given(heights, {});
        values_.assign(given.view().begin(), given.view().end());
        double sum = 0, sums[2] = {};
        each_node([&](std::size_t n, double i, double j) {
            sum += values_[n];
            sums[0] += (i - middle(0)) * values_[n];
            sums[1] += (j - middle(1)) * values_[n];
        });
        const double count = static_cast<double>(values_.size());
        for (std::size_t d = 0; d < 2; ++d) {
            // The sum of (i - middle)^2 over all nodes.
            const double squares = count * (double{1} * dims_[d] * dims_[d] - 1) / 12;
            slope_[d] = static_cast<float>(sums[d] / squares);
        }
        base_ = static_cast<float>(sum / count - slope_[0] * middle(0) - slope_[1] * middle(1));
        each_node([&](std::size_t n, double i, double j) { values_[n] -= plane(i, j); });
    }

    const double *data() const { return values_.data(); }
    double plane(double i, double j) const { return base_ + slope_[0] * i + slope_[1] * j; }

  private:
    double middle(std::size_t d) const { return (dims_[d] - 1) / 2.0; }
    template <class Function>
    void each_node(Function &&f) const {
        std::size_t n = 0;
        for (int j = 0; j < dims_[1]; ++j) {
            for (int i = 0; i < dims_[0]; ++i) f(n++, i, j);
        }
    }

    std::array<int, 2> dims_;
    std::vector<double> values_;
    double slope_[2] = {}, base_ = 0;
};

}  // namespace front

// Triangles of few nodes in place of a grid of heights, first axis fastest, which are to be within
// `tolerance` of the nodes left out. That is a goal: the result tells how far it was reached, and how much of
// the grid is covered; above 1 where rough heights made triangles fold over each other. The library is given
// the heights above the plane that fits them best. See the chapter on height grids in isofield.h. Throws
// BadInput, also for heights that are the null, NaN or infinite, or Error.
inline HeightMesh simplify_heights(const DataView &heights, const HeightGrid &grid, double tolerance,
                                   const std::optional<double> null_value = {}) {
    front::check_heights(heights, grid, tolerance, null_value);
    const front::LevelledHeights levelled(heights, grid.dims);
    // In steps, which tell the nodes' places; the corners come back below.
    const float corners[] = {0, 0, static_cast<float>(grid.dims[0] - 1),
                             static_cast<float>(grid.dims[1] - 1)};
    int nnodes = 0, ntris = 0, *connect = nullptr;
    float *coords = nullptr;
    void *values = nullptr;
    const front::Call call;
    const int result =
        UTILoptimize_surface(grid.dims.data(), 2, corners, static_cast<int>(ElementType::kDouble),
                             levelled.data(), tolerance, &nnodes, &coords, &ntris, &connect, &values);
    const front::Array<float> places(coords, 2 * static_cast<std::size_t>(nnodes));
    const front::Array<int> triangles(connect, 3 * static_cast<std::size_t>(ntris));
    const front::Array<double> above(static_cast<double *>(values), static_cast<std::size_t>(nnodes));
    call.check(result, "simplify_heights");
    HeightMesh made;
    made.grid_nodes = heights.rows();
    made.tolerance = tolerance;
    std::vector<front::HeightCheck::Place> nodes;
    for (std::size_t n = 0; n < above.size(); ++n) {
        const double i = places.data()[2 * n], j = places.data()[2 * n + 1];
        nodes.push_back({i, j, static_cast<float>(above.data()[n] + levelled.plane(i, j))});
        for (std::size_t d = 0; d < 2; ++d) {
            const double step = (double{grid.upper[d]} - grid.lower[d]) / (grid.dims[d] - 1);
            made.points.push_back(static_cast<float>(grid.lower[d] + nodes.back()[d] * step));
        }
        made.points.push_back(static_cast<float>(nodes.back()[2]));
    }
    made.triangles.resize(static_cast<std::size_t>(ntris));
    for (std::size_t i = 0; i < triangles.size(); ++i) made.triangles[i / 3][i % 3] = triangles.data()[i];
    front::HeightCheck(heights, grid, std::move(nodes)).measure(made);
    return made;
}

}  // namespace isofield
#endif
