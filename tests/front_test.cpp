#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <type_traits>
#include <vector>

#include "front_support.hpp"

namespace {

using isofield::DataView;
using isofield::ElementType;
using isofield::ExtractionOptions;
using isofield::Mesh;
using isofield::Surface;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

static_assert(std::is_nothrow_move_constructible_v<Mesh> && !std::is_copy_constructible_v<Mesh>);
static_assert(std::is_nothrow_move_assignable_v<Surface> && !std::is_copy_constructible_v<Surface>);

constexpr int kSide = 20;

Mesh cube() {
    return Mesh::uniform({kSide, kSide, kSide}, {0, 0, 0}, {kSide - 1, kSide - 1, kSide - 1});
}

// Squared distance from the middle of the cube, up to 120: the surface at 49 is a sphere of radius 7.
template <class T>
std::vector<T> distances() {
    std::vector<T> values;
    for (int n = 0; n < kSide * kSide * kSide; ++n) {
        const double x = n % kSide - 9.5, y = n / kSide % kSide - 9.5, z = n / kSide / kSide - 9.5;
        values.push_back(static_cast<T>(std::min(x * x + y * y + z * z, 120.0)));  // fits all types
    }
    return values;
}

bool closed(const Surface &surface) {
    std::multiset<std::pair<int, int>> edges;
    for (const auto &t : surface.triangles()) {
        for (int i = 0; i < 3; ++i) edges.insert({t[i], t[(i + 1) % 3]});
    }
    for (const auto &[a, b] : edges) {
        if (edges.count({b, a}) != edges.count({a, b})) return false;
    }
    return !edges.empty();
}

TEST(Front, ASphereOutlivesItsMeshAndCarriesData) {
    Surface moved = [] {
        Mesh mesh = cube();
        Mesh other = std::move(mesh);
        ExtractionOptions options;
        options.keep_cells = true;
        return other.isosurface(distances<float>(), 49.0, options);
    }();
    const Surface surface = std::move(moved);
    EXPECT_TRUE(closed(surface));
    ASSERT_EQ(surface.points().size(), 3 * surface.npoints());
    ASSERT_EQ(surface.cells().size(), surface.triangles().size());
    for (std::size_t i = 0; i < surface.npoints(); ++i) {
        const float *p = &surface.points()[3 * i];
        EXPECT_NEAR(std::hypot(p[0] - 9.5, p[1] - 9.5, p[2] - 9.5), 7.0, 0.05);
    }
    for (std::size_t t = 0; t < surface.cells().size(); ++t) {
        const int cell = surface.cells()[t], corner = surface.triangles()[t][0];
        EXPECT_LE(std::abs(cell % (kSide - 1) + 0.5f - surface.points()[3 * corner]), 0.5f);
    }

    std::vector<double> place;  // x and the constant 3 at every node
    for (int n = 0; n < kSide * kSide * kSide; ++n) place.insert(place.end(), {double(n % kSide), 3.0});
    const std::vector<double> carried = surface.carry(std::span<const double>(place), 2);
    ASSERT_EQ(carried.size(), 2 * surface.npoints());
    for (std::size_t i = 0; i < surface.npoints(); ++i) {
        EXPECT_NEAR(carried[2 * i], surface.points()[3 * i], 1e-5);
        EXPECT_EQ(carried[2 * i + 1], 3.0);
    }
    std::vector<short> nulls(kSide * kSide * kSide, 5);
    nulls[surface.max_node()[7]] = -99;
    const std::vector<short> with_null = surface.carry(std::span<const short>(nulls), 1, -99.0);
    EXPECT_EQ(with_null[7], -99);
    EXPECT_EQ(refusal([&] { surface.carry(std::span<const double>(place)); }),
              "data has 16000 rows, but the mesh has 8000 nodes");
}

TEST(Front, AllTypesAndMeshKindsGiveOneSurface) {
    const std::vector<float> line = [] {
        std::vector<float> lines(kSide);
        for (int i = 0; i < kSide; ++i) lines[i] = static_cast<float>(i);
        return lines;
    }();
    std::vector<float> coords;
    for (int n = 0; n < kSide * kSide * kSide; ++n) {
        coords.insert(coords.end(), {line[n % kSide], line[n / kSide % kSide], line[n / kSide / kSide]});
    }
    const auto count = [](Mesh mesh, const DataView &data) {
        return mesh.isosurface(data, 49.0).triangles().size();
    };
    const auto bytes = distances<unsigned char>();
    const std::size_t expected = count(cube(), bytes);
    EXPECT_GT(expected, 500u);
    EXPECT_EQ(count(cube(), distances<signed char>()), expected);
    EXPECT_EQ(count(cube(), distances<short>()), expected);
    EXPECT_EQ(count(cube(), distances<int>()), expected);
    EXPECT_EQ(count(cube(), distances<float>()), expected);
    EXPECT_EQ(count(cube(), distances<double>()), expected);
    EXPECT_EQ(count(cube(), DataView(ElementType::kByte, bytes.data(), bytes.size())), expected);
    EXPECT_EQ(count(Mesh::rectilinear({line, line, line}), bytes), expected);
    EXPECT_EQ(count(Mesh::structured({kSide, kSide, kSide}, coords), bytes), expected);
}

// A node that is missing takes its eight cells with it, however it is marked.
TEST(Front, NanInfiniteAndNullNodesAreMissing) {
    Mesh mesh = cube();
    const int node = 9 + kSide * (9 + kSide * 2);  // beside the sphere's pole
    std::vector<double> values = distances<double>();
    const std::size_t whole = mesh.isosurface(values, 49.0).triangles().size();
    ExtractionOptions with_null;
    with_null.null_value = -5.0;
    values[node] = -5.0;
    const std::size_t holed = mesh.isosurface(values, 49.0, with_null).triangles().size();
    EXPECT_LT(holed, whole);
    for (const double missing : {kNan, kInf, -kInf}) {
        values[node] = missing;
        EXPECT_EQ(mesh.isosurface(values, 49.0).triangles().size(), holed);
        EXPECT_EQ(mesh.isosurface(values, 49.0, with_null).triangles().size(), holed);
        EXPECT_EQ(values[0], distances<double>()[0]) << "the data is not written";
    }
    // The number that marks missing nodes must not be one of the data's own.
    std::vector<float> floats(values.begin(), values.end());
    floats[0] = std::numeric_limits<float>::lowest();
    const std::size_t corner = mesh.isosurface(floats, 49.0).triangles().size();
    EXPECT_EQ(corner, holed + 1) << "the corner keeps its triangle";

    // Nulls that the type can't hold mark nothing.
    ExtractionOptions outside;
    outside.null_value = 300.0;
    EXPECT_EQ(mesh.isosurface(distances<unsigned char>(), 49.0, outside).triangles().size(),
              mesh.isosurface(distances<unsigned char>(), 49.0).triangles().size());
}

TEST(Front, ProgressStopsItsOwnCallAlone) {
    Mesh mesh = cube();
    const std::vector<float> values = distances<float>();
    std::vector<int> program;
    isohost_set_progress_handler(
        [](int percent, const char *, void *user) {
            static_cast<std::vector<int> *>(user)->push_back(percent);
        },
        &program);
    ExtractionOptions options;
    std::vector<int> seen;
    options.progress = [&](int percent) { return seen.push_back(percent), seen.size() < 2; };
    EXPECT_THROW(mesh.isosurface(values, 49.0, options), isofield::Interrupted);
    EXPECT_EQ(seen.size(), 2u);
    EXPECT_TRUE(program.empty());
    EXPECT_EQ(isohost_interrupted(), 0);

    options.progress = [](int) -> bool { throw std::out_of_range("mine"); };
    EXPECT_THROW(mesh.isosurface(values, 49.0, options), std::out_of_range);

    EXPECT_TRUE(closed(mesh.isosurface(values, 49.0)));
    EXPECT_FALSE(program.empty()) << "the program's handler is back";
    isohost_set_progress_handler(nullptr, nullptr);

    isohost_interrupt();
    EXPECT_THROW(mesh.isosurface(values, 49.0), isofield::Interrupted);
    EXPECT_EQ(isohost_interrupted(), 1) << "an interrupt from elsewhere stays";
    isohost_clear_interrupt();
    EXPECT_TRUE(closed(mesh.isosurface(values, 49.0)));
}

TEST(Front, ErrorsCarryTheReportAndKeepStandardErrorQuiet) {
    testing::internal::CaptureStderr();
    Mesh mesh = cube();
    const std::vector<float> few(12);
    const std::vector<float> values = distances<float>();
    EXPECT_EQ(refusal([&] { mesh.isosurface(few, 1.0); }),
              "isohost_check_node_array: data has 12 rows, but the mesh has 8000 nodes");
    EXPECT_EQ(refusal([&] { mesh.isosurface(DataView(values, 2), 1.0); }),
              "data has 2 components, but must be a scalar");
    EXPECT_EQ(refusal([&] { mesh.isosurface(values, kNan); }), "level is nan, but must be a number");
    EXPECT_EQ(refusal([&] { DataView(few, 5); }),
              "data has 12 values, which are no whole rows of 5 components");
    EXPECT_EQ(refusal([&] { DataView(few, 0); }), "components is 0, but must be at least 1");
    EXPECT_EQ(refusal([&] { DataView(ElementType(6), few.data(), 12); }), "type is 6, but must be 0 to 5");
    EXPECT_EQ(refusal([&] { DataView(ElementType::kInt, nullptr, 3); }),
              "data is null, but should have 3 rows");
    EXPECT_EQ(refusal([&] {
                  Mesh::uniform({2, 2}, {0, 0}, {1});
              }),
              "upper has 1 components, but lower has 2");
    EXPECT_EQ(
        refusal([&] {
            Mesh::uniform({2, 2}, {0, 0}, {1, 0});
        }),
        "isohost_mesh_uniform: corners[3] is 0, but must be above corners[1], 0, on an axis of 2 nodes");
    EXPECT_EQ(refusal([&] { Mesh::rectilinear({}); }),
              "isohost_mesh_rectilinear: ndim is 0, but must be 1 to 3");
    EXPECT_EQ(refusal([&] {
                  Mesh::rectilinear({{0, 1}, {}});
              }),
              "isohost_mesh_rectilinear: dims[1] is 0, but must be at least 1");
    EXPECT_EQ(refusal([&] {
                  Mesh::structured({2, 3}, few, 3);
              }),
              "coords has 12 values, but the mesh needs 18");
    EXPECT_EQ(
        refusal([&] {
            Mesh::structured({70000, 70000}, few, 3);
        }),
        "isohost_mesh_structured: dims[1] is 70000, which makes 4900000000 nodes, but there can be at most "
        "2147483647");
    const std::vector<int> connect = {0, 1, 2, 1, 2, 4};
    const std::vector<isofield::CellSet> triangles = {{"tri_1", connect}}, quads = {{"quad_1", connect}},
                                         unknown = {{"tri_3", connect}};
    EXPECT_EQ(refusal([&] { Mesh::cells(few, triangles); }),
              "isohost_mesh_cells: sets[0].connect[5] is 4, but the mesh has 4 nodes (0 to 3)");
    EXPECT_EQ(refusal([&] { Mesh::cells(few, quads); }),
              "sets[0].connect has 6 values, which are no whole rows of 4");
    EXPECT_EQ(refusal([&] { Mesh::cells(few, unknown); }),
              "isohost_mesh_cells: sets[0].type is \"tri_3\", but there is no such cell type");

    Mesh cut_off = cube();
    cut_off.info()->get_points = [](MeshInfo *, float **) { return 0; };
    try {
        cut_off.isosurface(values, 49.0);
        ADD_FAILURE() << "made without points";
    } catch (const isofield::BadInput &) {
        ADD_FAILURE() << "the input is good";
    } catch (const isofield::Error &error) {
        EXPECT_STREQ(error.what(), "util: unable to get field points");
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    ERRerror("program", 1, 2, "to clear");
    EXPECT_STREQ(isohost_errors(), "util: unable to get field points\nprogram: to clear\n");
}

TEST(Front, ALevelOutsideTheDataGivesAnEmptySurface) {
    Mesh mesh = cube();
    for (const double level : {-1.0, 1e6, kInf, -kInf}) {
        const Surface surface = mesh.isosurface(distances<float>(), level);
        EXPECT_EQ(surface.npoints(), 0u);
        EXPECT_TRUE(surface.triangles().empty() && surface.points().empty() && surface.cells().empty());
        EXPECT_TRUE(surface.carry(std::span<const float>(distances<float>())).empty());
    }
}

// ---- Lines, and sets of cells

using isofield::Isolines;
using isofield::Line;

std::vector<std::vector<int>> joined(const std::vector<Line> &lines, std::size_t npoints) {
    const isofield::Polylines polylines = isofield::join_lines(lines, npoints);
    std::vector<std::vector<int>> result;
    for (std::size_t i = 0; i < polylines.size(); ++i) {
        result.emplace_back(polylines[i].begin(), polylines[i].end());
    }
    return result;
}

TEST(Front, LinesAreJoinedWhereJustTwoMeet) {
    using Joined = std::vector<std::vector<int>>;
    EXPECT_EQ(joined({}, 0), Joined{});
    EXPECT_EQ(joined({{3, 5}, {5, 4}, {1, 0}, {4, 3}, {1, 2}}, 7), (Joined{{0, 1, 2}, {3, 5, 4, 3}}));
    EXPECT_EQ(joined({{0, 1}, {2, 1}, {1, 3}, {3, 4}}, 5), (Joined{{0, 1}, {1, 2}, {1, 3, 4}}));
    EXPECT_EQ(joined({{0, 1}, {1, 0}, {2, 2}}, 3), (Joined{{0, 1, 0}, {2, 2}}));
}

// Two quadrilaterals, a hex, a triangle and another hex, side by side along x.
TEST(Front, CellsOfAllSetsCountThrough) {
    std::vector<float> coords, x;
    for (int n = 0; n < 12; ++n) {
        coords.insert(coords.end(), {float(n % 3), float(n / 3 % 2), float(n / 6)});
        x.push_back(float(n % 3));
    }
    const std::vector<int> quads = {0, 1, 4, 3, 1, 2, 5, 4}, left = {0, 1, 4, 3, 6, 7, 10, 9},
                           tri = {7, 8, 10}, right = {1, 2, 5, 4, 7, 8, 11, 10};
    const isofield::CellSet sets[] = {{"quad_1", quads}, {"hex_1", left}, {"tri_1", tri}, {"hex_1", right}};
    Mesh mesh = Mesh::cells(coords, sets);
    ExtractionOptions keep;
    keep.keep_cells = true;
    const auto list = [](std::span<const int> cells) { return std::vector<int>(cells.begin(), cells.end()); };
    const Surface surface = mesh.isosurface(x, 1.5, keep);
    EXPECT_EQ(list(surface.cells()), (std::vector<int>{4, 4}));
    EXPECT_EQ(list(surface.line_cells()), (std::vector<int>{1, 3}));
    EXPECT_EQ(surface.npoints(), 5u) << "sheet and lines share their nodes";
    for (std::size_t i = 0; i < surface.npoints(); ++i) EXPECT_EQ(surface.points()[3 * i], 1.5f);
    const Isolines isolines = mesh.isolines(x, 0.5, keep);
    EXPECT_EQ(list(isolines.line_cells()), (std::vector<int>{0}));
    EXPECT_EQ(isolines.lines().size(), 1u);
    EXPECT_TRUE(mesh.isolines(x, 0.5).line_cells().empty());

    const isofield::CellSet with_line[] = {{"quad_1", quads}, {"line_1", std::span(quads).first(2)}};
    Mesh lines = Mesh::cells(coords, with_line);
    EXPECT_EQ(lines.isolines(x, 0.5).lines().size(), 1u);
    EXPECT_EQ(refusal([&] { lines.isosurface(x, 0.5); }),
              "sets[1] holds lines, of which an isosurface has no part; leave the set out");
}

TEST(Front, ACircleOnGridsOfTwoDimensions) {
    std::vector<float> line, coords, squares;
    for (int i = 0; i < kSide; ++i) line.push_back(static_cast<float>(i));
    for (int n = 0; n < kSide * kSide; ++n) {
        coords.insert(coords.end(), {line[n % kSide], line[n / kSide]});
        squares.push_back(std::pow(line[n % kSide] - 9.5f, 2) + std::pow(line[n / kSide] - 9.5f, 2));
    }
    Mesh grids[] = {Mesh::uniform({kSide, kSide}, {0, 0}, {kSide - 1, kSide - 1}),
                    Mesh::rectilinear({line, line}), Mesh::structured({kSide, kSide}, coords, 2)};
    ExtractionOptions keep;
    keep.keep_cells = true;
    for (Mesh &grid : grids) {
        const Isolines circle = grid.isolines(squares, 49.0, keep);
        const isofield::Polylines polylines = isofield::join_lines(circle.lines(), circle.npoints());
        ASSERT_EQ(polylines.size(), 1u);
        EXPECT_EQ(polylines[0].size(), circle.lines().size() + 1);
        EXPECT_EQ(polylines[0].front(), polylines[0].back());
        for (std::size_t l = 0; l < circle.lines().size(); ++l) {
            const float *p = &circle.points()[3 * circle.lines()[l][0]];
            EXPECT_NEAR(std::hypot(p[0] - 9.5, p[1] - 9.5), 7.0, 0.05);
            EXPECT_EQ(p[2], 0.0f);
            EXPECT_LE(std::abs(circle.line_cells()[l] % (kSide - 1) + 0.5f - p[0]), 0.5f);
        }
        const Surface surface = grid.isosurface(squares, 49.0, keep);
        EXPECT_TRUE(std::ranges::equal(surface.lines(), circle.lines()));
        EXPECT_TRUE(std::ranges::equal(surface.line_cells(), circle.line_cells()));
        EXPECT_TRUE(surface.triangles().empty() && surface.cells().empty());
        std::vector<float> holed = squares;
        holed[9 + kSide * 2] = std::numeric_limits<float>::quiet_NaN();
        EXPECT_LT(grid.isolines(holed, 49.0).lines().size(), circle.lines().size());
    }
    Mesh axis = Mesh::rectilinear({line}), box = cube();
    EXPECT_EQ(refusal([&] { axis.isolines(line, 1.0); }),
              "isolines need a grid of 2 dimensions, but this one has 1");
    EXPECT_EQ(refusal([&] { axis.isosurface(line, 1.0); }),
              "the grid has 1 dimension, but an isosurface needs 2 or 3");
    EXPECT_EQ(refusal([&] { box.isolines(distances<float>(), 1.0); }),
              "isolines need a grid of 2 dimensions, but this one has 3");
}

// ---- Places, integrals, cell data on nodes

using isofield::Integral;
using isofield::Locator;

TEST(Front, PlacesAndSamplesInCells) {
    const CellMesh cells = mixed_block(4);
    Mesh mesh = front_mesh(cells);
    Locator locator(mesh);
    // Three components that are the place itself, and a node that is missing.
    const std::vector<float> points = {0.3f, 0.4f, 1.2f, 3.9f, 3.9f, 3.8f, 9, 9, 9};
    std::vector<float> place = cells.coords;
    const std::vector<isofield::Place> places = locator.find(points);
    EXPECT_TRUE(places[0].found() && places[1].found() && !places[2].found());
    EXPECT_EQ(locator.find({0.3f, 0.4f, 1.2f})->cell, places[0].cell);
    EXPECT_FALSE(locator.find({9, 9, 9}));
    isofield::SampleOptions options;
    options.fill = -1;
    const std::vector<float> samples = locator.sample(points, DataView(place, 3), options);
    EXPECT_EQ(locator.sample(places, DataView(place, 3), options), samples);
    for (int i = 0; i < 9; ++i) EXPECT_NEAR(samples[i], i < 6 ? points[i] : -1, 0.1);
    place[3 * 124] = kInf;  // the upper corner
    EXPECT_EQ(locator.sample(points, DataView(place, 3), options)[3], -1);
    EXPECT_TRUE(std::isnan(locator.sample(points, DataView(place, 3))[6]));
    EXPECT_EQ(refusal([&] { locator.find(std::span(points).first(4)); }),
              "points has 4 values, which are no whole rows of 3");
    EXPECT_THROW(Locator(mesh, [](int) { return false; }), isofield::Interrupted);
}

TEST(Front, PlacesOnGridsCountCells) {
    Mesh grid = Mesh::uniform({4, 3, 3}, {0, 0, 0}, {3, 2, 2});
    Locator locator(grid);
    const isofield::Place place = *locator.find({2.5f, 1.5f, 1.25f});
    EXPECT_EQ(place.cell, 2 + 3 * (1 + 2 * 1));
    std::vector<short> x(36);
    for (int n = 0; n < 36; ++n) x[n] = static_cast<short>(2 * (n % 4));
    EXPECT_EQ(locator.sample(std::span(&place, 1), x), (std::vector<float>{5}));
}

// Pyramids and quadratic cells too, whose rules are the front's own.
TEST(Front, IntegralsOverAllKindsOfCells) {
    const CellMesh linear = mixed_block(4), quadratic_hexes = quadratic(block_of(Cube::kHex, 4));
    for (const CellMesh *cells : {&linear, &quadratic_hexes}) {
        Mesh mesh = front_mesh(*cells);
        std::vector<float> x(cells->nnodes());
        for (std::size_t n = 0; n < x.size(); ++n) x[n] = cells->coords[3 * n];
        const Integral whole = mesh.integrate(3, x);
        EXPECT_NEAR(whole.measure, 64, 1e-4);
        EXPECT_NEAR(whole.mean(), 2, 1e-5);
        x[0] = kInf;
        const Integral holed = mesh.integrate(3, x);
        EXPECT_GT(holed.null_cells, 0u);
        EXPECT_EQ(holed.null_cells + holed.ncells, whole.ncells);
        EXPECT_NEAR(holed.measure, 63, 1e-4);
        EXPECT_EQ(mesh.integrate(2).ncells, 0u);
        EXPECT_EQ(refusal([&] { mesh.integrate(4); }), "ndim is 4, but must be 1 to 3");
    }
}

TEST(Front, CellDataComesToNodes) {
    const std::vector<float> coords = {0, 0, 1, 0, 1, 1, 0, 1, 2, 0, 5, 5};
    const std::vector<int> square = {0, 1, 2, 3}, triangle = {1, 4, 2};
    const isofield::CellSet sets[] = {{"quad_1", square}, {"tri_1", triangle}};
    Mesh mesh = Mesh::cells(coords, sets, 2);
    const std::vector<short> rows = {3, 10, 6, 30};
    const std::vector<double> nodes = mesh.cell_to_node(DataView(rows, 2));
    EXPECT_EQ(std::vector<double>(nodes.begin(), nodes.begin() + 10),
              (std::vector<double>{3, 10, 4.5, 20, 4.5, 20, 3, 10, 6, 30}));
    EXPECT_TRUE(std::isnan(nodes[10]) && std::isnan(nodes[11])) << "of no cell";
    isofield::CellToNodeOptions options;
    options.null_value = 6;
    EXPECT_TRUE(std::isnan(mesh.cell_to_node(DataView(rows, 2), options)[3]));
    EXPECT_EQ(refusal([&] { mesh.cell_to_node(rows); }), "data has 4 rows, but the mesh has 2 cells");
    options.power = -1;
    EXPECT_EQ(refusal([&] { mesh.cell_to_node(DataView(rows, 2), options); }),
              "power is -1, but must be at least 0");
}

}  // namespace
