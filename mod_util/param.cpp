// Evaluation between pairs of nodes, and gathering of coordinates and data by node list.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "mesh_access.hpp"
#include "reports.hpp"
#include "types.hpp"

namespace {

using namespace isofield::detail;

// b - a, which no element type overflows.
template <class T>
auto difference(T a, T b) {
    if constexpr (std::is_integral_v<T>) {
        return static_cast<float>(std::int64_t{b} - std::int64_t{a});
    } else {
        return b - a;
    }
}

template <class T>
int get_param(int npairs, const T *data, double value, const int *list_a, const int *list_b, float *t) {
    for (int i = 0; i < npairs; ++i) {
        if (list_a[i] < 0 || list_b[i] < 0) continue;
        const T a = data[list_a[i]];
        const T b = data[list_b[i]];
        const float numerator = static_cast<float>(value - static_cast<double>(a));
        t[i] = a != b ? static_cast<float>(numerator / difference(a, b)) : 0.0f;
    }
    return 1;
}

// Inline, so that scalars and data without nulls make loops of their own.
template <bool kHasNull, class T>
[[gnu::always_inline]] inline int eval_pairs(int npairs, int veclen, const T *data, T null_value,
                                             const int *list_a, const int *list_b, const float *t, T *out) {
    using Real = RealFor<T>;
    for (int i = 0; i < npairs; ++i, out += veclen) {
        if (list_a[i] < 0 || list_b[i] < 0) continue;
        const T *a = data + static_cast<std::ptrdiff_t>(list_a[i]) * veclen;
        const T *b = data + static_cast<std::ptrdiff_t>(list_b[i]) * veclen;
        for (int c = 0; c < veclen; ++c) {
            if (kHasNull && (b[c] == null_value || a[c] == null_value)) {
                out[c] = null_value;
            } else {
                out[c] =
                    truncated<T>(static_cast<Real>(a[c]) + static_cast<Real>(t[i]) * difference(a[c], b[c]));
            }
        }
    }
    return 1;
}

template <class T>
int eval_param(int npairs, int veclen, const T *data, bool has_null, T null_value, const int *list_a,
               const int *list_b, const float *t, T *out) {
    if (has_null) return eval_pairs<true>(npairs, veclen, data, null_value, list_a, list_b, t, out);
    if (veclen == 1) return eval_pairs<false>(npairs, 1, data, null_value, list_a, list_b, t, out);
    return eval_pairs<false>(npairs, veclen, data, null_value, list_a, list_b, t, out);
}

// ---- Pairs of nodes on meshes with coordinates

void copy_coords(const float *coords, int nspace, int node, float *out) {
    std::copy_n(coords + static_cast<std::ptrdiff_t>(node) * nspace, nspace, out);
}

template <int kNspace>
int eval_explicit_coords(const float *coords, int npairs, const int *list_a, const int *list_b,
                         const float *t, float *out) {
    for (int i = 0; i < npairs; ++i, out += kNspace) {
        if (list_a[i] < 0 || list_b[i] < 0) continue;
        const float *a = coords + static_cast<std::ptrdiff_t>(list_a[i]) * kNspace;
        const float *b = coords + static_cast<std::ptrdiff_t>(list_b[i]) * kNspace;
        for (int d = 0; d < kNspace; ++d) out[d] = a[d] + t[i] * (b[d] - a[d]);
    }
    return 1;
}

// ---- Nodes and pairs of nodes on grids with axes, a block at a time, in plain loops that compilers turn
// into vector code.

constexpr int kBlock = 256;

// Indices of a block of nodes along each axis.
struct BlockIndices {
    int axis[3][kBlock];
};

void split_block(int ndim, const int *dims, int count, const int *nodes, BlockIndices &index) {
    if (ndim == 1) {
        std::copy_n(nodes, count, index.axis[0]);
        return;
    }
    int row[kBlock];
    const Divider by0(dims[0]);
    for (int i = 0; i < count; ++i) row[i] = by0(nodes[i]);
    for (int i = 0; i < count; ++i) index.axis[0][i] = nodes[i] - row[i] * dims[0];
    if (ndim == 2) {
        std::copy_n(row, count, index.axis[1]);
        return;
    }
    const Divider by1(dims[1]);
    for (int i = 0; i < count; ++i) index.axis[2][i] = by1(row[i]);
    for (int i = 0; i < count; ++i) index.axis[1][i] = row[i] - index.axis[2][i] * dims[1];
}

bool any_negative(int count, const int *a, const int *b) {
    int signs = 0;
    for (int i = 0; i < count; ++i) signs |= a[i] | b[i];
    return signs < 0;
}

template <class Axes>
void eval_block(const MeshInfo *mesh, const Axes &axes, int count, const int *list_a, const int *list_b,
                const float *t, float *out) {
    BlockIndices a, b;
    split_block(mesh->ndim, mesh->dims, count, list_a, a);
    split_block(mesh->ndim, mesh->dims, count, list_b, b);
    for (int d = 0; d < mesh->nspace; ++d) {
        float line[kBlock];
        if (d < mesh->ndim) {
            for (int i = 0; i < count; ++i) {
                const float from = axes.on_axis(d, a.axis[d][i]);
                line[i] = from + t[i] * (axes.on_axis(d, b.axis[d][i]) - from);
            }
        } else {
            const float constant = axes(d, {});
            for (int i = 0; i < count; ++i) line[i] = constant + t[i] * (constant - constant);
        }
        for (int i = 0; i < count; ++i) out[i * mesh->nspace + d] = line[i];
    }
}

template <class Axes>
int eval_grid_coords(MeshInfo *mesh, int npairs, const int *list_a, const int *list_b, const float *t,
                     float *out) {
    const float *points = fetch_points(mesh);
    if (!points) return 0;
    const Axes axes(mesh->ndim, mesh->dims, mesh->nspace, points);
    for (int count; npairs > 0; npairs -= count) {
        count = std::min(npairs, kBlock);
        if (!any_negative(count, list_a, list_b)) {
            eval_block(mesh, axes, count, list_a, list_b, t, out);
        } else {
            for (int i = 0; i < count; ++i) {
                if (list_a[i] < 0 || list_b[i] < 0) continue;
                eval_block(mesh, axes, 1, list_a + i, list_b + i, t + i, out + i * mesh->nspace);
            }
        }
        list_a += count;
        list_b += count;
        t += count;
        out += count * mesh->nspace;
    }
    return 1;
}

template <class Axes>
int gather_grid_coords(MeshInfo *mesh, int total, const int *list, float *out) {
    const float *points = fetch_points(mesh);
    if (!points) return 0;
    const Axes axes(mesh->ndim, mesh->dims, mesh->nspace, points);
    for (int count; total > 0; total -= count, list += count, out += count * mesh->nspace) {
        count = std::min(total, kBlock);
        BlockIndices index;
        split_block(mesh->ndim, mesh->dims, count, list, index);
        for (int d = 0; d < mesh->nspace; ++d) {
            const float constant = d < mesh->ndim ? 0 : axes(d, {});
            for (int i = 0; i < count; ++i) {
                out[i * mesh->nspace + d] = d < mesh->ndim ? axes.on_axis(d, index.axis[d][i]) : constant;
            }
        }
    }
    return 1;
}

// ---- Data lists: results are sizes in bytes.

int byte_count(std::int64_t rows, int veclen, std::size_t element) {
    const std::int64_t bytes = rows * veclen * static_cast<std::int64_t>(element);
    return static_cast<int>(std::clamp<std::int64_t>(bytes, 0, std::numeric_limits<int>::max()));
}

template <class T>
int scatter_data(const MeshInfo *mesh, int veclen, const T *data, const int *list, T *out) {
    std::int64_t rows = 0;
    for (std::ptrdiff_t node = 0; node < mesh->nnodes; ++node) {
        if (list[node] < 0) continue;
        std::copy_n(data + node * veclen, veclen, out + static_cast<std::ptrdiff_t>(list[node]) * veclen);
        ++rows;
    }
    return byte_count(rows, veclen, sizeof(T));
}

template <class T>
int gather_data(int veclen, const T *data, int count, const int *list, T *out) {
    for (std::ptrdiff_t k = 0; k < count; ++k) {
        std::copy_n(data + static_cast<std::ptrdiff_t>(list[k]) * veclen, veclen, out + k * veclen);
    }
    return byte_count(count, veclen, sizeof(T));
}

}  // namespace

ISOFIELD_STAMP(UTILget_param, get_param,
               (int npairs, const T *data, double value, const int *list_a, const int *list_b, float *t),
               (npairs, data, value, list_a, list_b, t))

int UTILget_param(int npairs, int dtype, const void *data, double value, const int *list_a, const int *list_b,
                  float *t) {
    return visit_or_report(dtype, "UTILget_param", [&]<class T>(ElementTag<T>) {
        return get_param(npairs, static_cast<const T *>(data), value, list_a, list_b, t);
    });
}

ISOFIELD_STAMP(UTILeval_param, eval_param,
               (int npairs, int veclen, const T *data, int null_flag, V null_value, const int *list_a,
                const int *list_b, const float *t, T *out),
               (npairs, veclen, data, null_flag != 0, static_cast<T>(null_value), list_a, list_b, t, out))

int UTILeval_param(int npairs, int veclen, int dtype, const void *data, int null_flag, const void *null_value,
                   const int *list_a, const int *list_b, const float *t, void *out) {
    return visit_or_report(dtype, "UTILget_param", [&]<class T>(ElementTag<T>) {
        return eval_param<T>(npairs, veclen, static_cast<const T *>(data), null_flag != 0,
                             load_scalar<T>(null_flag, null_value), list_a, list_b, t, static_cast<T *>(out));
    });
}

int UTILeval_coord(MeshInfo *mesh, int npairs, const int *list_a, const int *list_b, const float *t,
                   float *out) {
    if (auto method = mesh->field_funcs->eval_coord_func) return method(mesh, npairs, list_a, list_b, t, out);
    return tell("UTILeval_coord_func: no eval_coord function found\n");
}

int UTILeval_param_coord(MeshInfo *mesh, int npairs, const int *list_a, const int *list_b, const float *t,
                         float *out) {
    const float *coords = fetch_coords(mesh);
    if (!coords) return 0;
    switch (mesh->nspace) {
        case 1:
            return eval_explicit_coords<1>(coords, npairs, list_a, list_b, t, out);
        case 2:
            return eval_explicit_coords<2>(coords, npairs, list_a, list_b, t, out);
        default:
            return eval_explicit_coords<3>(coords, npairs, list_a, list_b, t, out);
    }
}

int UTILeval_param_coord_unif(MeshInfo *mesh, int npairs, const int *list_a, const int *list_b,
                              const float *t, float *out) {
    return eval_grid_coords<UniformAxes>(mesh, npairs, list_a, list_b, t, out);
}

int UTILeval_param_coord_rect(MeshInfo *mesh, int npairs, const int *list_a, const int *list_b,
                              const float *t, float *out) {
    return eval_grid_coords<RectilinearAxes>(mesh, npairs, list_a, list_b, t, out);
}

int UTILget_coord_list(MeshInfo *mesh, int count, const int *list, float *out) {
    if (auto method = mesh->field_funcs->coord_list_func) return method(mesh, count, list, out);
    return tell("UTILcoord_list_func: no coord_list function found\n");
}

int UTILcoord_list(MeshInfo *mesh, int, const int *list, float *out) {
    const float *coords = fetch_coords(mesh);
    if (!coords) return 0;
    for (int node = 0; node < mesh->nnodes; ++node) {
        if (list[node] < 0) continue;
        copy_coords(coords, mesh->nspace, node, out + static_cast<std::ptrdiff_t>(list[node]) * mesh->nspace);
    }
    return 1;
}

int UTILcoord_list_struct(MeshInfo *mesh, int count, const int *list, float *out) {
    const float *coords = fetch_coords(mesh);
    if (!coords) return 0;
    for (int k = 0; k < count; ++k, out += mesh->nspace) copy_coords(coords, mesh->nspace, list[k], out);
    return 1;
}

int UTILcoord_list_unif(MeshInfo *mesh, int count, const int *list, float *out) {
    return gather_grid_coords<UniformAxes>(mesh, count, list, out);
}

int UTILcoord_list_rect(MeshInfo *mesh, int count, const int *list, float *out) {
    return gather_grid_coords<RectilinearAxes>(mesh, count, list, out);
}

int UTILget_data_list(MeshInfo *mesh, int dtype, int veclen, const void *data, int count, const int *list,
                      void *out) {
    if (auto method = mesh->field_funcs->data_list_func)
        return method(mesh, dtype, veclen, data, count, list, out);
    return tell("UTILdata_list_func: no data_list function found\n");
}

ISOFIELD_STAMP(UTILdata_list, scatter_data,
               (const MeshInfo *mesh, int veclen, const T *data, int, const int *list, T *out),
               (mesh, veclen, data, list, out))

int UTILdata_list(MeshInfo *mesh, int dtype, int veclen, const void *data, int, const int *list, void *out) {
    return visit(
        dtype,
        [&]<class T>(ElementTag<T>) {
            return scatter_data(mesh, veclen, static_cast<const T *>(data), list, static_cast<T *>(out));
        },
        [mesh] { return narrowed_to_int(mesh); });
}

ISOFIELD_STAMP(UTILdata_list_struct, gather_data,
               (const MeshInfo *, int veclen, const T *data, int count, const int *list, T *out),
               (veclen, data, count, list, out))

int UTILdata_list_struct(MeshInfo *mesh, int dtype, int veclen, const void *data, int count, const int *list,
                         void *out) {
    return visit(
        dtype,
        [&]<class T>(ElementTag<T>) {
            return gather_data(veclen, static_cast<const T *>(data), count, list, static_cast<T *>(out));
        },
        [mesh] { return narrowed_to_int(mesh); });
}
