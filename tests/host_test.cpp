#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "array_cache.h"
#include "isofield_default_host.h"

namespace {

using isofield::host::kExactBlocks;
using MeshOwner = std::unique_ptr<MeshInfo, void (*)(MeshInfo *)>;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr double kHuge = 1e300;
constexpr int kMany = kExactBlocks ? 200'000 : 2'000'000;  // exact blocks are copied at each step

void *allocate(int type, int count) {
    return ARRalloc_f(nullptr, type, count, nullptr, __FILE__, __LINE__);
}
void *resize(void *block, int type, int count) {
    return ARRrealloc_f(block, type, count, nullptr, __FILE__, __LINE__);
}
void release(void *block) {
    ARRfree_f(block, __FILE__, __LINE__);
}

// Grows an array in steps of 1000 ints, as the library does, and counts its moves.
int *grow_in_steps(int count, int *moves) {
    int *array = static_cast<int *>(allocate(3, 1000));
    for (int used = 1000; used < count; used += 1000) {
        int *grown = static_cast<int *>(resize(array, 3, used + 1000));
        if (moves) *moves += grown != array;
        array = grown;
        array[used] = used;
    }
    return array;
}

TEST(HostArrays, GrowthInSmallStepsKeepsContentsAndSeldomMoves) {
    isohost_trim_arrays();
    for (int round = 0; round < 2; ++round) {  // the second round may start on kept blocks
        int moves = 0;
        int *array = grow_in_steps(kMany, &moves);
        for (int used = 1000; used < kMany; used += 1000) ASSERT_EQ(array[used], used);
        EXPECT_TRUE(kExactBlocks || moves < 30) << moves;
        round == 0 ? release(array) : std::free(array);  // the library frees some arrays so
    }
}

TEST(HostArrays, LargeFreedArraysServeTheNextCallWithinTheBound) {
    if (kExactBlocks) GTEST_SKIP() << "nothing is kept under AddressSanitizer";
    isohost_trim_arrays();
    void *const grown = grow_in_steps(4'000'000, nullptr);
    void *const exact = allocate(5, 4'000'000);
    release(exact);
    release(grown);
    EXPECT_EQ(grow_in_steps(4'000'000, nullptr), grown) << "growing arrays take what growing arrays left";
    EXPECT_EQ(allocate(4, 7'000'000), exact) << "arrays of known size take the best fit";
    release(grown);
    release(exact);

    void *const small = allocate(3, 1'000'000);
    EXPECT_NE(small, grown);
    EXPECT_NE(small, exact) << "a block of eight times the size is too good for it";

    const std::size_t old = isohost_set_array_cache(20'000'000);
    EXPECT_EQ(old, std::size_t{1} << 30);
    release(small);  // now the only kept block: the others had to go
    EXPECT_EQ(allocate(3, 1'000'000), small);
    std::free(small);
    isohost_set_array_cache(old);
}

TEST(HostArrays, FitReturnsWhatAGrownArrayDoesNotNeed) {
    isohost_trim_arrays();
    release(grow_in_steps(4 * kMany, nullptr));
    int *array = grow_in_steps(200'000, nullptr);  // on the block of the large one
    int *fitted = static_cast<int *>(isohost_fit_array(array, 3, 100'000));
    EXPECT_EQ(fitted[99'000], 99'000);
    EXPECT_TRUE(kExactBlocks || fitted != array);
    EXPECT_EQ(isohost_fit_array(fitted, 3, 100'000), fitted);
    release(fitted);
}

TEST(HostArrays, OddSizes) {
    for (const int type : {0, 1, 2, 3, 4, 5}) {
        void *empty = allocate(type, 0);
        ASSERT_NE(empty, nullptr);
        void *some = resize(empty, type, 10);
        std::memset(some, 1, 10 * static_cast<std::size_t>(DTYPEtype_size[type]));
        EXPECT_EQ(resize(some, type, -1), nullptr);
        release(some);
    }
    void *from_null = resize(nullptr, 5, 3);
    ASSERT_NE(from_null, nullptr);
    release(from_null);
    EXPECT_EQ(allocate(3, -1), nullptr);
    EXPECT_EQ(allocate(6, 1), nullptr);
}

TEST(HostReports, ArePerThreadAndReachTheHandler) {
    std::vector<std::string> heard;
    isohost_set_error_handler(
        [](const char *module, const char *text, void *user) {
            static_cast<std::vector<std::string> *>(user)->push_back(std::string(module) + "|" + text);
        },
        &heard);
    isohost_clear_errors();
    ERRerror("util", 1, 2, "unable to get %s\n", "cell set");
    std::thread([] {
        EXPECT_STREQ(isohost_errors(), "");
        ERRerror("other", 1, 2, "from a thread");
    }).join();
    ERRerror("util", 1, 2, "second");
    isohost_set_error_handler(nullptr, nullptr);
    EXPECT_STREQ(isohost_errors(), "util: unable to get cell set\nutil: second\n");
    EXPECT_EQ(heard, (std::vector<std::string>{"util|unable to get cell set", "other|from a thread",
                                               "util|second"}));
    isohost_clear_errors();
    EXPECT_STREQ(isohost_errors(), "");

    testing::internal::CaptureStderr();
    ERRerror("util", 1, 2, "heard");
    EXPECT_EQ(isohost_quiet_errors(1), 0);
    ERRerror("util", 1, 2, "kept alone");
    EXPECT_EQ(isohost_quiet_errors(0), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "util: heard\n");
    EXPECT_STREQ(isohost_errors(), "util: heard\nutil: kept alone\n");
}

TEST(HostStatus, NestedRangesBecomeOnePercentage) {
    std::vector<std::string> heard;
    isohost_set_progress_handler(
        [](int percent, const char *stage, void *user) {
            static_cast<std::vector<std::string> *>(user)->push_back(std::to_string(percent) +
                                                                     (stage ? stage : ""));
        },
        &heard);
    int stop = 7;
    OMpush_status_range(50, 100);
    OMstatus_check(50, nullptr, &stop);
    OMpush_status_range(0, 33);
    OMstatus_check(100, " table", &stop);
    std::thread([] {
        int other = 0;
        OMstatus_check(10, nullptr, &other);
    }).join();
    OMpop_status_range();
    OMstatus_check(100, nullptr, &stop);
    OMpop_status_range();
    OMstatus_check(25, nullptr, &stop);
    for (int i = 0; i < 1000; ++i) OMpush_status_range(0, 50);
    OMstatus_check(100, nullptr, &stop);
    for (int i = 0; i < 1001; ++i) OMpop_status_range();
    OMstatus_check(120, nullptr, &stop);
    isohost_set_progress_handler(nullptr, nullptr);
    EXPECT_EQ(heard, (std::vector<std::string>{"75", "66 table", "10", "100", "25", "0", "100"}));
    EXPECT_EQ(stop, 0);
}

TEST(HostStatus, InterruptFromASignalHandlerLastsUntilCleared) {
    int stop = 0;
    std::signal(SIGUSR1, [](int) { isohost_interrupt(); });
    std::raise(SIGUSR1);
    OMstatus_check(1, nullptr, &stop);
    EXPECT_NE(stop, 0);
    stop = 0;
    OMstatus_check(2, nullptr, &stop);
    EXPECT_NE(stop, 0);
    isohost_clear_interrupt();
    EXPECT_EQ(isohost_interrupted(), 0);
    OMstatus_check(3, nullptr, &stop);
    EXPECT_EQ(stop, 0);
    std::signal(SIGUSR1, SIG_DFL);

    const IsohostWatch old = isohost_set_thread_watch({[](int, const char *, void *) { return 0; }, nullptr});
    OMstatus_check(4, nullptr, &stop);
    EXPECT_NE(stop, 0);
    isohost_set_thread_watch(old);
    OMstatus_check(5, nullptr, &stop);
    EXPECT_EQ(stop, 0) << "a watch stops its own polls alone";
}

TEST(HostMatrices, ProductsInPlaceAndSingularInverses) {
    using M3 = std::array<float, 9>;
    const M3 b = {1, 2, 3, 4, 5, 6, 7, 8, 10};
    std::array<float, 3> v = {1, 10, 100};
    MATvec_by_mat(v.data(), b.data(), v.data(), 1, 3, 3);
    EXPECT_EQ(v, (std::array<float, 3>{741, 852, 1063}));
    std::vector<float> long_product(9 * 9), column(9, 2.0f), row(9, 3.0f);
    MATvec_by_mat(column.data(), row.data(), long_product.data(), 9, 1, 9);
    EXPECT_EQ(long_product, std::vector<float>(81, 6.0f));

    M3 m = b;
    EXPECT_FLOAT_EQ(MATmat3_inverse(m.data(), m.data()), -3.0f);
    M3 unit;
    MATvec_by_mat(m.data(), b.data(), unit.data(), 3, 3, 3);
    for (int i = 0; i < 9; ++i) EXPECT_NEAR(unit[i], i % 4 == 0 ? 1.0f : 0.0f, 1e-5f);
    MATmat3_transpose(b.data(), m.data());
    EXPECT_EQ(m, (M3{1, 4, 7, 2, 5, 8, 3, 6, 10}));
    MATmat3_transpose(m.data(), m.data());
    EXPECT_EQ(m, b);

    const M3 singular = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    EXPECT_EQ(MATmat3_inverse(singular.data(), m.data()), 0.0f);
    EXPECT_EQ(m, b);
    std::array<float, 4> two = {2, 1, 4, 3}, flat = {1, 2, 2, 4};
    EXPECT_EQ(MATmat2_inverse(two.data(), two.data()), 2.0f);
    EXPECT_EQ(two, (std::array<float, 4>{1.5f, -0.5f, -2, 1}));
    EXPECT_EQ(MATmat2_inverse(flat.data(), two.data()), 0.0f);
    EXPECT_EQ(two, (std::array<float, 4>{1.5f, -0.5f, -2, 1}));

    std::array<float, 16> move;
    MATmat4_translate(move.data(), 1, 2, 3);
    MATvec3_mat4_multiply(v.data(), move.data());
    EXPECT_EQ(v, (std::array<float, 3>{742, 854, 1066}));
}

template <class T>
T narrowed(double value, int type) {
    T result = 77;
    UTILdouble_to_type(&result, value, type);
    return result;
}

TEST(HostConversions, IntegersTruncateAndSaturate) {
    EXPECT_EQ(narrowed<signed char>(-3.9, 0), -3);
    EXPECT_EQ(narrowed<signed char>(-kHuge, 0), -128);
    EXPECT_EQ(narrowed<unsigned char>(255.9, 1), 255);
    EXPECT_EQ(narrowed<unsigned char>(-0.5, 1), 0);
    EXPECT_EQ(narrowed<unsigned char>(-7.0, 1), 0);
    EXPECT_EQ(narrowed<short>(32768.0, 2), SHRT_MAX);
    EXPECT_EQ(narrowed<int>(kHuge, 3), INT_MAX);
    EXPECT_EQ(narrowed<int>(-2147483648.5, 3), INT_MIN);
    EXPECT_EQ(narrowed<int>(std::nan(""), 3), 0);
    EXPECT_EQ(narrowed<float>(0.1, 4), 0.1f);
    EXPECT_EQ(narrowed<double>(0.1, 5), 0.1);
}

TEST(HostConversions, ReadingAndGathering) {
    const signed char small[] = {-5, 7, 9};
    const double wide[] = {-1.5, kHuge, 300.25};
    const int list[] = {2, 0, 2, 1};
    double value = 0;
    float single = 0;
    UTILtype_to_double(&value, &small[0], 0);
    UTILtype_to_float(&single, &wide[2], 5);
    EXPECT_EQ(value, -5.0);
    EXPECT_EQ(single, 300.25f);
    double gathered[4];
    DTYPEcvt_copy_array_list(4, 5, 0, small, list, gathered);
    EXPECT_EQ(std::vector<double>(gathered, gathered + 4), (std::vector<double>{9, -5, 9, 7}));
    unsigned char bytes[4];
    DTYPEcvt_copy_array_list(4, 1, 5, wide, list, bytes);
    EXPECT_EQ(std::vector<int>(bytes, bytes + 4), (std::vector<int>{255, 0, 255, 255}));
}

// ---- Binding ----

// What is bound where, registry_test.cpp tells.
constexpr struct {
    const char *type;
    int nnodes, ndim, order;
} kTypes[] = {
    {"line_1", 2, 1, 1},  {"line_2", 3, 1, 2},   {"tri_1", 3, 2, 1},  {"tri_2", 6, 2, 2}, {"quad_1", 4, 2, 1},
    {"quad_2", 8, 2, 2},  {"hex_1", 8, 3, 1},    {"hex_2", 20, 3, 2}, {"tet_1", 4, 3, 1}, {"tet_2", 10, 3, 2},
    {"prism_1", 6, 3, 1}, {"prism_2", 15, 3, 2}, {"pyr_1", 5, 3, 1},
};

TEST(HostBinding, EveryCellTypeHasItsCountsAndPlaces) {
    EXPECT_EQ(isohost_find_function("no such name"), nullptr);
    const std::vector<float> coords(3 * 20, 0.5f);
    const std::vector<int> connect(20, 0);
    std::vector<IsohostCellSet> sets;
    for (const auto &row : kTypes) sets.push_back({row.type, 1, connect.data()});
    MeshInfo *mesh = nullptr;
    ASSERT_EQ(isohost_mesh_cells(20, 3, coords.data(), 13, sets.data(), &mesh), 1);
    const MeshOwner owner(mesh, isohost_mesh_free);
    EXPECT_EQ(mesh->ncell_sets, 13);
    EXPECT_EQ(mesh->ncells, 13);
    for (int s = 0; s < 13; ++s) {
        const auto &row = kTypes[s];
        EXPECT_EQ(mesh->cell_first[s], s);
        EXPECT_EQ(mesh->cell_nnodes[s], row.nnodes) << row.type;
        EXPECT_EQ(mesh->cell_ndim[s], row.ndim) << row.type;
        EXPECT_EQ(mesh->cell_order[s], row.order) << row.type;
        EXPECT_EQ(isohost_cell_type_nodes(row.type), row.nnodes);
        for (std::size_t slot = 13; slot < 256; ++slot) EXPECT_EQ(mesh->cell_funcs[s].word[slot], nullptr);
    }
    const float *hex = mesh->cell_node_uvw[7], *tet = mesh->cell_node_uvw[9],
                *prism = mesh->cell_node_uvw[11];
    EXPECT_EQ(std::vector<float>(hex + 3 * 13, hex + 3 * 14), (std::vector<float>{0, -1, -1}));
    EXPECT_EQ(std::vector<float>(tet + 3 * 7, tet + 3 * 9), (std::vector<float>{0, 0.5f, 0.5f, 0, 0, 0.5f}));
    EXPECT_EQ(std::vector<float>(prism + 3 * 12, prism + 3 * 15),
              (std::vector<float>{0, 1, 0, 1, 0, 0, 0, 0, 0}));
}

// ---- Builders ----

std::vector<float> box_coords(MeshInfo *mesh, const int *min, const int *max, std::size_t size) {
    std::vector<float> out(size, -1.0f);
    EXPECT_EQ(mesh->get_sub_coords(mesh, min, max, out.data()), 1);
    return out;
}

TEST(HostMeshes, GridsOfAllKindsAgree) {
    const int dims[] = {3, 2, 2}, min[] = {1, 0, 1}, max[] = {3, 2, 2};
    const float corners[] = {0, 10, 5, 4, 12, 6};
    const float x[] = {0, 2, 4}, y[] = {10, 12}, z[] = {5, 6};
    const float *const axes[] = {x, y, z};
    const std::vector<float> coords = {0, 10, 5, 2, 10, 5, 4, 10, 5, 0, 12, 5, 2, 12, 5, 4, 12, 5,
                                       0, 10, 6, 2, 10, 6, 4, 10, 6, 0, 12, 6, 2, 12, 6, 4, 12, 6};
    MeshInfo *uniform, *rectilinear, *structured;
    ASSERT_TRUE(isohost_mesh_uniform(3, dims, 3, corners, &uniform));
    ASSERT_TRUE(isohost_mesh_rectilinear(3, dims, axes, &rectilinear));
    ASSERT_TRUE(isohost_mesh_structured(3, dims, 3, coords.data(), &structured));
    for (MeshInfo *mesh : {uniform, rectilinear, structured}) {
        const MeshOwner owner(mesh, isohost_mesh_free);
        EXPECT_EQ(mesh->nnodes, 12);
        EXPECT_EQ(mesh->ncells, 2);
        EXPECT_EQ(mesh->cell_nnodes[0], 8);
        EXPECT_EQ(std::vector<float>(mesh->coord_min, mesh->coord_min + 3), (std::vector<float>{0, 10, 5}));
        EXPECT_EQ(std::vector<float>(mesh->coord_max, mesh->coord_max + 3), (std::vector<float>{4, 12, 6}));
        MeshInfo *copy = nullptr;  // callbacks must serve copies too
        ASSERT_EQ(UTILcopy_mesh_info(mesh, &copy), 1);
        float *all = nullptr;
        int *connect = nullptr;
        ASSERT_EQ(copy->get_coords(copy, &all), 1);
        EXPECT_EQ(std::vector<float>(all, all + 36), coords);
        ASSERT_EQ(copy->get_cell_set(copy, 0, &connect), 1);
        EXPECT_EQ(std::vector<int>(connect + 8, connect + 16), (std::vector<int>{1, 2, 5, 4, 7, 8, 11, 10}));
        EXPECT_EQ(copy->get_cell_set(copy, 1, &connect), 0);
        EXPECT_EQ(box_coords(copy, min, max, 12),
                  (std::vector<float>{2, 10, 6, 4, 10, 6, 2, 12, 6, 4, 12, 6}));
        std::free(copy);
    }
}

TEST(HostMeshes, AnAxisOfOneNodeMakesNoCells) {
    const int dims[] = {3, 1};
    const float corners[] = {0, 7, 9, 4, 7, 9};
    MeshInfo *mesh = nullptr;
    ASSERT_TRUE(isohost_mesh_uniform(2, dims, 3, corners, &mesh));
    const MeshOwner owner(mesh, isohost_mesh_free);
    EXPECT_EQ(mesh->ncell_sets, 1);
    EXPECT_EQ(mesh->ncells, 0);
    EXPECT_EQ(mesh->cell_nnodes[0], 4);
    int *connect = nullptr;
    EXPECT_EQ(mesh->get_cell_set(mesh, 0, &connect), 1);
    EXPECT_NE(connect, nullptr);
    float *coords = nullptr;
    ASSERT_EQ(mesh->get_coords(mesh, &coords), 1);
    EXPECT_EQ(std::vector<float>(coords + 3, coords + 9), (std::vector<float>{2, 7, 9, 4, 7, 9}));
}

// What a builder says after its name as it refuses these arguments.
std::string refusal(const std::string &name, auto build, auto... arguments) {
    MeshInfo *mesh = reinterpret_cast<MeshInfo *>(1);
    isohost_clear_errors();
    isohost_quiet_errors(1);
    EXPECT_EQ(build(arguments..., &mesh), 0);
    EXPECT_EQ(mesh, nullptr);
    isohost_quiet_errors(0);
    const std::string text = isohost_errors();
    EXPECT_TRUE(text.starts_with(name + ": ") && text.ends_with("\n")) << text;
    return text.substr(name.size() + 2, text.size() - name.size() - 3);
}

TEST(HostMeshes, BadGridsAreRefusedByArrayIndexAndValue) {
    const auto uniform = [](int ndim, const int *dims, int nspace, const float *corners) {
        return refusal("isohost_mesh_uniform", isohost_mesh_uniform, ndim, dims, nspace, corners);
    };
    const auto rectilinear = [](int ndim, const int *dims, const float *const *axes) {
        return refusal("isohost_mesh_rectilinear", isohost_mesh_rectilinear, ndim, dims, axes);
    };
    const auto structured = [](int ndim, const int *dims, int nspace, const float *coords) {
        return refusal("isohost_mesh_structured", isohost_mesh_structured, ndim, dims, nspace, coords);
    };
    const int dims[] = {2, 5}, zero[] = {2, 0}, large[] = {70000, 70000, 2};
    const float flat[] = {0, 3, 1, 3}, infinite[] = {0, 0, kInf, 1}, far[] = {-3e38f, 0, 3e38f, 1};
    EXPECT_EQ(uniform(4, dims, 3, flat), "ndim is 4, but must be 1 to 3");
    EXPECT_EQ(uniform(2, nullptr, 2, flat), "dims is null");
    EXPECT_EQ(uniform(2, zero, 2, flat), "dims[1] is 0, but must be at least 1");
    EXPECT_EQ(uniform(3, large, 3, flat),
              "dims[1] is 70000, which makes 4900000000 nodes, but there can be at most 2147483647");
    EXPECT_EQ(uniform(2, dims, 1, flat), "nspace is 1, but must be 2 to 3");
    EXPECT_EQ(uniform(2, dims, 2, nullptr), "corners is null");
    EXPECT_EQ(uniform(2, dims, 2, infinite), "corners[2] is inf, but must be finite");
    EXPECT_EQ(uniform(2, dims, 2, flat),
              "corners[3] is 3, but must be above corners[1], 3, on an axis of 5 nodes");
    EXPECT_EQ(uniform(2, dims, 2, far), "corners[2] is 3e+38, too far from corners[0], -3e+38, for a float");

    const float rising[] = {0, 1}, tie[] = {0, 2, 2, 3, 4}, falling[] = {0, -kInf};
    const float *const missing[] = {rising, nullptr}, *const tied[] = {rising, tie};
    const float *const open[] = {falling, tie};
    EXPECT_EQ(rectilinear(2, dims, nullptr), "axes is null");
    EXPECT_EQ(rectilinear(2, dims, missing), "axes[1] is null");
    EXPECT_EQ(rectilinear(2, dims, tied), "axes[1][2] is 2, but must be above the line before it, 2");
    EXPECT_EQ(rectilinear(2, dims, open), "axes[0][1] is -inf, but must be finite");

    std::vector<float> coords(30, 1.0f);
    coords[7] = kNan;
    EXPECT_EQ(structured(2, dims, 4, coords.data()), "nspace is 4, but must be 1 to 3");
    EXPECT_EQ(structured(2, dims, 3, nullptr), "coords is null");
    EXPECT_EQ(structured(2, dims, 3, coords.data()), "coords[7] is nan, but must be finite");
}

TEST(HostMeshes, BadCellSetsAreRefusedByArrayIndexAndValue) {
    const std::vector<float> coords(30, 1.0f);
    const auto cells = [&](int nnodes, std::vector<IsohostCellSet> sets) {
        return refusal("isohost_mesh_cells", isohost_mesh_cells, nnodes, 3, coords.data(),
                       static_cast<int>(sets.size()), sets.data());
    };
    const int connect[] = {0, 1, 2, 3, 4, 10}, negative[] = {0, 1, -1};
    const IsohostCellSet good = {"tri_1", 1, connect};
    EXPECT_EQ(cells(0, {good}), "nnodes is 0, but must be at least 1");
    EXPECT_EQ(cells(10, {}), "nsets is 0, but must be at least 1");
    EXPECT_EQ(
        cells(800000000, {good}),
        "800000000 nodes of 3 components are 2400000000 coordinates, but there can be at most 2147483647");
    EXPECT_EQ(cells(10, {good, {"tri_1", 2, connect}}),
              "sets[1].connect[5] is 10, but the mesh has 10 nodes (0 to 9)");
    EXPECT_EQ(cells(10, {{"tri_1", 1, negative}}),
              "sets[0].connect[2] is -1, but the mesh has 10 nodes (0 to 9)");
    EXPECT_EQ(cells(10, {good, {"tri_1", 0, connect}}), "sets[1].ncells is 0, but must be at least 1");
    EXPECT_EQ(
        cells(10, {{"hex_2", 200000000, connect}}),
        "sets[0].ncells is 200000000, too many: the cells of a mesh and the node numbers of a set can be at "
        "most 2147483647");
    EXPECT_EQ(cells(10, {{"hex_9", 1, connect}}),
              "sets[0].type is \"hex_9\", but there is no such cell type");
    EXPECT_EQ(cells(10, {{nullptr, 1, connect}}), "sets[0].type is null");
    EXPECT_EQ(cells(10, {{"tri_1", 1, nullptr}}), "sets[0].connect is null");
}

}  // namespace
