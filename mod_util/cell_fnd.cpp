// The cell that holds a point: by a search table, or on uniform and rectilinear grids directly.
#include <algorithm>
#include <optional>

#include "cell_search.hpp"
#include "grid_cell.hpp"
#include "grid_places.hpp"
#include "reports.hpp"

namespace {

using namespace isofield::detail;

// ---- Search by table

// The walk through a block's list, whatever evaluator the mesh has.
int walk_list(MeshInfo *mesh, const BlockTable *table, int block, const float *xyz, float tol, int *cell,
              float *uvw) {
    const auto interp_cell = mesh->field_funcs->interp_cell_func;
    for (int entry = table->blocks[block]; entry != 0; entry = table->next_list[entry]) {
        *cell = table->cell_list[entry];
        if (*cell < 0) {
            *cell = -1;
            return -1;
        }
        if (interp_cell(mesh, *cell, xyz, 1, static_cast<double>(tol), uvw) > 0) return 1;
    }
    return 0;
}

// What the walk would find, from the index: the same cells in the same order, without those whose pretest
// fails.
int try_candidates(MeshInfo *mesh, const CellIndex &index, const CellIndex::Candidates &candidates,
                   const BlockGrid &blocks, int block, const float *xyz, int *cell, float *uvw) {
    for (int i = 0; i < candidates.count; ++i) {
        const int id = candidates.id[i];
        CellNodes nodes;
        if (!find_indexed_nodes(mesh, index, id, nodes) || !nodes.funcs->rev_par_func) continue;
        float node_xyz[3 * kMaxCellNodes];
        gather_coords(mesh->coords, mesh->nspace, nodes, node_xyz);
        if (!stands_in_block(blocks, box_of_gathered(node_xyz, nodes.nnodes), xyz, block)) continue;
        if (nodes.funcs->rev_par_func(node_xyz, xyz, uvw) > 0) {
            *cell = id;
            return 1;
        }
    }
    *cell = index.last_in_list(block);
    return 0;
}

// ---- Grids with axes

template <class Axis>
int find_in_grid(MeshInfo *mesh, const float *xyz, int *cell, float *uvw) {
    const float *points = fetch_points(mesh);
    if (!points) return 0;
    *cell = -1;
    std::fill_n(uvw, 3, 0.0f);
    int corner = 0, stride = 1;
    for (int d = 0; d < mesh->ndim; ++d) {
        const Axis axis(mesh, points, d);
        if (!axis.holds(xyz[d])) return 0;
        int index = 0;
        if (!axis.flat()) axis.place(xyz[d], index, uvw[d]);
        corner += index * stride;
        stride *= mesh->dims[d];
    }
    const float *upper = far_corner(mesh, points, Axis::kRectilinear);
    for (int d = mesh->ndim; d < mesh->nspace; ++d) {
        if (!AxisRange(points[d], upper[d]).holds(xyz[d])) return 0;
    }
    *cell = corner;
    turn_to_cell_frame(mesh->ndim, uvw);
    return 1;
}

}  // namespace

int UTILfind_cell(MeshInfo *mesh, BlockTable *table, const float *xyz, int *cell, float *uvw) {
    if (!fetch_coords(mesh)) return 0;
    if (!mesh->field_funcs->interp_cell_func) {
        tell_no_search();
        return -1;
    }
    const float tol = search_tolerance(*table);
    for (int d = 0; d < table->nspace; ++d) {
        if (xyz[d] < table->min[d] - tol || xyz[d] > table->max[d] + tol) return 0;
    }
    *cell = -1;
    const BlockGrid blocks(*table);
    const std::optional<int> block = blocks.block_of(xyz);
    if (!block || table->blocks[*block] == 0) return 0;
    CellIndex::Candidates candidates;
    const CellIndex *index = is_number(xyz) ? usable_index(mesh, table) : nullptr;
    if (index && index->find_candidates(xyz, candidates))
        return try_candidates(mesh, *index, candidates, blocks, *block, xyz, cell, uvw);
    return walk_list(mesh, table, *block, xyz, tol, cell, uvw);
}

int UTILfind_cell_unif(MeshInfo *mesh, BlockTable *, const float *xyz, int *cell, float *uvw) {
    return find_in_grid<UniformAxis>(mesh, xyz, cell, uvw);
}

int UTILfind_cell_rect(MeshInfo *mesh, BlockTable *, const float *xyz, int *cell, float *uvw) {
    return find_in_grid<RectilinearAxis>(mesh, xyz, cell, uvw);
}
