// Part of isofield.hpp: Delaunay triangulations and tetrahedralisations of points.
#ifndef ISOFIELD_DELAUNAY_HPP
#define ISOFIELD_DELAUNAY_HPP

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>
#include <span>
#include <utility>
#include <vector>

#include "isofield.h"
#include "isofield_data.hpp"
#include "isofield_surface.hpp"

namespace isofield {

// Settings of a triangulation of points.
struct DelaunayOptions {
    Progress progress = {};
    bool verify = false;  // count the points inside circumcircles or circumspheres
    // The box that the library starts from is the points' own, and so many extents more to every side: the
    // farther the start, the fuller the hull. 0 to 1e6.
    double margin = 1000;
};

using Tetrahedron = std::array<int, 4>;

// A triangulation of points in the plane.
struct Triangulation {
    std::vector<Triangle> triangles;  // rows into the points, counterclockwise
    std::size_t used = 0;             // points that are a vertex
    std::size_t missing = 0;          // points with a coordinate that is NaN or infinite
    std::size_t duplicates = 0;       // points equal to an earlier one, which is the vertex
    std::size_t unused = 0;           // the others
    // With options.verify: pairs of a triangle and a point inside its circumcircle, by more than 1e-5 of the
    // squared radius.
    std::size_t violations = 0;
};

// The same in space; violations are of circumspheres.
struct Tetrahedralization {
    std::vector<Tetrahedron> tetrahedra;  // rows into the points, of positive volume as tet_1
    std::size_t used = 0, missing = 0, duplicates = 0, unused = 0, violations = 0;
};

namespace front {

// Different points of N coordinates, and simplices of them.
template <std::size_t N>
class Simplices {
  public:
    using Simplex = std::array<int, N + 1>;

    explicit Simplices(std::span<const float> coords) : coords_(coords) {}

    std::size_t npoints() const { return coords_.size() / N; }
    Vector point(std::size_t i) const {
        Vector p = {};
        for (std::size_t d = 0; d < N; ++d) p[d] = coords_[N * i + d];
        return p;
    }
    // The edges from a simplex's first vertex. A triangle has a third one, square to the plane.
    std::array<Vector, 3> edges(const Simplex &simplex) const {
        std::array<Vector, 3> from = {Vector{}, Vector{}, Vector{0, 0, 1}};
        const Vector origin = point(static_cast<std::size_t>(simplex[0]));
        for (std::size_t v = 0; v < N; ++v) {
            const Vector to = point(static_cast<std::size_t>(simplex[v + 1]));
            for (std::size_t d = 0; d < N; ++d) from[v][d] = to[d] - origin[d];
        }
        return from;
    }
    // Positive for triangles that are counterclockwise, and for tetrahedra as tet_1.
    double orientation(const Simplex &simplex) const {
        const auto [a, b, c] = edges(simplex);
        return dot(cross(a, b), c);
    }

  private:
    std::span<const float> coords_;
};

// Counts points inside circumspheres, with a grid over the points. In double.
template <std::size_t N>
class SphereCheck {
  public:
    using Simplex = typename Simplices<N>::Simplex;

    SphereCheck(std::span<const float> coords, const Vector &lower, const Vector &upper)
        : simplices_(coords), lower_(lower) {
        const auto n = static_cast<double>(simplices_.npoints());
        double volume = 1;
        for (std::size_t d = 0; d < N; ++d) volume *= upper[d] - lower[d];
        const double side = std::pow(2 * volume / n, 1.0 / N), most = 2 * std::pow(n, 1.0 / N);
        for (std::size_t d = 0; d < N; ++d) {
            dims_[d] = static_cast<int>(std::clamp((upper[d] - lower[d]) / side, 1.0, most));
            step_[d] = (upper[d] - lower[d]) / dims_[d];
        }
        sort_points();
    }

    // The points inside a simplex's sphere by more than 1e-5 of the squared radius.
    std::size_t count(const Simplex &simplex) const {
        constexpr double kInside = 1 - 1e-5;
        const auto [a, b, c] = simplices_.edges(simplex);
        const Vector bc = cross(b, c), ca = cross(c, a), ab = cross(a, b);
        const double scale = 0.5 / dot(a, bc), aa = dot(a, a), bb = dot(b, b), cc = N == 3 ? dot(c, c) : 0;
        Vector centre = simplices_.point(static_cast<std::size_t>(simplex[0]));
        double squared = 0;
        for (std::size_t d = 0; d < N; ++d) {
            const double to = scale * (aa * bc[d] + bb * ca[d] + cc * ab[d]);
            centre[d] += to;
            squared += to * to;
        }
        return std::isfinite(squared) ? count(simplex, centre, kInside * squared) : 0;
    }

  private:
    struct Range {
        int first, last;
    };

    int cell_of(std::size_t d, double x) const {
        return static_cast<int>(std::clamp((x - lower_[d]) / step_[d], 0.0, dims_[d] - 1.0));
    }
    Range reach(std::size_t d, double x, double squared) const {
        const double radius = std::sqrt(squared);
        return {cell_of(d, x - radius), cell_of(d, x + radius)};
    }
    // What is left of the squared radius in a row of cells; negative where they are out of reach.
    double rest(std::size_t d, int cell, double x, double squared) const {
        const double lo = lower_[d] + step_[d] * cell;
        const double off = std::max({0.0, lo - x, x - (lo + step_[d])});
        return squared - off * off;
    }
    std::size_t row_of(int j, int k) const {
        return static_cast<std::size_t>(dims_[0]) *
               (static_cast<std::size_t>(j) +
                static_cast<std::size_t>(dims_[1]) * static_cast<std::size_t>(k));
    }

    void sort_points() {
        first_.assign(row_of(0, dims_[2]) + 1, 0);
        std::vector<std::size_t> cells(simplices_.npoints());
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const Vector p = simplices_.point(i);
            cells[i] =
                row_of(cell_of(1, p[1]), cell_of(2, p[2])) + static_cast<std::size_t>(cell_of(0, p[0]));
            ++first_[cells[i]];
        }
        std::size_t end = 0;
        for (std::size_t &first : first_) first = end += first;
        points_.resize(cells.size());
        for (std::size_t i = cells.size(); i-- > 0;) points_[--first_[cells[i]]] = static_cast<int>(i);
    }

    std::size_t count(const Simplex &simplex, const Vector &centre, double squared) const {
        std::size_t inside = 0;
        const Range planes = reach(2, centre[2], squared);
        for (int k = planes.first; k <= planes.last; ++k) {
            const double in_plane = rest(2, k, centre[2], squared);
            if (in_plane < 0) continue;
            const Range rows = reach(1, centre[1], in_plane);
            for (int j = rows.first; j <= rows.last; ++j) {
                const double in_row = rest(1, j, centre[1], in_plane);
                if (in_row < 0) continue;
                const Range cells = reach(0, centre[0], in_row);
                const std::size_t row = row_of(j, k);
                const std::size_t end = first_[row + static_cast<std::size_t>(cells.last) + 1];
                for (std::size_t i = first_[row + static_cast<std::size_t>(cells.first)]; i < end; ++i)
                    inside += is_inside(points_[i], simplex, centre, squared);
            }
        }
        return inside;
    }

    bool is_inside(int point, const Simplex &simplex, const Vector &centre, double squared) const {
        Vector to = simplices_.point(static_cast<std::size_t>(point));
        for (std::size_t d = 0; d < N; ++d) to[d] -= centre[d];
        return dot(to, to) < squared && std::find(simplex.begin(), simplex.end(), point) == simplex.end();
    }

    Simplices<N> simplices_;
    Vector lower_, step_ = {1, 1, 1};
    std::array<int, 3> dims_ = {1, 1, 1};
    std::vector<std::size_t> first_;  // per cell its first place in points_, and the end of the last one's
    std::vector<int> points_;
};

// Triangulates points of N coordinates.
template <std::size_t N>
class Triangulator {
  public:
    using Simplex = typename Simplices<N>::Simplex;

    Triangulator(std::span<const float> points, const DelaunayOptions &options) : options_(options) {
        constexpr double kMostMargin = 1e6;
        if (!(options.margin >= 0 && options.margin <= kMostMargin)) {
            throw BadInput("margin is " + value_text(options.margin) + ", but must be 0 to " +
                           value_text(kMostMargin));
        }
        whole_points("points", points);
        int_size("points", points);
        take_points(points);
    }

    // simplices: those of `made`, a Triangulation or Tetrahedralization.
    template <class Result>
    void run(Result &made, std::vector<Simplex> &simplices) {
        made.missing = missing_;
        made.duplicates = duplicates_;
        if (bring_near_to_unit()) {
            triangulate(simplices);
            if (options_.verify) made.violations = verify(simplices);
        }
        std::vector<unsigned char> used(rows_.size());
        for (Simplex &simplex : simplices) {
            for (int &vertex : simplex) {
                used[static_cast<std::size_t>(vertex)] = 1;
                vertex = rows_[static_cast<std::size_t>(vertex)];
            }
        }
        made.used = static_cast<std::size_t>(std::count(used.begin(), used.end(), 1));
        made.unused = used.size() - made.used;
    }

  private:
    void take_points(std::span<const float> points) {
        const std::size_t n = points.size() / 3;
        coords_.reserve(N * n);
        rows_.reserve(n);
        std::vector<int> table(std::bit_ceil(2 * n + 1), -1);  // of points taken, by what they hash to
        for (std::size_t i = 0; i < n; ++i) {
            const auto point = points.subspan(3 * i, N);
            if (std::ranges::any_of(point, is_missing<float>)) {
                ++missing_;
            } else if (int &slot = find(table, point); slot >= 0) {
                ++duplicates_;
            } else {
                slot = static_cast<int>(rows_.size());
                rows_.push_back(static_cast<int>(i));
                coords_.insert(coords_.end(), point.begin(), point.end());
            }
        }
    }

    // The slot of an equal point, or the free one for it.
    int &find(std::vector<int> &table, std::span<const float> point) const {
        std::uint64_t hash = 0;
        for (const float coord : point) {
            const auto bits = std::bit_cast<std::uint32_t>(coord == 0 ? 0.0f : coord);  // -0 equals 0
            hash = (hash ^ bits) * 0x9E3779B97F4A7C15u;
            hash ^= hash >> 32;
        }
        for (std::size_t at = hash;; ++at) {
            int &slot = table[at & (table.size() - 1)];
            if (slot < 0 ||
                std::equal(point.begin(), point.end(), &coords_[N * static_cast<std::size_t>(slot)]))
                return slot;
        }
    }

    // Brings the points near to 0 and 1 as far as that changes no digit, which spares the library's doubles
    // squares of large numbers. False when there is nothing to triangulate.
    bool bring_near_to_unit() {
        if (rows_.size() < N + 1) return false;
        double extent = 0;
        std::array<float, N> origin = {};
        for (std::size_t d = 0; d < N; ++d) {
            const auto [lower, upper] = range(d);
            if (lower == upper) return false;
            extent = std::max(extent, double{upper} - lower);
            if (lower > 0 && upper / 2 <= lower) origin[d] = lower;
            if (upper < 0 && lower / 2 >= upper) origin[d] = upper;
        }
        const int exponent = -std::ilogb(extent);
        for (std::size_t i = 0; i < coords_.size(); ++i)
            coords_[i] = std::ldexp(coords_[i] - origin[i % N], exponent);
        for (std::size_t d = 0; d < N; ++d) {
            const auto [lower, upper] = range(d);
            lower_[d] = lower;
            upper_[d] = upper;
        }
        return true;
    }

    std::pair<float, float> range(std::size_t axis) const {
        std::pair<float, float> range = {coords_[axis], coords_[axis]};
        for (std::size_t i = axis; i < coords_.size(); i += N) {
            range.first = std::min(range.first, coords_[i]);
            range.second = std::max(range.second, coords_[i]);
        }
        return range;
    }

    // Where many points lie on one sphere, as those of a grid do, rounding may have built simplices over each
    // other: some are turned inside out. Points that are moved by a few digits break such ties alike.
    void triangulate(std::vector<Simplex> &simplices) {
        constexpr float kMoves[] = {0x1p-22f, 0x1p-21f, 0x1p-20f, 0x1p-19f, 0x1p-18f};
        bool sound = take_simplices(tessellate(coords_), simplices);
        std::minstd_rand random;
        std::uniform_real_distribution<float> off(-1, 1);
        for (auto move = std::begin(kMoves); !sound && move != std::end(kMoves); ++move) {
            std::vector<float> moved = coords_;
            for (float &coord : moved) coord += *move * off(random);
            sound = take_simplices(tessellate(moved), simplices);
        }
    }

    Array<int> tessellate(const std::vector<float> &coords) const {
        // Sides that grow alike would bring the start's vertices in line with rows of gridded points.
        constexpr double kGrowth[2][3] = {{1.013, 1.029, 1.041}, {1.057, 1.071, 1.093}};
        std::array<float, N> min, max;
        for (std::size_t d = 0; d < N; ++d) {
            const double margin = options_.margin * (upper_[d] - lower_[d]);
            min[d] = static_cast<float>(lower_[d] - kGrowth[0][d] * margin);
            max[d] = static_cast<float>(upper_[d] + kGrowth[1][d] * margin);
        }
        const Progress progress = share(0, options_.verify ? 50 : 100);
        const Call call(&progress);
        const auto npoints = static_cast<int>(rows_.size());
        int count = 0, *connect = nullptr, result = 0;
        if constexpr (N == 2) {
            result =
                UTILdelaun_tess_2D(npoints, coords.data(), 2, min.data(), max.data(), 0, &count, &connect);
        } else {
            result = UTILdelaun_tess_3D(npoints, coords.data(), min.data(), max.data(), 0, &count, &connect);
        }
        Array<int> made(connect, (N + 1) * static_cast<std::size_t>(count));
        call.check(result, "delaunay");
        return made;
    }

    // Takes what has an area or a volume. False when some of it is inside out by more than points moved a
    // little can be.
    bool take_simplices(const Array<int> &made, std::vector<Simplex> &simplices) const {
        constexpr double kFlat = 1e-5, kSign = N == 2 ? 1 : -1;  // that of the library's simplices
        const Simplices<N> space(coords_);
        bool sound = true;
        simplices.clear();
        simplices.reserve(made.size() / (N + 1));
        for (std::size_t i = 0; i < made.size(); i += N + 1) {
            Simplex simplex;
            std::ranges::copy(made.view().subspan(i, N + 1), simplex.begin());
            const double orientation = space.orientation(simplex);
            if (kSign * orientation < 0) {
                const auto [a, b, c] = space.edges(simplex);
                sound =
                    sound && std::abs(orientation) <= kFlat * std::sqrt(dot(a, a) * dot(b, b) * dot(c, c));
            }
            if (orientation < 0) std::swap(simplex[0], simplex[1]);
            if (orientation != 0) simplices.push_back(simplex);
        }
        return sound;
    }

    std::size_t verify(const std::vector<Simplex> &simplices) const {
        const Progress progress = share(50, 50);
        const Call call(&progress);
        const SphereCheck<N> spheres(coords_, lower_, upper_);
        std::size_t violations = 0;
        for (std::size_t i = 0; i < simplices.size(); ++i) {
            if (i % 1024 == 0) call.poll(i, simplices.size(), "delaunay");
            violations += spheres.count(simplices[i]);
        }
        return violations;
    }

    Progress share(int first, int size) const {
        if (!options_.progress) return {};
        return [this, first, size](int percent) { return options_.progress(first + percent * size / 100); };
    }

    const DelaunayOptions &options_;
    std::size_t missing_ = 0, duplicates_ = 0;
    std::vector<float> coords_;  // of the points that are taken, N each
    std::vector<int> rows_;      // of theirs
    Vector lower_ = {}, upper_ = {};
};

}  // namespace front

// Triangulates points in the plane, n x 3, of which x and y count: no point is inside the circumcircle of a
// triangle. Points that lie in a line, and less than 3, make none. Along the hull triangles may be missing
// that are flatter than options.margin lets appear. The library's chapter on triangulations in isofield.h
// tells more, and the sources. Throws BadInput, Interrupted or Error.
inline Triangulation delaunay_2d(std::span<const float> points, const DelaunayOptions &options = {}) {
    Triangulation made;
    front::Triangulator<2>(points, options).run(made, made.triangles);
    return made;
}

// The same in space: no point is inside the circumsphere of a tetrahedron. Tetrahedra without volume, which
// points on one sphere make, are left out; the faces round them do not match then.
inline Tetrahedralization delaunay_3d(std::span<const float> points, const DelaunayOptions &options = {}) {
    Tetrahedralization made;
    front::Triangulator<3>(points, options).run(made, made.tetrahedra);
    return made;
}

}  // namespace isofield
#endif
