// Glyphs: against their plain form to the last bit, and the oddities by hand.
#include <gtest/gtest.h>

#include <cmath>

#include "support.hpp"

namespace {

using Floats = std::vector<float>;

// All that a call takes but the mesh. Scale and map data that are empty are the data themselves.
template <class T>
struct Glyph {
    int veclen = 3, scale_veclen = 1, map_veclen = 1;
    std::vector<T> data = {}, scale_data = {}, map_data = {};
    const T *null_value = nullptr;
    bool orient = false, vector_scale = false, normalize = false;
    double scale = 1;
    std::array<int, 3> axis_flags = {1, 1, 1};
    Floats node_xform = {}, glyph_xform = {};
    int glyph_nspace = 3;
    Floats glyph_coords = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    int out_nspace = 3;

    int nvertices() const { return static_cast<int>(glyph_coords.size()) / glyph_nspace; }
};

struct Stamped {
    Floats coords, values;

    bool operator==(const Stamped &o) const {
        return same_bits(one_nan(coords), one_nan(o.coords)) && same_bits(one_nan(values), one_nan(o.values));
    }
};

template <class T>
Stamped stamp(const MeshPtr &mesh, const Glyph<T> &g) {
    const auto count = static_cast<std::size_t>(mesh->nnodes * g.nvertices());
    Stamped out{Floats(count * g.out_nspace), Floats(count)};
    const T *const scale_data = (g.scale_data.empty() ? g.data : g.scale_data).data();
    const T *const map_data = (g.map_data.empty() ? g.data : g.map_data).data();
    EXPECT_EQ(UTILglyph_func(mesh.get(), type_code<T>, g.veclen, g.data.data(), g.null_value != nullptr,
                             g.null_value, g.scale_veclen, g.map_veclen, scale_data, map_data, g.orient,
                             g.vector_scale, g.normalize, g.scale, g.axis_flags.data(), g.node_xform.data(),
                             g.nvertices(), g.glyph_nspace, g.glyph_coords.data(), g.glyph_xform.data(),
                             g.out_nspace, out.coords.data(), out.values.data()),
              1);
    return out;
}

Point cross(const Point &a, const Point &b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
float length(const Point &a) {
    return static_cast<float>(std::sqrt(double{a[0] * a[0] + a[1] * a[1] + a[2] * a[2]}));
}
Point divided(const Point &a, float by) {
    return {a[0] / by, a[1] / by, a[2] / by};
}
template <class T>
Point row(const std::vector<T> &values, std::size_t node, int width) {
    Point p = {0, 0, 0};
    for (int c = 0; c < width && !values.empty(); ++c) p[c] = static_cast<float>(values[node * width + c]);
    return p;
}

template <class T>
Stamped plain_stamp(const Floats &node_coords, int nspace, const Glyph<T> &g) {
    const float none = static_cast<float>(1e-24);
    Stamped out;
    for (std::size_t node = 0; node * nspace < node_coords.size(); ++node) {
        Point at = row(node_coords, node, nspace), vector = row(g.data, node, g.veclen), scales;
        if (!g.node_xform.empty()) MATvec3_mat4_multiply(at.data(), g.node_xform.data());
        const bool vectors = g.veclen > 1, turned = g.orient && vectors, own_map = g.map_data.empty();
        const Point by = row(g.scale_data, node, g.scale_veclen),
                    map = own_map ? vector : row(g.map_data, node, g.map_veclen);
        const float value = vectors ? length(vector) : vector[0], size = std::abs(value);
        const bool null = g.null_value && g.data[node * g.veclen] == *g.null_value;
        const bool collapsed = null || (size < none && !g.normalize);
        const bool raw = null || (g.map_veclen == 1 && !collapsed);
        scales.fill(static_cast<float>(g.scale * (g.normalize            ? 1
                                                  : g.scale_data.empty() ? value
                                                  : g.scale_veclen == 1  ? by[0]
                                                                         : length(by))));
        if (g.vector_scale) {
            if (g.normalize) vector = size < none ? Point{1, 0, 0} : divided(vector, size);
            for (int d = 0; d < 3; ++d) scales[d] = static_cast<float>(vector[d] * g.scale);
        }
        float rows[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
        if (turned && !(size < none)) {
            const Point u = divided(vector, size), beside = cross(u, {0, 0, 1}),
                        w = length(beside) < none ? cross(u, {0, 1, 0}) : beside, v = divided(w, length(w)),
                        n = cross(u, v);
            for (int d = 0; d < 3; ++d)
                std::tie(rows[d], rows[3 + d], rows[6 + d]) = std::tie(u[d], v[d], n[d]);
        }
        for (int v = 0; v < g.nvertices(); ++v) {
            Point p = row(g.glyph_coords, v, g.glyph_nspace);
            if (!g.glyph_xform.empty()) MATvec3_mat4_multiply(p.data(), g.glyph_xform.data());
            if (turned) MATvec_by_mat(p.data(), rows, p.data(), 1, 3, 3);
            for (int d = 0; d < g.out_nspace; ++d) {
                const float scaled = g.axis_flags[d] ? p[d] * scales[d] : p[d];
                out.coords.push_back(collapsed ? at[d] : scaled + at[d]);
            }
            out.values.push_back(own_map && !null ? value : raw ? map[0] : length(map));
        }
    }
    return out;
}

template <class T>
class GlyphOf : public testing::Test {};
using AllTypes = testing::Types<signed char, unsigned char, short, int, float, double>;
TYPED_TEST_SUITE(GlyphOf, AllTypes);

// Many zeros, so that there are vectors along z and none; nulls; reals that are tiny or not finite.
TYPED_TEST(GlyphOf, IsThePlainOne) {
    using T = TypeParam;
    const FourKinds line({70}, {-1, 5.5f}), plane({9, 8}, {0, 1, 5.5f, 5}),
        box({5, 4, 3}, {0, 0, 1, 3, 2, 2});
    const Floats corners = {1, 2, 7, 2, 2.5f, 7};
    const MeshPtr in_space = uniform_mesh({5, 3}, corners);
    Floats space_coords(45);
    UTILget_coords_unif(2, in_space->dims, 3, corners.data(), 0, 15, 0, 3, space_coords.data());
    const T null = 3;
    std::mt19937 random(5);
    const auto flag = [&] { return random() % 2 == 1; };
    const auto len = [&] { return static_cast<int>(random() % 3) + 1; };
    const auto values = [&](std::size_t count) {
        const double odd[] = {5e-25, -2e-24, 1e-20, 0.3, INFINITY, NAN};
        std::vector<T> all = random_values<T>(count, 6, random());
        for (T &x : all) {
            x = static_cast<T>(random() % 3 ? x - 2 : 0);
            if (std::is_floating_point_v<T> && random() % 8 == 0) x = static_cast<T>(odd[random() % 6]);
        }
        return all;
    };
    const auto reals = [&](std::size_t count) {
        Floats all = random_values<float>(count, 9, random());
        for (float &x : all) x = x * 0.3f - 1;
        return all;
    };
    for (int n = 0; n < 800; ++n) {
        const FourKinds &grid = *std::array{&line, &plane, &box}[n / 5 % 3];
        const MeshPtr &mesh = n % 5 == 4 ? in_space : grid.meshes[n % 5];
        Glyph<T> g{len(), len(), len()};
        g.data = values(mesh->nnodes * g.veclen);
        if (flag()) g.scale_data = values(mesh->nnodes * g.scale_veclen);
        if (flag()) g.map_data = values(mesh->nnodes * g.map_veclen);
        if (flag()) g.null_value = &null;
        for (bool *of : {&g.orient, &g.vector_scale, &g.normalize}) *of = flag();
        g.scale = 0.1 * (n % 40) - 1;
        if (n % 3 == 0) g.axis_flags[random() % 3] = 0;
        if (flag()) g.node_xform = reals(16);
        if (flag()) g.glyph_xform = reals(16);
        g.glyph_nspace = len();
        g.glyph_coords = reals(g.glyph_nspace * (n % 50 == 4 ? 2100 : std::array{1, 3, 50}[n % 3]));
        g.out_nspace = len();
        const Floats &coords = n % 5 == 4 ? space_coords : grid.coords;
        ASSERT_TRUE(stamp(mesh, g) == plain_stamp(coords, mesh->nspace, g)) << n;
    }
}

// One node at (10, 20, 30), with the unit vectors as template.
TEST(Glyph, Oddities) {
    const MeshPtr mesh = uniform_mesh({1, 1, 1}, {10, 20, 30, 11, 21, 31});
    const auto expect = [&](const Glyph<float> &g, Floats offsets, float value) {
        const Stamped made = stamp(mesh, g);
        for (std::size_t i = 0; i < 9; ++i) offsets[i] += 10.0f * static_cast<float>(i % 3 + 1);
        EXPECT_EQ(made.coords, offsets);
        EXPECT_EQ(made.values, Floats(3, value));
    };
    const Floats none(9, 0.0f);
    const float null = 5;
    expect({.data = {5, 1, 2}, .null_value = &null}, none, 5);
    expect({.data = {0, 0, 0}, .map_data = {-4}}, none, 4);
    Glyph<float> g{.data = {0, 0, 0}, .map_data = {-4}, .orient = true, .normalize = true, .scale = 2};
    expect(g, {2, 0, 0, 0, 2, 0, 0, 0, 2}, -4);
    g.vector_scale = true;
    expect(g, {2, 0, 0, 0, 0, 0, 0, 0, 0}, -4);
    expect({.veclen = 1, .scale_veclen = 3, .data = {-3}}, {-3, 0, 0, 0, -3, 0, 0, 0, -3}, -3);
    expect({.data = {0, 0, 2}, .orient = true}, {0, 0, 2, -2, 0, 0, 0, -2, 0}, 2);
    expect({.data = {0, 0, -2}, .orient = true}, {0, 0, -2, 2, 0, 0, 0, -2, 0}, 2);
    expect({.data = {0, 0, 2}, .orient = true, .axis_flags = {1, 1, 0}}, {0, 0, 1, -2, 0, 0, 0, -2, 0}, 2);
    expect({.data = {2, 0, 0}, .orient = true, .vector_scale = true, .normalize = true},
           {0.5f, 0, 0, 0, 0, 0, 0, 0, 0}, 2);
}

}  // namespace
