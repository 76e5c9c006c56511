#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <span>
#include <utility>
#include <vector>

#include "front_support.hpp"

namespace {

using namespace isofield;
using Floats = std::vector<float>;

// Node data of f(x, y, z), an array.
template <class F>
Floats field(Mesh &mesh, F f) {
    float *xyz = nullptr;
    mesh.info()->get_coords(mesh.info(), &xyz);
    Floats values;
    for (int n = 0; n < mesh.nnodes(); ++n, xyz += mesh.info()->nspace) {
        for (const float v : f(xyz[0], xyz[1], mesh.info()->nspace > 2 ? xyz[2] : 0)) values.push_back(v);
    }
    return values;
}
Point place(float x, float y, float z) {
    return {x, y, z};
}
Point spin(float x, float y, float) {
    return {4 - y, x - 4, 0.2f};
}
Point saddle(float x, float y, float) {
    return {x - 4, 4 - y, 0};
}

// Meshes of the cube from 0 to 8: grids, and cells of all linear kinds, or tets, with moved inner nodes.
struct Cubes {
    Kinds grids{{9, 9, 9}};
    CellMesh cells[2] = {mixed_block(8), block_of(Cube::kTets, 8)};
    std::vector<Mesh> meshes = std::move(grids.meshes);
    static constexpr std::size_t kMixed = 4;

    Cubes() {
        for (CellMesh &mesh : cells) {
            for (float *p = mesh.coords.data(); p != mesh.coords.data() + mesh.coords.size(); p += 3) {
                const Point at = {p[0], p[1], p[2]};
                if (std::ranges::any_of(at, [](float x) { return x == 0 || x == 8; })) continue;
                for (int d = 0; d < 3; ++d)
                    p[d] += 0.2f * std::sin(2 * at[(d + 1) % 3] + 3 * at[(d + 2) % 3]);
            }
            meshes.push_back(front_mesh(mesh));
        }
    }
};

// Along (4 + 2 cos t, 4 + 2 sin t, 3 + t / 5), up to 5.
TEST(FrontStreamlines, ConvergeByTheOrderOfTheirSteps) {
    Cubes cubes;
    for (std::size_t m = 0; m < cubes.meshes.size(); ++m) {
        const Floats vectors = field(cubes.meshes[m], spin);
        Locator locator(cubes.meshes[m]);
        const auto error = [&](int order, int steps, bool native = false) {
            const Streamlines line = locator.streamlines(
                Point{6, 4, 3}, {vectors, 3}, {.order = order, .steps_per_cell = steps, .native = native});
            double largest = line.times().back() > 5 ? 0 : INFINITY;
            for (std::size_t i = 0; line.times()[i] < 5; ++i) {
                const float t = line.times()[i], *p = &line.points()[3 * i];
                const Point at = {4 + 2 * std::cos(t), 4 + 2 * std::sin(t), 3 + t / 5};
                for (int d = 0; d < 3; ++d) largest = std::max(largest, std::abs(double{p[d]} - at[d]));
            }
            return largest;
        };
        EXPECT_GT(error(1, 2), 1.5 * error(1, 4)) << m;
        EXPECT_GT(error(2, 2), 3 * error(2, 4)) << m;
        EXPECT_GT(error(4, 1), 12 * error(4, 2)) << m;
        EXPECT_LT(error(4, 2), 3e-4) << m;
        EXPECT_EQ(error(4, 2, true) > 3e-4, m == Cubes::kMixed) << m;
    }
}

TEST(FrontStreamlines, BothDirectionsMeetInTheSeed) {
    Cubes cubes;
    Mesh &mesh = cubes.meshes[Cubes::kMixed];
    const Floats vectors = field(mesh, saddle);
    Locator locator(mesh);
    const auto trace = [&](FlowDirection direction) {
        return locator.streamlines(Floats{4.5f, 7, 3, 9, 9, 9}, {vectors, 3}, {.direction = direction});
    };
    const Streamlines both = trace(FlowDirection::kBoth), up = trace(FlowDirection::kUpstream),
                      down = trace(FlowDirection::kDownstream);
    EXPECT_TRUE(std::ranges::equal(both.points().first(up.points().size()), up.points()));
    EXPECT_TRUE(std::ranges::equal(both.points().last(down.points().size()), down.points()));
    for (std::size_t i = 0; i < both.npoints(); ++i) {
        const Point p = {both.points()[3 * i], both.points()[3 * i + 1], both.points()[3 * i + 2]};
        const float grown = std::exp(both.times()[i]);
        EXPECT_TRUE(std::abs(p[0] - 4 - grown / 2) + std::abs(p[1] - 4 - 3 / grown) < 4e-3) << i;
        EXPECT_EQ(both.cells()[i], locator.find(p)->cell);
        EXPECT_TRUE(i == 0 || both.lengths()[i - 1] < both.lengths()[i]) << i;
    }
    EXPECT_EQ(both.lengths()[up.npoints() - 1], 0);
    EXPECT_TRUE(both.offsets()[1] == both.offsets()[2] && both.ends()[1].upstream == LineEnd::kLeftMesh);
}

TEST(FrontStreamlines, TellWhyTheyEnd) {
    Cubes cubes;
    for (const std::size_t m : {std::size_t{0}, Cubes::kMixed}) {
        Locator locator(cubes.meshes[m]);
        const Floats xs = field(cubes.meshes[m], [](float x, float, float) { return std::array{x}; });
        // Along x from `from`, to where the last point lies between `least` and `most`.
        const auto expect_end = [&](LineEnd end, float from, float least, float most, auto speed,
                                    StreamlineOptions options = {}) {
            options.null_value = -9;
            std::vector<double> data;
            for (const float x : xs) data.insert(data.end(), {speed(x), 0, speed(x) - speed(x)});
            const Streamlines line = locator.streamlines(Point{from, 1, 1}, {data, 3}, options);
            EXPECT_EQ(line.ends()[0].downstream, end);
            const float last = line.npoints() ? line.points()[line.points().size() - 3] : 0;
            EXPECT_TRUE(least <= last && last <= most) << last << " " << static_cast<int>(end);
        };
        const auto one = [](float) { return 1.0f; };
        const auto null = [](float x) { return x < 5.5f ? 1.0f : -9.0f; };
        const auto slowing = [](float x) { return 5 - x; };
        expect_end(LineEnd::kLeftMesh, 1, 7.5f, 8, one);
        expect_end(LineEnd::kMaximum, 1, 1.1f, 3, one, {.max_points = 3});
        expect_end(LineEnd::kMissingData, 1, 4, 5.5f, null);
        expect_end(LineEnd::kMissingData, 7, 0, 0, null);
        expect_end(LineEnd::kMissingData, 1, 4, 5.5f, [](float x) { return x < 5.5f ? 1 : INFINITY; });
        expect_end(LineEnd::kStagnation, 1, 4.2f, 4.5f, slowing, {.min_speed = 0.5});
        expect_end(LineEnd::kStagnation, 1, 4.7f, 5, slowing);
        expect_end(LineEnd::kStagnation, 1, 4.2f, 4.8f, [](float x) { return x < 4.5f ? 1.0f : -1.0f; });
        expect_end(LineEnd::kFailedStep, 1, 4.7f, 5.3f, slowing, {.native = true});
        expect_end(LineEnd::kStagnation, 1, 0, 0, [](float) { return 0.0f; });
    }
}

TEST(FrontStreamlines, InThePlane) {
    Mesh flat = Mesh::uniform({5, 5}, {0, 0}, {4, 4});
    Locator locator(flat);
    const Floats ones(50, 1.0f);
    EXPECT_EQ(locator.streamlines(Point{1, 2, 0}, {ones, 2}).points()[5], 0);
    const auto refused = [&](const DataView &data, const StreamlineOptions &options, float y = 2) {
        return refusal([&] { locator.streamlines(Point{1, y, 0}, data, options); });
    };
    EXPECT_EQ(refused({Floats(75), 3}, {}), "data has 3 components, but the mesh has 2 space dimensions");
    EXPECT_EQ(refused({ones, 2}, {.order = 5}), "order is 5, but must be 1 to 4");
    EXPECT_EQ(refused({ones, 2}, {.min_speed = NAN}), "min_speed is nan, but must be finite and at least 0");
    EXPECT_EQ(refused({ones, 2}, {}, INFINITY), "seeds[1] is inf, but must be finite");
    EXPECT_THROW(refused({ones, 2}, {.progress = [](int) { return false; }}), Interrupted);
}

// Six times that of a body of which every edge runs once each way.
double volume(std::span<const float> points, std::span<const Triangle> triangles) {
    std::set<std::pair<int, int>> edges;
    double sum = 0;
    for (const Triangle &t : triangles) {
        for (int c = 0; c < 3; ++c) {
            const int e = (c + 1) % 3, f = (c + 2) % 3;
            EXPECT_TRUE(edges.emplace(t[c], t[e]).second);
            const float *p[] = {&points[3 * t[0]], &points[3 * t[1]], &points[3 * t[2]]};
            sum += p[0][c] * (p[1][e] * p[2][f] - p[1][f] * p[2][e]);
        }
    }
    for (const auto &[a, b] : edges) EXPECT_TRUE(edges.contains({b, a}));
    return sum;
}

TEST(FrontGlyphs, StandAtTheirNodesAndPointAlong) {
    const GlyphShape arrow = GlyphShape::arrow(), cone = GlyphShape::cone(40), ball = GlyphShape::sphere(40);
    EXPECT_NEAR(volume(cone.points, cone.triangles), 1.571, 0.01);
    EXPECT_NEAR(volume(ball.points, ball.triangles), 3.142, 0.04);
    for (Kinds grids({3, 4, 2}, 0.5f, true); Mesh & mesh : grids.meshes) {
        const Floats at = field(mesh, place);
        Floats vectors = field(mesh, [](float x, float y, float z) { return Point{y - 1, z, x}; });
        vectors[3 * 5 + 1] = NAN;
        vectors[3 * 7] = -9;
        std::fill_n(&vectors[3 * 11], 3, 0.0f);
        const std::vector<int> values(24, -4), chosen = {23, 5, 2}, beyond = {3, 24};
        const Glyphs all = mesh.glyphs({vectors, 3}, arrow, {.null_value = -9, .values = values});
        EXPECT_EQ(all.nodes().size(), 22u);
        for (int tip = all.points_per_glyph() - 1; const int node : all.nodes()) {
            EXPECT_TRUE(node != 5 && node != 7 && all.values()[tip] == -4);
            for (int d = 0; d < 3; ++d)
                EXPECT_NEAR(all.points()[3 * tip + d], at[3 * node + d] + vectors[3 * node + d], 1e-5);
            tip += all.points_per_glyph();
        }
        const Glyphs two = mesh.glyphs({vectors, 3}, arrow, {.scale_by_data = false, .nodes = chosen});
        EXPECT_TRUE(std::ranges::equal(two.nodes(), std::vector<int>{23, 2}));
        EXPECT_NEAR(volume(two.points(), two.triangles()), 2 * volume(arrow.points, arrow.triangles), 1e-3);
        EXPECT_NEAR(two.values().back(), std::hypot(vectors[6], vectors[7], vectors[8]), 1e-5);
        const Glyphs mirrored = mesh.glyphs(values, arrow);
        EXPECT_GT(volume(mirrored.points(), mirrored.triangles()), 0);
        EXPECT_EQ(refusal([&] { mesh.glyphs(values, arrow, {.nodes = beyond}); }),
                  "nodes[1] is 24, but must be 0 to 23");
    }
}

// Elements up to an x as the edges of their nodes.
template <class Element>
auto as_edges(const NewNodes &nodes, std::span<const Element> elements, float x = INFINITY) {
    std::vector<std::set<int>> rows;
    for (const Element &element : elements) {
        if (nodes.points()[3 * element[0]] > x) continue;
        rows.emplace_back();
        for (const int n : element) rows.back().insert(nodes.min_node()[n] * 10000 + nodes.max_node()[n]);
    }
    return rows;
}

// Of two balls, round x = 4 and x = 12, the first.
TEST(FrontTrace, OneOfTwoSheetsOrLines) {
    for (const std::vector<int> &dims : {std::vector<int>{17, 9, 9}, {17, 9}}) {
        const float z = dims.size() == 3 ? 4 : 0;
        const Point at = {6.3f, 4.1f, z};
        for (Kinds grids(dims); Mesh & mesh : grids.meshes) {
            const Floats balls = field(mesh, [z](float x, float y, float w) {
                return std::array{std::hypot(std::min(x - 4, 12.1f - x), y - 4, w - z)};
            });
            Locator locator(mesh);
            const auto trace = [&](bool native) {
                if (z == 0) {
                    const LevelLine line = locator.level_line(balls, at, {.native = native});
                    return as_edges(line.lines, line.lines.lines());
                }
                const Sheet sheet = locator.sheet(balls, at, {.native = native, .keep_cells = true});
                EXPECT_EQ(sheet.surface.cells().size(), native ? 0 : sheet.surface.triangles().size());
                return as_edges(sheet.surface, sheet.surface.triangles());
            };
            const auto part = trace(false);
            const Surface whole = mesh.isosurface(balls, locator.sample(at, balls)[0]);
            EXPECT_EQ(part,
                      z == 0 ? as_edges(whole, whole.lines(), 8) : as_edges(whole, whole.triangles(), 8));
            if (mesh.info()->ndim == 0) {
                EXPECT_NE(refusal([&] { trace(true); }), "accepted");
                continue;
            }
            EXPECT_FALSE(trace(true).empty());
            for (const auto &row : trace(true)) EXPECT_TRUE(std::ranges::count(part, row));
        }
    }
}

TEST(FrontTrace, RefusesPlacesWithoutALevel) {
    Mesh mesh = Mesh::uniform({3, 3, 3}, {0, 0, 0}, {2, 2, 2});
    Locator locator(mesh);
    Floats valley(27, 1.0f);
    valley[13] = 0;
    EXPECT_EQ(locator.sheet(valley, {1, 1, 1}).surface.npoints(), 0u);
    valley[0] = NAN;
    const auto refused = [&](float x) { return refusal([&] { locator.sheet(valley, {x, 0, 0}); }); };
    EXPECT_EQ(refused(0), "the point (0, 0, 0) is in a cell with missing data");
    EXPECT_EQ(refused(3), "the point (3, 0, 0) is in no cell of the mesh");
}

TEST(FrontSlice, PointsAndDataLieOnThePlane) {
    Kinds grids({6, 5, 7}, 0.1f);
    for (Mesh &mesh : std::span(grids.meshes).first(2)) {
        Floats places = field(mesh, place);
        const PlaneSlice slice = mesh.plane_slice({2, 6, -9}, -4);  // of length 11
        const Floats carried = slice.carry({places, 3});
        for (std::size_t i = 2; i < places.size(); i += 60) places[i] = INFINITY;
        const Floats holed = slice.carry({places, 3});
        int inside = 0, missing = 0;
        for (int i = 0; i < 30; ++i) {
            const float *p = &slice.points()[3 * i], *row = &carried[3 * i];
            EXPECT_NEAR((2 * p[0] + 6 * p[1] - 9 * p[2]) / 11, -4, 1e-5);
            EXPECT_TRUE(std::abs(p[0] - places[3 * i]) < 1e-5 && std::abs(p[1] - places[3 * i + 1]) < 1e-5);
            for (int d = 0; d < 3; ++d)
                EXPECT_TRUE(slice.inside()[i] ? std::abs(row[d] - p[d]) < 1e-5 : std::isnan(row[d]));
            inside += slice.inside()[i];
            missing += std::isnan(holed[3 * i + 2]);
        }
        EXPECT_EQ(inside, static_cast<int>(slice.ninside()));
        EXPECT_TRUE(inside > 8 && inside < 30 && missing > 30 - inside) << inside << " " << missing;
        EXPECT_EQ(mesh.plane_slice({0, 0, 1}, -1).ninside(), 0u);
    }
    EXPECT_THROW(grids.meshes[2].plane_slice({0, 0, 1}, 1), BadInput);
}

}  // namespace
