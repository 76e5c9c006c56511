#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>

#include "slice_tables.hpp"
#include "support.hpp"

namespace {

using isofield::detail::ncell_hex;
using isofield::detail::ninter_polys_hex;
using isofield::detail::ninter_pts_hex;
using isofield::detail::npcel_hex;
using isofield::detail::nppoly_hex;

// The plain twin of the sweep: every cell in order, its new nodes looked up in a rolling edge table.
struct PlainSurface {
    std::vector<int> edges, triangles, cells;
};

template <class T>
PlainSurface plain_isosurface(const std::vector<int> &dims, const std::vector<T> &data, double level,
                              const T *null_value) {
    const int d0 = dims[0], d1 = dims[1], plane = d0 * d1;
    PlainSurface surface;
    EdgeTableStr *table = UTILedge_table_create_str(2 * plane, 1000);
    for (int k = 0; k < dims[2] - 1; ++k) {
        for (int j = 0; j < d1 - 1; ++j) {
            for (int i = 0; i < d0 - 1; ++i) {
                const int p = k * plane + j * d0 + i;
                const int nodes[8] = {p,         p + 1,         p + 1 + d0,         p + d0,
                                      p + plane, p + 1 + plane, p + 1 + d0 + plane, p + d0 + plane};
                const int bit_nodes[8] = {0, 1, 4, 5, 3, 2, 7, 6};
                int index = 0;
                bool null = false;
                for (int bit = 0; bit < 8; ++bit) {
                    const T value = data[static_cast<std::size_t>(nodes[bit_nodes[bit]])];
                    index |= (static_cast<double>(value) >= level) << bit;
                    null = null || (null_value && value == *null_value);
                }
                if (null || index == 0 || index == 255) continue;
                int left[12], right[12], out[12];
                const int npts = ninter_pts_hex[index];
                for (int n = 0; n < npts; ++n) {
                    left[n] = nodes[isofield::detail::left_vert_hex[index][n]];
                    right[n] = nodes[isofield::detail::right_vert_hex[index][n]];
                }
                UTILedge_table_add_str(table, left, right, k * plane, npts, out);
                const int *corner = out;
                for (int polygon = 0; polygon < ninter_polys_hex[index]; ++polygon) {
                    const int m = nppoly_hex[index][polygon];
                    for (int t = 0; t < ncell_hex[m - 1][0]; ++t) {
                        for (int c : npcel_hex[ncell_hex[m - 1][1] + t])
                            surface.triangles.push_back(corner[c]);
                        surface.cells.push_back((k * (d1 - 1) + j) * (d0 - 1) + i);
                    }
                    corner += m;
                }
            }
        }
        UTILedge_table_clean(table, plane);
    }
    int *min_node, *max_node, count;
    UTILedge_table_free_str(table, &min_node, &max_node, &count);
    surface.edges.assign(min_node, min_node + count);
    surface.edges.insert(surface.edges.end(), max_node, max_node + count);
    ARRfree_f(min_node, "", 0);
    ARRfree_f(max_node, "", 0);
    return surface;
}

std::size_t node_count(const std::vector<int> &dims) {
    return static_cast<std::size_t>(dims[0]) * static_cast<std::size_t>(dims[1]) *
           static_cast<std::size_t>(dims[2]);
}

template <class T>
class SliceGridOf : public testing::Test {};
using AllTypes = testing::Types<signed char, unsigned char, short, int, float, double>;
TYPED_TEST_SUITE(SliceGridOf, AllTypes);

// Random data with ties and nulls, on grids of awkward sizes: the same edges, triangles and cells, in the
// same order.
TYPED_TEST(SliceGridOf, IsItsPlainTwin) {
    using T = TypeParam;
    const T null = 3;
    for (const std::vector<int> &dims :
         {std::vector{2, 2, 2}, {9, 2, 3}, {2, 7, 11}, {17, 6, 5}, {10, 11, 12}}) {
        const std::vector<T> data = random_values<T>(node_count(dims), 6, 5);
        const MeshPtr mesh = unit_grid(dims);
        for (const T *null_value : {static_cast<const T *>(nullptr), &null}) {
            for (double level : {2.0, 3.5, 6.0}) {
                const Isosurface surface = isosurface(mesh.get(), data.data(), level, null_value);
                const PlainSurface plain = plain_isosurface(dims, data, level, null_value);
                ASSERT_EQ(surface.result, 1);
                EXPECT_EQ(surface.edges(), plain.edges);
                EXPECT_EQ(surface.triangles(), plain.triangles);
                EXPECT_EQ(surface.cells(), plain.cells);
                EXPECT_EQ(surface.tri_size, 3 * surface.ntris);
                const Isosurface without_list = isosurface(mesh.get(), data.data(), level, null_value, false);
                EXPECT_EQ(without_list.triangles(), plain.triangles);
            }
        }
    }
}

// A random field inside a border below the level, with many ties to it: every edge of the sheet lies between
// two triangles that run along it in opposite directions, and the triangles round a node form one fan.
TEST(SliceGrid, ClosedAndManifoldByNodeNumber) {
    const std::vector<int> dims = {14, 13, 12};
    std::vector<int> data = random_values<int>(node_count(dims), 3, 11);
    for (int k = 0, n = 0; k < dims[2]; ++k) {
        for (int j = 0; j < dims[1]; ++j) {
            for (int i = 0; i < dims[0]; ++i, ++n) {
                const bool border =
                    i == 0 || j == 0 || k == 0 || i == dims[0] - 1 || j == dims[1] - 1 || k == dims[2] - 1;
                if (border) data[static_cast<std::size_t>(n)] = -1;
            }
        }
    }
    const MeshPtr mesh = unit_grid(dims);
    const Isosurface surface = isosurface(mesh.get(), data.data(), 2.0);
    ASSERT_GT(surface.ntris, 3000);
    const std::vector<int> tris = surface.triangles();
    std::set<std::pair<int, int>> directed;
    std::vector<std::map<int, int>> fan(
        static_cast<std::size_t>(surface.nnew));  // per node: from its next to its last
    for (std::size_t t = 0; t < tris.size(); t += 3) {
        for (std::size_t c = 0; c < 3; ++c) {
            const int a = tris[t + c], b = tris[t + (c + 1) % 3], last = tris[t + (c + 2) % 3];
            ASSERT_NE(a, b);
            EXPECT_TRUE(directed.emplace(a, b).second) << "an edge runs twice the same way";
            fan[static_cast<std::size_t>(a)][b] = last;
        }
    }
    for (const auto &[a, b] : directed) ASSERT_TRUE(directed.count({b, a})) << "an open edge";
    for (const std::map<int, int> &next : fan) {
        ASSERT_FALSE(next.empty()) << "a node without triangles";
        std::size_t steps = 1;
        for (int at = next.at(next.begin()->first); at != next.begin()->first; at = next.at(at)) ++steps;
        ASSERT_EQ(steps, next.size()) << "more than one fan round a node";
    }
}

// The points and triangles of one field, by mesh kind.
struct Evaluated {
    std::vector<int> triangles;
    std::vector<float> points;

    bool operator==(const Evaluated &) const = default;
};

Evaluated evaluate(MeshInfo *mesh, const std::vector<float> &data, double level) {
    const Isosurface surface = isosurface(mesh, data.data(), level);
    std::vector<float> t(static_cast<std::size_t>(surface.nnew)), points(3 * t.size());
    EXPECT_EQ(UTILget_param(surface.nnew, 4, data.data(), level, surface.min_node.get(),
                            surface.max_node.get(), t.data()),
              1);
    EXPECT_EQ(UTILeval_coord(mesh, surface.nnew, surface.min_node.get(), surface.max_node.get(), t.data(),
                             points.data()),
              1);
    return {surface.triangles(), points};
}

TEST(SliceGrid, SameBytesOnUniformRectilinearAndStructuredGrids) {
    const std::vector<int> dims = {21, 18, 15};
    const float corners[6] = {-1.0f, 0.5f, 2.0f, 3.1f, 4.7f, 3.3f};
    const MeshPtr uniform = uniform_mesh(dims, {corners, corners + 6});
    std::vector<float> coords(3 * node_count(dims));
    UTILget_coords_unif(3, dims.data(), 3, corners, 0, static_cast<int>(node_count(dims)), 0, 3,
                        coords.data());

    std::vector<std::vector<float>> axes(3);
    const int strides[3] = {1, dims[0], dims[0] * dims[1]};
    for (std::size_t d = 0; d < 3; ++d) {
        for (int i = 0; i < dims[d]; ++i)
            axes[d].push_back(coords[static_cast<std::size_t>(3 * i * strides[d]) + d]);
    }
    const float *const axis_arrays[3] = {axes[0].data(), axes[1].data(), axes[2].data()};
    MeshInfo *mesh = nullptr;
    ASSERT_EQ(isohost_mesh_rectilinear(3, dims.data(), axis_arrays, &mesh), 1);
    const MeshPtr rectilinear(mesh);
    ASSERT_EQ(isohost_mesh_structured(3, dims.data(), 3, coords.data(), &mesh), 1);
    const MeshPtr structured(mesh);

    std::vector<float> data;
    for (std::size_t n = 0; n < coords.size(); n += 3) {
        data.push_back(std::sin(coords[n]) * coords[n + 1] + std::cos(3 * coords[n + 2]));
    }
    const Evaluated on_uniform = evaluate(uniform.get(), data, 0.7);
    EXPECT_GT(on_uniform.triangles.size(), 1000u);
    EXPECT_EQ(evaluate(rectilinear.get(), data, 0.7), on_uniform);
    EXPECT_EQ(evaluate(structured.get(), data, 0.7), on_uniform);
}

// A sphere by its distance: area and volume come out, and the normals point to the side below the level.
TEST(SliceGrid, SphereHasItsAreaAndVolumeAndPointsInwards) {
    constexpr int n = 41;
    const MeshPtr mesh = unit_grid({n, n, n});
    std::vector<float> distance;
    for (int k = 0; k < n; ++k) {
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < n; ++i) distance.push_back(std::hypot(i - 20.0f, j - 20.0f, k - 20.0f));
        }
    }
    const double radius = 15.0;
    const Evaluated surface = evaluate(mesh.get(), distance, radius);
    double area = 0, volume = 0;
    for (std::size_t t = 0; t < surface.triangles.size(); t += 3) {
        std::array<std::array<double, 3>, 3> p;
        for (std::size_t c = 0; c < 3; ++c) {
            for (std::size_t d = 0; d < 3; ++d) {
                p[c][d] = static_cast<double>(
                              surface.points[3 * static_cast<std::size_t>(surface.triangles[t + c]) + d]) -
                          20.0;
            }
        }
        std::array<double, 3> normal;
        for (std::size_t d = 0; d < 3; ++d) {
            const std::size_t e = (d + 1) % 3, f = (d + 2) % 3;
            normal[d] = (p[1][e] - p[0][e]) * (p[2][f] - p[0][f]) - (p[1][f] - p[0][f]) * (p[2][e] - p[0][e]);
        }
        area += std::hypot(normal[0], normal[1], normal[2]) / 2;
        volume += (p[0][0] * normal[0] + p[0][1] * normal[1] + p[0][2] * normal[2]) / 6;
    }
    const double pi = std::acos(-1.0);
    // Linear interpolation of a distance leaves the sheet within h^2/8r = 0.008 of the sphere.
    EXPECT_NEAR(area, 4 * pi * radius * radius, 0.005 * area);
    EXPECT_NEAR(-volume, 4.0 / 3 * pi * radius * radius * radius, 0.005 * -volume)
        << "normals point to the centre";
}

TEST(SliceGrid, FlatLayerMakesTwoTrianglesACell) {
    const std::vector<int> dims = {5, 4, 2};
    std::vector<float> data(node_count(dims), 0.0f);
    std::fill(data.begin() + 20, data.end(), 1.0f);
    const MeshPtr mesh = unit_grid(dims);
    const Isosurface surface = isosurface(mesh.get(), data.data(), 1.0);
    EXPECT_EQ(surface.ntris, 2 * 4 * 3);
    EXPECT_EQ(surface.nnew, 20) << "shared along the cell edges";
}

TEST(SliceGrid, EmptyResultsAndRefusals) {
    const std::vector<float> data(64, 1.0f);
    for (const std::vector<int> &dims : {std::vector{8, 8, 1}, {1, 8, 8}, {8, 1, 8}, {4, 4, 4}}) {
        const MeshPtr mesh = unit_grid(dims);
        const Isosurface surface = isosurface(mesh.get(), data.data(), 1.0);  // at the level counts as above
        EXPECT_EQ(surface.result, 1);
        EXPECT_EQ(surface.ntris + surface.nnew + surface.cell_count, 0);
        EXPECT_TRUE(surface.tri_connect && surface.min_node && surface.max_node && surface.cell_list);
    }
    const MeshPtr cube = unit_grid({4, 4, 4});
    EXPECT_EQ(isosurface(cube.get(), data.data(), std::nan("")).ntris, 0);
    int n, *p;
    EXPECT_EQ(UTILslice_struct(cube.get(), data.data(), 6, 0, nullptr, 0, &n, &p, &p, &n, &p, &n, &n, &p, &n,
                               nullptr, nullptr),
              0);
    const MeshPtr line = unit_grid({4});
    EXPECT_EQ(isosurface(line.get(), data.data(), 0.0).result, 0);

    FieldFuncs none = {};
    cube->field_funcs = &none;
    isohost_clear_errors();
    isohost_set_error_handler([](const char *, const char *, void *) {}, nullptr);
    EXPECT_EQ(isosurface(cube.get(), data.data(), 0.0).result, 0);
    EXPECT_EQ(std::string(isohost_errors()).find("No isosurf function found") == std::string::npos, false);
    isohost_set_error_handler(nullptr, nullptr);
    isohost_clear_errors();
}

}  // namespace
