// Jacobians of cells at a point of their parametric space, and the frames of lines and surfaces in space.
// Inline, so that a constant number of nodes unrolls their loops.
#ifndef ISOFIELD_MOD_UTIL_JACOBIANS_HPP
#define ISOFIELD_MOD_UTIL_JACOBIANS_HPP

#include <cmath>

#include "isofield_host.h"
#include "vectors.hpp"

namespace isofield::detail {

// out (m x p) = a (m x n) times b (n x p), each sum in float from 0 on, k ascending: what MATvec_by_mat does.
inline void multiply(const float *a, const float *b, float *out, int m, int n, int p) {
    for (int row = 0; row < m; ++row) {
        for (int column = 0; column < p; ++column) {
            float sum = 0;
            for (int k = 0; k < n; ++k) sum += a[row * n + k] * b[k * p + column];
            out[row * p + column] = sum;
        }
    }
}

// Row `axis` of deriv (axes x nnodes) times node_xyz (nnodes x 3): the cell's direction along that axis.
inline Vec3 direction(int axis, int nnodes, const float *deriv, const float *node_xyz) {
    float row[3];
    multiply(deriv + axis * nnodes, node_xyz, row, 1, nnodes, 3);
    return load_vector(row);
}

inline float line_jacobian(int nnodes, const float *deriv, const float *node_xyz) {
    return length(direction(0, nnodes, deriv, node_xyz));
}

inline float surface_jacobian(int nnodes, const float *deriv, const float *node_xyz) {
    return length(cross(direction(0, nnodes, deriv, node_xyz), direction(1, nnodes, deriv, node_xyz)));
}

inline float volume_jacobian(int nnodes, const float *deriv, const float *node_xyz) {
    return determinant(direction(0, nnodes, deriv, node_xyz), direction(1, nnodes, deriv, node_xyz),
                       direction(2, nnodes, deriv, node_xyz));
}

inline void store_columns(Vec3 a, Vec3 b, Vec3 c, float *frame) {
    const Vec3 columns[] = {a, b, c};
    for (int i = 0; i < 3; ++i) {
        frame[i] = columns[i].x;
        frame[3 + i] = columns[i].y;
        frame[6 + i] = columns[i].z;
    }
}

inline Vec3 normalized(Vec3 a) {
    constexpr float kEpsilon = 1e-05f;
    const float size = length(a);
    return size > kEpsilon ? a / size : a;
}

// The frame's axes run along the line, and across it away from the y axis or, where the line is near that,
// from the x axis.
inline float line_frame(int nnodes, const float *deriv, const float *node_xyz, float *jinv, float *frame,
                        float *frame_xyz) {
    constexpr float kNearlyParallel = 0.996f;
    Vec3 t = direction(0, nnodes, deriv, node_xyz);
    const float size = length(t);
    if (size == 0) return size;
    t = t / size;
    const bool along_y = std::fabs(t.y) > kNearlyParallel;
    const Vec3 n = normalized(along_y ? cross({1, 0, 0}, t) : cross(t, {0, 1, 0}));
    store_columns(t, cross(n, t), n, frame);
    multiply(node_xyz, frame, frame_xyz, nnodes, 3, 3);
    *jinv = static_cast<float>(1.0 / static_cast<double>(size));
    return size;
}

// The frame's axes run along the first parametric axis, in the surface across it, and off the surface.
inline float surface_frame(int nnodes, const float *deriv, const float *node_xyz, float *jinv, float *frame,
                           float *frame_xyz) {
    const Vec3 a = normalized(direction(0, nnodes, deriv, node_xyz));
    const Vec3 n = normalized(cross(a, direction(1, nnodes, deriv, node_xyz)));
    store_columns(a, cross(n, a), n, frame);
    multiply(node_xyz, frame, frame_xyz, nnodes, 3, 3);
    float jacobian[6];
    multiply(deriv, frame_xyz, jacobian, 2, nnodes, 3);
    for (int i = 0; i < 4; ++i) jinv[i] = jacobian[i / 2 * 3 + i % 2];
    return MATmat2_inverse(jinv, jinv);
}

}  // namespace isofield::detail
#endif
