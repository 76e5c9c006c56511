#include <gtest/gtest.h>

#include <cmath>

#include "plain_split.hpp"

namespace {

using Connect = std::vector<int>;

template <class T>
class CutsOf : public testing::Test {};
using AllTypes = testing::Types<signed char, unsigned char, short, int, float, double>;
TYPED_TEST_SUITE(CutsOf, AllTypes);

TYPED_TEST(CutsOf, AreThePlainTwins) {
    expect_plain_twins<TypeParam>(
        {cut_at(3, 0), cut_at(3, -1), cut_at(2.5, 1, 0), cut_at(2.5, -9), cut_at(-1, 0), cut_at(-1, -1)});
}

// A quadratic set that has no pieces, and a set without the method.
TEST(Cuts, LeaveSetsOutAsBandsDo) {
    const CellMesh cells = all_kinds(4);
    const MeshPtr mesh = cells.make();
    const std::vector<int> data = random_values<int>(cells.nnodes(), 6, 5);
    mesh->cell_funcs[0].funcs.tesselate_func = nullptr;
    mesh->cell_funcs[3].funcs.cut_func = nullptr;
    mesh->cell_funcs[4].funcs.contour_func = nullptr;
    expect_plain(mesh.get(), data, cut_at(3, 0));
    expect_plain(mesh.get(), data, {2, 4});
}

// Node 1 lies at the level.
TEST(Cuts, BelowALevelRunBesideTheNodesAtIt) {
    const CellMesh cells{std::vector<float>(9), {{"tri_1", {0, 1, 2}}}};
    const Split below = split<int>(cells.make().get(), {0, 1, 2}, cut_at(1, -1));
    EXPECT_EQ(below.nodes, (Connect{0, 1, -1}));
    EXPECT_EQ(below.min_node, (Connect{0, 0}));
    EXPECT_EQ(below.max_node, (Connect{1, 2}));
    EXPECT_EQ(below.connect[4].size(), 3u);
    EXPECT_EQ(std::count(below.connect[4].begin(), below.connect[4].end(), 1), 0);
    const Split above = split<int>(cells.make().get(), {0, 1, 2}, cut_at(1, 0));
    EXPECT_EQ(above.nodes, (Connect{-1, 0, 1}));
    EXPECT_EQ(above.ncells(), 2);
    const Split box = split(unit_grid({2, 2, 2}).get(), Connect(8, 1), cut_at(1, 0));
    EXPECT_EQ(box.connect[3], (Connect{4, 5, 7, 6, 0, 1, 3, 2}));
    EXPECT_EQ(box.cells[3], Connect{0});
}

// All eight pieces of each tetrahedron; the last chunk is a short one.
TEST(Cuts, OfQuadraticCellsTellTheCells) {
    const CellMesh cells = quadratic(block_of(Cube::kTets, 7));
    const Split s = split(cells.make().get(), Connect(cells.nnodes()), cut_at(0, 0));
    ASSERT_EQ(s.cells[0].size(), 8u * 6 * 343);
    for (std::size_t i = 0; i < s.cells[0].size(); ++i) ASSERT_EQ(s.cells[0][i], static_cast<int>(i / 8));
}

TYPED_TEST(CutsOf, NodesAreMappedCountedAndListed) {
    using T = TypeParam;
    using M = Members<T>;
    const std::vector<T> data = {0, 2, 9, 3, 4, 5};
    const T null = 9;
    const int dims[] = {3, 2};
    constexpr int kType = type_code<T>;
    const auto check = [&](double level, int side, const Connect &map, const Connect &list) {
        const auto kept = static_cast<int>(list.size());
        Connect rows[4] = {Connect(6, -7), Connect(6, -7), Connect(6, -1), Connect(6, -1)};
        Connect lists[2] = {Connect(list.size()), Connect(list.size())};
        int counts[2] = {};
        EXPECT_EQ(UTILnode_thresh(6, kType, data.data(), 1, &null, level, side, rows[0].data()), kept);
        EXPECT_EQ(M::map(6, data.data(), 1, null, level, side, rows[1].data()), kept);
        EXPECT_EQ(UTILnnode_thresh_struct(2, dims, data.data(), kType, 1, &null, level, side), kept);
        EXPECT_EQ(M::count(2, dims, data.data(), 1, null, level, side), kept);
        UTILnode_thresh_struct(6, data.data(), kType, 1, &null, level, side, 100, &counts[0], lists[0].data(),
                               rows[2].data());
        M::list(6, data.data(), 1, null, level, side, 100, &counts[1], lists[1].data(), rows[3].data());
        for (const Connect &r : rows) EXPECT_EQ(r, map);
        for (const Connect &l : lists) EXPECT_EQ(l, list);
        EXPECT_EQ(counts[0] + counts[1], 2 * kept);
    };
    check(3, -1, {0, 1, -1, 2, -1, -1}, {100, 101, 103});
    check(2.5, -1, {0, 1, -1, -1, -1, -1}, {100, 101});
    check(3, 0, {-1, -1, -1, 0, 1, 2}, {103, 104, 105});
}

TEST(Cuts, NodesOfUnknownTypes) {
    const int dims[] = {4};
    int n = -7;
    isohost_quiet_errors(1);
    isohost_clear_errors();
    EXPECT_EQ(UTILnode_thresh(4, 6, &n, 0, nullptr, 0, 0, &n), 4);
    EXPECT_EQ(UTILnnode_thresh_struct(1, dims, &n, 6, 0, nullptr, 0, 0), 0);
    EXPECT_EQ(UTILnode_thresh_struct(1, &n, 6, 0, nullptr, 0, 0, 0, &n, &n, &n), 0);
    EXPECT_EQ(n, -7);
    EXPECT_STREQ(isohost_errors(),
                 "UTILnnode_thresh_struct: unknown data type\nUTILnnode_thresh_struct: unknown data type\n");
    isohost_clear_errors();
    isohost_quiet_errors(0);
}

}  // namespace
