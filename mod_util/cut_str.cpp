// Cuts of grids: a sweep over layers (grid_split.hpp).
#include <cstddef>
#include <memory>

#include "grid_split.hpp"
#include "types.hpp"

namespace {

using namespace isofield::detail;

constexpr CellArrayTraits kTraits = {
    .unit = "mod_util/cut_str", .step = 1024, .list_report = "realloc for cell list failed\n"};

template <class Kind>
int cut_grid(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value, double level,
             int side, int *nold, int **node_map, int *nnew, int **min_node, int **max_node, int *ncells,
             int **connect, int *connect_size, int *cell_count, int **cell_list) {
    constexpr int kDim = Kind::kVolume ? 3 : 2;
    *nold = *nnew = 0;
    *node_map = *min_node = *max_node = nullptr;
    OwnedCellArrays cells(kTraits, ncells, connect, connect_size);
    CellLists lists(kTraits, cell_count, cell_list);
    const auto fail = [&] {
        lists.free();
        return 0;
    };
    if (!lists.create() || !cells.arrays.create()) return fail();
    const int nkept =
        UTILnnode_thresh_struct(kDim, mesh->dims, data, dtype, null_flag, null_value, level, side);
    if (!is_type(dtype)) return fail();
    const int layer = plane_size<Kind>(mesh);
    Working<int> list = nkept > 0 ? allocate_working<int>(static_cast<std::size_t>(nkept)) : nullptr;
    std::unique_ptr<EdgeTableStr, DeleteTable> table(UTILedge_table_create_str(2 * layer, kTraits.step));
    if ((nkept > 0 && !list) || !table) return fail();

    LineList no_lines;
    GridSplit<Kind, EdgeTableStr> sweep(mesh, null_flag != 0, nkept, table.get(),
                                        {cells.arrays, lists, no_lines, no_lines});
    int count = 0;
    const auto load = [&](int k, GridPlane &plane) {
        const auto *values =
            static_cast<const std::byte *>(data) + std::ptrdiff_t{k} * layer * DTYPEtype_size[dtype];
        // The side below is kept as the complement of the side at and above the level.
        const int reached = side < 0 ? 0 : kHolds;
        UTILthreshold_scalar(layer, values, dtype, 0, nullptr, 1, level, kHolds - reached, reached, 0,
                             plane.lower.get());
        if (null_flag) mask_nulls(layer, values, dtype, null_value, plane.null.get());
        return UTILnode_thresh_struct(layer, values, dtype, null_flag, null_value, level, side, k * layer,
                                      &count, list.get(), plane.rows.get()) != 0;
    };
    if (!sweep.run(load, [](int) { return true; })) return fail();

    UTILedge_table_free_str(table.release(), min_node, max_node, nnew);
    cells.hand_over(UnusedWords::kNull);
    *nold = nkept;
    *node_map = list.release();
    return 1;
}

}  // namespace

int UTILcut_struct(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value,
                   double level, int side, int *nold, int **node_map, int *nnew, int **min_node,
                   int **max_node, int *ncells, int **connect, int *connect_size, int *cell_count,
                   int **cell_list) {
    switch (mesh->ndim) {
        case 3:
            return UTILcut_struct_3d(mesh, data, dtype, null_flag, null_value, level, side, nold, node_map,
                                     nnew, min_node, max_node, ncells, connect, connect_size, cell_count,
                                     cell_list);
        case 2:
            return UTILcut_struct_2d(mesh, data, dtype, null_flag, null_value, level, side, nold, node_map,
                                     nnew, min_node, max_node, ncells, connect, connect_size, cell_count,
                                     cell_list);
        default:
            *nold = *nnew = 0;
            *node_map = *min_node = *max_node = nullptr;
            empty_cells(ncells, connect, connect_size);
            CellLists(kTraits, cell_count, cell_list).clear();
            return 0;
    }
}

int UTILcut_struct_2d(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value,
                      double level, int side, int *nold, int **node_map, int *nnew, int **min_node,
                      int **max_node, int *ncells, int **connect, int *connect_size, int *cell_count,
                      int **cell_list) {
    return cut_grid<Quad>(mesh, data, dtype, null_flag, null_value, level, side, nold, node_map, nnew,
                          min_node, max_node, ncells, connect, connect_size, cell_count, cell_list);
}

int UTILcut_struct_3d(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value,
                      double level, int side, int *nold, int **node_map, int *nnew, int **min_node,
                      int **max_node, int *ncells, int **connect, int *connect_size, int *cell_count,
                      int **cell_list) {
    return cut_grid<Hex>(mesh, data, dtype, null_flag, null_value, level, side, nold, node_map, nnew,
                         min_node, max_node, ncells, connect, connect_size, cell_count, cell_list);
}
