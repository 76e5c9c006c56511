#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "plain_extraction.hpp"

namespace {

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
                const Extracted surface = isosurface(mesh.get(), data.data(), level, null_value);
                PlainExtraction<T> plain(data, level, null_value);
                plain.add({"hex_1", grid_connect(dims)});
                ASSERT_EQ(surface.result, 1);
                EXPECT_EQ(surface.edges(), plain.edges());
                EXPECT_EQ(surface.triangles(), turned(plain.triangles));
                EXPECT_EQ(surface.cells(), plain.cells[0]);
                EXPECT_EQ(surface.tri_size, 3 * surface.ntris);
                const Extracted without_list = isosurface(mesh.get(), data.data(), level, null_value, false);
                EXPECT_EQ(without_list.triangles(), surface.triangles());
            }
        }
    }
}

// A random field inside a border below the level, with many ties to it.
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
    const Extracted surface = isosurface(mesh.get(), data.data(), 2.0);
    ASSERT_GT(surface.ntris, 3000);
    expect_closed_and_manifold(surface);
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

TEST(SliceGrid, EmptyResultsAndRefusals) {
    const std::vector<float> data(64, 1.0f);
    for (const std::vector<int> &dims : {std::vector{8, 8, 1}, {1, 8, 8}, {8, 1, 8}, {4, 4, 4}}) {
        const MeshPtr mesh = unit_grid(dims);
        const Extracted surface = isosurface(mesh.get(), data.data(), 1.0);  // at the level counts as above
        EXPECT_EQ(surface.result, 1);
        EXPECT_EQ(surface.ntris + surface.nnew + surface.cell_count[0], 0);
        EXPECT_TRUE(surface.tri_connect && surface.min_node && surface.max_node && surface.cell_list[0]);
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
