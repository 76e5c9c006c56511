// Derivatives next to nulls: cleared wherever a null had a part in them.
#include <algorithm>
#include <cstddef>

#include "cell_derivs.hpp"
#include "mesh_access.hpp"
#include "types.hpp"

namespace {

using namespace isofield::detail;

void clear_row(float *out, std::ptrdiff_t node, int veclen) {
    std::fill_n(out + node * veclen, veclen, 0.0f);
}

template <class T>
void clear_cells(const int *nodes, int ncells, int nnodes, const T *data, int veclen, T null, int out_veclen,
                 float *out) {
    for (int cell = 0; cell < ncells; ++cell, nodes += nnodes) {
        if (!any_null(nodes, nnodes, data, veclen, null)) continue;
        for (int k = 0; k < nnodes; ++k) clear_row(out, nodes[k], out_veclen);
    }
}

template <class T>
void clear_neighbours(const GridIndex &dims, const T *data, int veclen, T null, int out_veclen, float *out) {
    struct Span {
        int first, last;
    };
    const auto around = [&dims](std::size_t axis, int i) {
        return Span{std::max(i - 1, 0), std::min(i + 1, dims[axis] - 1)};
    };
    for (int k = 0; k < dims[2]; ++k) {
        for (int j = 0; j < dims[1]; ++j) {
            for (int i = 0; i < dims[0]; ++i, data += veclen) {
                if (*data != null) continue;
                const Span x = around(0, i), y = around(1, j), z = around(2, k);
                for (int near_k = z.first; near_k <= z.last; ++near_k) {
                    for (int near_j = y.first; near_j <= y.last; ++near_j) {
                        const std::ptrdiff_t row = (std::ptrdiff_t{near_k} * dims[1] + near_j) * dims[0];
                        for (int near_i = x.first; near_i <= x.last; ++near_i) {
                            clear_row(out, row + near_i, out_veclen);
                        }
                    }
                }
            }
        }
    }
}

}  // namespace

int UTILderiv_null(MeshInfo *mesh, const void *data, int veclen, int dtype, const void *null_value,
                   int out_veclen, float *out) {
    for (int s = 0; s < mesh->ncell_sets; ++s) {
        const int *connect = fetch_cell_set(mesh, s);
        if (!connect) return 0;
        const int known = visit_or_report(dtype, "UTILderiv_null", [&]<class T>(ElementTag<T>) {
            clear_cells(connect, mesh->cell_ncells[s], mesh->cell_nnodes[s], static_cast<const T *>(data),
                        veclen, *static_cast<const T *>(null_value), out_veclen, out);
            return 1;
        });
        if (!known) return 0;
    }
    return 1;
}

int UTILderiv_null_struct(MeshInfo *mesh, const void *data, int veclen, int dtype, const void *null_value,
                          int out_veclen, float *out) {
    GridIndex dims = {1, 1, 1};
    std::copy_n(mesh->dims, mesh->ndim, dims.begin());
    return visit_or_report(dtype, "UTILderiv_null", [&]<class T>(ElementTag<T>) {
        clear_neighbours(dims, static_cast<const T *>(data), veclen, *static_cast<const T *>(null_value),
                         out_veclen, out);
        return 1;
    });
}
