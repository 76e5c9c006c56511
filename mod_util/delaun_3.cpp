// Delaunay tetrahedralisations of points in space.
#include <array>
#include <cmath>
#include <cstddef>

#include "delaunay_run.hpp"
#include "isofield.h"

namespace isofield::detail {

namespace {

// Of three rows.
double determinant(const double *a, const double *b, const double *c) {
    return a[0] * (b[1] * c[2] - b[2] * c[1]) - b[0] * (a[1] * c[2] - a[2] * c[1]) +
           c[0] * (a[1] * b[2] - a[2] * b[1]);
}

}  // namespace

// The centre is where the planes that halve three edges meet.
bool circumsphere(const Vertices<3> &at, const Simplex<3> &simplex, Sphere<3> &sphere) {
    double x[3], y[3], z[3], t[3];  // a column of the system each
    for (std::size_t i = 0; i < 3; ++i) {
        const double *const p = at[simplex[i]], *const q = at[simplex[i + 1]];
        x[i] = q[0] - p[0];
        y[i] = q[1] - p[1];
        z[i] = q[2] - p[2];
        t[i] = -0.5 * (x[i] * (q[0] + p[0]) + y[i] * (q[1] + p[1]) + z[i] * (q[2] + p[2]));
    }
    const double det = determinant(x, y, z);
    if (det == 0.0) return false;
    sphere.centre[0] = -determinant(t, y, z) / det;
    sphere.centre[1] = -determinant(x, t, z) / det;
    sphere.centre[2] = -determinant(x, y, t) / det;
    sphere.r2 = sphere.distance2(at[simplex[3]]);
    return true;
}

// A hundred thousandth of two edges of the face, square to it.
std::array<double, 3> escape(const Vertices<3> &at, const Simplex<3> &simplex) {
    const double *const p0 = at[simplex[0]], *const p1 = at[simplex[1]], *const p2 = at[simplex[2]];
    const double u[3] = {p2[0] - p0[0], p2[1] - p0[1], p2[2] - p0[2]};
    const double v[3] = {p1[0] - p0[0], p1[1] - p0[1], p1[2] - p0[2]};
    std::array<double, 3> n = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                               u[0] * v[1] - u[1] * v[0]};
    const float length2 = static_cast<float>(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    const float length = std::sqrt(length2);
    if (static_cast<double>(length) > 1e-24) {
        for (double &x : n) x /= static_cast<double>(length);
    }
    const double d = (std::sqrt(u[0] * u[0] + u[1] * u[1] + u[2] * u[2]) +
                      std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2])) *
                     1e-05;
    return {n[0] * d, n[1] * d, n[2] * d};
}

}  // namespace isofield::detail

int UTILdelaun_tess_3D(int npoints, const float *coords, const float *min, const float *max, int check,
                       int *ntet, int **conn) {
    *ntet = 0;
    *conn = nullptr;
    if (max[0] == min[0] || max[1] == min[1] || max[2] == min[2]) return 1;
    const float dx = max[0] - min[0], dy = max[1] - min[1], dz = max[2] - min[2];
    const double x0 = min[0] - 0.5 * dx, y0 = min[1] - 0.5 * dy, z0 = min[2] - 0.5 * dz;
    // The face across the corner passes beyond the box's far corner, through the corner + 2 (dx, dy, dz).
    const double super[4][3] = {
        {x0, y0, z0}, {x0 + 4.0f * dx, y0, z0}, {x0, y0, z0 + 12.0 * dz}, {x0, y0 + 6.0f * dy, z0}};
    const isofield::detail::TessellationTraits traits = {.unit = "mod_util/delaun_3",
                                                         .skip_text = "scat_to_tet: skip point %d\n",
                                                         .simplex_text = " tet",
                                                         .poll_period = 64};
    return isofield::detail::tessellate<3>(npoints, coords, 3, super, traits, check, ntet, conn);
}
