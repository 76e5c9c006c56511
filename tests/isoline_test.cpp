#include <gtest/gtest.h>

#include <cmath>

#include "plain_extraction.hpp"

namespace {

using Connect = std::vector<int>;

// Cells of more nodes are taken by their corners, but a null at any node counts.
TEST(Isoline, KernelsReadTheCornersOfLongerCells) {
    CellMesh cells{std::vector<float>(18), {{"tri_2", {0, 1, 2, 3, 4, 5}}}};
    const MeshPtr mesh = cells.make();
    mesh->cell_order[0] = 1;
    mesh->cell_funcs[0].funcs.isoline_func = UTILisoline_tri;
    const std::vector<int> data = {1, 0, 0, 0, 0, 7};
    const int null = 7;
    EXPECT_EQ(isolines(mesh.get(), data.data(), 1.0).edges(), (Connect{0, 0, 1, 2}));
    EXPECT_EQ(isolines(mesh.get(), data.data(), 1.0, &null).nlines, 0);
}

TEST(Isoline, WithoutASetThatMakesLines) {
    const CellMesh hex = block_of(Cube::kHex, 1);
    const MeshPtr mesh = hex.make();
    const std::vector<int> data = random_values<int>(8, 1, 1);
    int nnew, nlines, nconnect = -7, *min_node, *max_node, *connect;
    EXPECT_EQ(UTILisoline(mesh.get(), data.data(), 3, 0, nullptr, 1.0, &nnew, &min_node, &max_node, &nlines,
                          &connect, &nconnect, nullptr, nullptr),
              1);
    const IntArray lists[2] = {IntArray(min_node), IntArray(max_node)};
    EXPECT_EQ(nnew + nlines, 0);
    EXPECT_EQ(connect, nullptr);
    EXPECT_EQ(nconnect, -7);

    FieldFuncs none = {};
    mesh->field_funcs = &none;
    isohost_quiet_errors(1);
    isohost_clear_errors();
    EXPECT_EQ(isolines(mesh.get(), data.data(), 1.0).result, 0);
    EXPECT_STREQ(isohost_errors(), "UTRILisoline: no isoline function found\n");
    isohost_clear_errors();
    isohost_quiet_errors(0);
}

// ---- Grids

template <class T>
class IsolineGridOf : public testing::Test {};
using AllTypes = testing::Types<signed char, unsigned char, short, int, float, double>;
TYPED_TEST_SUITE(IsolineGridOf, AllTypes);

// A grid of two dimensions gives its lines as isolines and as an isosurface; one of three those of its first
// plane.
TYPED_TEST(IsolineGridOf, IsItsPlainTwin) {
    using T = TypeParam;
    const T null = 4;
    for (const std::vector<int> &dims :
         {std::vector{1, 1}, {1, 9}, {9, 1}, {2, 2}, {2, 9}, {9, 2}, {17, 18}, {10, 71}, {66, 41}}) {
        const std::vector<T> data = random_values<T>(2 * static_cast<std::size_t>(dims[0] * dims[1]), 6, 9);
        const MeshPtr plane = unit_grid(dims), box = unit_grid({dims[0], dims[1], 2});
        for (const T *null_value : {static_cast<const T *>(nullptr), &null}) {
            PlainExtraction<T> plain(data, 3.0, null_value);
            plain.add({"quad_1", grid_connect(dims)});
            const auto is_twin = [&](const Extracted &made) {
                const int *list = made.cell_list[0].get();
                EXPECT_EQ(made.result, 1);
                EXPECT_EQ(made.edges(), plain.edges());
                EXPECT_EQ(made.lines(), plain.lines);
                EXPECT_EQ(made.line_size, 2 * made.nlines);
                EXPECT_EQ(Connect(list, list + made.nlines), plain.cells[0]);
                EXPECT_EQ(made.cell_count[0], 0) << "nlines counts the list";
                EXPECT_TRUE(made.min_node && made.max_node && made.line_connect && !made.tri_connect);
            };
            is_twin(isolines(plane.get(), data.data(), 3.0, null_value));
            is_twin(isolines(box.get(), data.data(), 3.0, null_value));
            is_twin(isosurface(plane.get(), data.data(), 3.0, null_value));
            EXPECT_EQ(isolines(plane.get(), data.data(), 3.0, null_value, false).lines(), plain.lines);
        }
    }
}

TEST(IsolineGrid, NanIsBelowEveryLevel) {
    const MeshPtr grid = unit_grid({9, 9});
    std::vector<double> data(81, 0.0);
    EXPECT_EQ(isolines(grid.get(), data.data(), 0.0).nlines, 0) << "at the level counts as above";
    data[40] = std::nan("");
    EXPECT_EQ(isolines(grid.get(), data.data(), 0.0).nlines, 4);
    EXPECT_EQ(isolines(grid.get(), data.data(), data[40]).nlines, 0);
}

TEST(IsolineGrid, AnUnknownTypeMakesNothingAndIsNoFailure) {
    const MeshPtr grid = unit_grid({3, 3});
    const std::vector<double> data = random_values<double>(9, 1, 1);
    int n = -7, *p = nullptr;
    EXPECT_NE(
        UTILisoline(grid.get(), data.data(), 6, 0, nullptr, 0.5, &n, &p, &p, &n, &p, &n, nullptr, nullptr),
        0);
    EXPECT_EQ(n, -7);
    EXPECT_NE(UTILisosurf(grid.get(), data.data(), 6, 0, nullptr, 0.5, &n, &p, &p, &n, &p, &n, &n, &p, &n,
                          nullptr, nullptr),
              0);
    EXPECT_EQ(n, 0);
    EXPECT_EQ(p, nullptr);
}

}  // namespace
