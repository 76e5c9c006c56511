#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <numbers>
#include <random>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "front_support.hpp"

namespace {

using namespace isofield;
constexpr double kPi = std::numbers::pi;

// How often each edge of cells is run along, from the first node to the second.
template <class List>
std::map<Line, int> directed_edges(const List &cells) {
    std::map<Line, int> edges;
    for (const auto &cell : cells)
        for (std::size_t i = 0; i < cell.size(); ++i) ++edges[{cell[i], cell[(i + 1) % cell.size()]}];
    return edges;
}
std::ptrdiff_t count_open(const std::map<Line, int> &edges) {
    return std::ranges::count_if(edges, [&](const auto &edge) {
        const auto back = edges.find({edge.first[1], edge.first[0]});
        return back == edges.end() || back->second != edge.second;
    });
}

// The skin is closed, has the volume when its faces look outwards, and faces are those of their cells.
void expect_skin(const Mesh &mesh, const CellMesh &cells, double volume) {
    const Submesh skin = mesh.external_faces();
    std::vector<double> points(skin.points().begin(), skin.points().end());
    points.insert(points.end(), {0, 0, 0});
    const int origin = static_cast<int>(skin.nnodes());
    const std::vector<std::vector<int>> owners = cell_list(cells);
    std::vector<std::vector<int>> faces;
    double sixfold = 0;
    for (const CellSet &set : skin.sets()) {
        const int size = isohost_cell_type_nodes(set.type.c_str()), n = size > 4 ? size / 2 : size;
        for (const int *c = set.connect.data(); c != set.connect.data() + set.connect.size(); c += size) {
            const std::vector<int> &owner = owners.at(skin.cells()[faces.size()]);
            faces.emplace_back(c, c + n);
            for (int i = 0; i < n; ++i) {
                const int tet[] = {c[0], c[i], c[(i + 1) % n], origin};
                sixfold -= measure(points, tet, 4);
                EXPECT_EQ(std::ranges::count(owner, skin.nodes()[c[i]]), 1);
                for (int d = 0; d < 3 && size > n; ++d)
                    EXPECT_NEAR(2 * points[3 * c[n + i] + d], points[3 * c[i] + d] + points[3 * tet[2] + d],
                                1e-5);
            }
        }
    }
    EXPECT_NEAR(sixfold / 6, volume, 1e-4 * volume);
    EXPECT_EQ(count_open(directed_edges(faces)), 0);
}

TEST(FrontMaking, SkinsAreClosedAndFaceOutwards) {
    CellMesh curved = quadratic(mixed_block(4));
    std::erase_if(curved.sets, [](const CellSetData &set) { return set.type == "pyr_2"; });
    for (CellMesh cells : {mixed_block(4), curved}) {
        const double volume = front_mesh(cells).integrate(3).measure;
        expect_skin(front_mesh(cells), cells, volume);
        for (std::size_t i = 0; i < cells.coords.size(); i += 3) cells.coords[i] *= -1;  // all inside out
        expect_skin(front_mesh(cells), cells, volume);
    }
    Kinds kinds({4, 3, 5}, 0.25f, true);
    for (Mesh &mesh : kinds.meshes) expect_skin(mesh, kinds.cells, mesh.integrate(3).measure);
    const std::vector<float> coords = {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 1, 1, 0, 0, -1};
    const CellMesh fins{coords, {{"tet_1", {0, 1, 2, 3, 0, 1, 2, 4}}, {"tet_1", {0, 2, 1, 5}}}};
    const CellMesh together{coords, {{"tet_1", {0, 1, 2, 3, 0, 1, 2, 4, 0, 2, 1, 5}}}};
    for (const CellMesh &three : {fins, together})
        EXPECT_EQ(front_mesh(three).external_faces().cells().size(), 9u) << "the face of all three is inside";
}

TEST(FrontMaking, EveryEdgeStandsOnce) {
    const CellMesh mixed = mixed_block(3);
    const std::vector<Line> edges = front_mesh(mixed).edges();
    EXPECT_EQ(edges.size(), quadratic(mixed).nnodes() - mixed.nnodes());
    EXPECT_TRUE(std::ranges::is_sorted(edges));
    EXPECT_TRUE(std::ranges::adjacent_find(edges) == edges.end());
    for (const std::vector<int> &dims : {std::vector<int>{4, 3}, {4, 3, 5}}) {
        Kinds kinds(dims);
        for (const Mesh &mesh : kinds.meshes) EXPECT_EQ(mesh.edges(), kinds.meshes[3].edges());
    }
}

// The skin of 3 x 3 x 3 cubes, with faces split and two of them turned over.
TEST(FrontMaking, ACubeHasTwelveCreases) {
    const Submesh skin = Mesh::uniform({4, 4, 4}, {0, 0, 0}, {3, 3, 3}).external_faces();
    for (const int nsplit : {0, 20, 54}) {
        CellMesh cells{{skin.points().begin(), skin.points().end()}, {}};
        for (int i = 0; i < 54; ++i) {
            const int *c = &skin.sets()[0].connect[4 * i];
            const bool turn = i == 3 || i == 30;
            if (i >= nsplit) cells.add("quad_1", {c[0], c[turn ? 3 : 1], c[2], c[turn ? 1 : 3]});
            if (i < nsplit) cells.add("tri_1", {c[0], c[turn ? 2 : 1], c[turn ? 1 : 2]});
            if (i < nsplit) cells.add("tri_1", {c[0], c[2], c[3]});
        }
        const FeatureEdges edges = front_mesh(cells).feature_edges(kPi / 2 - 1e-5);
        EXPECT_EQ(std::ranges::count(edges.kinds, EdgeKind::kCrease), 36);
        for (const Line &line : edges.lines) {
            int sides = 0;
            for (int d = 0; d < 3; ++d) {
                const float a = skin.points()[3 * line[0] + d], b = skin.points()[3 * line[1] + d];
                sides += a == b && (a == 0 || a == 3);
            }
            EXPECT_EQ(sides, 2);
        }
        EXPECT_TRUE(front_mesh(cells).feature_edges(kPi / 2 + 1e-5).lines.empty());
    }
}

// Sheets on the edge 0 1, at 0, 150, 180, 90 and 270 degrees.
TEST(FrontMaking, FoldsAndSheetsAreTold) {
    const std::vector<float> coords = {0,  0, 0, 0, 0, 1, 1, 0,  0, -0.8660254f, 0.5f, 0,
                                       -1, 0, 0, 0, 1, 0, 0, -1, 0};
    const struct {
        std::vector<int> triangles;
        double degrees;
        int kind;  // -1: no feature
    } kCases[] = {
        {{0, 1, 2}, 0, 0},
        {{0, 1, 2, 1, 0, 3}, 29.99, 1},
        {{0, 1, 2, 0, 1, 3}, 29.99, 1},
        {{0, 1, 2, 0, 1, 3}, 30.01, -1},  // wound against each other
        {{0, 1, 3, 0, 1, 4}, 140, 1},
        {{0, 1, 2, 0, 1, 5, 1, 0, 4}, 180, 2},
        {{0, 1, 2, 1, 0, 4, 0, 1, 5, 1, 0, 6}, 180, 2},  // two smooth pairs
    };
    for (const auto &test : kCases) {
        const CellSet sets[] = {{"tri_1", test.triangles}};
        const FeatureEdges edges = Mesh::cells(coords, sets).feature_edges(test.degrees * kPi / 180);
        EXPECT_EQ(edges.lines[0] == Line({0, 1}) ? static_cast<int>(edges.kinds[0]) : -1, test.kind);
    }
}

TEST(FrontMaking, LoftsCloseAndFaceOutwards) {
    const auto ring = [](int n, float radius, float z, double turn) {
        std::vector<float> points;
        for (int i = 0; i < n; ++i) {
            const double angle = turn * 2 * kPi * i / n;
            points.insert(points.end(),
                          {radius * float(std::cos(angle)), radius * float(std::sin(angle)), z});
        }
        return points;
    };
    for (const float size : {1.0f, 1e-30f, 1e30f}) {
        for (const int way : {0, 1, 2, 3}) {
            const std::vector<float> a = ring(50, size, 0, way & 1 ? 1 : -1);
            const std::vector<float> b = ring(4, 2 * size, size, way & 2 ? 1 : -1);
            std::vector<double> points;
            for (const float coord : a) points.push_back(double{coord} / size);
            for (const float coord : b) points.push_back(double{coord} / size);
            points.insert(points.end(), {0, 0, 0.5});
            const std::vector<Triangle> strip = loft(a, b, static_cast<LoftStart>(way));
            for (const Triangle &t : strip) {
                const int tet[] = {t[0], t[1], t[2], 54};
                EXPECT_LT(measure(points, tet, 4), 0);
            }
            EXPECT_EQ(directed_edges(strip).size(), 3u * 54) << "no edge is run along twice";
            EXPECT_EQ(count_open(directed_edges(strip)), 54);
        }
    }
}

// Random points, those of a grid and clusters far from 0; among them missing ones and duplicates.
std::vector<float> cloud(int kind) {
    std::mt19937 engine(5);
    std::vector<float> points;
    for (int i = 0; i < 512; ++i) {
        for (const int at : {i % 8, i / 8 % 8, i / 64}) {
            const float random = static_cast<float>(engine() % 65536) / 65536,
                        near = float(at / 4) + random / 8;
            points.push_back(kind == 0 ? random : kind == 1 ? 0.1f * float(at) : 7000 + near);
        }
        const Point last = {points.end()[-3], points.end()[-2], points.end()[-1]};
        if (i % 50 == 0) points.insert(points.end(), last.begin(), last.end());
        if (i % 50 == 7) points.insert(points.end(), {last[0], NAN, last[2]});
    }
    return points;
}

// Simplices are the right way round and have empty spheres. Returns their measure.
template <std::size_t N, class Result>
double expect_delaunay(const std::vector<float> &points, const Result &made,
                       const std::vector<std::array<int, N + 1>> &simplices) {
    using namespace front;
    std::vector<float> coords;
    for (std::size_t i = 0; i < points.size(); ++i)
        if (i % 3 < N) coords.push_back(points[i]);
    const Simplices<N> space(coords);
    double sum = 0;
    for (const auto &simplex : simplices) {
        const auto [a, b, c] = space.edges(simplex);
        const double size = space.orientation(simplex), aa = dot(a, a), bb = dot(b, b),
                     cc = N == 3 ? dot(c, c) : 0;
        const Vector bc = cross(b, c), ca = cross(c, a), ab = cross(a, b), first = space.point(simplex[0]);
        EXPECT_GT(size, 0);
        sum += size / (N == 3 ? 6 : 2);
        for (std::size_t i = 0; i < space.npoints(); ++i) {
            double squared = 0, radius = 0;
            for (std::size_t d = 0; d < N; ++d) {
                const double to = (aa * bc[d] + bb * ca[d] + cc * ab[d]) / (2 * size);
                radius += to * to;
                squared += std::pow(space.point(i)[d] - first[d] - to, 2);
            }
            EXPECT_FALSE(squared < (1 - 1e-5) * radius) << i;  // NaN is nowhere
        }
    }
    EXPECT_EQ(made.missing, 11u);
    EXPECT_EQ(made.used + made.unused + made.missing + made.duplicates, space.npoints());
    EXPECT_EQ(made.violations, 0u);
    return sum;
}

TEST(FrontMaking, PointsAreTriangulated) {
    for (const int kind : {0, 1, 2}) {
        std::vector<float> points = cloud(kind);
        const Tetrahedralization space = delaunay_3d(points, {.verify = true});
        EXPECT_EQ(space.duplicates, 11u);
        EXPECT_EQ(space.used, 512u);
        const double volume = expect_delaunay<3>(points, space, space.tetrahedra);
        EXPECT_NEAR(volume, kind == 0 ? 0.95 : kind == 1 ? 0.343 : 1.38, kind == 1 ? 1e-6 : 0.05);
        for (std::size_t i = 2; i < points.size(); i += 3) points[i] = NAN;  // doesn't count
        const Triangulation plane = delaunay_2d(points, {.verify = true});
        const double area = expect_delaunay<2>(points, plane, plane.triangles);
        EXPECT_NEAR(area, kind == 0 ? 0.98 : kind == 1 ? 0.49 : 1.26, kind == 1 ? 1e-6 : 0.02);
        const auto hull = static_cast<std::size_t>(count_open(directed_edges(plane.triangles)));
        EXPECT_EQ(plane.triangles.size(), 2 * plane.used - 2 - hull);
    }
    std::vector<float> line;
    for (int i = 0; i < 90; ++i) line.push_back(float(i / 3));
    EXPECT_EQ(delaunay_2d(line).unused, 30u);
    EXPECT_TRUE(delaunay_3d(line).tetrahedra.empty());
}

TEST(FrontMaking, HeightsTellTheirError) {
    const HeightGrid grid = {{17, 9}, {-4, 100}, {4, 102}};
    std::mt19937 engine(3);
    for (const int kind : {0, 1, 2, 3}) {
        std::vector<double> heights;
        for (int i = 0; i < 17 * 9; ++i) {
            const int x = i % 17, y = i / 17, noise = static_cast<int>(engine() % 1000);
            heights.push_back(kind == 0   ? 5
                              : kind == 1 ? 2 * x - y
                              : kind == 2 ? noise / 500.0
                                          : -std::abs(x - y));
        }
        const HeightMesh mesh = simplify_heights(heights, grid, 0.25);
        std::vector<double> places;
        for (std::size_t i = 0; i < mesh.points.size(); ++i)
            places.push_back(i % 3 == 0 ? 2 * mesh.points[i] + 8 : i % 3 == 1 ? 4 * mesh.points[i] - 400 : 0);
        double worst = 0, area = 0;
        for (const Triangle &t : mesh.triangles) {
            const double size = measure(places, t.data(), 3);
            EXPECT_GE(size, 0);
            area += size / (2 * 16 * 8);
            for (int node = 0; size > 0 && node < 17 * 9; ++node) {
                double height = 0, least = 1;
                for (int c = 0; c < 3; ++c) {
                    std::vector<double> with = places;
                    with.insert(with.end(), {node % 17 + 0.0, node / 17 + 0.0, 0});
                    const int part[] = {t[(c + 1) % 3], t[(c + 2) % 3], static_cast<int>(places.size() / 3)};
                    const double share = measure(with, part, 3) / size;
                    height += share * mesh.points[3 * t[c] + 2];
                    least = std::min(least, share);
                }
                if (least > -1e-9) worst = std::max(worst, std::abs(heights[node] - height));
            }
        }
        EXPECT_NEAR(mesh.worst, worst, 1e-6);
        EXPECT_EQ(mesh.above_tolerance > 0, worst > 0.25);
        EXPECT_NEAR(mesh.coverage, area, 1e-9);
        EXPECT_TRUE(kind == 2 ? area > 1 - 1e-6 : area == 1 && mesh.triangles.size() < 4) << "noise may fold";
    }
}

TEST(FrontMaking, RefusesAndStops) {
    const Mesh flat = Mesh::uniform({4, 3}, {0, 0}, {1, 1}),
               body = Mesh::uniform({2, 2, 2}, {0, 0, 0}, {1, 1, 1});
    const std::vector<float> dots(9, 1), triangle = {0, 0, 0, 1, 0, 0, 0, 1, 0}, line(6, 2);
    std::vector<float> holed(17 * 9, 1);
    holed[20] = NAN;
    const auto simplify = [&](const HeightGrid &grid, double tolerance) {
        simplify_heights(holed, grid, tolerance);
    };
    const std::pair<std::function<void()>, const char *> kCases[] = {
        {[&] { flat.external_faces(); },
         "the mesh has no volume cells; the external edges of surface cells are their feature_edges"},
        {[&] { body.feature_edges(); }, "the mesh has volume cells alone; its external_faces have edges"},
        {[&] { flat.feature_edges(NAN); }, "angle is nan, but must be at least 0"},
        {[&] { loft(triangle, dots); }, "b has a perimeter of 0 in x and y"},
        {[&] { loft(line, triangle); }, "a has 2 points, but must have at least 3"},
        {[&] { loft(triangle, std::span(holed).subspan(18, 9)); }, "b[2] is nan, but must be finite"},
        {[&] { delaunay_2d(dots, {.margin = -1}); }, "margin is -1, but must be 0 to 1e+06"},
        {[&] {
             simplify({{17, 9}, {0, 0}, {1, 1}}, 1);
         },
         "heights has a missing value at node (3, 1): fill it first, for instance with the mean of its "
         "neighbours"},
        {[&] {
             simplify({{17, 9}, {0, 0}, {1, 1}}, -1);
         },
         "tolerance is -1, but must be at least 0"},
        {[&] {
             simplify({{1, 153}, {0, 0}, {1, 1}}, 1);
         },
         "grid.dims[0] is 1, but must be at least 2"},
        {[&] {
             simplify({{17, 9}, {0, 2}, {1, 2}}, 1);
         },
         "grid.upper[1] is 2, but must be above grid.lower[1], 2"},
        {[&] {
             simplify({{17, 8}, {0, 0}, {1, 1}}, 1);
         },
         "heights has 153 rows, but the grid has 136 nodes"},
    };
    for (const auto &[call, words] : kCases) EXPECT_EQ(refusal(call), words);
    EXPECT_THROW(delaunay_3d(cloud(0), {.progress = [](int) { return false; }}), Interrupted);
}

}  // namespace
