// Gradient, curl and divergence of node data on cell sets: every cell's derivatives at its own nodes,
// averaged at the nodes of the mesh. The dispatchers serve every kind of mesh.
#include <algorithm>
#include <cstddef>

#include "mesh_access.hpp"
#include "progress.hpp"
#include "reports.hpp"
#include "set_derivs.hpp"
#include "types.hpp"
#include "working_array.hpp"

namespace {

using namespace isofield::detail;

// ---- Rows of a result from derivatives. A vector along the axes of a surface's frame is taken to those of
// space.

void to_space(float x, float y, float z, const float *frame, float *out) {
    const float in_frame[3] = {x, y, z};
    float transposed[9];
    for (int i = 0; i < 9; ++i) transposed[i] = frame[i % 3 * 3 + i / 3];
    multiply(in_frame, transposed, out, 1, 3, 3);
}

// ---- The operators. Each makes its row at a node from the derivatives there, which are null where there are
// none. An object lives for one cell.

struct Gradient {
    static constexpr int kWidth = 3, kVolumeComponents = 1, kSurfaceComponents = 1;
    static constexpr auto kCell = [](MeshInfo *mesh, int ndim, int cell, const void *data, int, int dtype,
                                     int null_flag, const void *null_value, int nnodes, const float *node_uvw,
                                     float *out) {
        return UTILgrad_cell(mesh, ndim, cell, data, dtype, null_flag, null_value, nnodes, node_uvw, out);
    };

    static bool takes(int veclen) { return veclen <= 1; }
    static bool takes_in_cell(int, int veclen) { return veclen <= 1; }

    static void volume_row(const float *derivs, float *out) {
        if (derivs) {
            std::copy_n(derivs, 3, out);
        } else {
            std::fill_n(out, 3, 0.0f);
        }
    }
    static void surface_row(const float *derivs, const float *frame, float *out) {
        if (derivs) {
            to_space(derivs[0], derivs[1], 0, frame, out);
        } else {
            std::fill_n(out, 3, 0.0f);
        }
    }
};

// A point of a volume without derivatives has those of the point before.
struct Curl {
    static constexpr int kWidth = 3, kVolumeComponents = 3, kSurfaceComponents = 2;
    static constexpr auto kCell = UTILcurl_cell;

    static bool takes(int veclen) { return veclen >= 2; }
    static bool takes_in_cell(int ndim, int veclen) { return veclen == ndim; }

    void volume_row(const float *derivs, float *out) {
        if (derivs) std::copy_n(derivs, 9, last);
        out[0] = last[5] - last[7];
        out[1] = last[6] - last[2];
        out[2] = last[1] - last[3];
    }
    static void surface_row(const float *derivs, const float *frame, float *out) {
        if (derivs) {
            to_space(0, 0, derivs[1] - derivs[2], frame, out);
        } else {
            std::fill_n(out, 3, 0.0f);
        }
    }

    float last[9] = {};
};

// On surfaces the second term is one that is never formed.
struct Divergence {
    static constexpr int kWidth = 1, kVolumeComponents = 3, kSurfaceComponents = 1;
    static constexpr auto kCell = UTILdiv_cell;

    static bool takes(int veclen) { return veclen >= 2; }
    static bool takes_in_cell(int ndim, int veclen) { return ndim == 3 ? veclen == 3 : veclen >= 2; }

    void volume_row(const float *derivs, float *out) {
        if (derivs) std::copy_n(derivs, 9, last);
        *out = last[0] + last[4] + last[8];
    }
    void surface_row(const float *derivs, const float *, float *out) const {
        *out = derivs ? derivs[0] + last[3] : 0.0f;
    }

    float last[9] = {};
};

// ---- One cell, by the kernels for a point

template <class Operator>
int derive_cell(MeshInfo *mesh, int ndim, int cell, const void *data, int veclen, int dtype, int null_flag,
                const void *null_value, int nnodes, const float *node_uvw, float *out) {
    if (ndim != 2 && ndim != 3) return 1;
    if (!Operator::takes_in_cell(ndim, veclen)) return 0;
    Operator at_node;
    for (int k = 0; k < nnodes; ++k, node_uvw += 3, out += Operator::kWidth) {
        float derivs[9], frame[9], frame_xyz[3 * kMaxDerivNodes];
        if (ndim == 3) {
            const int found = UTILderiv_cell_3d(mesh, cell, Operator::kVolumeComponents, data, dtype,
                                                null_flag, null_value, node_uvw, derivs);
            at_node.volume_row(found ? derivs : nullptr, out);
        } else {
            const int found = UTILderiv_cell_2d(mesh, cell, Operator::kSurfaceComponents, data, dtype,
                                                null_flag, null_value, node_uvw, derivs, frame, frame_xyz);
            at_node.surface_row(found ? derivs : nullptr, frame, out);
        }
    }
    return 1;
}

// ---- Whole sets

// What a call works on.
struct Operands {
    MeshInfo *mesh;
    const void *data;
    int veclen, dtype, null_flag;
    const void *null_value;
};

// The sums at the nodes of the mesh.
struct Sums {
    float *out;
    int *count;

    template <int kWidth>
    void add(std::ptrdiff_t node, const float *row) const {
        for (int c = 0; c < kWidth; ++c) out[node * kWidth + c] += row[c];
        ++count[node];
    }
};

// Gathers a cell's nodes. False at a null.
template <class T, int kComponents, int kSpace>
bool gather_rows(const Operands &with, const int *nodes, int nnodes, NodeRows &rows) {
    const T *data = static_cast<const T *>(with.data);
    const float *coords = with.mesh->coords;
    const int last_node = with.mesh->nnodes - 1;  // behind which no fourth coordinate can be read
    if (with.null_flag &&
        any_null(nodes, nnodes, data, kComponents, *static_cast<const T *>(with.null_value))) {
        return false;
    }
    for (std::size_t k = 0; k < static_cast<std::size_t>(nnodes); ++k) {
        const std::ptrdiff_t node = nodes[k];
        const float *xyz = coords + node * kSpace;
        const T *value = data + node * kComponents;
        const auto component = [value](int c) {
            return c < kComponents ? static_cast<float>(value[c]) : 0.0f;
        };
        rows.place[k] = kSpace == 3 && nodes[k] < last_node
                            ? clear_fourth(load_lanes(xyz))
                            : Lanes{xyz[0], kSpace > 1 ? xyz[1] : 0, kSpace > 2 ? xyz[2] : 0, 0};
        rows.value[k] = Lanes{component(0), component(1), component(2), 0};
    }
    return true;
}

// Adds the rows of one of the cells for which SetDerivs is prepared.
template <class Operator, int kDim, int kComponents>
void add_cell(const NodeRows &gathered, const SetDerivs<kDim, kComponents> &derivs, std::size_t cell,
              const int *nodes, int nnodes, const Sums &sums) {
    constexpr int kWidth = Operator::kWidth;
    Operator at_node;
    derivs.at_nodes(gathered, cell, [&](int k, const float *at, [[maybe_unused]] const float *frame) {
        float row[kWidth];
        if constexpr (kDim == 3) {
            at_node.volume_row(at, row);
        } else {
            at_node.surface_row(at, frame, row);
        }
        if (derivs.constant()) {
            for (int n = 0; n < nnodes; ++n) sums.add<kWidth>(nodes[n], row);
        } else {
            sums.add<kWidth>(nodes[k], row);
        }
    });
}

// Some cells of one set.
struct CellRange {
    int set, first_id;  // global id of the first
    int count;
    const int *nodes;  // of the first, the others following
};

// Adds cells by the kernels for one cell: all of them, or of a set that SetDerivs serves the first ones only,
// until a kernel has fetched the coordinates and told what there was to tell. Result how many, or negative
// when a kernel refuses one.
template <class Operator>
int add_by_kernels(const Operands &with, const CellRange &cells, bool served, float *rows, const Sums &sums) {
    MeshInfo *mesh = with.mesh;
    const int nnodes = mesh->cell_nnodes[cells.set];
    const int *nodes = cells.nodes;
    int cell = 0;
    for (; cell < cells.count && !(served && mesh->coords); ++cell, nodes += nnodes) {
        if (Operator::kCell(mesh, mesh->cell_ndim[cells.set], cells.first_id + cell, with.data, with.veclen,
                            with.dtype, with.null_flag, with.null_value, nnodes,
                            mesh->cell_node_uvw[cells.set], rows) != 1) {
            return -1;
        }
        for (int k = 0; k < nnodes; ++k) sums.add<Operator::kWidth>(nodes[k], rows + k * Operator::kWidth);
    }
    return cell;
}

// Adds the cells from number `first` on by SetDerivs.
template <class Operator, int kDim, int kComponents>
void add_in_batches(const Operands &with, const CellRange &cells, int first,
                    SetDerivs<kDim, kComponents> &derivs, const Sums &sums) {
    constexpr std::size_t kBatch = SetDerivs<kDim, kComponents>::kBatch;
    constexpr float kZeros[Operator::kWidth] = {};
    const int nspace = with.mesh->nspace;
    bool (*gather)(const Operands &, const int *, int, NodeRows &) = nullptr;
    visit(
        with.dtype,
        [&]<class T>(ElementTag<T>) {
            gather = nspace == 3   ? gather_rows<T, kComponents, 3>
                     : nspace == 2 ? gather_rows<T, kComponents, 2>
                                   : gather_rows<T, kComponents, 1>;
            return 1;
        },
        [] { return 0; });
    const int nnodes = with.mesh->cell_nnodes[cells.set];
    const int *nodes = cells.nodes + static_cast<std::ptrdiff_t>(first) * nnodes;
    NodeRows gathered[kBatch] = {};
    bool has_values[kBatch];
    for (int cell = first; cell < cells.count;) {
        const std::size_t count = std::min(kBatch, static_cast<std::size_t>(cells.count - cell));
        for (std::size_t c = 0; c < count; ++c) {
            has_values[c] =
                gather(with, nodes + static_cast<std::ptrdiff_t>(c) * nnodes, nnodes, gathered[c]);
        }
        derivs.prepare(gathered, count);
        for (std::size_t c = 0; c < count; ++c, ++cell, nodes += nnodes) {
            if (has_values[c]) {
                add_cell<Operator>(gathered[c], derivs, c, nodes, nnodes, sums);
            } else {
                for (int k = 0; k < nnodes; ++k) sums.add<Operator::kWidth>(nodes[k], kZeros);
            }
        }
    }
}

template <class Operator, int kDim>
int add_set(const Operands &with, int set, int set_first, const Sums &sums) {
    MeshInfo *mesh = with.mesh;
    const int *connect = fetch_cell_set(mesh, set);
    const auto row_floats = static_cast<std::size_t>(mesh->cell_nnodes[set]) * Operator::kWidth;
    const Working<float> rows = connect ? allocate_cleared<float>(row_floats) : nullptr;
    if (!rows) return 0;
    const StatusRange range(whole_percent(set, mesh->ncell_sets), whole_percent(set + 1, mesh->ncell_sets));
    SetDerivs<kDim, kDim == 3 ? Operator::kVolumeComponents : Operator::kSurfaceComponents> derivs;
    const bool served = with.data && is_type(with.dtype) && derivs.make(mesh, set);
    const int ncells = mesh->cell_ncells[set];
    for (int first = 0, end; first < ncells; first = end) {
        end = next_poll(first, ncells);
        if (first > 0 && poll_status(percent_of(first, ncells))) return 0;
        const CellRange cells{set, set_first + first, end - first,
                              connect + static_cast<std::ptrdiff_t>(first) * mesh->cell_nnodes[set]};
        const int added = add_by_kernels<Operator>(with, cells, served, rows.get(), sums);
        if (added < 0) return 0;
        if (added < cells.count) add_in_batches<Operator>(with, cells, added, derivs, sums);
    }
    return 1;
}

template <class Operator>
int derive_sets(const Operands &with, float *out) {
    MeshInfo *mesh = with.mesh;
    if (!Operator::takes(with.veclen)) return 0;
    for (int s = 0; s < mesh->ncell_sets; ++s) {
        const bool derived = mesh->cell_ncells[s] > 0 && mesh->cell_ndim[s] > 1;
        if (derived && !Operator::takes_in_cell(mesh->cell_ndim[s], with.veclen)) return 0;
    }
    const auto nnodes = static_cast<std::size_t>(mesh->nnodes);
    Working<int> count = allocate_cleared<int>(nnodes);
    if (!count) return 0;
    std::fill_n(out, nnodes * Operator::kWidth, 0.0f);
    const Sums sums{out, count.get()};
    int set_first = 0;
    for (int s = 0; s < mesh->ncell_sets; set_first += mesh->cell_ncells[s++]) {
        const int added = mesh->cell_ndim[s] == 3 ? add_set<Operator, 3>(with, s, set_first, sums)
                                                  : add_set<Operator, 2>(with, s, set_first, sums);
        if (!added) return 0;
    }
    for (std::size_t node = 0; node < nnodes; ++node) {
        for (int c = 0; c < Operator::kWidth; ++c) *out++ /= static_cast<float>(count[node]);
    }
    out -= nnodes * Operator::kWidth;
    count.reset();
    if (!with.null_flag) return 1;
    return UTILderiv_null(mesh, with.data, with.veclen, with.dtype, with.null_value, Operator::kWidth, out) !=
           0;
}

}  // namespace

// ---- Dispatchers

#define ISOFIELD_DISPATCH(NAME, SLOT, TEXT)                                                                  \
    int NAME(MeshInfo *mesh, const void *data, int veclen, int dtype, int null_flag, const void *null_value, \
             float *out) {                                                                                   \
        if (const auto method = mesh->field_funcs->SLOT) {                                                   \
            return method(mesh, data, veclen, dtype, null_flag, null_value, out);                            \
        }                                                                                                    \
        return refuse(#NAME, TEXT);                                                                          \
    }

ISOFIELD_DISPATCH(UTILgrad, grad_func, "no grad function found")
ISOFIELD_DISPATCH(UTILcurl, curl_func, "no curl function found")
ISOFIELD_DISPATCH(UTILdiv, div_func, "no div function found")

// ---- Cell sets

int UTILgrad_cell(MeshInfo *mesh, int ndim, int cell, const void *data, int dtype, int null_flag,
                  const void *null_value, int nnodes, const float *node_uvw, float *out) {
    return derive_cell<Gradient>(mesh, ndim, cell, data, 1, dtype, null_flag, null_value, nnodes, node_uvw,
                                 out);
}

int UTILcurl_cell(MeshInfo *mesh, int ndim, int cell, const void *data, int veclen, int dtype, int null_flag,
                  const void *null_value, int nnodes, const float *node_uvw, float *out) {
    return derive_cell<Curl>(mesh, ndim, cell, data, veclen, dtype, null_flag, null_value, nnodes, node_uvw,
                             out);
}

int UTILdiv_cell(MeshInfo *mesh, int ndim, int cell, const void *data, int veclen, int dtype, int null_flag,
                 const void *null_value, int nnodes, const float *node_uvw, float *out) {
    return derive_cell<Divergence>(mesh, ndim, cell, data, veclen, dtype, null_flag, null_value, nnodes,
                                   node_uvw, out);
}

int UTILgrad_cells(MeshInfo *mesh, const void *data, int veclen, int dtype, int null_flag,
                   const void *null_value, float *out) {
    return derive_sets<Gradient>({mesh, data, veclen, dtype, null_flag, null_value}, out);
}

int UTILcurl_cells(MeshInfo *mesh, const void *data, int veclen, int dtype, int null_flag,
                   const void *null_value, float *out) {
    return derive_sets<Curl>({mesh, data, veclen, dtype, null_flag, null_value}, out);
}

int UTILdiv_cells(MeshInfo *mesh, const void *data, int veclen, int dtype, int null_flag,
                  const void *null_value, float *out) {
    return derive_sets<Divergence>({mesh, data, veclen, dtype, null_flag, null_value}, out);
}
