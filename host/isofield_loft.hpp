// Part of isofield.hpp: strips of triangles between closed outlines.
#ifndef ISOFIELD_LOFT_HPP
#define ISOFIELD_LOFT_HPP

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "isofield.h"
#include "isofield_data.hpp"
#include "isofield_surface.hpp"

namespace isofield {

// Where the walk along an outline starts: at the end of the first segment along which x or y passes the
// centroid's so.
enum class LoftStart {
    kRisingX = 0,
    kFallingY = 1,
    kFallingX = 2,
    kRisingY = 3,
};

namespace front {

// A closed outline, whose vertices are sorted for a walk.
class Outline {
  public:
    Outline(const char *name, std::span<const float> points) {
        const std::size_t n = whole_points(name, points);
        int_size(name, points);
        if (n < 3) {
            throw BadInput(std::string(name) + " has " + std::to_string(n) +
                           " points, but must have at least 3");
        }
        check_finite(name, points);
        const auto at = [&](std::size_t i) { return double{points[i]}; };
        double perimeter = 0;
        for (std::size_t i = 0, j = 3 * n - 3; i < 3 * n; j = i, i += 3) {
            perimeter += std::hypot(at(i) - at(j), at(i + 1) - at(j + 1));
            area_ += (at(j) - at(0)) * (at(i + 1) - at(1)) - (at(i) - at(0)) * (at(j + 1) - at(1));
        }
        if (perimeter == 0) throw BadInput(std::string(name) + " has a perimeter of 0 in x and y");
        const int exponent = -std::ilogb(perimeter);
        verts_.assign(points.begin(), points.end());
        for (float &coord : verts_) coord = std::ldexp(coord, exponent);
    }

    double area() const { return area_; }  // twice, positive when wound counterclockwise
    int size() const { return static_cast<int>(verts_.size() / 3); }
    const int *ids() const { return ids_.data(); }
    const float *params() const { return params_.data(); }

    // first: the number of the outline's first vertex in the strip.
    void sort(LoftStart start, bool backwards, int first) {
        const int n = size(), range[] = {0, n - 1};
        if (backwards) {
            for (auto a = verts_.begin(), b = verts_.end() - 3; a < b; a += 3, b -= 3)
                std::swap_ranges(a, a + 3, b);
        }
        ids_.assign(static_cast<std::size_t>(n) + 2, 0);
        // Above any parameter, so that the walk that is ahead waits at its end.
        params_.assign(ids_.size(), std::numeric_limits<float>::max());
        const Call call;
        call.check(
            UTILroi_sort_verts(3, verts_.data(), range, static_cast<int>(start), ids_.data(), params_.data()),
            "loft");
        for (int &id : ids_) id = first + (backwards ? n - 1 - id : id);
    }

  private:
    double area_ = 0;
    std::vector<float> verts_;  // brought near to a perimeter of 1, which changes no digit
    std::vector<int> ids_;
    std::vector<float> params_;
};

}  // namespace front

// A closed strip of triangles between two closed outlines: na + nb, each with an edge of the one before. Both
// outlines are walked in step with the share of their perimeter in x and y. One that is wound against `a` is
// walked backwards. The triangles are counterclockwise seen from outside when `b` lies above `a`, and seen
// from above when `b` lies inside `a` in the same plane. Throws BadInput.
//   a, b  na x 3 and nb x 3, at least 3 points each, which differ in x or y; the last one need not repeat the
//         first. Nodes 0 to na - 1 of the triangles are those of `a`, na to na + nb - 1 those of `b`.
inline std::vector<Triangle> loft(std::span<const float> a, std::span<const float> b,
                                  LoftStart start = LoftStart::kRisingX) {
    front::Outline from("a", a), to("b", b);
    const int side = static_cast<int>(start);
    if (side < 0 || side > 3) throw BadInput("start is " + std::to_string(side) + ", but must be 0 to 3");
    from.sort(start, false, 0);
    to.sort(start, (from.area() < 0) != (to.area() < 0), from.size());
    int ntri = from.size() + to.size();
    std::vector<int> nodes(3 * static_cast<std::size_t>(ntri) + 2);
    const front::Call call;
    call.check(UTILroi_connect_verts(from.size() + 1, to.size() + 1, from.ids(), to.ids(), from.params(),
                                     to.params(), &ntri, nodes.data()),
               "loft");
    std::vector<Triangle> triangles(static_cast<std::size_t>(ntri));
    const std::size_t third = from.area() > 0 ? 1 : 2;
    for (std::size_t i = 0; i < triangles.size(); ++i) {
        triangles[i][0] = nodes[3 * i];
        triangles[i][3 - third] = nodes[3 * i + 1];
        triangles[i][third] = nodes[3 * i + 2];
    }
    return triangles;
}

}  // namespace isofield
#endif
