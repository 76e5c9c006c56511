// Bounding boxes of fields and of single cells.
#include <algorithm>
#include <cstddef>

#include "cell_geometry.hpp"

namespace {

using namespace isofield::detail;

void store_box(const Box &box, int nspace, float *min, float *max) {
    std::copy_n(box.min, nspace, min);
    std::copy_n(box.max, nspace, max);
}

// The box of a cell of a grid with axes: its lowest node and the node one further on each axis.
template <class Axes>
void box_of_grid_cell(const MeshInfo *mesh, const Axes &axes, const GridIndex &low, bool thin_axes_stay,
                      float *min, float *max) {
    GridIndex high = low;
    for (int d = 0; d < mesh->ndim; ++d) {
        if (!(thin_axes_stay && mesh->dims[d] == 1)) ++high[static_cast<std::size_t>(d)];
    }
    const int ncomponents = std::max(mesh->nspace, mesh->ndim);
    for (int d = 0; d < ncomponents; ++d) {
        min[d] = axes(d, low);
        max[d] = axes(d, high);
    }
}

}  // namespace

int UTILfield_extent(MeshInfo *mesh, float *min, float *max) {
    if (mesh->ncell_sets == 0) return 1;
    const float *coords = fetch_coords(mesh);
    if (!coords) return 0;
    const int nspace = mesh->nspace;
    bool started = false;
    for (int s = 0; s < mesh->ncell_sets; ++s) {
        const int *connect = fetch_cell_set(mesh, s);
        if (!connect) return 0;
        const int nnodes = mesh->cell_nnodes[s];
        for (int cell = 0; cell < mesh->cell_ncells[s]; ++cell, connect += nnodes) {
            const auto row = [=](int i) { return coords + static_cast<std::ptrdiff_t>(connect[i]) * nspace; };
            if (!started) {
                std::copy_n(row(0), nspace, min);
                std::copy_n(row(0), nspace, max);
            }
            started = true;
            // Node 0 takes no part beyond the start.
            for (int i = 1; i < nnodes; ++i) widen(row(i), nspace, min, max);
        }
    }
    return 1;
}

int UTILcell_extent(MeshInfo *mesh, int cell, float *min, float *max) {
    const float *coords = fetch_coords(mesh);
    if (!coords) return 0;
    CellNodes found;
    if (!locate_cell(mesh, cell, found)) return 0;
    store_box(box_of_nodes(coords, mesh->nspace, found.nodes, found.nnodes), mesh->nspace, min, max);
    return 1;
}

int UTILcell_extent_struct(MeshInfo *mesh, int cell, float *min, float *max) {
    const float *coords = fetch_coords(mesh);
    if (!coords) return 0;
    int nodes[8];
    const int nnodes = std::clamp(mesh->cell_nnodes[0], 2, 8);
    corner_nodes(mesh->dims, cell, nnodes, nodes);
    store_box(box_of_nodes(coords, mesh->nspace, nodes, nnodes), mesh->nspace, min, max);
    return 1;
}

int UTILcell_extent_unif(MeshInfo *mesh, int cell, float *min, float *max) {
    const float *points = fetch_points(mesh);
    if (!points) return 0;
    box_of_grid_cell(mesh, UniformAxes(mesh->ndim, mesh->dims, mesh->nspace, points),
                     NodeSplitter(mesh->ndim, mesh->dims)(cell), true, min, max);
    return 1;
}

int UTILcell_extent_rect(MeshInfo *mesh, int cell, float *min, float *max) {
    const float *points = fetch_points(mesh);
    if (!points) return 0;
    box_of_grid_cell(mesh, RectilinearAxes(mesh->ndim, mesh->dims, mesh->nspace, points),
                     NodeSplitter(mesh->ndim, mesh->dims)(cell), false, min, max);
    return 1;
}
