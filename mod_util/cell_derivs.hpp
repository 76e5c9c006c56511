// Derivatives at one point of one cell: from those of its shape functions, along the parametric axes, to
// those along the axes of space or of a surface's own frame.
#ifndef ISOFIELD_MOD_UTIL_CELL_DERIVS_HPP
#define ISOFIELD_MOD_UTIL_CELL_DERIVS_HPP

#include <cstddef>

#include "isofield.h"
#include "jacobians.hpp"

namespace isofield::detail {

// What fits the matrices of fixed size, of three rows.
constexpr int kMaxDerivNodes = 85;
constexpr int kMaxDerivs = 256;

// The global derivatives of a volume's shape functions, 3 x nnodes. False when the determinant is 0.
inline bool volume_derivs(int nnodes, const float *shape_derivs, const float *node_xyz, float *derivs) {
    float inverse[9];
    if (UTILjacobian_3d_inv(nnodes, shape_derivs, node_xyz, inverse) == 0) return false;
    multiply(inverse, shape_derivs, derivs, 3, 3, nnodes);
    return true;
}

// The same of a surface in its frame, 2 x nnodes.
inline bool surface_derivs(int nnodes, const float *shape_derivs, const float *node_xyz, float *derivs,
                           float *frame, float *frame_xyz) {
    float inverse[4];
    if (surface_frame(nnodes, shape_derivs, node_xyz, inverse, frame, frame_xyz) == 0) return false;
    multiply(inverse, shape_derivs, derivs, 2, 2, nnodes);
    return true;
}

// The derivatives of node values on a surface along the axes of its frame; values(m) is element m of them.
// Scalars: derivatives times values. Vectors: one row stands for those at the nodes, the first nnodes of the
// values times the frame, both as they lie in memory; it belongs to node 0, the others have zeros.
template <class Values>
void derive_on_surface(int nnodes, const float *derivs, Values values, int veclen, const float *frame,
                       float *out) {
    for (std::ptrdiff_t c = 0; c < veclen; ++c) {
        float row = 0;
        for (int k = 0; k < nnodes && veclen > 1; ++k) {
            const std::ptrdiff_t place = std::ptrdiff_t{k} * veclen + c;
            row += values(k) * (place < 9 ? frame[place] : 0.0f);
        }
        for (std::ptrdiff_t d = 0; d < 2; ++d) {
            float sum = 0;
            for (int k = 0; k < nnodes; ++k) {
                const float value = veclen == 1 ? values(k) : k == 0 ? row : 0.0f;
                sum += derivs[d * nnodes + k] * value;
            }
            out[d * veclen + c] = sum;
        }
    }
}

// True when one of the cell's nodes is null, by the first component of its data.
template <class T>
bool any_null(const int *nodes, int nnodes, const T *data, int veclen, T null) {
    for (int k = 0; k < nnodes; ++k) {
        if (data[static_cast<std::ptrdiff_t>(nodes[k]) * veclen] == null) return true;
    }
    return false;
}

}  // namespace isofield::detail
#endif
