// Vectors at nodes, in whatever type, as the point evaluators of cells take them.
#ifndef ISOFIELD_MOD_UTIL_VECTOR_ROWS_HPP
#define ISOFIELD_MOD_UTIL_VECTOR_ROWS_HPP

#include <cstddef>

#include "lanes.hpp"
#include "types.hpp"

namespace isofield::detail {

struct VectorRows {
    const void *data;
    int dtype, veclen, null_flag;
    const void *null_value;

    // Whether the functions below serve them.
    bool usable() const { return data && is_type(dtype) && veclen >= 1 && veclen <= 3; }

    // Rows of nodes as floats, padded to four. Returns whether one of them is null.
    bool gather(const int *nodes, int nnodes, float (*rows)[4]) const {
        return visit(
                   dtype,
                   [&]<class T>(ElementTag<T>) {
                       const T *const null = null_flag ? static_cast<const T *>(null_value) : nullptr;
                       bool any_null = false;
                       for (int i = 0; i < nnodes; ++i) {
                           const T *row =
                               static_cast<const T *>(data) + static_cast<std::ptrdiff_t>(nodes[i]) * veclen;
                           any_null |= null && *row == *null;
                           for (int c = 0; c < 4; ++c)
                               rows[i][c] = c < veclen ? static_cast<float>(row[c]) : 0.0f;
                       }
                       return any_null ? 1 : 0;
                   },
                   [] { return 0; }) != 0;
    }

    // The weighted sum of rows.
    void weigh(const float *weights, int nnodes, const float (*rows)[4], float *out) const {
        Lanes sum = splat(0);
        for (int i = 0; i < nnodes; ++i) sum += splat(weights[i]) * load_lanes(rows[i]);
        for (int c = 0; c < veclen; ++c) out[c] = sum[c];
    }

    // By the mesh's method, at a place in a cell.
    int evaluate(MeshInfo *mesh, int cell, const float *uvw, float *out) const {
        return mesh->field_funcs->interp_data_func(mesh, cell, veclen, data, dtype, null_flag, null_value, 1,
                                                   uvw, out);
    }
};

}  // namespace isofield::detail
#endif
