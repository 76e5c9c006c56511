// The search for a point's cell, and data probed at points. Each clever path against the plain one, to the
// last bit.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support.hpp"

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

// ---- Tables

struct TableFree {
    void operator()(BlockTable *table) const { isohost_block_table_free(table); }
};
using TablePtr = std::unique_ptr<BlockTable, TableFree>;

TablePtr build(const MeshPtr &mesh) {
    BlockTable *table = nullptr;
    EXPECT_EQ(mesh->field_funcs->interp_init_func(mesh.get(), &table), 1);
    return TablePtr(table);
}

TEST(SearchTable, SizesFollowTheNumberOfCells) {
    constexpr int kSizes[][3] = {{999, 7, 500},    {1000, 10, 1000},  {1999, 10, 1000},
                                 {2000, 16, 2000}, {19999, 16, 2000}, {20000, 20, 3000}};
    BlockTable *made = nullptr;
    for (const auto &[ncells, nblk, grow] : kSizes) {
        for (int nspace = 1, nblocks = nblk; nspace <= 3; ++nspace, nblocks *= nblk) {
            ASSERT_EQ(UTILinterp_init_alloc(ncells, nspace, &made), 1);
            const TablePtr table(made);
            EXPECT_EQ(table->nblocks, nblocks) << ncells;
            EXPECT_EQ(table->list_cap, grow);
            EXPECT_EQ(table->list_free + table->owns_lists, 2);
        }
    }
    for (const int nspace : {0, 4}) EXPECT_EQ(UTILinterp_init_alloc(10, nspace, &made), 0);
    EXPECT_EQ(made, nullptr);
}

using CellList = std::vector<std::pair<int, std::vector<int>>>;  // ids and nodes

// Each block's list has the cells whose boxes reach it, the last one first.
void expect_plain_table(const MeshPtr &mesh, const CellList &cells) {
    const TablePtr table = build(mesh);
    const int n = table->nblk;
    std::vector<std::vector<int>> lists(table->nblocks);
    int entries = 0;
    for (const auto &[id, nodes] : cells) {
        int lo[3] = {}, hi[3] = {};
        for (int d = 0; d < mesh->nspace; ++d) {
            const float min = mesh->coord_min[d], extent = mesh->coord_max[d] - min;
            if (!(extent > 1e-30)) continue;
            std::set<int> blocks;
            for (const int node : nodes) {
                const float x = mesh->coords[node * mesh->nspace + d];
                blocks.insert(static_cast<int>(static_cast<float>(n - 1) * (x - min) / extent));
            }
            lo[d] = *blocks.begin();
            hi[d] = std::min(*blocks.rbegin(), n);
        }
        for (int k = lo[2]; k <= hi[2]; ++k) {
            for (int j = lo[1]; j <= hi[1]; ++j) {
                for (int i = lo[0]; i <= hi[0]; ++i) {
                    const int block = (k * n + j) * n + i;
                    if (block < 0 || block >= table->nblocks) continue;
                    lists[block].insert(lists[block].begin(), id);
                    EXPECT_EQ(table->cell_list[++entries], id);
                }
            }
        }
    }
    EXPECT_EQ(table->list_free, entries + 1);
    EXPECT_EQ(table->list_cap, table->list_grow * (entries / table->list_grow + 1));
    for (int block = 0; block < table->nblocks; ++block) {
        std::vector<int> list;
        for (int k = table->blocks[block]; k; k = table->next_list[k]) list.push_back(table->cell_list[k]);
        ASSERT_EQ(list, lists[block]) << block;
    }
}

TEST(SearchTable, EntriesAreThePlainOnes) {
    CellList cells;
    CellMesh mixed = mixed_block(6);
    for (const CellSetData &set : mixed.sets) {
        for (auto cell = set.connect.begin(); cell != set.connect.end(); cell += set.nnodes())
            cells.push_back({static_cast<int>(cells.size()), {cell, cell + set.nnodes()}});
    }
    MeshPtr mesh = mixed.make();
    expect_plain_table(mesh, cells);
    // Cells beyond the box: cut off a block beyond the last, which is the first of the next row.
    std::fill_n(mesh->coord_max, 3, 4.0f);
    expect_plain_table(mesh, cells);
    std::fill_n(mesh->coord_min, 3, 1.5f);
    expect_plain_table(mesh, cells);
    for (std::size_t i = 0; i < mixed.coords.size(); i += 3) mixed.coords[i] = 3;
    expect_plain_table(mixed.make(), cells);

    for (const std::vector<int> &dims : {std::vector{700}, {40, 30}, {13, 12, 11}}) {
        const std::size_t ndim = dims.size();
        std::vector<float> corners(2 * ndim, 3.0f);
        std::fill_n(corners.begin(), ndim, 0.0f);
        const FourKinds grid(dims, corners);
        cells.clear();
        for (auto cell = grid.connect.begin(); cell != grid.connect.end(); cell += 1 << ndim)
            cells.push_back({*cell, {cell, cell + (1 << ndim)}});
        expect_plain_table(grid.meshes[2], cells);
    }
    // Cells with nodes outside the mesh are not entered.
    expect_plain_table(FourKinds({3, 3, 1}, {0, 0, 0, 2, 2, 1}).meshes[2], {});
}

// ---- The search

struct Found {
    int result = 0, cell = -5;
    Point uvw = {9, 9, 9};

    bool operator==(const Found &other) const {
        return result == other.result && cell == other.cell && same_bits(uvw, other.uvw);
    }
};

Found find(MeshInfo *mesh, BlockTable *table, const Point &p) {
    Found found;
    found.result = mesh->field_funcs->find_cell_func(mesh, table, p.data(), &found.cell, found.uvw.data());
    return found;
}

// All cells of the block's list, one after the other.
Found plain_find(MeshInfo *mesh, const BlockTable *table, const Point &p) {
    Found found;
    float extents = 0;
    for (int d = 0; d < 3; ++d) extents += table->max[d] - table->min[d];
    const float tol = static_cast<float>(extents * 1e-6);
    double block = 0, stride = 1;
    for (int d = 0; d < table->nspace; ++d, stride *= table->nblk) {
        const float lo = table->min[d], extent = table->max[d] - lo;
        if (p[d] < lo - tol || p[d] > table->max[d] + tol) return found;
        if (extent > 1e-30)
            block += stride * std::trunc(static_cast<float>(table->nblk - 1) * (p[d] - lo) / extent);
    }
    found.cell = -1;
    if (!(block >= 0 && block < table->nblocks)) return found;
    const auto interp_cell = mesh->field_funcs->interp_cell_func;
    for (int k = table->blocks[static_cast<int>(block)]; k && !found.result; k = table->next_list[k]) {
        found.cell = table->cell_list[k];
        found.result = interp_cell(mesh, found.cell, p.data(), 1, tol, found.uvw.data()) > 0;
    }
    return found;
}

// Means of nodes of random cells: corners, middles of edges and cells, other places; some a little off; some
// anywhere in and around the mesh.
std::vector<Point> test_points(const CellMesh &cells, const MeshPtr &mesh, int count) {
    std::mt19937 random(5);
    std::vector<Point> points = {{kNan, kNan, kNan}, {1, kNan, 1}, {1, 1, INFINITY}, {1, 1, 1e-5f}};
    for (int n = 0; n < count; ++n) {
        Point p = {0, 0, 0};
        const CellSetData &set = cells.sets[random() % cells.sets.size()];
        const int *nodes = &set.connect[random() % set.ncells() * set.nnodes()];
        const int used = 1 + static_cast<int>(random() % set.nnodes());
        for (int d = 0; d < 3; ++d) {
            const float extent = mesh->coord_max[d] - mesh->coord_min[d];
            std::uniform_real_distribution<float> near(-4e-6f * extent, 4e-6f * extent),
                anywhere(-0.02f * extent, 1.02f * extent);
            for (int i = 0; i < used; ++i) p[d] += cells.coords[3 * nodes[i] + d] / static_cast<float>(used);
            if (n % 3 == 0) p[d] += near(random);
            if (n % 3 == 1) p[d] = mesh->coord_min[d] + anywhere(random);
        }
        points.push_back(p);
    }
    return points;
}

void shuffle_cells(CellSetData &set) {
    std::mt19937 random(8);
    const int n = set.nnodes();
    for (int cell = set.ncells() - 1; cell > 0; --cell) {
        const auto at = set.connect.begin() + n * cell;
        std::swap_ranges(at, at + n, set.connect.begin() + n * static_cast<int>(random() % (cell + 1u)));
    }
}

// Without holes every point in the box has a cell. The place found lies within `reach` of the point.
void expect_plain_takers(const CellMesh &cells, int count, float reach, bool holes = false) {
    const MeshPtr mesh = cells.make();
    const TablePtr table = build(mesh);
    BlockTable copy = *table;  // has the lists alone
    int missed = 0, inside = 0;
    for (const Point &p : test_points(cells, mesh, count)) {
        SCOPED_TRACE(testing::PrintToString(p));
        const Found found = find(mesh.get(), table.get(), p);
        ASSERT_EQ(found, plain_find(mesh.get(), table.get(), p));
        ASSERT_EQ(found, find(mesh.get(), &copy, p));
        bool in_box = true;
        for (int d = 0; d < 3; ++d) in_box &= p[d] >= mesh->coord_min[d] && p[d] <= mesh->coord_max[d];
        missed += in_box && !found.result;
        inside += found.result;
        Point at = p;
        if (found.result) {
            UTILinterp_cell_val(mesh.get(), found.cell, 3, mesh->coords, 4, 0, nullptr, 1, found.uvw.data(),
                                at.data());
        }
        for (int d = 0; d < 3 && found.result; ++d) EXPECT_NEAR(at[d], p[d], reach);
    }
    EXPECT_EQ(missed > 0, holes);
    EXPECT_GT(inside, count / 3);
}

TEST(Search, LargeMeshes) {
    CellMesh hexes = block_of(Cube::kHex, 30), tets = block_of(Cube::kTets, 16);
    expect_plain_takers(hexes, 3000, 1e-3f);
    shuffle_cells(tets.sets[0]);
    expect_plain_takers(tets, 3000, 1e-3f);
    hexes.sets[0].connect.resize(8 * 20000);  // so that blocks are empty
    shuffle_cells(hexes.sets[0]);
    hexes.sets[0].connect.resize(8 * 16000);
    for (float &x : hexes.coords) x += 0.1f * std::sin(3 * x);
    expect_plain_takers(hexes, 3000, 0.1f, true);
}

TEST(Search, ManyKindsOfCells) {
    expect_plain_takers(mixed_block(12), 3000, 0.1f);
    expect_plain_takers(all_kinds(6), 2000, 0.1f);
}

// Nearly all cells stand in one block.
TEST(Search, GradedMeshes) {
    CellMesh cells = block_of(Cube::kHex, 22);
    shuffle_cells(cells.sets[0]);
    for (float &x : cells.coords) x = 22 * std::pow(x / 22, 6.0f);
    expect_plain_takers(cells, 400, 1e-3f);
}

TEST(Search, ThinAndFlatMeshes) {
    CellMesh thin = block_of(Cube::kHex, 8), flat = block_of(Cube::kHex, 20);
    for (std::size_t i = 0; i < thin.coords.size(); i += 3) thin.coords[i] *= 1e6f / 8;
    expect_plain_takers(thin, 1000, 10);
    for (std::size_t i = 2; i < flat.coords.size(); i += 3)
        flat.coords[i] *= 1e-29f;  // far below the tolerance
    flat.sets[0] = {"quad_1", grid_connect({21, 21})};
    expect_plain_takers(flat, 1000, 1e-3f, true);
}

TEST(Search, WithoutTakers) {
    const CellMesh cells = block_of(Cube::kTets, 3);
    const MeshPtr mesh = cells.make();
    mesh->coord_max[0] = 30;
    const TablePtr table = build(mesh);
    EXPECT_EQ(find(mesh.get(), table.get(), {20, 1, 1}).cell, -1) << "an empty block";
    EXPECT_EQ(find(mesh.get(), table.get(), {3.5f, 2.5f, 2.5f}).cell, 144) << "the last one tried";
    EXPECT_EQ(find(mesh.get(), table.get(), {31, 1, 1}), Found{}) << "nothing written";
    mesh->field_funcs->interp_cell_func = nullptr;
    testing::internal::CaptureStderr();
    EXPECT_EQ(find(mesh.get(), table.get(), {1, 1, 1}).result, -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "UTILfind_cell: unable to find interp_cell function\n");
}

TEST(Search, LinesAndEndsOfGrids) {
    const FourKinds plane({4, 3}, {0, 0, 6, 4});
    const auto expect = [&](const Point &p, const Found &unif, const Found &rect) {
        EXPECT_EQ(find(plane.meshes[0].get(), nullptr, p), unif) << testing::PrintToString(p);
        EXPECT_EQ(find(plane.meshes[1].get(), nullptr, p), rect) << testing::PrintToString(p);
    };
    const Found low = {1, 0, {1, -1, 0}}, high = {1, 6, {-1, 1, 0}}, outside = {0, -1, {0, 0, 0}};
    expect({2, 2, 0}, {1, 5, {1, -1, 0}}, {1, 0, {-1, 1, 0}});
    expect({0, 0, 0}, low, low);
    expect({6, 4, 0}, high, high);
    expect({-0.001f, 1, 0}, outside, outside);
    expect({kNan, 1, 0}, outside, outside);
    // A row of cells in space: axes without cells test the range alone.
    const MeshPtr row = uniform_mesh({3, 1}, {1, 2, 7, 2, 2, 7});
    EXPECT_EQ(find(row.get(), nullptr, {1.625f, 2, 7}), (Found{1, 1, {0.5f, 0, 0}}));
    EXPECT_EQ(find(row.get(), nullptr, {1.625f, 2, 7.1f}).result, 0);
    EXPECT_EQ(find(row.get(), nullptr, {1.625f, 2.1f, 7}).result, 0);
}

// ---- Probing

template <class T>
class ProbeOf : public testing::Test {
  protected:
    static constexpr bool kInteger = std::is_integral_v<T>;
    // The null that a scalar without one gets: integers wrap around.
    static constexpr T kHigh = kInteger ? std::numeric_limits<T>::max() : T{40};
    static constexpr T kMadeUp = kInteger ? std::numeric_limits<T>::lowest() : T{41};

    // An element in a slot of 8 bytes.
    static double slot(T value) {
        double bytes = 0;
        std::memcpy(&bytes, &value, sizeof value);
        return bytes;
    }

    // One point after the other. value(found, row) tells whether there is one.
    template <class Value>
    static std::vector<T> plain_probe(MeshInfo *mesh, BlockTable *table, const std::vector<float> &points,
                                      int nspace, const float *xform, int veclen, T null, int &flag,
                                      Value value) {
        std::vector<T> out;
        for (std::size_t i = 0; i < points.size(); i += nspace) {
            Point p = {0, 0, 0};
            std::copy_n(&points[i], nspace, p.data());
            if (xform) MATvec3_mat4_multiply(p.data(), xform);
            const Found found = find(mesh, table, p);
            std::vector<T> row(veclen, null);
            if (found.result != 1 || !value(found, row)) flag = 1;
            out.insert(out.end(), row.begin(), row.end());
        }
        return out;
    }

    // Of three arrays: a scalar without a null, vectors without and with one, 7. Returns the former vectors.
    static std::vector<T> expect_plain_samples(const MeshPtr &mesh, const std::vector<float> &points,
                                               int nspace, const float *xform, bool misses) {
        const TablePtr table = build(mesh);
        const int npoints = static_cast<int>(points.size()) / nspace, veclens[] = {1, 3, 2};
        const T nulls[] = {kMadeUp, 0, 7};
        const double range[] = {slot(kHigh), slot(kHigh), slot(kHigh)};
        double null_slots[] = {0, 0, slot(7)};
        int flags[] = {0, 0, 1};
        std::vector<T> data[3], outs[3];
        const void *arrays[3];
        void *out_arrays[3];
        for (int a = 0; a < 3; ++a) {
            data[a] = random_values<T>(mesh->nnodes * veclens[a], 40, 6);
            outs[a].assign(npoints * veclens[a], T{99});
            arrays[a] = data[a].data();
            out_arrays[a] = outs[a].data();
        }
        EXPECT_EQ(UTILinterpolate_data(npoints, points.data(), nspace, xform, mesh.get(), table.get(), 3,
                                       type_code<T>, veclens, arrays, nullptr, range, flags, null_slots,
                                       out_arrays),
                  1);
        for (int a = 0; a < 3; ++a) {
            int flag = a == 2;
            const auto value = [&](const Found &found, std::vector<T> &row) {
                float sample[3];
                const int made = mesh->field_funcs->interp_data_func(mesh.get(), found.cell, veclens[a],
                                                                     arrays[a], type_code<T>, a == 2,
                                                                     &nulls[a], 1, found.uvw.data(), sample);
                for (int c = 0; c < veclens[a] && made == 1; ++c) row[c] = static_cast<T>(sample[c]);
                return made == 1;
            };
            EXPECT_TRUE(same_bits(outs[a], plain_probe(mesh.get(), table.get(), points, nspace, xform,
                                                       veclens[a], nulls[a], flag, value)))
                << a;
            EXPECT_EQ(flags[a], flag);
            EXPECT_EQ(flag, misses || a == 2);
            EXPECT_EQ(null_slots[a], slot(nulls[a]));
        }
        return outs[1];
    }
};
using AllTypes = testing::Types<signed char, unsigned char, short, int, float, double>;
TYPED_TEST_SUITE(ProbeOf, AllTypes);

TYPED_TEST(ProbeOf, NodeDataOfCells) {
    const CellMesh cells = mixed_block(5);
    const MeshPtr mesh = cells.make();
    std::vector<float> points = random_values<float>(2 * 2500, 60, 1);
    for (float &x : points) x *= 0.1f;
    points[1] = kNan;
    constexpr float kTilted[16] = {1, 0, 0.3f, 0, 0, 1, 0.5f, 0, 0, 0, 1, 0, 0.1f, -0.2f, 0.3f, 1};
    this->expect_plain_samples(mesh, points, 2, kTilted, true);
    points.resize(2 * 700);
    this->expect_plain_samples(mesh, points, 2, nullptr, true);
    this->expect_plain_samples(mesh, {0.3f, 0.4f, 0.5f}, 3, nullptr, false);
    this->expect_plain_samples(mesh, {}, 3, nullptr, false);
}

// Many points on grid lines, at the ends and outside.
TYPED_TEST(ProbeOf, NodeDataOfGrids) {
    const FourKinds line({12}, {0, 5.5f}), plane({12, 9}, {0, 1, 5.5f, 5}),
        box({9, 8, 7}, {-1, 0, 0.5f, 3, 3.5f, 3.5f});
    for (const FourKinds *grid : {&line, &plane, &box}) {
        const auto ndim = static_cast<std::size_t>(grid->meshes[0]->ndim);
        std::vector<float> points = random_values<float>(3 * 900, 1000, 9);
        for (std::size_t i = 0; i < points.size(); ++i) {
            points[i] = points[i] * 0.0065f - 1;
            if (i / 3 % 3 == 0) points[i] = std::round(points[i] * 2) / 2;
            if (i % 3 >= ndim) points[i] = 0;
        }
        points[0] = kNan;
        points[3] = INFINITY;
        const auto expected = this->expect_plain_samples(grid->meshes[0], points, 3, nullptr, true);
        for (const MeshPtr &mesh : grid->meshes) {
            const auto samples = this->expect_plain_samples(mesh, points, 3, nullptr, true);
            // Lines have a frame of their own. Cells take no step below 0.05.
            for (std::size_t i = 0; i < samples.size() && ndim > 1; ++i)
                ASSERT_NEAR(samples[i], expected[i], 3) << i;
        }
    }
}

// The range of an axis reaches beyond its lines, by less than 1e-30.
TYPED_TEST(ProbeOf, NodeDataBesideTheFirstLine) {
    const FourKinds plane({12, 9}, {0, 1, 5.5f, 5});
    for (int m = 0; m < 2; ++m)
        this->expect_plain_samples(plane.meshes[m], {-1e-31f, 2.2f, 0}, 3, nullptr, false);
}

TYPED_TEST(ProbeOf, CellData) {
    using T = TypeParam;
    const CellMesh cells = mixed_block(4);
    const FourKinds grid({6, 5, 7}, {0, 0, 0, 4, 4, 4});
    const MeshPtr mixed = cells.make();
    const int map[] = {1, -1, 0, 1};
    const std::vector<T> rows[] = {random_values<T>(5000, 40, 1), random_values<T>(5000, 40, 2)};
    const void *const arrays[] = {rows[0].data(), rows[1].data()};
    std::vector<float> points = random_values<float>(3 * 600, 1000, 2);
    for (float &x : points) x *= 0.0045f;
    for (const MeshPtr *of : {&mixed, &grid.meshes[0], &grid.meshes[2]}) {
        const TablePtr table = build(*of);
        std::vector<T> out(2 * 600, T{99});
        const double range = 0;
        double null_slot = 7;
        int flag = 0, expected_flag = 0;
        EXPECT_EQ(UTILinterpolate_cell_data(600, points.data(), 3, nullptr, of->get(), table.get(), map,
                                            type_code<T>, 2, arrays, nullptr, &range, &flag, &null_slot,
                                            out.data()),
                  1);
        // On a grid corner numbers from the count of cells on have no row.
        const auto value = [&](const Found &found, std::vector<T> &row) {
            int local, set = -1;
            if (!UTILget_cell_id(of->get(), found.cell, &local, &set) || map[set] < 0) return false;
            std::copy_n(&rows[map[set]][local * 2], 2, row.begin());
            return true;
        };
        EXPECT_TRUE(same_bits(out, this->plain_probe(of->get(), table.get(), points, 3, nullptr, 2, T{0},
                                                     expected_flag, value)));
        EXPECT_EQ(flag + expected_flag, 2);
    }
}

}  // namespace
