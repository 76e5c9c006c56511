// From a point in space to its place in a cell, for the rev_par_func slot. Lines, triangles and tetrahedra
// are solved directly, all else by Newton steps.
#include <algorithm>
#include <cmath>

#include "isofield.h"
#include "newton.hpp"
#include "quadratic_shape_functions.hpp"
#include "shape_functions.hpp"
#include "tet_places.hpp"

namespace {

using namespace isofield::detail;

enum Place { kDegenerate = -1, kOutside = 0, kInside = 1 };

constexpr double kOffCell = 0.05;  // the distance from a line or surface that still counts as on it
constexpr float kThird = static_cast<float>(1.0 / 3.0);

bool not_below_margin(float value) {
    return static_cast<double>(value) + kMargin >= 0.0;
}

// ---- Direct solutions

Place place_in_line(const float *node_xyz, const float *xyz, float *uvw) {
    constexpr float kDerivs[] = {-0.5f, 0.5f};
    const float half_length = line_jacobian(2, kDerivs, node_xyz);
    if (half_length == 0) return kDegenerate;
    float ratio[2];
    for (int i = 0; i < 2; ++i) {
        const float *node = node_xyz + 3 * i;
        const float pair[] = {node[0], node[1], node[2], xyz[0], xyz[1], xyz[2]};
        ratio[i] = line_jacobian(2, kDerivs, pair) / half_length;
    }
    uvw[0] = ratio[0];
    return ratio[0] > kLimit || ratio[1] > kLimit || ratio[0] + ratio[1] > kLimit ? kOutside : kInside;
}

Place place_in_triangle(const float *node_xyz, const float *xyz, float *uvw) {
    const Vec3 node[] = {load_vector(node_xyz), load_vector(node_xyz + 3), load_vector(node_xyz + 6)};
    const Vec3 point = load_vector(xyz);
    uvw[0] = uvw[1] = 0;
    const Vec3 normal = cross(node[0] - node[2], node[1] - node[2]);
    const float area = length(normal);
    if (area == 0) return kOutside;
    for (int i = 0; i < 2; ++i) {
        const Vec3 part = cross(node[i + 1] - point, node[(i + 2) % 3] - point);
        const float size = length(part);
        uvw[i] = (dot(part, normal) > 0 ? size : -size) / area;
    }
    for (int i = 0; i < 2; ++i) {
        if (uvw[i] > kLimit || uvw[i] + kMargin < 0.0) return kOutside;
    }
    return kLimit - uvw[0] - uvw[1] >= 0.0 ? kInside : kOutside;
}

Place place_in_tet(const float *node_xyz, const float *xyz, float *uvw) {
    return TetPlaces(node_xyz).place(xyz, uvw) ? kInside : kOutside;
}

// ---- Newton steps in volumes

template <class Cell>
bool iterate_in_volume(const float *node_xyz, const float *xyz, const float *start, float *uvw) {
    PaddedNodes<Cell> node;
    pad_nodes<Cell>(node_xyz, node);
    Iterate<Cell> iterate;
    const bool regular = iterate.approach(Iterate<Cell>::start(node, start), node, xyz);
    std::copy_n(iterate.at, 3, uvw);
    return regular;
}

// hex and pyr
template <class Cell>
Place place_in_cube(const float *node_xyz, const float *xyz, float *uvw) {
    constexpr float kStart[] = {0, 0, 0};
    if (!iterate_in_volume<Cell>(node_xyz, xyz, kStart, uvw)) return kDegenerate;
    return within_cube(uvw) ? kInside : kOutside;
}

template <class Cell>
Place place_in_prism(const float *node_xyz, const float *xyz, float *uvw) {
    constexpr float kStart[] = {kThird, kThird, 0};
    if (!iterate_in_volume<Cell>(node_xyz, xyz, kStart, uvw)) return kDegenerate;
    const bool inside = within_cube(uvw) && not_below_margin(uvw[0]) && not_below_margin(uvw[1]) &&
                        kLimit - uvw[0] - uvw[1] >= 0.0;
    return inside ? kInside : kOutside;
}

Place place_in_tet_2(const float *node_xyz, const float *xyz, float *uvw) {
    constexpr float kStart[] = {0.25f, 0.25f, 0.25f};
    if (!iterate_in_volume<Tet2>(node_xyz, xyz, kStart, uvw)) return kDegenerate;
    for (int d = 0; d < 3; ++d) {
        if (!small(uvw[d], kLimit) || !not_below_margin(uvw[d])) return kOutside;
    }
    return kLimit - uvw[0] - uvw[1] - uvw[2] >= 0.0 ? kInside : kOutside;
}

// ---- Newton steps in lines and surfaces, in the frame of the cell

struct FramedPoint {
    float point[3];    // that was asked for
    float iterate[3];  // where the last iterate lies

    float off(int axis) const { return point[axis] - iterate[axis]; }
};

template <class Cell>
void write_framed(const float *at, const float *xyz, const float *frame, const float *frame_xyz,
                  FramedPoint &framed) {
    float weights[Cell::kNodes];
    Cell::weights(at, weights);
    multiply(xyz, frame, framed.point, 1, 3, 3);
    multiply(weights, frame_xyz, framed.iterate, 1, Cell::kNodes, 3);
}

Place place_in_line_2(const float *node_xyz, const float *xyz, float *uvw) {
    float derivs[3], jinv = 0, frame[9] = {}, frame_xyz[9] = {};
    FramedPoint framed;
    Orientation orientation;
    float &u = uvw[0];
    u = 0;
    for (int step = 0; step < kNewtonMaxSteps; ++step) {
        Line2::derivs(uvw, derivs);
        if (orientation.size(line_frame(3, derivs, node_xyz, &jinv, frame, frame_xyz)) <= 0.0)
            return kDegenerate;
        write_framed<Line2>(uvw, xyz, frame, frame_xyz, framed);
        const float candidate = u + framed.off(0) * jinv;
        if (std::fabs(static_cast<double>(u - candidate)) < kNewtonStep) break;
        u = candidate;
    }
    return small(u, kLimit) && small(framed.off(1), kOffCell) && small(framed.off(2), kOffCell) ? kInside
                                                                                                : kOutside;
}

// `off_plane`, when above 0, turns points away that are further from node 0 along the normal, in units of the
// Jacobian.
template <class Cell>
Place iterate_in_surface(const float *node_xyz, const float *xyz, float start, double off_plane, float *uvw,
                         FramedPoint &framed) {
    float derivs[2 * Cell::kNodes], jinv[4], frame[9], frame_xyz[3 * Cell::kNodes];
    Orientation orientation;
    uvw[0] = uvw[1] = start;
    for (int step = 0; step < kNewtonMaxSteps; ++step) {
        Cell::derivs(uvw, derivs);
        const double size =
            orientation.size(surface_frame(Cell::kNodes, derivs, node_xyz, jinv, frame, frame_xyz));
        if (size <= 0.0) return kDegenerate;
        write_framed<Cell>(uvw, xyz, frame, frame_xyz, framed);
        const double off_node = std::fabs(static_cast<double>(framed.point[2] - frame_xyz[2]));
        if (off_plane > 0 && off_node > off_plane * size) return kOutside;
        const float residual[] = {framed.off(0), framed.off(1)};
        float move[2];
        multiply(residual, jinv, move, 1, 2, 2);
        if (converged(move, 2)) break;
        uvw[0] += move[0];
        uvw[1] += move[1];
    }
    return kInside;
}

template <class Cell>
Place place_in_quad(const float *node_xyz, const float *xyz, float *uvw) {
    constexpr double kOffPlane = 0.001;
    FramedPoint framed;
    const Place place = iterate_in_surface<Cell>(node_xyz, xyz, 0, kOffPlane, uvw, framed);
    if (place != kInside) return place;
    return small(uvw[0], kLimit) && small(uvw[1], kLimit) && small(framed.off(2), kOffCell) ? kInside
                                                                                            : kOutside;
}

Place place_in_tri_2(const float *node_xyz, const float *xyz, float *uvw) {
    FramedPoint framed;
    const Place place = iterate_in_surface<Tri2>(node_xyz, xyz, kThird, 0, uvw, framed);
    if (place != kInside) return place;
    for (int d = 0; d < 2; ++d) {
        if (!small(uvw[d], kLimit) || !not_below_margin(uvw[d])) return kOutside;
    }
    const bool within = static_cast<float>(kLimit - uvw[0] - uvw[1]) >= 0;
    return within && small(framed.off(2), kOffCell) ? kInside : kOutside;
}

}  // namespace

#define ISOFIELD_REV_PAR(TYPE, FUNCTION)                                          \
    int UTILrev_par_##TYPE(const float *node_xyz, const float *xyz, float *uvw) { \
        return FUNCTION(node_xyz, xyz, uvw);                                      \
    }

ISOFIELD_REV_PAR(line_1, place_in_line)
ISOFIELD_REV_PAR(line_2, place_in_line_2)
ISOFIELD_REV_PAR(tri_1, place_in_triangle)
ISOFIELD_REV_PAR(tri_2, place_in_tri_2)
ISOFIELD_REV_PAR(quad_1, place_in_quad<Quad1>)
ISOFIELD_REV_PAR(quad_2, place_in_quad<Quad2>)
ISOFIELD_REV_PAR(tet_1, place_in_tet)
ISOFIELD_REV_PAR(tet_2, place_in_tet_2)
ISOFIELD_REV_PAR(pent_1, place_in_prism<Pent1>)
ISOFIELD_REV_PAR(pent_2, place_in_prism<Pent2>)
ISOFIELD_REV_PAR(pyr_1, place_in_cube<Pyr1>)
ISOFIELD_REV_PAR(hex_1, place_in_cube<Hex1>)
ISOFIELD_REV_PAR(hex_2, place_in_cube<Hex2>)
