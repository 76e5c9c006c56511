// The registry row by row, and what becomes of it: the methods of bound meshes, and the dispatchers that call
// them. The program wraps OMadd_named_funcs and ERRerror (see CMakeLists.txt).
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "isofield_default_host.h"
#include "support.hpp"

namespace {

const NamedFunc *given_table = nullptr;
int given_count = 0, answer = 0;  // 0: the default host's own
std::string reported;             // "module|text"

}  // namespace

extern "C" {
int __real_OMadd_named_funcs(const NamedFunc *table, int count);

int __wrap_OMadd_named_funcs(const NamedFunc *table, int count) {
    given_table = table;
    given_count = count;
    return answer != 0 ? answer : __real_OMadd_named_funcs(table, count);
}

void __wrap_ERRerror(const char *module, int level, int severity, const char *text, ...) {
    reported = std::string(module) + (level == 1 && severity == 2 ? "|" : "?") + text;
}
}

namespace {

// A method, as the word that it is in a row of slots.
struct Method {
    void *word = nullptr;
    Method(std::nullptr_t) {}
    template <class F>
    Method(F *function) : word(reinterpret_cast<void *>(function)) {}
};

#define SLOT(record, name) #name, offsetof(record, name) / sizeof(void *)
#define OWN(f) f, f##_struct, f##_unif, f##_rect
#define SHARED(f, g) f, g, g, g

// In the order of the registry; cell_to_node_func stands behind a second curl_func and div_func.
const struct {
    const char *name;
    std::size_t slot;
    Method kinds[4];  // cells, structured, uniform, rectilinear
} kMeshRows[21] = {
    {SLOT(FieldFuncs, interp_init_func), {OWN(UTILinterp_init)}},
    {SLOT(FieldFuncs, find_cell_func),
     {UTILfind_cell, UTILfind_cell, UTILfind_cell_unif, UTILfind_cell_rect}},
    {SLOT(FieldFuncs, interp_cell_func), {OWN(UTILinterp_cell_uvw)}},
    {SLOT(FieldFuncs, interp_data_func), {SHARED(UTILinterp_cell_val, UTILinterp_cell_val_struct)}},
    {SLOT(FieldFuncs, cell_extent_func), {OWN(UTILcell_extent)}},
    {SLOT(FieldFuncs, coord_list_func), {OWN(UTILcoord_list)}},
    {SLOT(FieldFuncs, data_list_func), {SHARED(UTILdata_list, UTILdata_list_struct)}},
    {SLOT(FieldFuncs, isosurf_func), {SHARED(UTILslice_cells, UTILslice_struct)}},
    {SLOT(FieldFuncs, isoline_func), {SHARED(UTILisoline_cells, UTILisoline_struct)}},
    {SLOT(FieldFuncs, rslice_func), {nullptr, nullptr, UTILrslice_unif, UTILrslice_rect}},
    {SLOT(FieldFuncs, cut_func), {SHARED(UTILcut_cells, UTILcut_struct)}},
    {SLOT(FieldFuncs, contour_func), {SHARED(UTILcontour_cells, UTILcontour_struct)}},
    {SLOT(FieldFuncs, grad_func), {UTILgrad_cells, UTILgrad_struct, UTILgrad_unif, UTILgrad_rect}},
    {SLOT(FieldFuncs, curl_func), {UTILcurl_cells, UTILcurl_struct, UTILcurl_unif, UTILcurl_rect}},
    {SLOT(FieldFuncs, div_func), {UTILdiv_cells, UTILdiv_struct, UTILdiv_unif, UTILdiv_rect}},
    {SLOT(FieldFuncs, deriv3d_func),
     {UTILderiv_cell_3d, UTILderiv_struct_3d, UTILderiv_unif_3d, UTILderiv_rect_3d}},
    {SLOT(FieldFuncs, deriv2d_func),
     {UTILderiv_cell_2d, UTILderiv_struct_2d, UTILderiv_unif_2d, UTILderiv_rect_2d}},
    {SLOT(FieldFuncs, thresh_null_func), {SHARED(UTILthresh_null_cells, UTILthresh_null_struct)}},
    {SLOT(FieldFuncs, eval_coord_func),
     {UTILeval_param_coord, UTILeval_param_coord, UTILeval_param_coord_unif, UTILeval_param_coord_rect}},
    {SLOT(FieldFuncs, glyph_func), {UTILglyph, UTILglyph, UTILglyph_unif, UTILglyph_rect}},
    {SLOT(FieldFuncs, cell_to_node_func), {SHARED(UTILcell_to_node_cells, UTILcell_to_node_struct)}},
};

// In the order of the registry, where the last four have no rows: these slots take the methods of the type's
// pieces.
const struct {
    const char *word, *name;
    std::size_t slot;
} kMethods[13] = {
    {"shape_func_", SLOT(SetFuncs, shape_func)},    {"shape_deriv_", SLOT(SetFuncs, shape_deriv_func)},
    {"rev_par_", SLOT(SetFuncs, rev_par_func)},     {"slice_cell_", SLOT(SetFuncs, slice_func)},
    {"cut_cell_", SLOT(SetFuncs, cut_func)},        {"contour_cell_", SLOT(SetFuncs, contour_func)},
    {"isoline_", SLOT(SetFuncs, isoline_func)},     {"vol_integr_", SLOT(SetFuncs, vol_integr_func)},
    {"tesselate_", SLOT(SetFuncs, tesselate_func)}, {"", SLOT(SetFuncs, slice_func_tesselate)},
    {"", SLOT(SetFuncs, cut_func_tesselate)},       {"", SLOT(SetFuncs, contour_func_tesselate)},
    {"", SLOT(SetFuncs, isoline_func_tesselate)},
};

constexpr std::nullptr_t kNone = nullptr;
#define MAPPING(f) UTILsh_func_##f, UTILsh_deriv_##f, UTILrev_par_##f
#define SURFACE(k) kNone, UTILcut_##k, UTILcontour_##k, UTILisoline_##k, UTILvol_integr_cell_##k, kNone
#define VOLUME(k, integral) UTILslice_##k, UTILcut_##k, UTILcontour_##k, kNone, integral, kNone
#define QUADRATIC(tesselate) kNone, kNone, kNone, kNone, kNone, tesselate

const struct {
    const char *type;
    int pieces;  // row of the type of its pieces, or -1
    Method methods[9];
} kCellRows[13] = {
    {"line_1", -1, {MAPPING(line_1), kNone, kNone, kNone, kNone, UTILvol_integr_cell_line, kNone}},
    {"line_2", -1, {MAPPING(line_2), QUADRATIC(kNone)}},
    {"tri_1", -1, {MAPPING(tri_1), SURFACE(tri)}},
    {"tri_2", 2, {MAPPING(tri_2), QUADRATIC(UTILtesselate_tri_2)}},
    {"quad_1", -1, {MAPPING(quad_1), SURFACE(quad)}},
    {"quad_2", 2, {MAPPING(quad_2), QUADRATIC(UTILtesselate_quad_2)}},
    {"hex_1", -1, {MAPPING(hex_1), VOLUME(hex, UTILvol_integr_cell_hex)}},
    {"hex_2", 8, {MAPPING(hex_2), QUADRATIC(UTILtesselate_hex_2)}},
    {"tet_1", -1, {MAPPING(tet_1), VOLUME(tet, UTILvol_integr_cell_tet)}},
    {"tet_2", 8, {MAPPING(tet_2), QUADRATIC(UTILtesselate_tet_2)}},
    {"prism_1", -1, {MAPPING(pent_1), VOLUME(prism, UTILvol_integr_cell_prism)}},
    {"prism_2", 8, {MAPPING(pent_2), QUADRATIC(UTILtesselate_prism_2)}},
    {"pyr_1", -1, {MAPPING(pyr_1), VOLUME(pyr, kNone)}},
};

TEST(Registry, TableRowByRow) {
    answer = 77;
    EXPECT_EQ(FLD_METHinit(), 77);
    answer = 0;
    EXPECT_EQ(FLD_METHinit(), 1) << "names stand twice, and may come again";
    ASSERT_EQ(given_table, dproc_table);
    ASSERT_EQ(given_count, 158);
    int at = 0;
    const auto expect = [&at](const std::string &name, Method method) {
        if (!method.word || at == 158) return;
        EXPECT_EQ(dproc_table[at].name, name) << at;
        EXPECT_EQ(Method(dproc_table[at++].func).word, method.word) << name;
    };
    const auto expect_kinds = [&](std::size_t row) {
        const char *const suffixes[] = {"", "_struct", "_unif", "_rect"};
        for (int kind = 0; kind < 4; ++kind)
            expect(kMeshRows[row].name + std::string(suffixes[kind]), kMeshRows[row].kinds[kind]);
    };
    for (std::size_t row = 0; row < 20; ++row) expect_kinds(row);
    EXPECT_EQ(at, 78);
    for (const std::size_t row : {13, 14, 20}) expect_kinds(row);
    for (const auto &row : kCellRows) {
        for (int m = 0; m < 9; ++m) expect(std::string(kMethods[m].word) + row.type, row.methods[m]);
    }
    EXPECT_EQ(at, 158);
}

TEST(Registry, MeshesOfEveryKindTakeTheirMethods) {
    const FourKinds grid({2, 2, 2}, {0, 0, 0, 1, 1, 1});
    for (std::size_t m = 0; m < 4; ++m) {
        constexpr int kKinds[4] = {2, 3, 1, 0};
        void *bound[21];
        static_assert(sizeof bound == sizeof(FieldFuncs));
        std::memcpy(bound, grid.meshes[m]->field_funcs, sizeof bound);
        for (const auto &row : kMeshRows) {
            EXPECT_STREQ(FIELD_FUNC_NAME[row.slot], row.name);
            EXPECT_EQ(bound[row.slot], row.kinds[kKinds[m]].word) << row.name << " " << m;
        }
    }
}

TEST(Registry, CellSetsOfEveryTypeTakeTheirMethods) {
    const std::vector<float> coords(3 * 20, 0.5f);
    const std::vector<int> connect(20, 0);
    std::vector<IsohostCellSet> sets;
    for (const auto &row : kCellRows) sets.push_back({row.type, 1, connect.data()});
    MeshInfo *made = nullptr;
    ASSERT_EQ(isohost_mesh_cells(20, 3, coords.data(), 13, sets.data(), &made), 1);
    const MeshPtr mesh(made);
    for (std::size_t s = 0; s < 13; ++s) {
        const auto &row = kCellRows[s];
        for (std::size_t m = 0; m < 13; ++m) {
            EXPECT_STREQ(SET_FUNC_NAME[kMethods[m].slot], kMethods[m].name);
            const Method expected = m < 9             ? row.methods[m]
                                    : row.pieces >= 0 ? kCellRows[row.pieces].methods[m - 6]
                                                      : nullptr;
            void *const bound = mesh->cell_funcs[s].word[kMethods[m].slot];
            // Weights, mapping and pieces of prism_2 are the host's own.
            const bool own = row.type == std::string("prism_2") && (m == 0 || m == 2 || m == 8);
            EXPECT_TRUE(own ? bound && bound != expected.word : bound == expected.word)
                << row.type << " " << m;
        }
    }
}

// ---- Dispatchers

MeshInfo dispatched;
std::vector<std::size_t> received;

// An argument that tells its own number, and that number.
template <class T>
T argument(std::size_t number) {
    if constexpr (std::is_same_v<T, MeshInfo *>) return &dispatched;
    return (T)number;
}
template <class T>
std::size_t number_of(T value) {
    if constexpr (std::is_same_v<T, MeshInfo *>) return value != &dispatched;
    return (std::size_t)value;
}

template <class... A>
int record(A... arguments) {
    received = {number_of(arguments)...};
    return 5;
}

// Without a method a dispatcher tells so and gives 0; with one it hands on its arguments (the last ones, where
// the method takes fewer) and the result.
template <class... A, class... B>
void expect_dispatch(int (*dispatcher)(A...), int (*FieldFuncs::*slot)(B...), const std::string &report) {
    FieldFuncs funcs = {};
    dispatched.field_funcs = &funcs;
    reported.clear();
    testing::internal::CaptureStderr();
    const auto call = [dispatcher]<std::size_t... N>(std::index_sequence<N...>) {
        return dispatcher(argument<A>(N)...);
    };
    EXPECT_EQ(call(std::index_sequence_for<A...>{}), 0);
    EXPECT_EQ(reported + testing::internal::GetCapturedStderr(), report);
    funcs.*slot = record<B...>;
    EXPECT_EQ(call(std::index_sequence_for<A...>{}), 5);
    ASSERT_EQ(received.size(), sizeof...(B));
    for (std::size_t n = 0; n < sizeof...(B); ++n)
        EXPECT_EQ(received[n], sizeof...(A) - sizeof...(B) + n) << report;
}

TEST(Registry, DispatchersCallTheirSlotOrReport) {
    using F = FieldFuncs;
    expect_dispatch(UTILcontour, &F::contour_func, "UTILcontour|no contour function found\n");
    expect_dispatch(UTILcut, &F::cut_func, "UTILcut|no cut function found\n");
    expect_dispatch(UTILisosurf, &F::isosurf_func, "UTILisosurf_func|No isosurf function found\n");
    expect_dispatch(UTILisoline, &F::isoline_func, "UTRILisoline|no isoline function found");
    expect_dispatch(UTILgrad, &F::grad_func, "UTILgrad|no grad function found");
    expect_dispatch(UTILcurl, &F::curl_func, "UTILcurl|no curl function found");
    expect_dispatch(UTILdiv, &F::div_func, "UTILdiv|no div function found");
    expect_dispatch(UTILrslice, &F::rslice_func, "UTILrslice_func: no rslice function found\n");
    expect_dispatch(UTILderiv_3d, &F::deriv3d_func, "UTILderiv: no deriv3d function found\n");
    expect_dispatch(UTILderiv_2d, &F::deriv2d_func, "UTILderiv: no deriv2d function found\n");
    expect_dispatch(UTILcell_to_node, &F::cell_to_node_func, "UTILcell_to_node: no function found\n");
    expect_dispatch(UTILglyph_func, &F::glyph_func, "UTILglyph_func: no glyph function found\n");
    expect_dispatch(UTILthresh_null, &F::thresh_null_func,
                    "UTILthresh_null_func: no thresh_null function found\n");
    expect_dispatch(UTILeval_coord, &F::eval_coord_func,
                    "UTILeval_coord_func: no eval_coord function found\n");
    expect_dispatch(UTILget_coord_list, &F::coord_list_func,
                    "UTILcoord_list_func: no coord_list function found\n");
    expect_dispatch(UTILget_data_list, &F::data_list_func,
                    "UTILdata_list_func: no data_list function found\n");
}

}  // namespace
