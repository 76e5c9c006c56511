// Part of isofield.hpp: the connected sheet or line of a level through a point.
#ifndef ISOFIELD_TRACE_HPP
#define ISOFIELD_TRACE_HPP

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>
#include <optional>
#include <span>
#include <vector>

#include "isofield.h"
#include "isofield_data.hpp"
#include "isofield_surface.hpp"

namespace isofield {

// Settings of tracing. NaN and infinite values always count as missing.
struct TraceOptions {
    std::optional<double> null_value = {};  // cells with a node of this value make nothing
    Progress progress = {};
    bool native = false;      // the library's own walk, on grids alone, which may miss parts
    bool keep_cells = false;  // fill the result's cells; those of native are never known
};

struct Sheet {
    double level = 0;  // the data at the point
    Surface surface;   // triangles alone
};

struct LevelLine {
    double level = 0;  // the data at the point
    Isolines lines;    // the one line
};

namespace front {

// Cuts out of an extraction the element nearest to a point, and all that shared new nodes connect to it.
class NearestPart {
  public:
    // reach: how far away the nearest element may be. If it is farther, nothing is left.
    NearestPart(const std::array<float, 3> &at, double reach) : at_{at[0], at[1], at[2]}, reach_(reach) {}

    void keep_in(Surface &surface) {
        keep<3>(surface, surface.triangles_, surface.cells_);
        surface.lines_.cut(0);
        surface.line_cells_.cut(0);
    }
    void keep_in(Isolines &isolines) { keep<2>(isolines, isolines.lines_, isolines.line_cells_); }

  private:
    static Vector minus(const Vector &a, const Vector &b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }

    // Squared distances from the origin.
    static double distance(const std::array<Vector, 2> &line) {
        const Vector along = minus(line[1], line[0]);
        const double length = dot(along, along);
        const double t = length > 0 ? std::clamp(-dot(line[0], along) / length, 0.0, 1.0) : 0.0;
        Vector nearest = line[0];
        for (std::size_t d = 0; d < 3; ++d) nearest[d] += t * along[d];
        return dot(nearest, nearest);
    }
    // In the triangle's plane where the foot of the origin is inside, else on an edge.
    static double distance(const std::array<Vector, 3> &triangle) {
        const auto &[a, b, c] = triangle;
        const Vector u = minus(b, a), v = minus(c, a);
        const double uu = dot(u, u), uv = dot(u, v), vv = dot(v, v), au = -dot(a, u), av = -dot(a, v);
        const double area = uu * vv - uv * uv, s = vv * au - uv * av, t = uu * av - uv * au;
        if (area > 0 && s >= 0 && t >= 0 && s + t <= area) {
            Vector foot = a;
            for (std::size_t d = 0; d < 3; ++d) foot[d] += (s * u[d] + t * v[d]) / area;
            return dot(foot, foot);
        }
        return std::min({distance(std::array{a, b}), distance(std::array{b, c}), distance(std::array{c, a})});
    }

    template <std::size_t N>
    void keep(NewNodes &nodes, Array<int> &elements, Array<int> &cells) {
        number_part<N>(nodes, elements.view());
        keep_rows(nodes.min_node_, 1);
        keep_rows(nodes.max_node_, 1);
        keep_rows(nodes.parameter_, 1);
        keep_rows(nodes.points_, 3);
        std::size_t kept = 0;
        for (std::size_t i = 0; i < elements.size(); i += N) {
            if (number_[static_cast<std::size_t>(elements.data()[i])] < 0) continue;
            if (cells.size() > 0) cells.data()[kept / N] = cells.data()[i / N];
            for (std::size_t n = 0; n < N; ++n)
                elements.data()[kept++] = number_[static_cast<std::size_t>(elements.data()[i + n])];
        }
        if (cells.size() > 0) cells.cut(kept / N);
        elements.cut(kept);
    }

    // Numbers the nodes of the part; the others get -1.
    template <std::size_t N>
    void number_part(const NewNodes &nodes, std::span<const int> elements) {
        constexpr int kOutside = -1;
        parent_.resize(nodes.npoints());
        std::iota(parent_.begin(), parent_.end(), 0);
        double least = std::numeric_limits<double>::infinity();
        int nearest = kOutside;
        for (std::size_t i = 0; i < elements.size(); i += N) {
            std::array<Vector, N> corners;
            for (std::size_t n = 0; n < N; ++n) {
                const float *point = nodes.points().data() + 3 * static_cast<std::size_t>(elements[i + n]);
                corners[n] = minus({point[0], point[1], point[2]}, at_);
                parent_[root(elements[i + n])] = static_cast<int>(root(elements[i]));
            }
            const double away = distance(corners);
            if (away < least) nearest = elements[i];
            least = std::min(least, away);
        }
        number_.assign(nodes.npoints(), kOutside);
        if (nearest == kOutside || least > reach_ * reach_) return;
        int count = 0;
        const std::size_t part = root(nearest);
        for (std::size_t n = 0; n < number_.size(); ++n) {
            if (root(static_cast<int>(n)) == part) number_[n] = count++;
        }
    }

    // The node that stands for all that are connected to one; paths there are halved.
    std::size_t root(int node) {
        auto at = static_cast<std::size_t>(node);
        while (parent_[at] != static_cast<int>(at)) {
            const auto up = static_cast<std::size_t>(parent_[at]);
            parent_[at] = parent_[up];
            at = up;
        }
        return at;
    }

    template <class T>
    void keep_rows(Array<T> &rows, std::size_t width) const {
        std::size_t end = 0;
        for (std::size_t n = 0; n < number_.size(); ++n) {
            if (number_[n] < 0) continue;
            std::copy_n(rows.data() + n * width, width, rows.data() + end);
            end += width;
        }
        rows.cut(end);
    }

    const Vector at_;
    const double reach_;
    std::vector<int> parent_;  // per node one nearer to its root
    std::vector<int> number_;  // per node its number in the part, or -1
};

}  // namespace front

}  // namespace isofield
#endif
