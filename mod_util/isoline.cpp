// Isolines: the mesh-level entry, the drive over cell sets and the kernels of triangles and quadrilaterals.
#include <array>
#include <optional>

#include "line_cases.hpp"
#include "reports.hpp"
#include "set_extraction.hpp"

namespace {

using namespace isofield::detail;

struct TriCases {
    static constexpr const ElementTraits &kTraits = kLineTraits;
    static constexpr bool kPolls = false;
    static constexpr unsigned kAllAbove = 7;
    static constexpr std::array<int, 3> kBitNodes = {0, 1, 2};
    static constexpr auto &kPlans = kTriLines;
};

struct QuadCases {
    static constexpr const ElementTraits &kTraits = kLineTraits;
    static constexpr bool kPolls = false;
    static constexpr unsigned kAllAbove = 15;
    static constexpr std::array<int, 4> kBitNodes = {0, 1, 2, 3};
    static constexpr auto &kPlans = kQuadLines;
};

}  // namespace

int UTILisoline(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value,
                double level, int *nnew, int **min_node, int **max_node, int *nlines, int **connect,
                int *nconnect, int *cell_count, int **cell_list) {
    if (auto method = mesh->field_funcs->isoline_func) {
        return method(mesh, data, dtype, null_flag, null_value, level, nnew, min_node, max_node, nlines,
                      connect, nconnect, cell_count, cell_list);
    }
    return refuse("UTRILisoline", "no isoline function found");
}

int UTILisoline_cells(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value,
                      double level, int *nnew, int **min_node, int **max_node, int *nlines, int **connect,
                      int *nconnect, int *cell_count, int **cell_list) {
    *nnew = *nlines = 0;
    *min_node = *max_node = *connect = nullptr;
    Elements lines{nlines, connect, nconnect};
    const auto choose = [&](int set) -> std::optional<SetTask> {
        const SetFuncs &funcs = mesh->cell_funcs[set].funcs;
        return SetTask{funcs.isoline_func ? funcs.isoline_func : funcs.isoline_func_tesselate, &lines};
    };
    SetExtraction extraction(mesh, kLineTraits, false, cell_count, cell_list, choose);
    return extraction.run(data, dtype, null_flag, null_value, level, nnew, min_node, max_node);
}

int UTILisoline_tri(MeshInfo *mesh, int set, int null_flag, const unsigned char *mask, EdgeTable *table,
                    int **connect, int *size, int *capacity, int **cell_list) {
    return extract_set<TriCases>(mesh, set, null_flag, mask, table, connect, size, capacity, cell_list);
}

int UTILisoline_quad(MeshInfo *mesh, int set, int null_flag, const unsigned char *mask, EdgeTable *table,
                     int **connect, int *size, int *capacity, int **cell_list) {
    return extract_set<QuadCases>(mesh, set, null_flag, mask, table, connect, size, capacity, cell_list);
}
