#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <span>
#include <string>
#include <vector>

#include "front_support.hpp"

namespace {

using isofield::DataView;
using isofield::Mesh;
using isofield::Submesh;

constexpr double kJacobian[3][3] = {{1, 2, 3}, {-4, 5, 7}, {6, -8, 9}};

// The field of that gradient.
template <class T>
std::vector<T> linear_field(Mesh &mesh) {
    float *coords = nullptr;
    mesh.info()->get_coords(mesh.info(), &coords);
    const int nspace = mesh.info()->nspace;
    std::vector<T> field;
    for (int n = 0; n < mesh.nnodes(); ++n, coords += nspace) {
        for (const auto &row : kJacobian)
            field.push_back(static_cast<T>(std::inner_product(coords, coords + nspace, row, 0.0)));
    }
    return field;
}

// Every row is the expected one, or NaN where `is_none` tells so.
template <class IsNone>
void expect_rows(const std::vector<float> &rows, const std::vector<double> &expected, IsNone is_none) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (is_none(static_cast<int>(i / expected.size())))
            ASSERT_TRUE(std::isnan(rows[i])) << i << " of " << rows.size() << " is " << rows[i];
        else
            ASSERT_NEAR(rows[i], expected[i % expected.size()], 1e-4) << i << " of " << rows.size();
    }
}
const auto kNowhere = [](int) { return false; };

// normal: of the mesh where it is a surface, along which its derivatives are. alone: a node without cells.
template <class T>
void expect_linear(Mesh &mesh, const Point &normal, int alone = -1) {
    const auto is_none = [=](int node) { return node == alone; };
    const std::vector<T> field = linear_field<T>(mesh);
    std::vector<double> g;
    for (const auto &row : kJacobian) {
        const double across = std::inner_product(row, row + 3, normal.begin(), 0.0);
        for (int d = 0; d < 3; ++d) g.push_back(row[d] - across * normal[d]);
    }
    expect_rows(mesh.gradient({field, 3}), g, is_none);
    expect_rows(mesh.curl({field, 3}), {g[7] - g[5], g[2] - g[6], g[3] - g[1]}, is_none);
    expect_rows(mesh.divergence({field, 3}), {g[0] + g[4] + g[8]}, is_none);
    std::vector<T> u;
    for (std::size_t i = 0; i < field.size(); i += 3) u.push_back(field[i]);
    expect_rows(mesh.gradient(u), {g[0], g[1], g[2]}, is_none);
}

TEST(FrontDerivative, LinearFieldsAreExactOnEveryGrid) {
    for (const std::vector<int> &dims :
         {std::vector<int>{4, 3, 5}, {5, 4}, {5, 4, 1}, {5, 1, 4}, {1, 5, 4}}) {
        SCOPED_TRACE(testing::PrintToString(dims));
        Kinds grids(dims, 1), oblique(dims, 1, true);
        Point normal = {};
        if (const auto flat = std::ranges::find(dims, 1) - dims.begin(); flat < 3) normal[flat] = 1;
        for (Mesh &mesh : grids.meshes) {
            expect_linear<short>(mesh, normal);
            expect_linear<double>(mesh, normal);
        }
        for (std::size_t m = 2; m < oblique.meshes.size(); ++m)
            expect_linear<float>(oblique.meshes[m], turned(normal));
    }
    Mesh plane = Mesh::rectilinear({{0, 1, 5}, {0, 2}});
    const std::vector<float> uv = {0, 0, 1, 3, 5, 15, 0, 8, 1, 11, 5, 23};  // (x, 3x + 4y)
    expect_rows(plane.gradient({uv, 2}), {1, 0, 0, 3, 4, 0}, kNowhere);
    expect_rows(plane.curl({uv, 2}), {0, 0, 3}, kNowhere);
    expect_rows(plane.divergence({uv, 2}), {5}, kNowhere);
}

TEST(FrontDerivative, VolumesAloneTakePartInAMixedMesh) {
    CellMesh cells = mixed_block(3);
    const int alone = static_cast<int>(cells.nnodes());
    cells.coords.insert(cells.coords.end(), {9, 9, 9});
    cells.sets.insert(cells.sets.begin() + 1, {{"quad_1", {0, 1, 5, 4}}, {"line_1", {2, 3, 3, alone}}});
    Mesh mesh = front_mesh(cells);
    expect_linear<float>(mesh, {}, alone);
}

// A missing node in the middle of each mesh: constant data tell its reach from zeros that are right.
TEST(FrontDerivative, AHoleReachesTheNodesOfItsCells) {
    for (const std::vector<int> &dims : {std::vector<int>{5, 7, 6}, {5, 7}, {5, 7, 1}, {1, 5, 7}}) {
        for (Mesh &mesh : Kinds(dims, 0, dims.size() == 2).meshes) {
            std::vector<int> extent = dims;
            extent.resize(3, 1);
            const int hole[3] = {extent[0] / 2, extent[1] / 2, extent[2] / 2};
            const auto near = [&](int n) {
                const int i = n % extent[0], j = n / extent[0] % extent[1], k = n / extent[0] / extent[1];
                return std::abs(i - hole[0]) < 2 && std::abs(j - hole[1]) < 2 && std::abs(k - hole[2]) < 2;
            };
            const int node = hole[0] + extent[0] * (hole[1] + extent[1] * hole[2]);
            std::vector<short> shorts(mesh.nnodes(), 5);
            shorts[node] = -9;
            expect_rows(mesh.gradient(shorts, {.null_value = -9}), {0, 0, 0}, near);
            std::vector<double> vectors(3 * mesh.nnodes(), 5.0);
            vectors[3 * node + 1] = INFINITY;
            expect_rows(mesh.gradient({vectors, 3}), std::vector<double>(9), near);
            vectors[3 * node + 1] = NAN;
            expect_rows(mesh.curl({vectors, 3}), {0, 0, 0}, near);
            vectors[3 * node + 1] = 5;
            vectors[3 * node] = -9;
            expect_rows(mesh.divergence({vectors, 3}, {.null_value = -9}), {0}, near);
        }
    }
}

TEST(FrontDerivative, NativeIsTheLibrarysOwn) {
    Kinds grids({4, 3, 5});
    for (std::size_t m = 0; m < 4; ++m) {
        Mesh &mesh = grids.meshes[m];
        const std::vector<float> field = linear_field<float>(mesh);
        const std::vector<double> without_u = {-15, 13, 1}, curl = {-15, -3, -6};
        expect_rows(mesh.curl({field, 3}, {.native = true}), m < 2 ? without_u : curl, kNowhere);
        std::vector<float> slope(mesh.nnodes());
        for (std::size_t n = 0; n < slope.size(); ++n) slope[n] = field[3 * n];
        const std::vector<float> holed = mesh.gradient(slope, {.null_value = 0, .native = true});
        EXPECT_TRUE(holed[0] == 0 && holed[3] == 0 && std::abs(holed[6] - 1) < 1e-5) << holed[6];
        try {
            mesh.gradient({field, 3}, {.native = true});
            ADD_FAILURE();
        } catch (const isofield::Error &error) {
            const std::string silent = "data has 3 components, but the native gradient takes 1 component";
            EXPECT_EQ(error.what() == silent, m == 3) << error.what();
        }
    }
}

TEST(FrontDerivative, VorticityAndQCriterion) {
    const std::vector<float> gradients = {0, -1, 0, 1, 0,  0, 0, 0, 0,   // solid rotation
                                          2, 0,  0, 0, -1, 0, 0, 0, -1,  // strain
                                          1, 2,  3, 4, 5,  6, 7, 8, 9};
    EXPECT_EQ(isofield::vorticity(gradients), (std::vector<float>{0, 0, 2, 0, 0, 0, 2, -4, 2}));
    EXPECT_EQ(isofield::vorticity_magnitude(gradients), (std::vector<float>{2, 0, std::sqrt(24.0f)}));
    EXPECT_EQ(isofield::q_criterion(gradients), (std::vector<float>{1, -3, -130.5}));
    EXPECT_EQ(refusal([&] { isofield::q_criterion(std::span(gradients).first(10)); }),
              "gradients has 10 values, which are no whole rows of 9");
}

TEST(FrontDerivative, RefusesAndStops) {
    const std::vector<float> three(3), values(3 * 64000), ends = {0, 0, 0, 1, 0, 0, 2, 0, 0};
    const std::vector<int> line = {0, 1};
    const isofield::CellSet set[] = {{"line_1", line}};
    Mesh axis = Mesh::uniform({3, 1, 1}, {0, 0, 0}, {1, 1, 1}), lines = Mesh::cells(ends, set),
         thin = Mesh::structured({3, 1, 1}, std::span(ends).first(6), 2),
         cube = Mesh::uniform({40, 40, 40}, {0, 0, 0}, {1, 1, 1});
    EXPECT_EQ(refusal([&] { axis.gradient(three); }),
              "the grid has more than one node along 1 of its axes, but derivatives need 2 or 3 such axes");
    EXPECT_EQ(refusal([&] { lines.gradient(three); }),
              "the mesh has lines alone, but derivatives need cells of 2 or 3 dimensions");
    EXPECT_EQ(refusal([&] { thin.gradient(three, {.native = true}); }),
              "coords has 2 components, but derivatives on a grid of 3 dimensions need 3");
    EXPECT_EQ(refusal([&] { cube.divergence(three); }), "data has 3 rows, but the mesh has 64000 nodes");
    EXPECT_EQ(refusal([&] { cube.curl(DataView(std::span(values).first(128000), 2)); }),
              "data has 2 components, but the curl needs 3");
    const isofield::DerivativeOptions stop = {.progress = [](int) { return false; }};
    EXPECT_THROW(cube.gradient({values, 3}, stop), isofield::Interrupted);
    EXPECT_THROW(cube.curl({values, 3}, stop), isofield::Interrupted);
    EXPECT_THROW(cube.curl({values, 3}, {.progress = stop.progress, .native = true}), isofield::Interrupted);
    isohost_interrupt();
    EXPECT_THROW(cube.divergence({values, 3}), isofield::Interrupted);
    isohost_clear_interrupt();
}

// The cells of a submesh are those of the mesh that have no missing node, corner by corner.
void expect_sound(const Submesh &submesh, const CellMesh &cells, const std::vector<int> &missing) {
    const std::vector<std::vector<int>> all = cell_list(cells);
    std::vector<short> kept, ids(all.size());
    std::iota(ids.begin(), ids.end(), short{0});
    std::ranges::copy_if(ids, std::back_inserter(kept), [&](short id) {
        return std::ranges::find_first_of(all[id], missing) == all[id].end();
    });
    EXPECT_TRUE(std::ranges::equal(submesh.cells(), kept)) << submesh.cells().size();
    EXPECT_EQ(submesh.carry_cells(ids), kept);
    std::size_t next = 0;
    for (const isofield::CellSet &set : submesh.sets()) {
        const auto n = static_cast<std::size_t>(isohost_cell_type_nodes(set.type.c_str()));
        for (std::size_t c = 0; c < set.connect.size(); c += n) {
            std::vector<int> nodes;
            for (const int row : set.connect.subspan(c, n)) nodes.push_back(submesh.nodes()[row]);
            ASSERT_EQ(nodes, all.at(kept.at(next++))) << set.type;
        }
    }
    EXPECT_EQ(submesh.nnodes(), cells.nnodes() - missing.size());
    EXPECT_TRUE(std::ranges::equal(submesh.carry(cells.coords, 3), submesh.points()));
}

TEST(FrontSubmesh, KeepsWholeCellsOfEveryKind) {
    for (const std::vector<int> &dims : {std::vector<int>{5, 4, 6}, {5, 4}, {9}}) {
        Kinds grids(dims);
        for (Mesh &mesh : grids.meshes) {
            std::vector<double> vectors(2 * mesh.nnodes(), 1.0);
            expect_sound(mesh.without_nulls({vectors, 2}), grids.cells, {});
            vectors[0] = -9;
            vectors[2 * 7 + 1] = NAN;
            expect_sound(mesh.without_nulls({vectors, 2}, {.null_value = -9}), grids.cells, {0, 7});
        }
    }
    CellMesh mixed = quadratic(block(2, [](int i, int, int) { return i ? Cube::kTets : Cube::kPrisms; }));
    mixed.add("line_1", {0, 1});
    mixed.add("line_1", {1, 2});
    std::vector<short> values(mixed.nnodes(), 1);
    values[0] = values[20] = 0;
    expect_sound(front_mesh(mixed).without_nulls(values, {.null_value = 0}), mixed, {0, 20});
}

TEST(FrontSubmesh, IsAMeshAgainUnlessNothingIsLeft) {
    Kinds grids({4, 3, 5}, 1);
    for (Mesh &mesh : grids.meshes) {
        std::vector<float> field = linear_field<float>(mesh);
        field[2] = NAN;
        const Submesh submesh = mesh.without_nulls({field, 3});
        expect_rows(Mesh::of(submesh).divergence({submesh.carry(field, 3), 3}), {15}, kNowhere);
        const Submesh none = mesh.without_nulls(std::vector<float>(mesh.nnodes(), NAN));
        EXPECT_TRUE(none.nnodes() == 0 && none.sets().empty() && none.cells().empty());
        EXPECT_THROW(Mesh::of(none), isofield::BadInput);
    }
}

}  // namespace
