// Mesh records, connectivity, coordinates, extents, and the lists that evaluate between nodes.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

#include "support.hpp"

namespace {

int fetches = 0;

// A mesh record made by hand: two sets of triangles over the nodes of a zigzag in the plane.
struct HandMesh {
    std::vector<float> nodes = {9, 9, 1, 0, 2, 3, -5, 1, 4, 2, 3, -1};
    std::vector<int> first_set = {0, 1, 2}, second_set = {3, 4, 5};
    int cell_first[2] = {0, 1}, cell_ncells[2] = {1, 1}, cell_nnodes[2] = {3, 3}, cell_ndim[2] = {2, 2};
    int cell_order[2] = {1, 1};
    int *connect[2] = {nullptr, nullptr};
    MeshInfo mesh = {};

    HandMesh() {
        mesh.host_id = this;
        mesh.nspace = 2;
        mesh.nnodes = 6;
        mesh.ncell_sets = 2;
        mesh.ncells = 2;
        mesh.cell_first = cell_first;
        mesh.cell_ncells = cell_ncells;
        mesh.cell_nnodes = cell_nnodes;
        mesh.cell_ndim = cell_ndim;
        mesh.cell_order = cell_order;
        mesh.cell_connect = connect;
        mesh.get_coords = [](MeshInfo *m, float **out) {
            ++fetches;
            *out = static_cast<HandMesh *>(m->host_id)->nodes.data();
            return 1;
        };
        mesh.get_cell_set = [](MeshInfo *m, int set, int **out) {
            ++fetches;
            auto *self = static_cast<HandMesh *>(m->host_id);
            *out = (set == 0 ? self->first_set : self->second_set).data();
            return 1;
        };
    }
};

int refuse_array(MeshInfo *, float **) {
    return 0;
}
int refuse_cells(MeshInfo *, int, int **) {
    return 0;
}

// Takes the reports of this thread while it lives.
struct Reports {
    Reports() {
        isohost_clear_errors();
        isohost_set_error_handler([](const char *, const char *, void *) {}, nullptr);
    }
    ~Reports() {
        isohost_set_error_handler(nullptr, nullptr);
        isohost_clear_errors();
    }
    bool has(const char *text) const { return std::string(isohost_errors()).find(text) != std::string::npos; }
};

TEST(MeshInfo, CopyIsShallowAndFetchesItsOwn) {
    HandMesh hand;
    hand.mesh.coords = hand.nodes.data();
    MeshInfo *copy = nullptr;
    ASSERT_EQ(UTILcopy_mesh_info(&hand.mesh, &copy), 1);
    EXPECT_EQ(copy->coords, nullptr);
    EXPECT_EQ(copy->cell_connect, hand.mesh.cell_connect);
    EXPECT_EQ(copy->get_cell_set, hand.mesh.get_cell_set);
    // A replaced set is seen by the source, whose arrays it shares.
    int pieces[] = {0, 1, 1, 2};
    EXPECT_EQ(UTILreplace_cell_set(copy, 1, 2, pieces, 2), 1);
    EXPECT_EQ(hand.connect[1], pieces);
    EXPECT_EQ(hand.cell_ncells[1], 2);
    EXPECT_EQ(hand.cell_nnodes[1], 2);
    EXPECT_EQ(hand.cell_first[1], 1);
    std::free(copy);
}

TEST(MeshInfo, CellIdsAndTheirMisses) {
    HandMesh hand;
    int local = 7, set = -1;
    EXPECT_EQ(UTILget_cell_id(&hand.mesh, 1, &local, &set), 1);
    EXPECT_EQ(set, 1);
    EXPECT_EQ(local, 0);
    set = -1;
    EXPECT_EQ(UTILget_cell_id(&hand.mesh, 5, &local, &set), 0);
    EXPECT_EQ(set, -1);
    EXPECT_EQ(local, 4) << "the last difference";
    EXPECT_EQ(UTILget_cell_id(&hand.mesh, -2, &local, &set), 1);
    EXPECT_EQ(local, -2);
}

TEST(MeshInfo, ArraysAreFetchedOnceAndFailuresTriedAgain) {
    HandMesh hand;
    Reports reports;
    float min[2], max[2];
    fetches = 0;
    auto *get_coords = hand.mesh.get_coords;
    auto *get_cell_set = hand.mesh.get_cell_set;
    hand.mesh.get_coords = refuse_array;
    EXPECT_EQ(UTILfield_extent(&hand.mesh, min, max), 0);
    EXPECT_TRUE(reports.has("unable to get field coordinates\n"));
    EXPECT_EQ(hand.mesh.coords, nullptr);
    hand.mesh.get_coords = get_coords;
    hand.mesh.get_cell_set = refuse_cells;
    EXPECT_EQ(UTILcell_extent(&hand.mesh, 0, min, max), 0);
    EXPECT_TRUE(reports.has("unable to get cell set\n"));
    EXPECT_NE(hand.mesh.coords, nullptr);
    hand.mesh.get_cell_set = get_cell_set;
    EXPECT_EQ(UTILfield_extent(&hand.mesh, min, max), 1);
    EXPECT_EQ(UTILfield_extent(&hand.mesh, min, max), 1);
    EXPECT_EQ(fetches, 3) << "coordinates once, each set once";
}

TEST(Extent, FieldLooksAtFirstNodesOnlyOfTheFirstCell) {
    HandMesh hand;
    float min[2], max[2];
    ASSERT_EQ(UTILfield_extent(&hand.mesh, min, max), 1);
    EXPECT_EQ(min[0], 1) << "node 3, first of the second cell, stays out";
    EXPECT_EQ(max[0], 9);
    EXPECT_EQ(min[1], -1);
    EXPECT_EQ(max[1], 9);
    ASSERT_EQ(UTILcell_extent(&hand.mesh, 1, min, max), 1);
    EXPECT_EQ(min[0], -5) << "a single cell counts all its nodes";
    Reports reports;
    EXPECT_EQ(UTILcell_extent(&hand.mesh, 2, min, max), 0);
    EXPECT_EQ(UTILcell_extent(&hand.mesh, -1, min, max), 0);
    EXPECT_STREQ(isohost_errors(), "");
    hand.mesh.ncell_sets = 0;
    EXPECT_EQ(UTILfield_extent(&hand.mesh, min, max), 1);
}

TEST(Extent, GridCellsByCornerNumber) {
    const float axis_x[] = {0, 1, 4}, axis_y[] = {0, 2, 3}, axis_z[] = {5, 6};
    const float *axes[] = {axis_x, axis_y, axis_z};
    const int dims[] = {3, 3, 2};
    MeshInfo *mesh = nullptr;
    ASSERT_EQ(isohost_mesh_rectilinear(3, dims, axes, &mesh), 1);
    const MeshPtr rectilinear(mesh);
    std::vector<float> coords(3 * 18);
    const float *points = nullptr;
    float min[3], max[3];
    ASSERT_EQ(UTILcell_extent_rect(mesh, 4, min, max), 1);  // the corner (1, 1, 0)
    points = mesh->points;
    EXPECT_EQ(std::vector<float>(min, min + 3), (std::vector<float>{1, 2, 5}));
    EXPECT_EQ(std::vector<float>(max, max + 3), (std::vector<float>{4, 3, 6}));
    UTILget_coords_rect(3, dims, 3, points, 0, 18, 0, 3, coords.data());
    ASSERT_EQ(isohost_mesh_structured(3, dims, 3, coords.data(), &mesh), 1);
    const MeshPtr structured(mesh);
    ASSERT_EQ(UTILcell_extent_struct(mesh, 4, min, max), 1);
    EXPECT_EQ(std::vector<float>(min, min + 3), (std::vector<float>{1, 2, 5}));
    EXPECT_EQ(std::vector<float>(max, max + 3), (std::vector<float>{4, 3, 6}));

    const MeshPtr uniform = uniform_mesh({3, 1}, {1, 2, 7, 2, 2.5f, 7});  // a line of cells in space
    ASSERT_EQ(UTILcell_extent_unif(uniform.get(), 1, min, max), 1);
    EXPECT_EQ(std::vector<float>(min, min + 3), (std::vector<float>{1.5f, 2, 7}));
    EXPECT_EQ(std::vector<float>(max, max + 3), (std::vector<float>{2, 2, 7}))
        << "an axis of one node has no extent";
}

TEST(Grid, PackedCellsGiveTheirNodes) {
    const int dims[] = {3, 3, 3};
    int out[8];
    EXPECT_EQ(UTILget_connect_struct(1, dims, 1, 2, out), 1);
    EXPECT_EQ(out[1], 2);
    EXPECT_EQ(UTILget_connect_struct(2, dims, 2, 3, out), 1);
    EXPECT_EQ(std::vector<int>(out, out + 4), (std::vector<int>{3, 4, 7, 6}));
    EXPECT_EQ(UTILget_connect_struct(3, dims, 7, 8, out), 1);
    EXPECT_EQ(std::vector<int>(out, out + 8), (std::vector<int>{13, 14, 17, 16, 22, 23, 26, 25}));
    EXPECT_EQ(UTILget_connect_struct(3, dims, 5, 5, nullptr), 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(UTILget_connect_struct(4, dims, 0, 1, out), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "get_connect_struct: cannot compute connect for ndim 4\n");
}

TEST(Grid, CoordinatesOfNodes) {
    const int dims[] = {3, 1};
    const float points[] = {1, 5, 7, 2, 6, 8};
    float out[9];
    EXPECT_EQ(UTILget_coords_unif(2, dims, 3, points, 0, 3, 0, 3, out), 1);
    EXPECT_EQ(std::vector<float>(out, out + 9), (std::vector<float>{1, 5, 7, 1.5f, 5, 7, 2, 5, 7}));
    // With a first component above 0 a row is narrower and begins that much later.
    float offset[5] = {-1, -1, -1, -1, -1};
    UTILget_coords_unif(2, dims, 3, points, 1, 3, 1, 3, offset);
    EXPECT_EQ(std::vector<float>(offset, offset + 5), (std::vector<float>{-1, 5, 7, 5, 7}));
    const float lines[] = {0,  -1, 10, -1, 30,
                           -1, -1, 4,  -1, 6};  // x in column 0 of three rows, y in column 1 of two
    const int rect_dims[] = {3, 2};
    float rect[4];
    UTILget_coords_rect(2, rect_dims, 2, lines, 4, 6, 0, 2, rect);
    EXPECT_EQ(std::vector<float>(rect, rect + 4), (std::vector<float>{10, 6, 30, 6}));
}

template <class T>
class ParamOf : public testing::Test {};
using AllTypes = testing::Types<signed char, unsigned char, short, int, float, double>;
TYPED_TEST_SUITE(ParamOf, AllTypes);

TYPED_TEST(ParamOf, ParametersAndValuesBetweenNodes) {
    using T = TypeParam;
    const std::vector<T> data = {2, 10, 2, 100};
    const int a[] = {0, 1, 0, -1, 0}, b[] = {1, 0, 2, 1, -3};
    float t[5] = {9, 9, 9, 9, 9};
    EXPECT_EQ(UTILget_param(5, type_code<T>, data.data(), 4.5, a, b, t), 1);
    EXPECT_EQ(std::vector<float>(t, t + 5), (std::vector<float>{0.3125f, 0.6875f, 0.0f, 9, 9}));
    std::vector<T> out(5, T{77});
    EXPECT_EQ(UTILeval_param(5, 1, type_code<T>, data.data(), 0, nullptr, a, b, t, out.data()), 1);
    const T between = std::is_integral_v<T> ? T{4} : static_cast<T>(4.5);
    EXPECT_EQ(out, (std::vector<T>{between, between, 2, 77, 77}));
    // A null at either end makes that component null, and no other.
    const std::vector<T> rows = {2, 100, 10, 50};
    const T null = 100;
    std::vector<T> two(2);
    EXPECT_EQ(UTILeval_param(1, 2, type_code<T>, rows.data(), 1, &null, a, b, t, two.data()), 1);
    EXPECT_EQ(two, (std::vector<T>{between, 100}));
}

TEST(Param, RoundingAndExtremes) {
    const double d[] = {0.1, 0.7};
    const float f[] = {0.1f, 0.7f};
    const int i[] = {std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};
    const int a = 0, b = 1;
    float t;
    UTILget_param(1, 5, d, 0.3, &a, &b, &t);
    EXPECT_EQ(t, static_cast<float>(static_cast<float>(0.3 - 0.1) / (0.7 - 0.1)));
    UTILget_param(1, 4, f, 0.3, &a, &b, &t);
    EXPECT_EQ(t, static_cast<float>(0.3 - static_cast<double>(0.1f)) / (0.7f - 0.1f));
    UTILget_param(1, 3, i, 0.0, &a, &b, &t);
    EXPECT_EQ(t, 0.5f);
    int out;
    const float one = 1;
    UTILeval_param(1, 1, 3, i, 0, nullptr, &a, &b, &one, &out);
    EXPECT_EQ(out, std::numeric_limits<int>::max()) << "2^31 in float arithmetic, which saturates";
}

// Between any two nodes of a grid, dropped pairs among them, coordinates are those of the plain formula.
TEST(Param, GridCoordinatesBetweenAnyNodes) {
    const std::vector<int> dims = {7, 5, 9};
    const float corners[] = {-1, 0.1f, 3, 2, 0.7f, 11};
    const MeshPtr uniform = uniform_mesh(dims, {corners, corners + 6});
    const int nnodes = 7 * 5 * 9, npairs = 1000;
    std::vector<float> coords(static_cast<std::size_t>(3 * nnodes));
    UTILget_coords_unif(3, dims.data(), 3, corners, 0, nnodes, 0, 3, coords.data());
    std::vector<int> a = random_values<int>(npairs, nnodes - 1, 1),
                     b = random_values<int>(npairs, nnodes - 1, 2);
    a[600] = -1;
    b[700] = -1;
    std::vector<float> t = random_values<float>(npairs, 1000, 3);
    for (float &each : t) each *= 0.001f;
    std::vector<float> out(3 * npairs, -99.0f);
    ASSERT_EQ(UTILeval_coord(uniform.get(), npairs, a.data(), b.data(), t.data(), out.data()), 1);
    for (std::size_t n = 0; n < npairs; ++n) {
        for (std::size_t d = 0; d < 3; ++d) {
            float expected = -99.0f;
            if (a[n] >= 0 && b[n] >= 0) {
                const float from = coords[3 * static_cast<std::size_t>(a[n]) + d];
                expected = from + t[n] * (coords[3 * static_cast<std::size_t>(b[n]) + d] - from);
            }
            ASSERT_EQ(out[3 * n + d], expected) << n;
        }
    }
}

// Node numbers are split without dividing: exact up to the largest, on either side of every row and plane.
TEST(Param, LargeNodeNumbersSplitExactly) {
    for (const std::vector<int> &dims : {std::vector{46339, 46339, 1},
                                         {3, 7, 102261126},
                                         {1021, 1019, 2063},
                                         {1, 2147483646, 1},
                                         {65536, 32767, 1}}) {
        const MeshPtr mesh = unit_grid(dims);
        std::mt19937 random(7);
        std::vector<int> nodes = {0, mesh->nnodes - 1};
        for (int n = 0; n < 3000; ++n) {
            const int row = static_cast<int>(random() % static_cast<unsigned>(mesh->nnodes / dims[0]));
            nodes.push_back(row * dims[0]);
            nodes.push_back(row * dims[0] + dims[0] - 1);
        }
        const int count = static_cast<int>(nodes.size());
        const std::vector<float> t(nodes.size(), 0.0f);
        std::vector<float> between(3 * nodes.size()), listed(3 * nodes.size());
        UTILeval_coord(mesh.get(), count, nodes.data(), nodes.data(), t.data(), between.data());
        UTILget_coord_list(mesh.get(), count, nodes.data(), listed.data());
        for (std::size_t n = 0; n < nodes.size(); ++n) {
            const int index[3] = {nodes[n] % dims[0], nodes[n] / dims[0] % dims[1],
                                  nodes[n] / dims[0] / dims[1]};
            for (std::size_t d = 0; d < 3; ++d) {
                ASSERT_EQ(listed[3 * n + d], static_cast<float>(index[d])) << nodes[n];
                ASSERT_EQ(between[3 * n + d], static_cast<float>(index[d])) << nodes[n];
            }
        }
    }
}

TEST(Lists, CellsScatterAndGridsGather) {
    HandMesh hand;
    const int places[] = {-1, 1, -1, 0, -1, -1};
    float out[4];
    EXPECT_EQ(UTILcoord_list(&hand.mesh, 0, places, out), 1);
    EXPECT_EQ(std::vector<float>(out, out + 4), (std::vector<float>{-5, 1, 1, 0}));
    const short data[] = {10, 11, 20, 21, 30, 31, 40, 41, 50, 51, 60, 61};
    short rows[4];
    EXPECT_EQ(UTILdata_list(&hand.mesh, 2, 2, data, 0, places, rows), 2 * 2 * 2);
    EXPECT_EQ(std::vector<short>(rows, rows + 4), (std::vector<short>{40, 41, 20, 21}));
    const int none[] = {-1, -1, -1, -1, -1, -1};
    EXPECT_EQ(UTILdata_list(&hand.mesh, 2, 2, data, 0, none, rows), 0);
    EXPECT_NE(UTILdata_list(&hand.mesh, 6, 2, data, 0, places, rows), 0);

    const MeshPtr grid = unit_grid({3, 4});
    const int nodes[] = {11, 4};
    EXPECT_EQ(UTILget_coord_list(grid.get(), 2, nodes, out), 1);
    EXPECT_EQ(std::vector<float>(out, out + 4), (std::vector<float>{2, 3, 1, 1}));
    const int two[] = {5, 0};
    EXPECT_EQ(UTILget_data_list(grid.get(), 2, 2, data, 2, two, rows), 8);
    EXPECT_EQ(std::vector<short>(rows, rows + 4), (std::vector<short>{60, 61, 10, 11}));

    FieldFuncs none_bound = {};
    grid->field_funcs = &none_bound;
    testing::internal::CaptureStderr();
    EXPECT_EQ(UTILget_data_list(grid.get(), 2, 2, data, 2, two, rows), 0);
    EXPECT_EQ(UTILget_coord_list(grid.get(), 2, nodes, out), 0);
    EXPECT_EQ(UTILeval_coord(grid.get(), 1, nodes, nodes, out, out), 0);
    EXPECT_EQ(
        testing::internal::GetCapturedStderr(),
        "UTILdata_list_func: no data_list function found\nUTILcoord_list_func: no coord_list function found\n"
        "UTILeval_coord_func: no eval_coord function found\n");
}

TEST(Lists, FailedFetchOfPointsIsReported) {
    const MeshPtr grid = unit_grid({3, 4});
    Reports reports;
    auto *get_points = grid->get_points;
    grid->get_points = refuse_array;
    float out[2];
    const int node = 0;
    EXPECT_EQ(UTILget_coord_list(grid.get(), 1, &node, out), 0);
    EXPECT_TRUE(reports.has("unable to get field points\n"));
    grid->get_points = get_points;
    EXPECT_EQ(UTILget_coord_list(grid.get(), 1, &node, out), 1);
}

}  // namespace
