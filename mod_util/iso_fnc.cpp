// Isosurfaces: the mesh-level entry, the drive over cell sets and the kernels of volume cells.
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <type_traits>

#include "case_tables.hpp"
#include "reports.hpp"
#include "set_extraction.hpp"

namespace {

using namespace isofield::detail;

constexpr ElementTraits kSliceTraits = {.unit = "mod_util/iso_fnc",
                                        .step = 1024,
                                        .corners = 3,
                                        .list_module = "UTILslice",
                                        .connect_module = "UTILslice",
                                        .connect_text = "realloc for connect list failed\n"};

// The slice tables of a volume kind as plans. Triangles are written in reverse of the tables' order, in which
// their normals point to the side at or above the level.
template <class Kind>
struct SliceCases {
    static constexpr const ElementTraits &kTraits = kSliceTraits;
    static constexpr bool kPolls = true;
    static constexpr unsigned kAllAbove = Kind::kAllKept;
    static constexpr std::size_t kMostEdges = std::extent_v<decltype(Kind::kSlice.left_vert), 1>;
    static constexpr std::size_t kMostTriangles = std::is_same_v<Kind, Tet> ? 2 : 5;
    using Plan = CasePlan<kMostEdges, 3 * kMostTriangles>;

    static constexpr std::array<int, Kind::kNodes> kBitNodes = std::to_array(Kind::kSliceNodes);

    static constexpr std::array<Plan, kAllAbove + 1> kPlans = [] {
        std::array<Plan, kAllAbove + 1> plans{};
        for (unsigned index = 1; index < kAllAbove; ++index) {
            Plan &plan = plans[index];
            plan.nedges = static_cast<std::uint8_t>(Kind::kSlice.ninter_pts[index]);
            for (std::size_t e = 0; e < plan.nedges; ++e) {
                plan.ends[e] = {static_cast<std::uint8_t>(Kind::kSlice.left_vert[index][e]),
                                static_cast<std::uint8_t>(Kind::kSlice.right_vert[index][e])};
            }
            Kind::kSlice.for_each_triangle(static_cast<int>(index), [&](int a, int b, int c) {
                std::size_t at = 3 * std::size_t{plan.nelements++};
                for (const int corner : {a, c, b}) plan.corners[at++] = static_cast<std::uint8_t>(corner);
            });
        }
        return plans;
    }();
};

}  // namespace

int UTILisosurf(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value,
                double level, int *nnew, int **min_node, int **max_node, int *nlines, int **line_connect,
                int *line_size, int *ntris, int **tri_connect, int *tri_size, int *cell_count,
                int **cell_list) {
    if (auto method = mesh->field_funcs->isosurf_func) {
        return method(mesh, data, dtype, null_flag, null_value, level, nnew, min_node, max_node, nlines,
                      line_connect, line_size, ntris, tri_connect, tri_size, cell_count, cell_list);
    }
    return refuse("UTILisosurf_func", "No isosurf function found\n");
}

int UTILslice_cells(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value,
                    double level, int *nnew, int **min_node, int **max_node, int *nlines, int **line_connect,
                    int *line_size, int *ntris, int **tri_connect, int *tri_size, int *cell_count,
                    int **cell_list) {
    *nnew = *nlines = *line_size = *ntris = *tri_size = 0;
    *min_node = *max_node = *line_connect = *tri_connect = nullptr;
    Elements lines{nlines, line_connect, line_size};
    Elements triangles{ntris, tri_connect, tri_size};
    const auto choose = [&](int set) -> std::optional<SetTask> {
        const SetFuncs &funcs = mesh->cell_funcs[set].funcs;
        switch (mesh->cell_ndim[set]) {
            case 3:
                return SetTask{funcs.slice_func ? funcs.slice_func : funcs.slice_func_tesselate, &triangles};
            case 2:
                return SetTask{funcs.isoline_func ? funcs.isoline_func : funcs.isoline_func_tesselate,
                               &lines};
            default:
                return std::nullopt;
        }
    };
    SetExtraction extraction(mesh, kSliceTraits, true, cell_count, cell_list, choose);
    return extraction.run(data, dtype, null_flag, null_value, level, nnew, min_node, max_node);
}

#define ISOFIELD_KERNEL(NAME, KIND)                                                                      \
    int NAME(MeshInfo *mesh, int set, int null_flag, const unsigned char *mask, EdgeTable *table,        \
             int **connect, int *size, int *capacity, int **cell_list) {                                 \
        return extract_set<SliceCases<KIND>>(mesh, set, null_flag, mask, table, connect, size, capacity, \
                                             cell_list);                                                 \
    }
ISOFIELD_KERNEL(UTILslice_hex, Hex)
ISOFIELD_KERNEL(UTILslice_prism, Prism)
ISOFIELD_KERNEL(UTILslice_pyr, Pyr)
ISOFIELD_KERNEL(UTILslice_tet, Tet)
#undef ISOFIELD_KERNEL
