// Jacobian determinants and inverses of cells at a point.
#include "jacobians.hpp"

#include "isofield.h"

using namespace isofield::detail;

float UTILjacobian_1d_det(int nnodes, const float *deriv, const float *node_xyz) {
    return line_jacobian(nnodes, deriv, node_xyz);
}

float UTILjacobian_2d_det(int nnodes, const float *deriv, const float *node_xyz) {
    return surface_jacobian(nnodes, deriv, node_xyz);
}

float UTILjacobian_3d_det(int nnodes, const float *deriv, const float *node_xyz) {
    return volume_jacobian(nnodes, deriv, node_xyz);
}

float UTILjacobian_1d_inv(int nnodes, const float *deriv, const float *node_xyz, float *jinv, float *frame,
                          float *frame_xyz) {
    return line_frame(nnodes, deriv, node_xyz, jinv, frame, frame_xyz);
}

float UTILjacobian_2d_inv(int nnodes, const float *deriv, const float *node_xyz, float *jinv, float *frame,
                          float *frame_xyz) {
    return surface_frame(nnodes, deriv, node_xyz, jinv, frame, frame_xyz);
}

float UTILjacobian_3d_inv(int nnodes, const float *deriv, const float *node_xyz, float *jinv) {
    multiply(deriv, node_xyz, jinv, 3, nnodes, 3);
    return MATmat3_inverse(jinv, jinv);
}
