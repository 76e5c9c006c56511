// The cell that holds a point: by a search table, or on uniform and rectilinear grids directly.
#include <algorithm>
#include <cstdio>

#include "block_grid.hpp"
#include "cell_geometry.hpp"
#include "cell_index.hpp"
#include "grid_places.hpp"

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

// Whether a box that is within the tolerance of the point also stands in the list of its block.
bool stands_in_block(const BlockGrid &blocks, const Box &box, const float *xyz, int block) {
    bool holds = true;
    for (int d = 0; d < 3; ++d) holds &= xyz[d] >= box.min[d] && xyz[d] <= box.max[d];
    if (holds) return true;
    const std::optional<BlockRange> range = blocks.blocks_of(box);
    bool stands = false;
    if (range) {
        blocks.for_each_run(*range, [&](int first, int end) { stands |= block >= first && block < end; });
    }
    return stands;
}

// What the walk would find, from the index: the same cells in the same order, without those whose pretest
// fails.
int try_candidates(MeshInfo *mesh, const CellIndex &index, const CellIndex::Candidates &candidates,
                   const BlockGrid &blocks, int block, const float *xyz, int *cell, float *uvw) {
    for (int i = 0; i < candidates.count; ++i) {
        const int id = candidates.id[i];
        CellNodes nodes;
        const bool there =
            index.of_grid() ? find_grid_cell_nodes(mesh, id, nodes) : find_cell_nodes(mesh, id, nodes);
        if (!there || !nodes.funcs->rev_par_func) continue;
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

// The index serves the library's own evaluators, and numbers.
const CellIndex *usable_index(const MeshInfo *mesh, const BlockTable *table, const float *xyz, float tol) {
    const CellIndex *index = CellIndex::of(table);
    if (!index || index->tolerance() != tol || xyz[0] != xyz[0] || xyz[1] != xyz[1] || xyz[2] != xyz[2])
        return nullptr;
    const auto own = index->of_grid() ? UTILinterp_cell_uvw_struct : UTILinterp_cell_uvw;
    return mesh->field_funcs->interp_cell_func == own ? index : nullptr;
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
        std::fputs("UTILfind_cell: unable to find interp_cell function\n", stderr);
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
    const CellIndex *index = usable_index(mesh, table, xyz, tol);
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
