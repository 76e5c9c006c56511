// Mesh records: copies for the duration of an operation, replaced cell sets, and the set of a cell.
#include <cstdlib>

#include "isofield.h"

int UTILcopy_mesh_info(const MeshInfo *mesh, MeshInfo **out) {
    auto *copy = static_cast<MeshInfo *>(std::malloc(sizeof(MeshInfo)));
    *out = copy;
    if (!copy) return 0;
    copy->host_id = mesh->host_id;
    copy->ndim = mesh->ndim;
    copy->dims = mesh->dims;
    copy->nspace = mesh->nspace;
    copy->nnodes = mesh->nnodes;
    copy->points = nullptr;
    copy->coords = nullptr;
    copy->field_funcs = mesh->field_funcs;
    copy->get_coords = mesh->get_coords;
    copy->get_sub_coords = mesh->get_sub_coords;
    copy->get_points = mesh->get_points;
    copy->ncell_sets = mesh->ncell_sets;
    copy->ncells = mesh->ncells;
    copy->get_cell_set = mesh->get_cell_set;
    if (mesh->ncell_sets != 0) {
        copy->cell_first = mesh->cell_first;
        copy->cell_ncells = mesh->cell_ncells;
        copy->cell_nnodes = mesh->cell_nnodes;
        copy->cell_ndim = mesh->cell_ndim;
        copy->cell_connect = mesh->cell_connect;
        copy->cell_node_uvw = mesh->cell_node_uvw;
        copy->cell_funcs = mesh->cell_funcs;
    }
    return 1;
}

int UTILreplace_cell_set(MeshInfo *mesh, int set, int ncells, int *connect, int nnodes) {
    mesh->cell_ncells[set] = ncells;
    mesh->cell_connect[set] = connect;
    mesh->cell_nnodes[set] = nnodes;
    return 1;
}

int UTILget_cell_id(const MeshInfo *mesh, int cell, int *local, int *set) {
    for (int s = 0; s < mesh->ncell_sets; ++s) {
        *local = cell - mesh->cell_first[s];
        if (*local < mesh->cell_ncells[s]) {
            *set = s;
            break;
        }
    }
    return *set >= 0 ? 1 : 0;
}
