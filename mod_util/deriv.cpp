// Derivatives of node data at one point of a cell, on every kind of mesh.
#include <cstddef>

#include "cell_derivs.hpp"
#include "cell_geometry.hpp"
#include "reports.hpp"
#include "types.hpp"

namespace {

using namespace isofield::detail;

// ---- The kinds of mesh: how a cell's nodes are found, and their coordinates, as rows of 3.

struct OfCells {
    static constexpr int kMaxSurfaceNodes = kMaxDerivNodes;

    static bool find(MeshInfo *mesh, int cell, CellNodes &found) {
        return locate_cell(mesh, cell, found) && found.funcs->shape_deriv_func;
    }
    static bool gather(MeshInfo *mesh, const CellNodes &cell, float *node_xyz) {
        const float *coords = fetch_coords(mesh);
        if (coords) gather_coords(coords, mesh->nspace, cell, node_xyz);
        return coords != nullptr;
    }
};

struct OfGrid {
    static constexpr int kMaxSurfaceNodes = 4;

    static bool find(MeshInfo *mesh, int cell, CellNodes &found) {
        return mesh->ncell_sets > 0 && mesh->cell_funcs[0].funcs.shape_deriv_func &&
               find_grid_cell_nodes(mesh, cell, found);
    }
};

struct OfStructured : OfGrid {
    static bool gather(MeshInfo *mesh, const CellNodes &cell, float *node_xyz) {
        return OfCells::gather(mesh, cell, node_xyz);
    }
};

// Grids without coordinates of their own: coordinate(axis, index) gives them.
template <class Coordinate>
void gather_grid_coords(const MeshInfo *mesh, const CellNodes &cell, float *node_xyz, Coordinate coordinate) {
    const NodeSplitter split(mesh->ndim, mesh->dims);
    for (int k = 0; k < cell.nnodes; ++k, node_xyz += 3) {
        const GridIndex index = split(cell.nodes[k]);
        for (int d = 0; d < 3; ++d) {
            node_xyz[d] = d < mesh->nspace ? coordinate(d, index[static_cast<std::size_t>(d)]) : 0.0f;
        }
    }
}

// Steps are not tested: an axis of one node has none that is finite.
struct OfUniform : OfGrid {
    static bool gather(MeshInfo *mesh, const CellNodes &cell, float *node_xyz) {
        const float *points = fetch_points(mesh);
        if (!points) return false;
        float step[3] = {};
        for (int d = 0; d < mesh->ndim; ++d) {
            step[d] = (points[mesh->nspace + d] - points[d]) / static_cast<float>(mesh->dims[d] - 1);
        }
        gather_grid_coords(mesh, cell, node_xyz,
                           [&](int d, int i) { return points[d] + step[d] * static_cast<float>(i); });
        return true;
    }
};

// Takes the lines of each axis as packed, without regard to the rows of `points`.
struct OfRectilinear : OfGrid {
    static bool gather(MeshInfo *mesh, const CellNodes &cell, float *node_xyz) {
        const float *points = fetch_points(mesh);
        if (!points) return false;
        std::ptrdiff_t first[3] = {};
        for (int d = 1; d < mesh->ndim; ++d) {
            first[d] = first[d - 1] + static_cast<std::ptrdiff_t>(mesh->dims[d - 1]) * mesh->nspace;
        }
        gather_grid_coords(mesh, cell, node_xyz,
                           [&](int d, int i) { return d < mesh->ndim ? points[first[d] + i] : 0.0f; });
        return true;
    }
};

// ---- One point

// Calls form(data) with the data as an array of their type, unless the cell has a null node.
template <class Form>
int with_values(const CellNodes &cell, int veclen, const void *data, int dtype, int null_flag,
                const void *null_value, Form form) {
    return visit_or_tell(dtype, [&]<class T>(ElementTag<T>) {
        const T *values = static_cast<const T *>(data);
        const bool null = null_flag && any_null(cell.nodes, cell.nnodes, values, veclen,
                                                *static_cast<const T *>(null_value));
        return null ? 0 : form(values);
    });
}

template <class Kind>
int deriv_3d(MeshInfo *mesh, int cell, int veclen, const void *data, int dtype, int null_flag,
             const void *null_value, const float *pcoord, float *out) {
    CellNodes found;
    if (!Kind::find(mesh, cell, found) || found.nnodes > kMaxDerivNodes || !data || veclen < 1) return 0;
    return with_values(found, veclen, data, dtype, null_flag, null_value, [&]<class T>(const T *values) {
        float node_xyz[3 * kMaxDerivNodes], shape_derivs[kMaxDerivs] = {}, derivs[kMaxDerivs];
        if (!Kind::gather(mesh, found, node_xyz)) return 0;
        found.funcs->shape_deriv_func(pcoord, shape_derivs);
        if (!volume_derivs(found.nnodes, shape_derivs, node_xyz, derivs)) return 0;
        for (std::ptrdiff_t d = 0; d < 3; ++d) {
            for (std::ptrdiff_t c = 0; c < veclen; ++c) {
                float sum = 0;
                for (int k = 0; k < found.nnodes; ++k) {
                    const std::ptrdiff_t row = found.nodes[k];
                    sum += derivs[d * found.nnodes + k] * static_cast<float>(values[row * veclen + c]);
                }
                out[d * veclen + c] = sum;
            }
        }
        return 1;
    });
}

template <class Kind>
int deriv_2d(MeshInfo *mesh, int cell, int veclen, const void *data, int dtype, int null_flag,
             const void *null_value, const float *pcoord, float *out, float *frame, float *frame_xyz) {
    CellNodes found;
    if (!Kind::find(mesh, cell, found) || found.nnodes > Kind::kMaxSurfaceNodes || !data || veclen < 1)
        return 0;
    return with_values(found, veclen, data, dtype, null_flag, null_value, [&]<class T>(const T *values) {
        float node_xyz[3 * kMaxDerivNodes], shape_derivs[kMaxDerivs] = {}, derivs[kMaxDerivs];
        if (!Kind::gather(mesh, found, node_xyz)) return 0;
        found.funcs->shape_deriv_func(pcoord, shape_derivs);
        if (!surface_derivs(found.nnodes, shape_derivs, node_xyz, derivs, frame, frame_xyz)) return 0;
        const auto value = [&](int m) {
            const std::ptrdiff_t row = found.nodes[m / veclen];
            return static_cast<float>(values[row * veclen + m % veclen]);
        };
        derive_on_surface(found.nnodes, derivs, value, veclen, frame, out);
        return 1;
    });
}

}  // namespace

int UTILderiv_3d(MeshInfo *mesh, int cell, int veclen, const void *data, int dtype, int null_flag,
                 const void *null_value, const float *pcoord, float *out) {
    if (const auto method = mesh->field_funcs->deriv3d_func) {
        return method(mesh, cell, veclen, data, dtype, null_flag, null_value, pcoord, out);
    }
    return tell("UTILderiv: no deriv3d function found\n");
}

int UTILderiv_2d(MeshInfo *mesh, int cell, int veclen, const void *data, int dtype, int null_flag,
                 const void *null_value, const float *pcoord, float *out, float *rotate, float *xcoords) {
    if (const auto method = mesh->field_funcs->deriv2d_func) {
        return method(mesh, cell, veclen, data, dtype, null_flag, null_value, pcoord, out, rotate, xcoords);
    }
    return tell("UTILderiv: no deriv2d function found\n");
}

#define ISOFIELD_DERIV(SUFFIX, KIND)                                                                       \
    int UTILderiv_##SUFFIX##_3d(MeshInfo *mesh, int cell, int veclen, const void *data, int dtype,         \
                                int null_flag, const void *null_value, const float *pcoord, float *out) {  \
        return deriv_3d<KIND>(mesh, cell, veclen, data, dtype, null_flag, null_value, pcoord, out);        \
    }                                                                                                      \
    int UTILderiv_##SUFFIX##_2d(MeshInfo *mesh, int cell, int veclen, const void *data, int dtype,         \
                                int null_flag, const void *null_value, const float *pcoord, float *out,    \
                                float *rotate, float *xcoords) {                                           \
        return deriv_2d<KIND>(mesh, cell, veclen, data, dtype, null_flag, null_value, pcoord, out, rotate, \
                              xcoords);                                                                    \
    }

ISOFIELD_DERIV(cell, OfCells)
ISOFIELD_DERIV(struct, OfStructured)
ISOFIELD_DERIV(unif, OfUniform)
ISOFIELD_DERIV(rect, OfRectilinear)
