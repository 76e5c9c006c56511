// Closed contours: sorted by their share of the perimeter, and stitched two at a time.
#include <cmath>
#include <cstddef>

#include "isofield.h"
#include "output_array.hpp"

namespace {

using namespace isofield::detail;

// A closed polygon with the length of each segment, which belongs to the vertex that it ends at.
struct Polygon {
    int stride;
    const float *verts;
    int n;

    const float *vertex(int i) const { return verts + static_cast<std::ptrdiff_t>(i) * stride; }
    const float *before(int i) const { return vertex(i == 0 ? n - 1 : i - 1); }
};

struct Outline {
    double perimeter = 0.0;
    double cx = 0.0, cy = 0.0;  // the centroid of the outline, not of the area
};

Outline measure(const Polygon &polygon, double *lengths) {
    Outline outline;
    double sum_x = 0.0, sum_y = 0.0;
    for (int i = 0; i < polygon.n; ++i) {
        const float *const from = polygon.before(i), *const to = polygon.vertex(i);
        const float dx = to[0] - from[0], dy = to[1] - from[1];
        lengths[i] = std::sqrt(static_cast<double>(dx * dx + dy * dy));
        outline.perimeter += lengths[i];
        sum_x += static_cast<double>(to[0] + from[0]) * 0.5 * lengths[i];
        sum_y += static_cast<double>(to[1] + from[1]) * 0.5 * lengths[i];
    }
    outline.cx = sum_x / outline.perimeter;
    outline.cy = sum_y / outline.perimeter;
    return outline;
}

// Whether a segment passes the centroid, in x or y and upwards or downwards as the side tells.
bool passes(const float *from, const float *to, const Outline &outline, int side) {
    switch (side) {
        case 0:
            return from[0] <= outline.cx && outline.cx <= to[0];
        case 1:
            return from[1] >= outline.cy && outline.cy >= to[1];
        case 2:
            return from[0] >= outline.cx && outline.cx >= to[0];
        case 3:
            return from[1] <= outline.cy && outline.cy <= to[1];
        default:
            return false;
    }
}

}  // namespace

int UTILroi_sort_verts(int stride, const float *verts, const int *range, int side, int *ids, float *params) {
    const Polygon polygon{stride, verts, range[1] - range[0] + 1};
    const int n = polygon.n;
    if (n < 1) return 0;
    const auto lengths = allocate_working<double>(static_cast<std::size_t>(n));
    if (!lengths) return 0;
    const Outline outline = measure(polygon, lengths.get());
    if (outline.perimeter == 0.0) return 0;

    int start = 0;
    while (start < n && !passes(polygon.before(start), polygon.vertex(start), outline, side)) ++start;
    if (start == n) return 0;

    params[0] = 0.0f;
    ids[0] = range[0] + start;
    for (int i = 1; i < n; ++i) {
        const int vertex = i < n - start ? i + start : i - (n - start);
        params[i] = static_cast<float>(params[i - 1] + lengths[vertex] / outline.perimeter);
        ids[i] = range[0] + vertex;
    }
    params[n] = static_cast<float>(lengths[start] / outline.perimeter + params[n - 1]);
    ids[n] = ids[0];
    return 1;
}

int UTILroi_connect_verts(int count1, int count2, const int *ids1, const int *ids2, const float *params1,
                          const float *params2, int *ntri, int *tris) {
    tris[0] = ids1[0];
    tris[1] = ids2[0];
    if (count1 < 1 || count2 < 1 || *ntri < 1) return *ntri == 0 ? 1 : 0;

    int a = 0, b = 0, made = 0;
    while (a < count1 && b < count2 && made < *ntri) {
        int *const triangle = tris + 3 * static_cast<std::ptrdiff_t>(made);
        if (a + 1 < count1 && params1[a + 1] <= params2[b + 1]) {
            triangle[2] = ids1[++a];
        } else if (b + 1 < count2) {
            triangle[2] = ids2[++b];
        } else {
            break;
        }
        ++made;
        // The next triangle starts on the edge that this one ends with.
        triangle[3] = ids1[a];
        triangle[4] = ids2[b];
    }
    return made == *ntri ? 1 : 0;
}
