// Results cleared around nulls, and meshes without their null nodes.
#include <gtest/gtest.h>

#include <cstdlib>

#include "support.hpp"

namespace {

// ---- Results cleared around nulls

TEST(Nulls, ClearTheirNeighbourhoodOnGrids) {
    const short null = 7;
    const auto cleared = [&](const std::vector<int> &dims, std::vector<std::size_t> nulls,
                             std::size_t component) {
        const MeshPtr grid = unit_grid(dims);
        const auto nnodes = static_cast<std::size_t>(grid->nnodes);
        std::vector<short> data(2 * nnodes);
        std::vector<float> out(3 * nnodes, 1.0f);
        for (const std::size_t node : nulls) data[2 * node + component] = null;
        EXPECT_EQ(UTILderiv_null_struct(grid.get(), data.data(), 2, 2, &null, 3, out.data()), 1);
        std::set<std::size_t> nodes;
        for (std::size_t i = 0; i < out.size(); ++i) {
            if (out[i] == 0) nodes.insert(i / 3);
            EXPECT_EQ(out[i], out[i / 3 * 3]);
        }
        return nodes;
    };
    EXPECT_EQ(cleared({5, 5, 5}, {0}, 0), (std::set<std::size_t>{0, 1, 5, 6, 25, 26, 30, 31}));
    EXPECT_EQ(cleared({5, 5, 5}, {62}, 0).size(), 27u);
    EXPECT_EQ(cleared({5, 5, 5}, {62, 0}, 1).size(), 0u);
    EXPECT_EQ(cleared({4, 3}, {7}, 0), (std::set<std::size_t>{2, 3, 6, 7, 10, 11}));
    EXPECT_EQ(cleared({9}, {0, 4}, 0), (std::set<std::size_t>{0, 1, 3, 4, 5}));
}

TEST(Nulls, ClearTheirCells) {
    const CellMesh cells{std::vector<float>(3 * 7), {{"tri_1", {0, 1, 2}}, {"quad_1", {2, 3, 4, 5}}}};
    const MeshPtr mesh = cells.make();
    const double null = 7, data[7] = {0, 7, 0, 0, 0, 0, 7};
    std::vector<float> out(7, 1.0f);
    EXPECT_EQ(UTILderiv_null(mesh.get(), data, 1, 5, &null, 1, out.data()), 1);
    EXPECT_EQ(out, (std::vector<float>{0, 0, 0, 1, 1, 1, 1}));
    isohost_quiet_errors(1);
    isohost_clear_errors();
    EXPECT_EQ(UTILderiv_null(mesh.get(), data, 1, 6, &null, 1, out.data()), 0);
    EXPECT_EQ(UTILderiv_null_struct(unit_grid({7}).get(), data, 1, 6, &null, 1, out.data()), 0);
    EXPECT_STREQ(isohost_errors(), "UTILderiv_null: unknown data type\nUTILderiv_null: unknown data type\n");
    isohost_clear_errors();
    isohost_quiet_errors(0);
}

// ---- Meshes without null nodes

struct Kept {
    int result = 0, nkept = 0;
    std::vector<int> nodes;
    std::vector<std::vector<int>> cells;

    bool operator==(const Kept &) const = default;
};

// call(nkept, node_list, nsets, ncells, connect, connect_size)
template <class Call>
Kept collect(const MeshInfo *mesh, int nsets, Call call) {
    Kept kept;
    int *nodes = nullptr;
    std::vector<int> ncells(mesh->ncell_sets, -7), sizes = ncells;
    std::vector<int *> connect(mesh->ncell_sets, &kept.nkept);
    kept.result = call(&kept.nkept, &nodes, nsets, ncells.data(), connect.data(), sizes.data());
    kept.nodes.assign(nodes, nodes + (mesh->ndim ? kept.nkept : mesh->nnodes));
    std::free(nodes);
    for (int set = 0; set < mesh->ncell_sets; ++set) {
        if (set >= nsets) {
            EXPECT_EQ(ncells[set] + sizes[set], -14);
            EXPECT_EQ(connect[set], &kept.nkept);
            continue;
        }
        EXPECT_EQ(sizes[set], ncells[set] * mesh->cell_nnodes[set]);
        EXPECT_EQ(connect[set] == nullptr, ncells[set] == 0);
        const IntArray owned(connect[set]);
        kept.cells.emplace_back(connect[set], connect[set] + sizes[set]);
    }
    return kept;
}

template <class T>
Kept without_nulls(MeshInfo *mesh, const std::vector<T> &data, T null, int nsets) {
    return collect(mesh, nsets, [&](auto... results) {
        return UTILthresh_null(mesh, data.data(), type_code<T>, &null, results...);
    });
}

template <class T>
struct Members;
#define ISOFIELD_MEMBERS(suffix, T, V)                                      \
    template <>                                                             \
    struct Members<T> {                                                     \
        static constexpr auto *grid = UTILthresh_null_struct_##suffix;      \
        static constexpr auto *map = UTILnode_thresh_null_##suffix;         \
        static constexpr auto *count = UTILnnode_null_struct_##suffix;      \
        static constexpr auto *list = UTILnode_thresh_null_struct_##suffix; \
    };
ISOFIELD_FAMILY(ISOFIELD_MEMBERS)
#undef ISOFIELD_MEMBERS

template <class T>
void expect_plain(const MeshPtr &mesh, const std::vector<std::vector<int>> &sets, const std::vector<T> &data,
                  T null) {
    Kept plain{1, 0, {}, {}};
    std::vector<int> map, list;
    for (int n = 0; n < mesh->nnodes; ++n) {
        const bool is_null = data[n] == null;
        map.push_back(is_null ? -1 : plain.nkept++);
        if (!is_null) list.push_back(n);
    }
    for (std::size_t set = 0; set < sets.size(); ++set) {
        std::vector<int> &kept = plain.cells.emplace_back();
        const int n = mesh->cell_nnodes[set];
        for (auto cell = sets[set].begin(); cell != sets[set].end(); cell += n) {
            if (std::none_of(cell, cell + n, [&](int node) { return map[node] < 0; }))
                std::transform(cell, cell + n, std::back_inserter(kept), [&](int node) { return map[node]; });
        }
    }
    using M = Members<T>;
    std::vector<int> maps[2] = {std::vector<int>(map.size()), std::vector<int>(map.size())},
                     listed(list.size());
    plain.nodes = mesh->ndim ? list : map;
    EXPECT_EQ(without_nulls(mesh.get(), data, null, mesh->ncell_sets), plain);
    EXPECT_EQ(UTILnode_thresh_null(mesh->nnodes, type_code<T>, data.data(), &null, maps[0].data()),
              plain.nkept);
    EXPECT_EQ(M::map(mesh->nnodes, data.data(), null, maps[1].data()), plain.nkept);
    EXPECT_EQ(maps[0], map);
    EXPECT_EQ(maps[1], map);
    if (!mesh->ndim) return;
    const auto member = [&](auto... results) { return M::grid(mesh.get(), data.data(), null, results...); };
    EXPECT_EQ(collect(mesh.get(), 1, member), plain);
    EXPECT_EQ(M::count(mesh->ndim, mesh->dims, data.data(), null), plain.nkept);
    EXPECT_EQ(M::list(mesh->ndim, mesh->dims, data.data(), null, maps[0].data(), listed.data()), 1);
    EXPECT_EQ(maps[0], map);
    EXPECT_EQ(listed, list);
}

template <class T>
class MeshesWithoutNulls : public testing::Test {};
using AllTypes = testing::Types<signed char, unsigned char, short, int, float, double>;
TYPED_TEST_SUITE(MeshesWithoutNulls, AllTypes);

// None of the nodes null, one, a seventh of them, and all; the null is NaN in one more case.
TYPED_TEST(MeshesWithoutNulls, AreThePlainTwins) {
    using T = TypeParam;
    const CellMesh cells = all_kinds(4);
    std::vector<std::pair<MeshPtr, std::vector<std::vector<int>>>> meshes;
    meshes.emplace_back(cells.make(), std::vector<std::vector<int>>());
    for (const CellSetData &set : cells.sets) meshes[0].second.push_back(set.connect);
    for (const std::vector<int> &dims : {std::vector{2000}, {40, 31}, {9, 8, 10}, {5, 1, 4}}) {
        std::vector<int> connect = grid_connect(dims);
        for (std::size_t i = 0; i < connect.size() && dims.size() == 3; i += 4)
            std::swap(connect[i + 1], connect[i + 3]);
        meshes.emplace_back(unit_grid(dims), std::vector<std::vector<int>>{connect});
    }
    for (const auto &[mesh, sets] : meshes) {
        std::vector<T> data = random_values<T>(mesh->nnodes, 6, 5);
        expect_plain(mesh, sets, data, T{7});
        expect_plain(mesh, sets, data, T{3});
        data[11] = T{7};
        expect_plain(mesh, sets, data, T{7});
        if constexpr (!std::is_integral_v<T>) {
            data[9] = std::numeric_limits<T>::quiet_NaN();
            expect_plain(mesh, sets, data, data[9]);
        }
        expect_plain(mesh, sets, std::vector<T>(mesh->nnodes, T{7}), T{7});
    }
}

TEST(MeshesWithoutNullsApart, CellsOfGridsTurnByDimension) {
    const auto cells = [](const std::vector<int> &dims) {
        return without_nulls(unit_grid(dims).get(), std::vector<int>(8), 1, 1).cells[0];
    };
    EXPECT_EQ(cells({2}), (std::vector<int>{0, 1}));
    EXPECT_EQ(cells({2, 2}), (std::vector<int>{0, 1, 3, 2}));
    EXPECT_EQ(cells({2, 2, 2}), (std::vector<int>{0, 2, 3, 1, 4, 6, 7, 5}));
}

TEST(MeshesWithoutNullsApart, FewerSetsAndRefusals) {
    const CellMesh cells = mixed_block(2);
    const MeshPtr sets = cells.make(), grid = unit_grid({2});
    const std::vector<int> data(cells.nnodes());
    EXPECT_EQ(without_nulls(sets.get(), data, 1, 1).cells.at(0), cells.sets[0].connect);
    int dims[4] = {2, 1, 1, 1}, map = -7;
    EXPECT_EQ(UTILnode_thresh_null(5, 6, data.data(), data.data(), &map), 5);
    EXPECT_EQ(map, -7);
    int counts[3] = {-7, -7, -7}, *arrays[2] = {&map, &map};
    const auto unknown = [&](MeshInfo *mesh) {
        return UTILthresh_null(mesh, data.data(), 6, data.data(), &counts[0], &arrays[0], 1, &counts[1],
                               &arrays[1], &counts[2]);
    };
    EXPECT_NE(unknown(grid.get()), 0);
    EXPECT_EQ(counts[0], -7);
    EXPECT_EQ(unknown(sets.get()), 0);
    EXPECT_EQ(counts[0] + counts[1] + counts[2], 0);
    EXPECT_TRUE(!arrays[0] && !arrays[1]);
    testing::internal::CaptureStderr();
    grid->dims = dims;
    grid->ndim = 4;
    EXPECT_EQ(without_nulls(grid.get(), data, 1, 1).nodes, (std::vector<int>{0, 1}));
    *grid->field_funcs = {};
    EXPECT_EQ(unknown(grid.get()), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "UTILthresh_null_struct: cannot compute connect for ndim 4\n"
              "UTILthresh_null_func: no thresh_null function found\n");
}

}  // namespace
