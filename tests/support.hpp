// What the tests share: meshes that free themselves, fields, and the results of an isosurface.
#ifndef ISOFIELD_TESTS_SUPPORT_HPP
#define ISOFIELD_TESTS_SUPPORT_HPP

#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "isofield_default_host.h"

struct MeshFree {
    void operator()(MeshInfo *mesh) const { isohost_mesh_free(mesh); }
};
using MeshPtr = std::unique_ptr<MeshInfo, MeshFree>;

struct ArrayFree {
    void operator()(void *block) const { ARRfree_f(block, __FILE__, __LINE__); }
};
using IntArray = std::unique_ptr<int[], ArrayFree>;

inline MeshPtr uniform_mesh(std::vector<int> dims, std::vector<float> corners) {
    MeshInfo *mesh = nullptr;
    isohost_mesh_uniform(static_cast<int>(dims.size()), dims.data(), static_cast<int>(corners.size() / 2),
                         corners.data(), &mesh);
    return MeshPtr(mesh);
}

// A uniform grid of unit steps from the origin.
inline MeshPtr unit_grid(std::vector<int> dims) {
    std::vector<float> corners(2 * dims.size(), 0.0f);
    for (std::size_t d = 0; d < dims.size(); ++d) {
        corners[dims.size() + d] = static_cast<float>(dims[d] > 1 ? dims[d] - 1 : 1);
    }
    return uniform_mesh(dims, corners);
}

template <class T>
struct TypeCodeOf;
template <>
struct TypeCodeOf<signed char> {
    static constexpr int value = 0;
};
template <>
struct TypeCodeOf<unsigned char> {
    static constexpr int value = 1;
};
template <>
struct TypeCodeOf<short> {
    static constexpr int value = 2;
};
template <>
struct TypeCodeOf<int> {
    static constexpr int value = 3;
};
template <>
struct TypeCodeOf<float> {
    static constexpr int value = 4;
};
template <>
struct TypeCodeOf<double> {
    static constexpr int value = 5;
};
template <class T>
constexpr int type_code = TypeCodeOf<T>::value;

// Random integers from 0 to `top`, so that many nodes tie with a whole-numbered level.
template <class T>
std::vector<T> random_values(std::size_t count, int top, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<T> values(count);
    for (T &value : values) value = static_cast<T>(random() % static_cast<unsigned>(top + 1));
    return values;
}

// All that UTILisosurf hands out, the arrays owned.
struct Isosurface {
    int result = 0, nnew = 0, nlines = 0, line_size = 0, ntris = 0, tri_size = 0, cell_count = 0;
    IntArray min_node, max_node, line_connect, tri_connect, cell_list;

    std::vector<int> edges() const {
        std::vector<int> all(min_node.get(), min_node.get() + nnew);
        all.insert(all.end(), max_node.get(), max_node.get() + nnew);
        return all;
    }
    std::vector<int> triangles() const { return {tri_connect.get(), tri_connect.get() + tri_size}; }
    std::vector<int> cells() const { return {cell_list.get(), cell_list.get() + cell_count}; }
};

template <class T>
Isosurface isosurface(MeshInfo *mesh, const T *data, double level, const T *null_value = nullptr,
                      bool want_cells = true) {
    Isosurface s;
    int *arrays[5] = {};
    s.result =
        UTILisosurf(mesh, data, type_code<T>, null_value ? 1 : 0, null_value, level, &s.nnew, &arrays[0],
                    &arrays[1], &s.nlines, &arrays[2], &s.line_size, &s.ntris, &arrays[3], &s.tri_size,
                    want_cells ? &s.cell_count : nullptr, want_cells ? &arrays[4] : nullptr);
    s.min_node.reset(arrays[0]);
    s.max_node.reset(arrays[1]);
    s.line_connect.reset(arrays[2]);
    s.tri_connect.reset(arrays[3]);
    s.cell_list.reset(arrays[4]);
    return s;
}

#endif
