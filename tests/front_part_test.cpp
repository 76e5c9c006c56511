#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "front_support.hpp"

namespace {

using isofield::ExtractionOptions;
using isofield::Mesh;
using isofield::Part;
using isofield::Side;

constexpr double kInf = std::numeric_limits<double>::infinity();
const ExtractionOptions kKeepCells = {{}, {}, true};

template <class T>
std::vector<T> list(std::span<const T> values) {
    return {values.begin(), values.end()};
}

std::vector<double> slope(const CellMesh &cells) {
    std::vector<double> values;
    for (std::size_t n = 0; n < cells.nnodes(); ++n) {
        const float *p = &cells.coords[3 * n];
        values.push_back(p[0] + 2.1 * p[1] + 0.3 * p[2]);
    }
    return values;
}

// The sign of a cell's volume, or of a flat cell's area as seen from above.
void expect_not_mirrored(const Part &part, bool flat) {
    for (const isofield::CellSet &set : part.sets()) {
        const int n = isohost_cell_type_nodes(set.type.c_str());
        if (flat != (set.type == "tri_1" || set.type == "quad_1")) continue;
        for (const int *c = set.connect.data(); c != set.connect.data() + set.connect.size(); c += n) {
            const int ends[] = {c[1], c[n == 8 ? 3 : 2], c[flat ? 0 : std::max(3, n / 2)]};
            float edges[9] = {0, 0, 0, 0, 0, 0, 0, 0, 1};
            for (int i = 0; i < (flat ? 6 : 9); ++i)
                edges[i] = part.points()[3 * ends[i / 3] + i % 3] - part.points()[3 * c[0] + i % 3];
            ASSERT_GT(MATmat3_inverse(edges, edges), -1e-6) << set.type;
        }
    }
}

// Cells lie in the cells that they come from; data is what the mesh's data was.
void expect_sound(const Part &part, const CellMesh &mesh, const std::vector<double> &values,
                  const std::set<double> &levels) {
    const std::vector<std::vector<int>> origins = cell_list(mesh);
    std::size_t next = 0;
    ASSERT_EQ(part.cells().size(), part.ncells());
    std::set<int> used;
    for (const isofield::CellSet &set : part.sets()) {
        const auto n = static_cast<std::size_t>(isohost_cell_type_nodes(set.type.c_str()));
        for (std::size_t c = 0; c < set.connect.size(); c += n) {
            const std::span<const int> cell = set.connect.subspan(c, n);
            const std::vector<int> &origin = origins.at(part.cells()[next++]);
            used.insert(cell.begin(), cell.end());
            for (int i = 0; i < 3 * static_cast<int>(n); ++i) {
                const auto at = [&](int node) { return mesh.coords[3 * node + i % 3]; };
                const float coord = part.points()[3 * cell[i / 3] + i % 3];
                ASSERT_GE(coord, at(std::ranges::min(origin, {}, at)));
                ASSERT_LE(coord, at(std::ranges::max(origin, {}, at)));
            }
        }
    }
    EXPECT_EQ(used.size(), part.npoints()) << "rows without cells";
    const std::vector<double> place(mesh.coords.begin(), mesh.coords.end());
    const std::vector<double> carried = part.carry(std::span(place), 3);
    EXPECT_TRUE(std::ranges::equal(carried, part.points(), [](double a, float b) { return float(a) == b; }));
    const std::vector<double> own = part.carry(std::span(values));
    for (std::size_t i = 0; i < part.npoints(); ++i) {
        const bool is_new = i >= part.kept_nodes().size();
        EXPECT_TRUE(is_new ? levels.count(own[i]) : own[i] == values[part.kept_nodes()[i]]) << own[i];
    }
    std::vector<int> ids(origins.size());
    std::iota(ids.begin(), ids.end(), 0);
    EXPECT_EQ(part.carry_cells(std::span<const int>(ids)), list(part.cells()));
}

double measure(const Part &part, int ndim) {
    return part.ncells() > 0 ? Mesh::of(part).integrate(ndim).measure : 0;
}

bool same(const Part &a, const Part &b) {
    const auto same_set = [](const isofield::CellSet &s, const isofield::CellSet &t) {
        return s.type == t.type && same_bits(s.connect, t.connect);
    };
    return same_bits(a.points(), b.points()) && same_bits(a.kept_nodes(), b.kept_nodes()) &&
           std::ranges::equal(a.sets(), b.sets(), same_set) && same_bits(a.cells(), b.cells());
}

// A band and what is left below and above it make the whole mesh, when cells are cut by planes.
void expect_tiling(Mesh &mesh, const CellMesh &cells, double lo, double hi) {
    const std::vector<double> values = slope(cells);
    const Part below = mesh.cut(values, lo, Side::kBelow, kKeepCells),
               band = mesh.band(values, lo, hi, kKeepCells),
               above = mesh.cut(values, hi, Side::kAbove, kKeepCells);
    expect_sound(below, cells, values, {lo});
    expect_sound(band, cells, values, {lo, hi});
    expect_sound(above, cells, values, {hi});
    expect_not_mirrored(band, cells.sets[0].type == "quad_1");
    const std::vector<double> carried = band.carry(std::span(values)), at = slope({list(band.points()), {}});
    for (std::size_t i = 0; i < at.size(); ++i) EXPECT_NEAR(carried[i], at[i], 1e-5);
    for (const int ndim : {2, 3}) {
        const double whole = mesh.integrate(ndim).measure;
        EXPECT_NEAR(measure(below, ndim) + measure(band, ndim) + measure(above, ndim), whole, 1e-5 * whole);
    }
    EXPECT_TRUE(same(mesh.band(values, hi, kInf, kKeepCells), above));
    EXPECT_EQ(band.lines_lo().size(), below.lines_lo().size());
    EXPECT_EQ(band.lines_hi().size(), above.lines_lo().size());
    const std::vector<double> ties = random_values<double>(cells.nnodes(), 9, 3);
    expect_sound(mesh.band(ties, 3, 5, kKeepCells), cells, ties, {3, 5});
}

TEST(FrontPart, GridsAndTheirCellsAreTiled) {
    for (const std::vector<int> &dims : {std::vector<int>{5, 4}, {5, 4, 6}}) {
        Kinds kinds(dims);
        const auto band = [&](Mesh &mesh) { return mesh.band(slope(kinds.cells), 2.04, 6.85, kKeepCells); };
        for (Mesh &mesh : kinds.meshes) {
            expect_tiling(mesh, kinds.cells, 3.03, 3.57);
            expect_tiling(mesh, kinds.cells, 2.04, 6.85);
            const bool is_cut_alike = dims.size() == 2 || mesh.info()->ndim > 0;
            EXPECT_EQ(same(band(mesh), band(kinds.meshes[0])), is_cut_alike);
        }
    }
}

TEST(FrontPart, CellsOfAllKindsAreTiled) {
    for (const CellMesh &cells : {mixed_block(4), all_kinds(4)}) {
        Mesh mesh = front_mesh(cells);
        expect_tiling(mesh, cells, 5.03, 5.57);
        expect_tiling(mesh, cells, 3.03, 9.57);
    }
}

// Ten nodes in two rows, with data along them.
TEST(FrontPart, RowsWithoutCellsAreLeftOut) {
    Mesh mesh = Mesh::uniform({5, 2}, {0, 0}, {4, 1});
    const std::vector<short> ties = {0, 1, 2, 3, 4, 0, 1, 2, 3, 4};
    const Part below = mesh.cut(ties, 1, Side::kBelow);
    EXPECT_EQ(list(below.kept_nodes()), (std::vector<int>{0, 5}));
    EXPECT_EQ(below.carry(std::span(ties)), (std::vector<short>{0, 0, 1, 1}));
    EXPECT_EQ(list(mesh.band(ties, 0.5, 2.5).kept_nodes()), (std::vector<int>{1, 2, 6, 7}));
    EXPECT_EQ(list(mesh.band(ties, -kInf, 1e300).kept_nodes()).size(), 10u) << "levels beyond any int";

    std::vector<float> holed(ties.begin(), ties.end());
    holed[9] = NAN;
    const Part band = mesh.band(holed, 1.5, kInf);
    EXPECT_EQ(list(band.kept_nodes()), (std::vector<int>{2, 3, 7, 8}));
    EXPECT_EQ(band.carry(std::span<const float>(holed)), (std::vector<float>{2, 3, 2, 3, 1.5, 1.5}));
    const std::vector<short> other = {0, 0, -3, 0, 0, -9, -9, 4, 0, 0};  // truncated; null
    EXPECT_EQ(band.carry(std::span(other), 1, -9.0), (std::vector<short>{-3, 0, 4, 0, -1, -9}));
    ExtractionOptions options;
    options.null_value = 4;
    EXPECT_EQ(mesh.cut(ties, 1.5, Side::kAbove, options).kept_nodes().size(), 4u);

    const Part none = mesh.cut(ties, 9.0);
    EXPECT_TRUE(none.npoints() == 0 && none.sets().empty() && none.carry(std::span(ties)).empty());
    EXPECT_THROW(Mesh::of(none), isofield::BadInput);
}

// The lines of random data meet in every new node, but for those on the border of the mesh.
TEST(FrontPart, LinesRunAlongBothLevels) {
    Kinds kinds({30, 30});
    const std::vector<float> values = random_values<float>(900, 1000, 7);
    const Part band = kinds.meshes[0].band(values, 300.5, 600.5), cut = kinds.meshes[0].cut(values, 300.5);
    const std::vector<float> carried = band.carry(std::span(values));
    for (const float level : {300.5f, 600.5f}) {
        std::vector<int> nlines(band.npoints(), 0);
        for (const auto &[a, b] : level < 500 ? band.lines_lo() : band.lines_hi()) ++nlines[a], ++nlines[b];
        for (std::size_t i = band.kept_nodes().size(); i < band.npoints(); ++i) {
            const float x = band.points()[3 * i], y = band.points()[3 * i + 1];
            const bool border = x == 0 || y == 0 || x == 29 || y == 29;
            EXPECT_EQ(nlines[i], carried[i] != level ? 0 : border ? 1 : 2);
        }
    }
    EXPECT_EQ(cut.lines_lo().size(), band.lines_lo().size());
    EXPECT_TRUE(cut.lines_hi().empty());
}

TEST(FrontPart, BodiesCutThemselvesOut) {
    Kinds kinds({21, 21, 21});
    const isofield::Body sphere = isofield::Sphere{{10, 10, 10}, 7.3};
    const isofield::Body box = isofield::Box{{-kInf, -1, 4.25}, {kInf, 99, 7.5}};
    const isofield::Body plane = isofield::Plane{{5, 5, 5}, {0, -3, 4}};
    for (Mesh &mesh : kinds.meshes) {
        const auto volume = [&](const isofield::Body &body) {
            return measure(mesh.cut(mesh.signed_distances(body), 0), 3);
        };
        EXPECT_NEAR(volume(sphere), 4.0 / 3 * std::numbers::pi * std::pow(7.3, 3), 20);
        EXPECT_NEAR(volume(box), 20 * 20 * 3.25, 1e-3);
        EXPECT_DOUBLE_EQ(mesh.signed_distances(plane)[0], -1);
        EXPECT_DOUBLE_EQ(mesh.signed_distances(sphere)[10], 7.3 - std::sqrt(200.0));
    }
    const auto refused = [&](const isofield::Body &body) {
        return refusal([&] { kinds.meshes[0].signed_distances(body); });
    };
    EXPECT_EQ(refused(isofield::Plane{{0, 0, 0}, {0, 0, 0}}), "normal is 0, which has no direction");
    EXPECT_EQ(refused(isofield::Plane{{0, kInf, 0}, {0, 0, 1}}), "point is not finite");
    EXPECT_EQ(refused(isofield::Box{{0, 0, 0}, {1, 0, 1}}), "lower[1] is not below upper[1]");
    EXPECT_EQ(refused(isofield::Sphere{{0, 0, 0}, -1}), "radius is not above 0");
}

TEST(FrontPart, APartIsAMeshAgain) {
    const CellMesh cells = mixed_block(4);
    const std::vector<double> values = slope(cells);
    Mesh mesh = front_mesh(cells);
    const Part above = mesh.cut(values, 3.3);
    const Part moved = Mesh::of(above).cut(above.carry(std::span(values)), 8.1, Side::kBelow);
    EXPECT_NEAR(measure(moved, 3), measure(mesh.band(values, 3.3, 8.1), 3), 1e-4);
}

TEST(FrontPart, RefusesAndStops) {
    Mesh mesh = Mesh::uniform({40, 40, 40}, {0, 0, 0}, {1, 1, 1}), axis = Mesh::rectilinear({{0, 1, 2}});
    const std::vector<float> values(64000), line(3);
    EXPECT_EQ(refusal([&] { mesh.band(values, 2.5, 1); }), "lo is 2.5, but must not be above hi, 1");
    EXPECT_EQ(refusal([&] { mesh.band(values, 2.5, NAN); }), "hi is nan, but must be a number");
    EXPECT_EQ(refusal([&] { mesh.cut(values, NAN); }), "level is nan, but must be a number");
    EXPECT_EQ(refusal([&] { axis.cut(line, 1); }), "the grid has 1 dimension, but a cut needs 2 or 3");
    const Part part = mesh.cut(values, 0);
    EXPECT_EQ(refusal([&] { part.carry_cells(std::span(values)); }),
              "the part does not know its cells; make it with keep_cells");
    EXPECT_EQ(refusal([&] { part.carry(std::span(line)); }), "data has 3 rows, but the mesh has 64000 nodes");
    EXPECT_EQ(refusal([&] {
                  part.carry(isofield::DataView(isofield::ElementType::kInt, &line, 64000, 129), nullptr);
              }),
              "components is 129, but must be at most 128");
    ExtractionOptions options;
    options.progress = [](int) { return false; };
    EXPECT_THROW(mesh.band(values, 0, 1, options), isofield::Interrupted);
    EXPECT_THROW(mesh.cut(values, 0, Side::kAbove, options), isofield::Interrupted);
}

}  // namespace
