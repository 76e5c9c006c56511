// One cell as the point evaluators see it: its nodes, their coordinates, its bounding box.
#ifndef ISOFIELD_MOD_UTIL_CELL_GEOMETRY_HPP
#define ISOFIELD_MOD_UTIL_CELL_GEOMETRY_HPP

#include <algorithm>
#include <cstddef>

#include "mesh_access.hpp"

namespace isofield::detail {

// What fits the fixed buffers: a quadratic hexahedron.
constexpr int kMaxCellNodes = 20;

struct CellNodes {
    const int *nodes = nullptr;
    int nnodes = 0;
    const SetFuncs *funcs = nullptr;
    int of_grid[8];  // room for the nodes of a grid's cell
};

// The cell with a global id, however large. False when there is none, or its set is not to be had.
inline bool locate_cell(MeshInfo *mesh, int cell, CellNodes &found) {
    const LocalCell local = find_local_cell(mesh, cell);
    if (local.set < 0) return false;
    const int *connect = fetch_cell_set(mesh, local.set);
    if (!connect) return false;
    found.nnodes = mesh->cell_nnodes[local.set];
    found.nodes = connect + static_cast<std::ptrdiff_t>(local.cell) * found.nnodes;
    found.funcs = &mesh->cell_funcs[local.set].funcs;
    return found.nnodes >= 1;
}

// The same, false also for one too large for the fixed buffers.
inline bool find_cell_nodes(MeshInfo *mesh, int cell, CellNodes &found) {
    return locate_cell(mesh, cell, found) && found.nnodes <= kMaxCellNodes;
}

// A grid's cell, by corner number. False also when it reaches beyond the grid's nodes.
inline bool find_grid_cell_nodes(MeshInfo *mesh, int cell, CellNodes &found) {
    if (mesh->ncell_sets < 1) return false;
    found.nnodes = mesh->cell_nnodes[0];
    if (cell < 0 || cell >= mesh->nnodes || found.nnodes < 1 || found.nnodes > 8) return false;
    corner_nodes(mesh->dims, cell, found.nnodes, found.of_grid);
    found.nodes = found.of_grid;
    found.funcs = &mesh->cell_funcs[0].funcs;
    return std::all_of(found.nodes, found.nodes + found.nnodes,
                       [mesh](int node) { return node < mesh->nnodes; });
}

using FindCellNodes = bool (*)(MeshInfo *mesh, int cell, CellNodes &found);

// Coordinates of the nodes as rows of 3, components from nspace on being 0.
inline void gather_coords(const float *coords, int nspace, const CellNodes &cell, float *node_xyz) {
    for (int i = 0; i < cell.nnodes; ++i, node_xyz += 3) {
        const float *xyz = coords + static_cast<std::ptrdiff_t>(cell.nodes[i]) * nspace;
        for (int d = 0; d < 3; ++d) node_xyz[d] = d < nspace ? xyz[d] : 0.0f;
    }
}

struct Box {
    float min[3], max[3];
};

// Widens a box so that it holds a point.
inline void widen(const float *xyz, int nspace, float *min, float *max) {
    for (int d = 0; d < nspace; ++d) {
        if (xyz[d] < min[d]) min[d] = xyz[d];
        if (xyz[d] > max[d]) max[d] = xyz[d];
    }
}

// The box of nnodes points, of which row(i) gives nspace coordinates; 0 from nspace on.
template <class Row>
Box box_of_rows(int nspace, int nnodes, Row row) {
    Box box = {};
    std::copy_n(row(0), nspace, box.min);
    std::copy_n(row(0), nspace, box.max);
    for (int i = 1; i < nnodes; ++i) widen(row(i), nspace, box.min, box.max);
    return box;
}

inline Box box_of_nodes(const float *coords, int nspace, const int *nodes, int nnodes) {
    const auto row = [=](int i) { return coords + static_cast<std::ptrdiff_t>(nodes[i]) * nspace; };
    return nspace == 3 ? box_of_rows(3, nnodes, row) : box_of_rows(nspace, nnodes, row);
}

// Of coordinates that gather_coords wrote.
inline Box box_of_gathered(const float *node_xyz, int nnodes) {
    return box_of_rows(3, nnodes, [node_xyz](int i) { return node_xyz + 3 * i; });
}

}  // namespace isofield::detail
#endif
