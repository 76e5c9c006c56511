// Delaunay triangulations of points in the plane.
#include <array>
#include <cstddef>

#include "delaunay_run.hpp"
#include "isofield.h"

namespace isofield::detail {

// The centre is where the perpendicular bisectors of two edges meet.
bool circumsphere(const Vertices<2> &at, const Simplex<2> &simplex, Sphere<2> &sphere) {
    double a[2], b[2], t[2];
    for (std::size_t i = 0; i < 2; ++i) {
        const double *const p = at[simplex[i]], *const q = at[simplex[i + 1]];
        a[i] = q[0] - p[0];
        b[i] = q[1] - p[1];
        t[i] = -0.5 * (a[i] * (q[0] + p[0]) + b[i] * (q[1] + p[1]));
    }
    const double det = a[0] * b[1] - a[1] * b[0];
    if (det == 0.0) return false;
    sphere.centre[0] = (b[0] * t[1] - b[1] * t[0]) / det;
    sphere.centre[1] = (a[1] * t[0] - a[0] * t[1]) / det;
    sphere.r2 = sphere.distance2(at[simplex[2]]);
    return true;
}

// A thousandth of the edge, square to it.
std::array<double, 2> escape(const Vertices<2> &at, const Simplex<2> &simplex) {
    const double *const a = at[simplex[0]], *const b = at[simplex[1]];
    return {0.001 * (b[1] - a[1]), 0.001 * -1.0 * (b[0] - a[0])};
}

}  // namespace isofield::detail

int UTILdelaun_tess_2D(int npoints, const float *coords, int stride, const float *min, const float *max,
                       int check, int *ntri, int **conn) {
    const float dx = max[0] - min[0], dy = max[1] - min[1];
    if (dx == 0.0f || dy == 0.0f) return 1;
    const double h = 0.2 * dx * dy / dx;
    const double super[3][2] = {{min[0] - dx - 0.2 * dx, min[1] - h},
                                {max[0] + dx + 0.2 * dx, min[1] - h},
                                {min[0] + 0.5 * dx, static_cast<double>(min[1] + 2.0f * dy)}};
    const isofield::detail::TessellationTraits traits = {.unit = "mod_util/delaun_2",
                                                         .skip_text = "scat_to_tri: skip point %d\n",
                                                         .simplex_text = " tri",
                                                         .poll_period = 128};
    return isofield::detail::tessellate<2>(npoints, coords, stride, super, traits, check, ntri, conn);
}
