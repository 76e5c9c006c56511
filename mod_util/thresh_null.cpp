// Meshes without their null nodes.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "mesh_access.hpp"
#include "output_array.hpp"
#include "reports.hpp"
#include "thresh.hpp"
#include "types.hpp"

namespace {

using namespace isofield::detail;

constexpr const char *kUnit = "thresh_null.cpp";
constexpr int kStep = 1000;
constexpr int kBlock = 256;  // cells for which room is made at once

// The cells of one set that are kept.
class KeptSet {
  public:
    explicit KeptSet(int nnodes) : nnodes_(nnodes), connect_(kUnit, kStep) {}

    bool create() { return connect_.create(); }

    // Room for so many more cells.
    bool reserve(int ncells) {
        if (connect_.reserve_amply(used_ + static_cast<std::int64_t>(ncells) * nnodes_)) return true;
        tell("realloc for connect list failed\n");
        return false;
    }

    // Adds a cell if all of its nodes have numbers, number(k) being that of node k.
    template <class Number>
    void add(int nnodes, Number number) {
        int *row = connect_.data() + used_;
        int all = 0;
        for (int k = 0; k < nnodes; ++k) {
            row[k] = number(k);
            all |= row[k];
        }
        const bool kept = all >= 0;
        used_ += kept ? nnodes : 0;
        ncells_ += kept;
    }

    // Hands the cells over; without any there is no array.
    void finish(int *ncells, int **connect, int *connect_size) {
        if (ncells_ == 0) connect_.reset();
        *ncells = ncells_;
        *connect_size = static_cast<int>(used_);
        *connect = connect_.release();
    }

  private:
    int nnodes_;
    OutputArray<int> connect_;
    std::int64_t used_ = 0;
    int ncells_ = 0;
};

template <class Add>
bool add_in_blocks(KeptSet &kept, int ncells, Add add_block) {
    for (int first = 0; first < ncells; first += kBlock) {
        const int end = ncells - first > kBlock ? first + kBlock : ncells;
        if (!kept.reserve(end - first)) return false;
        add_block(first, end);
    }
    return true;
}

// kNodes is the set's nodes per cell, or 0 for a number that is known only at run time.
template <int kNodes>
bool keep_cells(const int *connect, int ncells, int nnodes, const int *map, KeptSet &kept) {
    const int count = kNodes > 0 ? kNodes : nnodes;
    return add_in_blocks(kept, ncells, [&](int first, int end) {
        const int *nodes = connect + static_cast<std::ptrdiff_t>(first) * count;
        for (int cell = first; cell < end; ++cell, nodes += count) {
            kept.add(count, [&](int k) { return map[nodes[k]]; });
        }
    });
}

void clear_results(int *nkept, int **node_list, int nsets, int *ncells, int **connect, int *connect_size) {
    *nkept = 0;
    *node_list = nullptr;
    std::fill_n(ncells, std::max(nsets, 0), 0);
    std::fill_n(connect, std::max(nsets, 0), nullptr);
    std::fill_n(connect_size, std::max(nsets, 0), 0);
}

// ---- Grids

// Nodes of a cell, from its lowest one: four counterclockwise, eight the other way round.
int cell_offsets(int ndim, const int *dims, std::array<int, 8> &offsets) {
    const int d0 = dims[0];
    if (ndim == 1) {
        offsets = {0, 1};
        return 2;
    }
    if (ndim == 2) {
        offsets = {0, 1, 1 + d0, d0};
        return 4;
    }
    const int plane = d0 * dims[1];
    offsets = {0, d0, d0 + 1, 1, plane, plane + d0, plane + d0 + 1, plane + 1};
    return 8;
}

bool keep_grid_cells(const MeshInfo *mesh, const int *map, KeptSet &kept) {
    const int ndim = mesh->ndim;
    if (ndim < 1 || ndim > 3) {
        std::fprintf(stderr, "UTILthresh_null_struct: cannot compute connect for ndim %d\n", ndim);
        return true;
    }
    std::array<int, 8> offsets;
    const int nnodes = std::min(cell_offsets(ndim, mesh->dims, offsets), mesh->cell_nnodes[0]);
    const int row_cells = ndim == 1 ? mesh->cell_ncells[0] : mesh->dims[0] - 1;
    const int rows = ndim > 1 ? mesh->dims[1] - 1 : 1;
    const int planes = ndim > 2 ? mesh->dims[2] - 1 : 1;
    for (int k = 0; k < planes; ++k) {
        for (int j = 0; j < rows; ++j) {
            const int *row =
                map + (k == 0 ? j : static_cast<std::ptrdiff_t>(k) * mesh->dims[1] + j) * mesh->dims[0];
            const bool added = add_in_blocks(kept, row_cells, [&](int first, int end) {
                for (int i = first; i < end; ++i) {
                    const int *corner = row + i;
                    kept.add(nnodes, [&](int n) { return corner[offsets[static_cast<std::size_t>(n)]]; });
                }
            });
            if (!added) return false;
        }
    }
    return true;
}

template <class T>
int node_thresh_null_struct(int ndim, const int *dims, const T *data, ByValue<T> null_value, int *map,
                            int *list) {
    const int nnodes = node_count(ndim, dims);
    map_nodes(nnodes, data, NotNull<T>(null_value), map);
    for (int node = 0; node < nnodes; ++node) {
        if (map[node] >= 0) list[map[node]] = node;
    }
    return 1;
}

template <class T>
int thresh_null_struct(MeshInfo *mesh, const T *data, ByValue<T> null_value, int *nkept, int **node_list, int,
                       int *ncells, int **connect, int *connect_size) {
    clear_results(nkept, node_list, 1, ncells, connect, connect_size);
    const int count = count_nodes(mesh->ndim, mesh->dims, data, NotNull<T>(null_value));
    Working<int> list = allocate_working<int>(static_cast<std::size_t>(count));
    if (!list) return tell("UTILthresh_null_cells_struct: cannot allocate node -1 array\n");
    const Working<int> map =
        allocate_working<int>(static_cast<std::size_t>(std::max(node_count(mesh->ndim, mesh->dims), 0)));
    if (!map) return 0;
    node_thresh_null_struct(mesh->ndim, mesh->dims, data, null_value, map.get(), list.get());
    KeptSet kept(mesh->ncell_sets > 0 ? mesh->cell_nnodes[0] : 0);
    if (!kept.create() || (mesh->ncell_sets > 0 && !keep_grid_cells(mesh, map.get(), kept))) return 0;
    kept.finish(ncells, connect, connect_size);
    *nkept = count;
    *node_list = list.release();
    return 1;
}

// ---- The members of the type families

template <class T>
int node_thresh_null(int nnodes, const T *data, ByValue<T> null_value, int *map) {
    return map_nodes(nnodes, data, NotNull<T>(null_value), map);
}

template <class T>
int nnode_null_struct(int ndim, const int *dims, const T *data, ByValue<T> null_value) {
    return count_nodes(ndim, dims, data, NotNull<T>(null_value));
}

}  // namespace

int UTILthresh_null(MeshInfo *mesh, const void *data, int dtype, const void *null_value, int *nkept,
                    int **node_list, int nsets, int *ncells, int **connect, int *connect_size) {
    if (const auto method = mesh->field_funcs->thresh_null_func) {
        return method(mesh, data, dtype, null_value, nkept, node_list, nsets, ncells, connect, connect_size);
    }
    return tell("UTILthresh_null_func: no thresh_null function found\n");
}

int UTILthresh_null_cells(MeshInfo *mesh, const void *data, int dtype, const void *null_value, int *nkept,
                          int **node_list, int nsets, int *ncells, int **connect, int *connect_size) {
    clear_results(nkept, node_list, nsets, ncells, connect, connect_size);
    if (!is_type(dtype)) return 0;
    Working<int> map = allocate_working<int>(static_cast<std::size_t>(std::max(mesh->nnodes, 0)));
    if (!map) return tell("UTILthresh_null_cells: cannot allocate node -1 array\n");
    const int kept = UTILnode_thresh_null(mesh->nnodes, dtype, data, null_value, map.get());
    for (int s = 0; s < nsets; ++s) {
        if (UTILcells_from_nlist(mesh, s, kept, map.get(), ncells + s, connect + s, connect_size + s))
            continue;
        for (int made = 0; made < s; ++made) {
            if (connect[made]) ARRfree_f(connect[made], kUnit, __LINE__);
        }
        clear_results(nkept, node_list, nsets, ncells, connect, connect_size);
        return 0;
    }
    *nkept = kept;
    *node_list = map.release();
    return 1;
}

int UTILcells_from_nlist(MeshInfo *mesh, int set, int, const int *map, int *ncells, int **connect,
                         int *connect_size) {
    *ncells = *connect_size = 0;
    *connect = nullptr;
    const int *cells = fetch_cell_set(mesh, set);
    const int count = mesh->cell_ncells[set], nnodes = mesh->cell_nnodes[set];
    KeptSet kept(nnodes);
    if (!cells || !kept.create()) return 0;
    const auto keep = nnodes == 8 ? keep_cells<8> : nnodes == 4 ? keep_cells<4> : keep_cells<0>;
    if (!keep(cells, count, nnodes, map, kept)) return 0;
    kept.finish(ncells, connect, connect_size);
    return 1;
}

int UTILnode_thresh_null(int nnodes, int dtype, const void *data, const void *null_value, int *map) {
    return visit(
        dtype,
        [&]<class T>(ElementTag<T>) {
            return node_thresh_null(nnodes, static_cast<const T *>(data), load_scalar<T>(1, null_value), map);
        },
        [nnodes] { return nnodes; });
}

int UTILthresh_null_struct(MeshInfo *mesh, const void *data, int dtype, const void *null_value, int *nkept,
                           int **node_list, int nsets, int *ncells, int **connect, int *connect_size) {
    return visit(
        dtype,
        [&]<class T>(ElementTag<T>) {
            return thresh_null_struct(mesh, static_cast<const T *>(data), load_scalar<T>(1, null_value),
                                      nkept, node_list, nsets, ncells, connect, connect_size);
        },
        [mesh] { return narrowed_to_int(mesh); });
}

ISOFIELD_STAMP(UTILthresh_null_struct, thresh_null_struct,
               (MeshInfo * mesh, const T *data, V null_value, int *nkept, int **node_list, int nsets,
                int *ncells, int **connect, int *connect_size),
               (mesh, data, null_value, nkept, node_list, nsets, ncells, connect, connect_size))
ISOFIELD_STAMP(UTILnode_thresh_null, node_thresh_null, (int nnodes, const T *data, V null_value, int *map),
               (nnodes, data, null_value, map))
ISOFIELD_STAMP(UTILnnode_null_struct, nnode_null_struct,
               (int ndim, const int *dims, const T *data, V null_value), (ndim, dims, data, null_value))
ISOFIELD_STAMP(UTILnode_thresh_null_struct, node_thresh_null_struct,
               (int ndim, const int *dims, const T *data, V null_value, int *map, int *list),
               (ndim, dims, data, null_value, map, list))
