// What the tests share: meshes that free themselves, blocks of cells, fields, and the results of extractions.
#ifndef ISOFIELD_TESTS_SUPPORT_HPP
#define ISOFIELD_TESTS_SUPPORT_HPP

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
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

using Point = std::array<float, 3>;

// NaN equals itself, and 0 is not -0.
template <class Range>
bool same_bits(const Range &a, const Range &b) {
    const std::size_t size = std::size(a) * sizeof *std::data(a);
    return std::size(a) == std::size(b) && (size == 0 || !std::memcmp(std::data(a), std::data(b), size));
}

// Every NaN made the same: which one arithmetic makes is the processor's affair.
inline std::vector<float> one_nan(std::vector<float> values) {
    for (float &x : values) x = x == x ? x : std::numeric_limits<float>::quiet_NaN();
    return values;
}

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

// The connectivity of a grid's cells, in the order of their packed numbers.
inline std::vector<int> grid_connect(const std::vector<int> &dims) {
    int ncells = 1;
    for (const int n : dims) ncells *= n - 1;
    std::vector<int> connect(static_cast<std::size_t>(ncells) << dims.size());
    UTILget_connect_struct(static_cast<int>(dims.size()), dims.data(), 0, ncells, connect.data());
    return connect;
}

// The same grid as a uniform, a rectilinear and a structured mesh, and as cells.
struct FourKinds {
    std::vector<float> coords;
    std::vector<int> connect;
    std::array<MeshPtr, 4> meshes;

    FourKinds(const std::vector<int> &dims, const std::vector<float> &corners) : connect(grid_connect(dims)) {
        const int ndim = static_cast<int>(dims.size());
        meshes[0] = uniform_mesh(dims, corners);
        const int nnodes = meshes[0]->nnodes;
        coords.resize(dims.size() * static_cast<std::size_t>(nnodes));
        UTILget_coords_unif(ndim, dims.data(), ndim, corners.data(), 0, nnodes, 0, ndim, coords.data());
        std::vector<std::vector<float>> axes(dims.size());
        std::vector<const float *> lines;
        for (int d = 0, stride = ndim; d < ndim; stride *= dims[d++]) {
            for (int i = 0; i < dims[d]; ++i) axes[d].push_back(coords[i * stride + d]);
            lines.push_back(axes[d].data());
        }
        const char *const types[] = {"line_1", "quad_1", "hex_1"};
        const IsohostCellSet set = {types[ndim - 1], static_cast<int>(connect.size()) >> ndim,
                                    connect.data()};
        MeshInfo *made[3] = {};
        isohost_mesh_rectilinear(ndim, dims.data(), lines.data(), &made[0]);
        isohost_mesh_structured(ndim, dims.data(), ndim, coords.data(), &made[1]);
        if (set.ncells > 0) isohost_mesh_cells(nnodes, ndim, coords.data(), 1, &set, &made[2]);
        for (std::size_t m = 0; m < 3; ++m) meshes[m + 1].reset(made[m]);
    }
};

// ---- Meshes of cells

struct CellSetData {
    std::string type;
    std::vector<int> connect;

    int nnodes() const { return isohost_cell_type_nodes(type.c_str()); }
    int ncells() const { return static_cast<int>(connect.size()) / nnodes(); }
};

struct CellMesh {
    std::vector<float> coords;
    std::vector<CellSetData> sets;

    std::size_t nnodes() const { return coords.size() / 3; }
    CellSetData &set(const std::string &type) {
        const auto found = std::find_if(sets.begin(), sets.end(), [&](auto &s) { return s.type == type; });
        return found != sets.end() ? *found : sets.emplace_back(CellSetData{type, {}});
    }
    void add(const std::string &type, const std::vector<int> &cell) {
        std::vector<int> &connect = set(type).connect;
        connect.insert(connect.end(), cell.begin(), cell.end());
    }
    // The record views this mesh.
    MeshPtr make() const {
        std::vector<IsohostCellSet> records;
        for (const CellSetData &s : sets) records.push_back({s.type.c_str(), s.ncells(), s.connect.data()});
        MeshInfo *mesh = nullptr;
        isohost_mesh_cells(static_cast<int>(nnodes()), 3, coords.data(), static_cast<int>(records.size()),
                           records.data(), &mesh);
        return MeshPtr(mesh);
    }
};

// What a cube of a block is cut into. Faces of prisms on axis 2, and all faces of tets, are cut along the
// diagonal from their lowest to their highest corner. A star has a node in its middle, and a pyramid or two
// tets on each face, as its neighbour there needs.
enum class Cube { kHex, kPrisms, kTets, kStar };

// n x n x n cubes; cube_at(i, j, k) tells each one's kind. Nodes are numbered as on a grid, then come the
// middles of stars. Hexes of every other j are numbered from their upper end, so that quadratic ones cut
// their common faces alike.
template <class CubeAt>
CellMesh block(int n, CubeAt cube_at) {
    CellMesh mesh;
    for (int node = 0; node < (n + 1) * (n + 1) * (n + 1); ++node) {
        for (const int at : {node % (n + 1), node / (n + 1) % (n + 1), node / (n + 1) / (n + 1)})
            mesh.coords.push_back(static_cast<float>(at));
    }
    const std::vector<int> connect = grid_connect({n + 1, n + 1, n + 1});
    for (int cell = 0; cell < n * n * n; ++cell) {
        const int *c = &connect[8 * static_cast<std::size_t>(cell)];
        const int at[3] = {cell % n, cell / n % n, cell / n / n};
        const Cube cube = cube_at(at[0], at[1], at[2]);
        if (cube == Cube::kHex) {
            std::vector<int> hex(c, c + 8);
            if (at[1] % 2 == 1) std::reverse(hex.begin(), hex.end());
            mesh.add("hex_1", hex);
        } else if (cube == Cube::kPrisms) {
            mesh.add("prism_1", {c[0], c[1], c[2], c[4], c[5], c[6]});
            mesh.add("prism_1", {c[0], c[2], c[3], c[4], c[6], c[7]});
        } else if (cube == Cube::kTets) {
            constexpr int kRound[7] = {1, 2, 3, 7, 4, 5, 1};
            for (int t = 0; t < 6; ++t) mesh.add("tet_1", {c[0], c[kRound[t]], c[kRound[t + 1]], c[6]});
        } else {
            // Counterclockwise seen from outside, from the lowest corner: low and high on each axis.
            constexpr int kFaces[6][4] = {{0, 4, 7, 3}, {1, 2, 6, 5}, {0, 1, 5, 4},
                                          {3, 7, 6, 2}, {0, 3, 2, 1}, {4, 5, 6, 7}};
            const int middle = static_cast<int>(mesh.nnodes());
            for (const int d : at) mesh.coords.push_back(static_cast<float>(d) + 0.5f);
            for (int f = 0; f < 6; ++f) {
                int next[3] = {at[0], at[1], at[2]};
                next[f / 2] += f % 2 ? 1 : -1;
                const bool border = next[f / 2] < 0 || next[f / 2] == n;
                const Cube other = border ? Cube::kHex : cube_at(next[0], next[1], next[2]);
                const int p[4] = {c[kFaces[f][0]], c[kFaces[f][1]], c[kFaces[f][2]], c[kFaces[f][3]]};
                if (other == Cube::kHex || (other == Cube::kPrisms && f < 4)) {
                    mesh.add("pyr_1", {middle, p[0], p[1], p[2], p[3]});
                } else {
                    mesh.add("tet_1", {p[0], p[2], p[1], middle});
                    mesh.add("tet_1", {p[0], p[3], p[2], middle});
                }
            }
        }
    }
    return mesh;
}

inline CellMesh block_of(Cube cube, int n) {
    return block(n, [cube](int, int, int) { return cube; });
}

// Every pair of kinds that can share a face shares some, except that no two pyramids stand base to base.
inline CellMesh mixed_block(int n) {
    return block(n, [](int i, int j, int k) {
        if ((i / 2 + j + k) % 2 == 1) return Cube::kStar;
        const int pair = i / 2 + 3 * j + 5 * k;
        if (pair % 4 == 0) return Cube::kTets;
        return (pair + i) % 3 == 0 ? Cube::kPrisms : Cube::kHex;
    });
}

// The same cells with nodes in the middles of their edges.
inline CellMesh quadratic(const CellMesh &linear) {
    static const std::map<std::string, std::vector<const char *>> kEdges = {
        {"tri_1", {"01", "12", "20"}},
        {"quad_1", {"01", "12", "23", "30"}},
        {"tet_1", {"01", "02", "03", "12", "23", "13"}},
        {"pyr_1", {"01", "02", "03", "04", "12", "23", "34", "41"}},
        {"prism_1", {"01", "12", "20", "34", "45", "53", "14", "03", "25"}},
        {"hex_1", {"01", "12", "23", "30", "45", "56", "67", "74", "04", "15", "26", "37"}}};
    CellMesh mesh{linear.coords, {}};
    std::map<std::pair<int, int>, int> middles;
    for (const CellSetData &set : linear.sets) {
        const std::string type = set.type.substr(0, set.type.size() - 1) + "2";
        for (auto cell = set.connect.begin(); cell != set.connect.end(); cell += set.nnodes()) {
            std::vector<int> nodes(cell, cell + set.nnodes());
            for (const char *edge : kEdges.at(set.type)) {
                const auto [a, b] = std::minmax(cell[edge[0] - '0'], cell[edge[1] - '0']);
                const auto [middle, is_new] = middles.insert({{a, b}, static_cast<int>(mesh.nnodes())});
                nodes.push_back(middle->second);
                for (std::size_t d = 0; is_new && d < 3; ++d) {
                    mesh.coords.push_back((mesh.coords[3 * static_cast<std::size_t>(a) + d] +
                                           mesh.coords[3 * static_cast<std::size_t>(b) + d]) /
                                          2);
                }
            }
            mesh.add(type, nodes);
        }
    }
    return mesh;
}

// Sets of all kinds, linear and quadratic, from n x n x n cubes, with faces of theirs as plane cells between
// them. Neighbours don't match.
inline CellMesh all_kinds(int n) {
    CellMesh volumes = block(n, [](int i, int j, int k) { return static_cast<Cube>((i + j + k) % 4); });
    CellMesh linear{volumes.coords, {}};
    for (const CellSetData &set : volumes.sets) {
        const bool is_hex = set.type == "hex_1";
        for (auto cell = set.connect.begin(); cell != set.connect.end(); cell += set.nnodes()) {
            linear.add(is_hex ? "quad_1" : "tri_1", {cell, cell + (is_hex ? 4 : 3)});
        }
        linear.sets.push_back(set);
    }
    CellMesh cells = quadratic(linear);
    std::erase_if(cells.sets, [](const CellSetData &set) { return set.type == "pyr_2"; });
    cells.sets.insert(cells.sets.begin() + 2, linear.sets.begin(), linear.sets.end());
    return cells;
}

// Six times a tetrahedron's volume, twice a triangle's area.
template <class T>
double measure(const std::vector<T> &coords, const int *nodes, int nnodes) {
    double v[3][3] = {{}, {}, {0, 0, 1}};
    for (int n = 0; n < nnodes - 1; ++n) {
        for (int d = 0; d < 3; ++d) {
            const auto at = [&](int node) { return coords[static_cast<std::size_t>(3 * node + d)]; };
            v[n][d] = at(nodes[n + 1]) - at(nodes[0]);
        }
    }
    double sum = 0;
    for (int d = 0; d < 3; ++d) {
        const int e = (d + 1) % 3, f = (d + 2) % 3;
        sum += v[0][d] * (v[1][e] * v[2][f] - v[1][f] * v[2][e]);
    }
    return sum;
}

// The code of one of the six element types.
template <class T>
constexpr int type_code = sizeof(T) == 1             ? std::is_unsigned_v<T>
                          : sizeof(T) == 2           ? 2
                          : std::is_same_v<T, int>   ? 3
                          : std::is_same_v<T, float> ? 4
                                                     : 5;

// Random integers from 0 to `top`, so that many nodes tie with a whole-numbered level.
template <class T>
std::vector<T> random_values(std::size_t count, int top, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<T> values(count);
    for (T &value : values) value = static_cast<T>(random() % static_cast<unsigned>(top + 1));
    return values;
}

// Integers from all of the type's range, or reals, every `odd`-th of which is about not finite; many are 3.
template <class T>
std::vector<T> awkward_values(std::size_t count, unsigned odd, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<T> values(count);
    for (T &value : values) {
        if constexpr (std::is_integral_v<T>) {
            value = static_cast<T>(random());
        } else {
            const T infinity = std::numeric_limits<T>::infinity(), nan = std::numeric_limits<T>::quiet_NaN();
            value = static_cast<T>((random() % 1000) * 0.01 - 5);
            if (odd && random() % odd == 0) value = std::array{infinity, -infinity, nan}[random() % 3];
        }
        if (random() % 16 == 0) value = T{3};
    }
    return values;
}

// The same below 0 on the outer faces of a block of n cubes.
inline std::vector<int> random_inside(const CellMesh &mesh, int n, int top, unsigned seed) {
    std::vector<int> values = random_values<int>(mesh.nnodes(), top, seed);
    for (std::size_t i = 0; i < mesh.coords.size(); ++i) {
        if (mesh.coords[i] == 0.0f || mesh.coords[i] == static_cast<float>(n)) values[i / 3] = -1;
    }
    return values;
}

// ---- Results

// All that UTILisosurf or UTILisoline hands out, the arrays owned.
struct Extracted {
    static constexpr int kUntouched = -77;  // the count of a set whose words were left as they were

    int result = 0, nnew = 0, nlines = 0, line_size = 0, ntris = 0, tri_size = 0;
    IntArray min_node, max_node, line_connect, tri_connect;
    std::vector<int> cell_count;
    std::vector<IntArray> cell_list;

    std::vector<int> edges() const {
        std::vector<int> all(min_node.get(), min_node.get() + nnew);
        all.insert(all.end(), max_node.get(), max_node.get() + nnew);
        return all;
    }
    std::vector<int> lines() const { return {line_connect.get(), line_connect.get() + line_size}; }
    std::vector<int> triangles() const { return {tri_connect.get(), tri_connect.get() + tri_size}; }
    std::vector<int> cells(std::size_t set = 0) const {
        return {cell_list.at(set).get(), cell_list[set].get() + cell_count[set]};
    }
};

// call(s, arrays, cell_count, cell_list) makes the results; arrays are min_node, max_node, line_connect and
// tri_connect.
template <class Call>
Extracted extract(const MeshInfo *mesh, bool want_cells, Call call) {
    int untouched;
    Extracted s;
    const auto nsets = want_cells ? static_cast<std::size_t>(mesh->ncell_sets) : 0;
    s.cell_count.assign(nsets, Extracted::kUntouched);
    std::vector<int *> lists(nsets, &untouched);
    int *arrays[4] = {};
    s.result =
        call(s, arrays, want_cells ? s.cell_count.data() : nullptr, want_cells ? lists.data() : nullptr);
    s.min_node.reset(arrays[0]);
    s.max_node.reset(arrays[1]);
    s.line_connect.reset(arrays[2]);
    s.tri_connect.reset(arrays[3]);
    for (std::size_t set = 0; set < nsets; ++set) {
        EXPECT_EQ(lists[set] == &untouched, s.cell_count[set] == Extracted::kUntouched) << set;
        s.cell_list.emplace_back(lists[set] == &untouched ? nullptr : lists[set]);
    }
    return s;
}

template <class T>
Extracted isosurface(MeshInfo *mesh, const T *data, double level, const T *null_value = nullptr,
                     bool want_cells = true) {
    return extract(mesh, want_cells, [&](Extracted &s, int **arrays, int *cell_count, int **cell_list) {
        return UTILisosurf(mesh, data, type_code<T>, null_value ? 1 : 0, null_value, level, &s.nnew,
                           &arrays[0], &arrays[1], &s.nlines, &arrays[2], &s.line_size, &s.ntris, &arrays[3],
                           &s.tri_size, cell_count, cell_list);
    });
}

template <class T>
Extracted isolines(MeshInfo *mesh, const T *data, double level, const T *null_value = nullptr,
                   bool want_cells = true) {
    return extract(mesh, want_cells, [&](Extracted &s, int **arrays, int *cell_count, int **cell_list) {
        return UTILisoline(mesh, data, type_code<T>, null_value ? 1 : 0, null_value, level, &s.nnew,
                           &arrays[0], &arrays[1], &s.nlines, &arrays[2], &s.line_size, cell_count,
                           cell_list);
    });
}

// A surface with the coordinates of its nodes.
struct Evaluated {
    std::vector<int> triangles;
    std::vector<float> points;

    bool operator==(const Evaluated &) const = default;
};

inline Evaluated evaluate(MeshInfo *mesh, const std::vector<float> &data, double level) {
    const Extracted surface = isosurface(mesh, data.data(), level);
    std::vector<float> t(static_cast<std::size_t>(surface.nnew)), points(3 * t.size());
    EXPECT_EQ(UTILget_param(surface.nnew, 4, data.data(), level, surface.min_node.get(),
                            surface.max_node.get(), t.data()),
              1);
    EXPECT_EQ(UTILeval_coord(mesh, surface.nnew, surface.min_node.get(), surface.max_node.get(), t.data(),
                             points.data()),
              1);
    return {surface.triangles(), points};
}

// Every edge of a sheet lies between two triangles that run along it in opposite directions, and the
// triangles round a node form one fan.
inline void expect_closed_and_manifold(const Extracted &surface) {
    const std::vector<int> tris = surface.triangles();
    std::set<std::pair<int, int>> directed;
    std::vector<std::map<int, int>> fan(
        static_cast<std::size_t>(surface.nnew));  // per node: from its next to its last
    for (std::size_t t = 0; t < tris.size(); t += 3) {
        for (std::size_t c = 0; c < 3; ++c) {
            const int a = tris[t + c], b = tris[t + (c + 1) % 3], last = tris[t + (c + 2) % 3];
            ASSERT_NE(a, b);
            ASSERT_TRUE(directed.emplace(a, b).second) << "an edge runs twice the same way";
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

#endif
