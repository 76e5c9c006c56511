// The search by the index of a table, which finds what the walk through a block's list would.
#ifndef ISOFIELD_MOD_UTIL_CELL_SEARCH_HPP
#define ISOFIELD_MOD_UTIL_CELL_SEARCH_HPP

#include <optional>

#include "block_grid.hpp"
#include "cell_geometry.hpp"
#include "cell_index.hpp"

namespace isofield::detail {

// The index of a table, which serves the library's own evaluators; null where there is none for them.
inline const CellIndex *usable_index(const MeshInfo *mesh, const BlockTable *table) {
    const CellIndex *index = CellIndex::of(table);
    if (!index || index->tolerance() != search_tolerance(*table)) return nullptr;
    const auto own = index->of_grid() ? UTILinterp_cell_uvw_struct : UTILinterp_cell_uvw;
    return mesh->field_funcs->interp_cell_func == own ? index : nullptr;
}

// An index is for numbers alone.
inline bool is_number(const float *xyz) {
    return xyz[0] == xyz[0] && xyz[1] == xyz[1] && xyz[2] == xyz[2];
}

inline bool find_indexed_nodes(MeshInfo *mesh, const CellIndex &index, int id, CellNodes &nodes) {
    return index.of_grid() ? find_grid_cell_nodes(mesh, id, nodes) : find_cell_nodes(mesh, id, nodes);
}

inline bool holds(const Box &box, const float *xyz) {
    bool held = true;
    for (int d = 0; d < 3; ++d) held &= xyz[d] >= box.min[d] && xyz[d] <= box.max[d];
    return held;
}

// Whether a box that is within the tolerance of the point also stands in the list of its block.
inline bool stands_in_block(const BlockGrid &blocks, const Box &box, const float *xyz, int block) {
    if (holds(box, xyz)) return true;
    const std::optional<BlockRange> range = blocks.blocks_of(box);
    bool stands = false;
    if (range) {
        blocks.for_each_run(*range, [&](int first, int end) { stands |= block >= first && block < end; });
    }
    return stands;
}

}  // namespace isofield::detail
#endif
