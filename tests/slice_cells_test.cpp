#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <numeric>

#include "plain_extraction.hpp"

namespace {

using Connect = std::vector<int>;

TEST(CellSets, SurfacesAndLinesAreThePlainTwins) {
    const CellMesh cells = all_kinds(17);
    for (const CellSetData &set : cells.sets)
        EXPECT_GT(set.ncells(), 1024) << "several polls, several chunks";
    const MeshPtr mesh = cells.make();
    const std::vector<float> data = random_values<float>(cells.nnodes(), 6, 5);
    const float null = 3;
    for (const float *null_value : {static_cast<const float *>(nullptr), &null}) {
        for (const bool surface : {true, false}) {
            const auto run = surface ? isosurface<float> : isolines<float>;
            const Extracted made = run(mesh.get(), data.data(), 3.0, null_value, true);
            PlainExtraction<float> plain(data, 3.0, null_value);
            for (std::size_t set = 0; set < cells.sets.size(); ++set) {
                const bool untouched = !surface && mesh->cell_ndim[set] == 3;
                EXPECT_EQ(made.cell_count[set] == Extracted::kUntouched, untouched) << set;
                if (untouched) continue;
                plain.add(cells.sets[set], mesh->cell_funcs[set].funcs.tesselate_func);
                EXPECT_EQ(made.cells(set), plain.cells.back()) << set;
                EXPECT_EQ(mesh->cell_ncells[set], cells.sets[set].ncells()) << "the record is as it was";
                EXPECT_EQ(mesh->cell_nnodes[set], cells.sets[set].nnodes());
                EXPECT_EQ(mesh->cell_connect[set], cells.sets[set].connect.data());
            }
            EXPECT_EQ(made.result, 1);
            EXPECT_EQ(made.edges(), plain.edges());
            EXPECT_EQ(made.triangles(), plain.triangles);
            EXPECT_EQ(made.lines(), plain.lines);
            EXPECT_EQ(made.tri_size + made.line_size, 3 * made.ntris + 2 * made.nlines);
            const Extracted without_list = run(mesh.get(), data.data(), 3.0, null_value, false);
            EXPECT_EQ(without_list.triangles(), plain.triangles);
            EXPECT_EQ(without_list.lines(), plain.lines);
        }
    }
}

// A random field below the level on the border, with many ties to it.
TEST(SliceCells, ClosedAndManifoldAcrossKinds) {
    const CellMesh cells = mixed_block(14);
    const MeshPtr mesh = cells.make();
    for (unsigned seed = 1; seed <= 3; ++seed) {
        const std::vector<int> data = random_inside(cells, 14, 3, seed);
        const Extracted surface = isosurface(mesh.get(), data.data(), 2.0);
        ASSERT_GT(surface.ntris, 10000);
        expect_closed_and_manifold(surface);
    }
}

// The triangles of the six-cornered polygon round nodes 0, 1 and 3 of a pyramid lie in part in its base. Two
// such pyramids base to base draw the same edges there: four triangles meet in each of two edges. It takes
// both: counted from the next node of its base, one of them draws nothing into it.
TEST(SliceCells, PyramidsBaseToBaseMayMeetTwiceInAnEdge) {
    const std::vector<int> data = {1, 0, 1, 0, 1, 1};  // the base, and the two apexes
    for (const bool next : {false, true}) {
        CellMesh cells{{0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, .5, .5, -1, .5, .5, 1}, {}};
        cells.add("pyr_1", {4, 0, 1, 2, 3});
        cells.add("pyr_1", next ? Connect{5, 1, 0, 3, 2} : Connect{5, 0, 3, 2, 1});
        const MeshPtr mesh = cells.make();
        const Extracted surface = isosurface(mesh.get(), data.data(), 1.0);
        EXPECT_EQ(surface.ntris, 8);
        std::map<std::pair<int, int>, int> runs;
        const std::vector<int> tris = surface.triangles();
        for (std::size_t t = 0; t < tris.size(); t += 3) {
            for (std::size_t c = 0; c < 3; ++c) ++runs[{tris[t + c], tris[t + (c + 1) % 3]}];
        }
        int doubled = 0;
        for (const auto &[edge, times] : runs) doubled += times == 2;
        EXPECT_EQ(doubled, next ? 0 : 4) << "each way";
    }
}

// The volume is that enclosed, positive when normals point outwards.
std::pair<double, double> area_and_volume(const Evaluated &surface) {
    double area = 0, volume = 0;
    for (std::size_t t = 0; t < surface.triangles.size(); t += 3) {
        std::array<std::array<double, 3>, 3> p;
        for (std::size_t c = 0; c < 3; ++c) {
            const float *corner = &surface.points[3 * static_cast<std::size_t>(surface.triangles[t + c])];
            std::copy_n(corner, 3, p[c].begin());
        }
        std::array<double, 3> normal;
        for (std::size_t d = 0; d < 3; ++d) {
            const std::size_t e = (d + 1) % 3, f = (d + 2) % 3;
            normal[d] = (p[1][e] - p[0][e]) * (p[2][f] - p[0][f]) - (p[1][f] - p[0][f]) * (p[2][e] - p[0][e]);
        }
        area += std::hypot(normal[0], normal[1], normal[2]) / 2;
        volume += (p[0][0] * normal[0] + p[0][1] * normal[1] + p[0][2] * normal[2]) / 6;
    }
    return {area, volume};
}

TEST(SliceCells, SphereHasItsAreaAndVolumeAndPointsToTheUpperSide) {
    const CellMesh cells = mixed_block(26);
    const MeshPtr mesh = cells.make();
    std::vector<float> distance;
    for (std::size_t n = 0; n < cells.coords.size(); n += 3) {
        const float *p = &cells.coords[n];
        distance.push_back(std::hypot(p[0] - 13.0f, p[1] - 13.0f, p[2] - 13.0f));
    }
    const double radius = 10.0;
    const auto [area, volume] = area_and_volume(evaluate(mesh.get(), distance, radius));
    const double pi = std::acos(-1.0);
    EXPECT_NEAR(area, 4 * pi * radius * radius, 0.01 * area);
    EXPECT_NEAR(volume, 4.0 / 3 * pi * radius * radius * radius, 0.01 * volume) << "normals point outwards";
}

// ---- Quadratic cells

// Tells a list of pieces, whose order is settled: the sum of its node numbers, each times its place.
int fingerprint(const Connect &pieces) {
    int sum = 0;
    for (int place = 1; const int node : pieces) sum += place++ * node;
    return sum;
}

// Two copies of one cell: each has pieces of one orientation that fill it.
void check_pieces(const std::string &type, const std::vector<float> &corners, Tesselate tesselate,
                  int per_cell, double size, int expected_fingerprint) {
    Connect nodes(corners.size() / 3);
    std::iota(nodes.begin(), nodes.end(), 0);
    CellMesh cell = quadratic({corners, {{type, nodes}}});
    Connect connect = cell.sets[0].connect;  // nodes in order
    connect.insert(connect.end(), cell.sets[0].connect.begin(), cell.sets[0].connect.end());
    const CellSetData pieces = pieces_of(tesselate, 2, connect);
    ASSERT_EQ(pieces.ncells(), 2 * per_cell) << type;
    double sum = 0;
    for (auto piece = pieces.connect.begin(); piece != pieces.connect.end(); piece += pieces.nnodes()) {
        const double of_piece = measure(cell.coords, &*piece, pieces.nnodes());
        EXPECT_GT(of_piece, 0.0) << type;
        sum += of_piece;
    }
    EXPECT_DOUBLE_EQ(sum, 2 * size) << type;
    const auto half = pieces.connect.begin() + static_cast<std::ptrdiff_t>(pieces.connect.size() / 2);
    EXPECT_EQ(fingerprint(Connect(pieces.connect.begin(), half)), expected_fingerprint) << type;
    EXPECT_TRUE(std::equal(half, pieces.connect.end(), pieces.connect.begin())) << type;
    EXPECT_EQ(pieces_of(tesselate, 0, connect).ncells(), 0) << type;
}

TEST(QuadraticCells, PiecesFillTheirCells) {
    check_pieces("tri_1", {0, 0, 0, 1, 0, 0, 0, 1, 0}, UTILtesselate_tri_2, 4, 1, 287);
    check_pieces("quad_1", {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}, UTILtesselate_quad_2, 6, 2, 900);
    check_pieces("tet_1", {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1}, UTILtesselate_tet_2, 8, 1, 3417);
    check_pieces("pyr_1", {1, 1, 1, 0, 0, 0, 0, 2, 0, 2, 2, 0, 2, 0, 0}, UTILtesselate_pyr_2, 13, 8, 10440);
    check_pieces("hex_1", {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 0, 0, 1, 1, 0, 1, 1, 1, 1, 0, 1, 1},
                 UTILtesselate_hex_2, 22, 6, 46525);
    // The library has two middles of prisms in each other's place, which the host puts right.
    const CellMesh prisms = quadratic(block_of(Cube::kPrisms, 1));
    check_pieces("prism_1", {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 0, 1, 0, 1, 1},
                 prisms.make()->cell_funcs[0].funcs.tesselate_func, 16, 3, 17904);
    const Connect nodes = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14};
    EXPECT_EQ(fingerprint(pieces_of(UTILtesselate_prism_2, 1, nodes).connect), 17866);
}

TEST(QuadraticCells, ClosedAndManifold) {
    for (const Cube cube : {Cube::kHex, Cube::kPrisms, Cube::kTets}) {
        const CellMesh cells = quadratic(block_of(cube, 6));
        const MeshPtr mesh = cells.make();
        const std::vector<int> data = random_inside(cells, 6, 3, 2);
        const Extracted surface = isosurface(mesh.get(), data.data(), 2.0);
        ASSERT_GT(surface.ntris, 3000);
        expect_closed_and_manifold(surface);
    }
}

}  // namespace
