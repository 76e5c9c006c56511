// Cell data to node data: each node's weighted mean of its cells.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "mesh_access.hpp"
#include "reports.hpp"
#include "types.hpp"
#include "working_array.hpp"

namespace {

using namespace isofield::detail;

// A sum with `value`, in the element's own type: integers wrap around.
template <class T>
T plus(T sum, T value) {
    if constexpr (std::is_integral_v<T>) {
        return static_cast<T>(std::int64_t{sum} + std::int64_t{value});
    } else {
        return sum + value;
    }
}

template <class T>
T plus_weighted(T sum, T value, float weight) {
    using Real = RealFor<T>;
    return truncated<T>(static_cast<Real>(sum) + static_cast<Real>(value) * static_cast<Real>(weight));
}

// The data of one call, and the sums that go on from set to set.
template <class T>
struct Transfer {
    int veclen;
    bool has_null;
    T null_value;
    int power;
    T *out;          // nnodes x veclen
    float *weights;  // nnodes
    char *null_flags;

    bool is_null(const T *row) const { return has_null && row[0] == null_value; }
    T *row_of(int node) const { return out + static_cast<std::ptrdiff_t>(node) * veclen; }
};

template <class T>
void add_alike(const Transfer<T> &t, const int *nodes, int nnodes, const T *row) {
    for (int i = 0; i < nnodes; ++i) {
        t.weights[nodes[i]] += 1.0f;
        T *sum = t.row_of(nodes[i]);
        for (int c = 0; c < t.veclen; ++c) sum[c] = plus(sum[c], row[c]);
    }
}

template <class T>
void add_by_distance(const Transfer<T> &t, const float *coords, int nspace, const int *nodes, int nnodes,
                     const T *row) {
    const auto xyz_of = [=](int i) { return coords + static_cast<std::ptrdiff_t>(nodes[i]) * nspace; };
    float centroid[3] = {};
    for (int i = 0; i < nnodes; ++i) {
        for (int d = 0; d < nspace; ++d) centroid[d] += xyz_of(i)[d];
    }
    for (int d = 0; d < nspace; ++d) centroid[d] /= static_cast<float>(nnodes);
    for (int i = 0; i < nnodes; ++i) {
        float squares = 0;
        for (int d = 0; d < nspace; ++d) {
            const float difference = xyz_of(i)[d] - centroid[d];
            squares += difference * difference;
        }
        const double distance = std::sqrt(static_cast<double>(squares));
        T *sum = t.row_of(nodes[i]);
        if (distance == 0) {
            // The node is the cell's middle: its row counts whole, and the cell is done with.
            t.weights[nodes[i]] = 1.0f;
            for (int c = 0; c < t.veclen; ++c) sum[c] = plus(sum[c], row[c]);
            return;
        }
        const float w = static_cast<float>(1.0 / std::pow(distance, static_cast<double>(t.power)));
        t.weights[nodes[i]] += w;
        for (int c = 0; c < t.veclen; ++c) sum[c] = plus_weighted(sum[c], row[c], w);
    }
}

// Scalars of cells of a known size, alike: the plain case, in its own loop.
template <int kNodes, class T>
void add_scalars(const Transfer<T> &t, const int *nodes, int ncells, const T *data) {
    T *const out = t.out;
    float *const weights = t.weights;
    for (int cell = 0; cell < ncells; ++cell, nodes += kNodes) {
        const T value = data[cell];
        for (int i = 0; i < kNodes; ++i) {
            weights[nodes[i]] += 1.0f;
            out[nodes[i]] = plus(out[nodes[i]], value);
        }
    }
}

template <class T>
void add_cells(const Transfer<T> &t, const float *coords, int nspace, const int *nodes, int nnodes,
               int ncells, const T *data) {
    if (t.power == 0 && t.veclen == 1 && !t.has_null) {
        if (nnodes == 8) return add_scalars<8>(t, nodes, ncells, data);
        if (nnodes == 4) return add_scalars<4>(t, nodes, ncells, data);
    }
    for (int cell = 0; cell < ncells; ++cell, nodes += nnodes, data += t.veclen) {
        if (t.is_null(data)) {
            for (int i = 0; i < nnodes; ++i) t.null_flags[nodes[i]] = 1;
        } else if (t.power == 0) {
            add_alike(t, nodes, nnodes, data);
        } else {
            add_by_distance(t, coords, nspace, nodes, nnodes, data);
        }
    }
}

template <class T>
void finish_nodes(const Transfer<T> &t, int nnodes) {
    using Real = RealFor<T>;
    for (int node = 0; node < nnodes; ++node) {
        T *row = t.row_of(node);
        if (t.null_flags[node]) {
            std::fill_n(row, t.veclen, t.null_value);
        } else if (t.weights[node] != 0.0f) {
            const Real weight = t.weights[node];
            for (int c = 0; c < t.veclen; ++c) row[c] = truncated<T>(static_cast<Real>(row[c]) / weight);
        }
    }
}

// The two arrays that go on from set to set.
struct Carried {
    Working<float> weights;
    Working<char> null_flags;

    explicit Carried(int nnodes)
        : weights(allocate_cleared<float>(static_cast<std::size_t>(nnodes))),
          null_flags(allocate_cleared<char>(static_cast<std::size_t>(nnodes))) {}
    Carried(float *w, char *n) : weights(w), null_flags(n) {}

    explicit operator bool() const { return weights && null_flags; }
};

template <class T>
int cell_to_node_cells(MeshInfo *mesh, int set, const T *data, int veclen, bool has_null, T null_value,
                       int power, T *out, float **weights, char **null_flags) {
    const int *connect = fetch_cell_set(mesh, set);
    if (!connect) return 0;
    const float *coords = power != 0 ? fetch_coords(mesh) : nullptr;
    if (power != 0 && !coords) return 0;
    Carried carried = set == 0 ? Carried(mesh->nnodes) : Carried(*weights, *null_flags);
    if (!carried) return 0;
    if (set == 0) std::fill_n(out, mesh->nnodes, T{});
    const Transfer<T> transfer = {
        veclen, has_null, null_value, power, out, carried.weights.get(), carried.null_flags.get()};
    add_cells(transfer, coords, mesh->nspace, connect, mesh->cell_nnodes[set], mesh->cell_ncells[set], data);
    if (set < mesh->ncell_sets - 1) {
        *weights = carried.weights.release();
        *null_flags = carried.null_flags.release();
    } else {
        finish_nodes(transfer, mesh->nnodes);
        if (set > 0) {
            *weights = nullptr;
            *null_flags = nullptr;
        }
    }
    return 1;
}

template <class T>
int cell_to_node_struct(MeshInfo *mesh, int set, const T *data, int veclen, bool has_null, T null_value,
                        int power, T *out) {
    constexpr int kBlock = 128;
    const float *coords = power != 0 ? fetch_coords(mesh) : nullptr;
    if (power != 0 && !coords) return 0;
    const Carried carried(mesh->nnodes);
    if (!carried) return 0;
    std::fill_n(out, mesh->nnodes, T{});
    const Transfer<T> transfer = {
        veclen, has_null, null_value, power, out, carried.weights.get(), carried.null_flags.get()};
    int nodes[kBlock * 8];
    const int nnodes = mesh->cell_nnodes[set];
    for (int first = 0, count; first < mesh->cell_ncells[set]; first += count) {
        count = std::min(mesh->cell_ncells[set] - first, kBlock);
        if (nnodes != 1 << mesh->ndim ||
            !get_connect_struct(mesh->ndim, mesh->dims, first, first + count, nodes))
            return 0;
        add_cells(transfer, coords, mesh->nspace, nodes, nnodes, count,
                  data + static_cast<std::ptrdiff_t>(first) * veclen);
    }
    finish_nodes(transfer, mesh->nnodes);
    return 1;
}

}  // namespace

int UTILcell_to_node(MeshInfo *mesh, int set, int dtype, const void *data, int veclen, int null_flag,
                     const void *null_value, int power, void *out, float **weights, char **null_flags) {
    if (auto method = mesh->field_funcs->cell_to_node_func) {
        return method(mesh, set, dtype, data, veclen, null_flag, null_value, power, out, weights, null_flags);
    }
    return tell("UTILcell_to_node: no function found\n");
}

ISOFIELD_STAMP(UTILcell_to_node_cells, cell_to_node_cells,
               (MeshInfo * mesh, int set, const T *data, int veclen, int null_flag, V null_value, int power,
                T *out, float **weights, char **null_flags),
               (mesh, set, data, veclen, null_flag != 0, static_cast<T>(null_value), power, out, weights,
                null_flags))

int UTILcell_to_node_cells(MeshInfo *mesh, int set, int dtype, const void *data, int veclen, int null_flag,
                           const void *null_value, int power, void *out, float **weights, char **null_flags) {
    return visit_or_report(dtype, "UTILcellTo_node", [&]<class T>(ElementTag<T>) {
        return cell_to_node_cells(mesh, set, static_cast<const T *>(data), veclen, null_flag != 0,
                                  load_scalar<T>(null_flag, null_value), power, static_cast<T *>(out),
                                  weights, null_flags);
    });
}

ISOFIELD_STAMP(UTILcell_to_node_struct, cell_to_node_struct,
               (MeshInfo * mesh, int set, const T *data, int veclen, int null_flag, V null_value, int power,
                T *out),
               (mesh, set, data, veclen, null_flag != 0, static_cast<T>(null_value), power, out))

int UTILcell_to_node_struct(MeshInfo *mesh, int set, int dtype, const void *data, int veclen, int null_flag,
                            const void *null_value, int power, void *out, float **, char **) {
    return visit_or_report(dtype, "UTILcellTo_node", [&]<class T>(ElementTag<T>) {
        return cell_to_node_struct(mesh, set, static_cast<const T *>(data), veclen, null_flag != 0,
                                   load_scalar<T>(null_flag, null_value), power, static_cast<T *>(out));
    });
}
