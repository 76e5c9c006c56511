// Sheets and lines traced from a point, the list and the table of cells, and plane slices of grids: against
// their plain forms, and the oddities by hand.
#include <gtest/gtest.h>

#include <cmath>

#include "case_tables.hpp"
#include "support.hpp"

namespace {

using Floats = std::vector<float>;
using Ints = std::vector<int>;

struct Traced {
    int result = 1;
    float level = 0;
    Ints min_node = {}, max_node = {}, connect = {};

    bool operator==(const Traced &o) const {
        return result == o.result && same_bits(std::array{level}, std::array{o.level}) &&
               min_node == o.min_node && max_node == o.max_node && connect == o.connect;
    }
};

// A mesh with its search table, where it has one.
struct Searched {
    MeshInfo *mesh;
    BlockTable *table = nullptr;

    explicit Searched(const MeshPtr &m) : mesh(m.get()) { mesh->field_funcs->interp_init_func(mesh, &table); }
    ~Searched() { isohost_block_table_free(table); }
};

Ints take(int *array, int count) {
    const IntArray owned(array);
    return {array, array + count};
}

template <class T>
Traced trace(const Searched &in, bool sheet, const std::vector<T> &data, const T *null_value,
             const Point &p) {
    int nnew, count, nconnect, *min_node, *max_node, *connect;
    double level = 0;
    const int result = (sheet ? UTILiso_trace : UTILisoline_trace)(
        in.mesh, in.table, data.data(), type_code<T>, null_value != nullptr, null_value, p.data(), &level,
        &nnew, &min_node, &max_node, &count, &connect, &nconnect);
    EXPECT_EQ(nconnect, (sheet ? 3 : 2) * count);
    for (const int *array : {min_node, max_node, connect}) EXPECT_EQ(array != nullptr, result == 1);
    return {result, static_cast<float>(level), take(min_node, nnew), take(max_node, nnew),
            take(connect, nconnect)};
}

template <class T>
class PlainTrace {
  public:
    Traced made;
    Ints percents;

    PlainTrace(const Searched &in, bool sheet, const std::vector<T> &data, const T *null_value,
               const Point &p)
        : data_(data), null_value_(null_value), dims_(in.mesh->dims) {
        const FieldFuncs &funcs = *in.mesh->field_funcs;
        int cell;
        float uvw[3], level;
        made.result = funcs.find_cell_func(in.mesh, in.table, p.data(), &cell, uvw) == 1 &&
                      funcs.interp_data_func(in.mesh, cell, 1, data.data(), type_code<T>,
                                             null_value != nullptr, null_value, 1, uvw, &level) == 1;
        if (!made.result) return;
        made.level = level;
        const float step = static_cast<float>(100.0 / in.mesh->cell_ncells[0]);
        Ints stack = {cell};
        std::set<int> done;
        for (int taken = 1, looked_at = 0; !stack.empty(); ++taken) {
            cell = stack.back();
            stack.pop_back();
            if (done.count(cell)) continue;
            if (++looked_at % 401 == 0)
                percents.push_back(std::min(static_cast<int>(static_cast<float>(taken) * step), 100));
            const int sides = sheet ? add_polygons(cell) : add_segments(cell), row = cell / dims_[0];
            const int at[] = {cell % dims_[0], sheet ? row % dims_[1] : row, row / dims_[1]};
            if (sides) done.insert(cell);
            for (int d = 0, stride = 1; d < 2 + sheet; stride *= dims_[d++]) {
                if (at[d] > 0 && sides >> 2 * d & 1) stack.push_back(cell - stride);
                if (at[d] < dims_[d] - 2 && sides >> 2 * d & 2) stack.push_back(cell + stride);
            }
        }
    }

  private:
    bool null(int node) const { return null_value_ && data_[node] == *null_value_; }
    double value(int node) const { return static_cast<double>(data_[node]); }

    int new_node(int a, int b) {
        const auto [known, is_new] = numbers_.insert({std::minmax(a, b), static_cast<int>(numbers_.size())});
        if (is_new) made.min_node.push_back(std::min(a, b));
        if (is_new) made.max_node.push_back(std::max(a, b));
        return known->second;
    }
    void add_elements(const Ints &ids, const char *corners) {
        for (; *corners; ++corners) made.connect.push_back(ids[*corners - '0']);
    }

    // Both return the sides that are crossed, a pair of bits for each axis.
    int add_polygons(int cell) {
        constexpr int kBits[] = {0, 1, 5, 4, 2, 3, 7, 6};
        constexpr const char *kFans[] = {"012", "012023", "012023034", "012023035345", "012023036346456"};
        const auto &table = isofield::detail::Hex::kSlice;
        int nodes[8], index = 0;
        for (int n = 0; n < 8; ++n) {
            nodes[n] = cell + (n % 4 == 1 || n % 4 == 2) + (n % 4 / 2 + n / 4 * dims_[1]) * dims_[0];
            if (null(nodes[n])) return 0;
            index |= (value(nodes[n]) >= made.level) << kBits[n];
        }
        for (int polygon = 0, n = 0; polygon < table.ninter_polys[index]; ++polygon) {
            Ints ids;
            for (const int end = n + table.nppoly[index][polygon]; n < end; ++n)
                ids.push_back(new_node(nodes[table.left_vert[index][n]], nodes[table.right_vert[index][n]]));
            add_elements(ids, kFans[ids.size() - 3]);
        }
        return ISOtrace_hex[index];
    }
    int add_segments(int cell) {
        const int nodes[] = {cell, cell + 1, cell + 1 + dims_[0], cell + dims_[0]};
        if (std::any_of(nodes, nodes + 4, [this](int node) { return null(node); })) return 0;
        const double level = made.level;
        int sides = 0;
        Ints ids;
        for (int e = 0; e < 4; ++e) {
            const double a = value(nodes[e]), b = value(nodes[(e + 1) % 4]);
            if (!((a <= level && b > level) || (a >= level && b < level) || (a == level && b == level)))
                continue;
            ids.push_back(new_node(nodes[e], nodes[(e + 1) % 4]));
            sides |= std::array{4, 2, 8, 1}[e];
        }
        const bool rising = value(nodes[0]) < value(nodes[1]);
        add_elements(ids, std::array{"", "00", "01", "01", rising ? "0123" : "0321"}[ids.size()]);
        return sides;
    }

    const std::vector<T> &data_;
    const T *null_value_;
    const int *dims_;
    std::map<std::pair<int, int>, int> numbers_;
};

template <class T>
std::vector<T> waves(const MeshInfo *mesh) {
    std::vector<T> data;
    for (int n = 0; n < mesh->nnodes; ++n) {
        const int row = n / mesh->dims[0], plane = row / mesh->dims[1];
        data.push_back(
            static_cast<T>(64 + 60 * std::sin(0.5 * n) * std::cos(0.4 * row) * std::cos(0.3 * plane)));
    }
    return data;
}

template <class T>
class TraceOf : public testing::Test {};
using AllTypes = testing::Types<signed char, unsigned char, short, int, float, double>;
TYPED_TEST_SUITE(TraceOf, AllTypes);

// Waves, and few values, so that there are plateaus, from nodes and other places in and around the grid.
TYPED_TEST(TraceOf, IsThePlainWalk) {
    using T = TypeParam;
    std::mt19937 random(4);
    for (const Ints &dims : {Ints{2, 2, 2}, {5, 6, 7}, {17, 16, 18}, {40, 31}, {2, 2}}) {
        Floats corners(dims.size(), 0.0f);
        for (const int n : dims) corners.push_back(static_cast<float>(2 * n - 2));
        const FourKinds grid(dims, corners);
        std::size_t made = 0;
        for (int n = 0; n < 90; ++n) {
            const Searched in(grid.meshes[n % 3]);
            std::vector<T> data = n % 2 ? waves<T>(in.mesh) : random_values<T>(in.mesh->nnodes, n % 4 + 1, n);
            if (std::is_floating_point_v<T> && n % 5 == 0) data.back() = static_cast<T>(NAN);
            const T null = n % 2 ? data[0] : T{2}, *const null_value = n % 7 < 3 ? &null : nullptr;
            Point p = {0, 0, 0};
            for (std::size_t d = 0; d < dims.size(); ++d)
                p[d] = static_cast<float>(random() % 1040) * 0.001f * corners[d + dims.size()];
            for (float &x : p) x = n / 2 % 2 ? std::round(x) : x;
            for (std::size_t sheet = 0; sheet < dims.size() - 1; ++sheet) {
                const Traced own = trace(in, sheet, data, null_value, p);
                ASSERT_EQ(own, PlainTrace<T>(in, sheet, data, null_value, p).made) << n << sheet;
                made += own.connect.size();
            }
        }
        EXPECT_GT(made, dims[0] > 2 ? 5000u : 50u);
    }
}

TEST(Trace, SheetIsAPartOfTheIsosurface) {
    const MeshPtr mesh = unit_grid({30, 15, 15});
    std::vector<double> data;
    for (int n = 0; n < mesh->nnodes; ++n) {
        const double x = n % 30, y = n / 30 % 15 - 7, z = n / 450 - 7;
        data.push_back(std::min(std::hypot(x - 7, y, z), std::hypot(x - 22, y, z)));
    }
    const Traced sheet = trace(Searched(mesh), true, data, {}, {11.2f, 7, 7});
    const Extracted surface = isosurface<double>(mesh.get(), data.data(), sheet.level);
    std::set<std::pair<int, int>> edges;
    for (int n = 0; n < surface.nnew; ++n) edges.insert({surface.min_node[n], surface.max_node[n]});
    EXPECT_GT(sheet.min_node.size(), 150u);
    for (std::size_t n = 0; n < sheet.min_node.size(); ++n) {
        EXPECT_EQ(edges.erase({sheet.min_node[n], sheet.max_node[n]}), 1u);
        EXPECT_LT(sheet.min_node[n] % 30, 14) << "the other sphere";
    }
}

TEST(Trace, FacesByTheirRule) {
    for (int index = 0; index < 256; ++index) {
        for (int side = 0; side < 6; ++side) {
            std::set<int> values;
            for (int corner = 0; corner < 8; ++corner) {
                if ((corner >> side / 2 & 1) == side % 2) values.insert(index >> corner & 1);
            }
            EXPECT_EQ(ISOtrace_hex[index] >> side & 1, values.size() == 2) << index;
        }
    }
}

TEST(Trace, SheetsTellTheCellsTaken) {
    const MeshPtr mesh = unit_grid({34, 33, 32});
    const Searched in(mesh);
    const auto data = waves<double>(mesh.get());
    const Point p = {10.3f, 10.4f, 10.5f};
    static Ints told;
    const auto call = [](int percent, const char *, void *) {
        told.push_back(percent);
        return 1;
    };
    const IsohostWatch old = isohost_set_thread_watch(IsohostWatch{call, nullptr});
    trace<double>(in, true, data, nullptr, p);
    isohost_set_thread_watch(old);
    EXPECT_EQ(told, PlainTrace<double>(in, true, data, nullptr, p).percents);
    EXPECT_GT(told.size(), 3u);
}

TEST(Trace, ByHand) {
    const MeshPtr box = unit_grid({4, 3, 3});
    const Searched in(box);
    const Ints flat(36, 7);
    const Point p = {1, 1, 1};
    const Traced nothing = {.level = 7};
    EXPECT_EQ(trace<int>(in, true, flat, nullptr, p), nothing);
    EXPECT_EQ(trace<int>(in, false, flat, nullptr, {1, 1, 0}).connect.size(), 2u * 2 * 6) << "a plateau";
    EXPECT_EQ(trace<int>(Searched(unit_grid({4, 9})), true, flat, nullptr, p).result, 0);
    EXPECT_EQ(trace<int>(Searched(unit_grid({36})), false, flat, nullptr, {1, 0, 0}).result, 0);
    int n = -7, *none = nullptr;
    double level;
    for (const auto of : {UTILiso_trace, UTILisoline_trace}) {
        EXPECT_NE(of(box.get(), nullptr, flat.data(), 6, 0, nullptr, p.data(), &level, &n, &none, &none, &n,
                     &none, &n),
                  0);
        EXPECT_EQ(n, -7);
    }
    static int cell;
    box->field_funcs->find_cell_func = [](MeshInfo *, BlockTable *, const float *, int *found, float *) {
        *found = cell;
        return 1;
    };
    box->field_funcs->interp_data_func = [](MeshInfo *, int, int, const void *, int, int, const void *, int,
                                            const float *, float *out) {
        *out = 7;
        return 1;
    };
    for (const int outside : {-1, 36, std::numeric_limits<int>::max()}) {
        cell = outside;
        for (const bool sheet : {true, false}) EXPECT_EQ(trace<int>(in, sheet, flat, nullptr, p), nothing);
    }
    testing::internal::CaptureStderr();
    box->field_funcs->interp_data_func = nullptr;
    EXPECT_EQ(trace<int>(in, true, flat, nullptr, p).result, 0);
    box->field_funcs->find_cell_func = nullptr;
    EXPECT_EQ(trace<int>(in, false, flat, nullptr, p).result, 0);
    const std::string text = "UTILfind_cell: unable to find interp_cell function\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), text + text);
}

// ---- The list and the table of cells

TEST(CellList, GrowsAndUsesNodesAgain) {
    CellList *list = UTILinit_cell_list(1024);
    Ints cells(3000);
    for (int i = 0; i < 3000; ++i) cells[i] = 3 * i;
    UTILadd_cell_to_list(list, 1023, cells.data());
    EXPECT_EQ(list->nblocks, 1);
    UTILadd_cell_to_list(list, 1977, &cells[1023]);
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(list->nblocks, 3);
        for (int i = 3000; i-- > 0; UTILrm_cell_from_list(list)) ASSERT_EQ(list->top->cell, 3 * i);
        EXPECT_EQ(list->top, nullptr);
        EXPECT_EQ(UTILrm_cell_from_list(list), 0);
        EXPECT_EQ(UTILadd_cell_to_list(list, 3000, cells.data()), 1);
    }
    EXPECT_EQ(UTILdelete_cell_list(list) + UTILdelete_cell_list(nullptr), 2);
    EXPECT_EQ(UTILadd_cell_to_list(nullptr, 1, cells.data()) + UTILrm_cell_from_list(nullptr), 0);
}

TEST(CellTable, SpreadsCellsByScaling) {
    CellTable *table = UTILcell_table_create(10, 4000);
    EXPECT_EQ(table->scale, 0.0025f);
    for (int i = 0; i < 2100; ++i) EXPECT_EQ(UTILcell_table_add(table, 3999 - i), 1);
    EXPECT_EQ(table->capacity, 3 * 1024);
    EXPECT_EQ(Ints(table->head, table->head + 10), (Ints{0, 0, 0, 0, 2100, 2000, 1600, 1200, 800, 400}));
    for (int cell = 0; cell < 4000; ++cell) ASSERT_EQ(UTILcell_in_table(table, cell), cell >= 1900);
    EXPECT_EQ(UTILcell_table_add(table, 3999), 1);
    EXPECT_EQ(table->head[9], 2101) << "once more";
    EXPECT_EQ(table->next[2100], 400);
    EXPECT_EQ(UTILcell_table_delete(table) + UTILcell_table_delete(nullptr), 2);
    EXPECT_EQ(UTILcell_table_add(nullptr, 1) + UTILcell_in_table(nullptr, 1), 0);
}

// ---- Plane slices

struct Grid {
    bool rect;
    Ints dims;
    Floats points;

    float line(int d, int i) const {
        const int first[] = {0, dims[0], dims[0] + dims[1]};
        return points[3 * (rect ? first[d] + i : i > 0) + d];
    }
    float last(int d) const { return rect ? line(d, dims[d] - 1) : points[3 + d]; }
    float spacing(int d) const {
        return dims[d] < 2 ? 0 : static_cast<float>((double{last(d)} - line(d, 0)) / (dims[d] - 1));
    }
};

struct Slice {
    int result = 0;
    Ints dims = {-7, -7}, min_node = {}, max_node = {};
    Floats points = {}, matrix = Floats(16, -7.0f), weights = {};
    std::vector<unsigned char> flags = {};

    bool operator==(const Slice &) const = default;
};

// Weights are 0 outside.
Slice slice(const Grid &g, const Point &normal, double dist, int n) {
    Slice s;
    float *points, *weights;
    int *min_node, *max_node;
    unsigned char *flags;
    s.result = (g.rect ? UTILrslice_rect : UTILrslice_unif)(g.dims.data(), g.points.data(), normal.data(),
                                                            dist, s.dims.data(), &points, n, s.matrix.data(),
                                                            &min_node, &max_node, &weights, &flags);
    EXPECT_EQ(points != nullptr, flags != nullptr);
    if (!points) return s;
    const int count = s.dims[0] * s.dims[1];
    s.points.assign(points, points + n * (g.rect ? s.dims[0] + s.dims[1] : 2));
    s.min_node = take(min_node, count);
    s.max_node = take(max_node, count);
    s.flags.assign(flags, flags + count);
    for (int i = 0; i < count; ++i) s.weights.push_back(flags[i] ? weights[i] : 0);
    ARRfree_f(points, "", 0);
    ARRfree_f(weights, "", 0);
    ARRfree_f(flags, "", 0);
    return s;
}

Slice plain_slice(const Grid &g, const Point &n, double distance, int width) {
    const float dist = static_cast<float>(distance);
    int a = 0;
    for (const int d : {1, 2}) a = std::abs(n[d]) > std::abs(n[a]) ? d : a;
    const int u = (a + 1) % 3, v = (a + 2) % 3, nu = g.dims[u], nv = g.dims[v];
    Slice s{.dims = {nu, nv}, .matrix = Floats(16, 0.0f)};
    const auto place = [&](float at_u, float at_v) {
        Point p;
        p[u] = at_u;
        p[v] = at_v;
        p[a] = (dist - n[u] * at_u - n[v] * at_v) / n[a];
        return p;
    };
    const Point p0 = place(g.line(u, 0), g.line(v, 0)), p1 = place(g.last(u), g.line(v, 0)),
                p2 = place(g.line(u, 0), g.last(v));
    float *const e = s.matrix.data(), *const f = e + 4, *const up = f + 4;
    for (int d = 0; d < 3; ++d)
        std::tie(e[d], f[d], up[4 + d]) = std::tuple(p1[d] - p0[d], p2[d] - p0[d], p0[d]);
    for (int d = 0; d < 3; ++d) up[d] = e[(d + 1) % 3] * f[(d + 2) % 3] - e[(d + 2) % 3] * f[(d + 1) % 3];
    const double length = std::sqrt(double{up[0] * up[0] + up[1] * up[1] + up[2] * up[2]});
    for (int d = 0; d < 3 && length > 1e-32; ++d) up[d] /= static_cast<float>(length);
    s.matrix[15] = 1;
    for (int r = 0; r < (g.rect ? nu + nv : 2); ++r) {
        const int d = r < nu ? u : v, i = r < nu ? r : r - nu;
        const float at = g.dims[d] < 2 ? 0 : (g.line(d, i) - g.line(d, 0)) / (g.last(d) - g.line(d, 0));
        for (int c = 0; c < width; ++c)
            s.points.push_back(!g.rect ? static_cast<float>(r) : c == (d == v) ? at : 0);
    }
    const float da = g.spacing(a), start = (p0[a] - g.line(a, 0)) / da;
    const int strides[] = {1, g.dims[0], g.dims[0] * g.dims[1]}, last = g.dims[a] - 1;
    for (int j = 0; j < nv; ++j) {
        float p = start - static_cast<float>(j) * (n[v] * g.spacing(v) / (n[a] * da));
        for (int i = 0; i < nu; ++i, p -= n[u] * g.spacing(u) / (n[a] * da)) {
            const float x = dist / n[a] - n[v] / n[a] * g.line(v, j) - n[u] / n[a] * g.line(u, i);
            int k = 0;
            while (g.rect && k < last && !(g.line(a, k) <= x && x <= g.line(a, k + 1))) ++k;
            const bool inside = g.rect ? k < last : p >= 0 && p <= static_cast<float>(last);
            if (!g.rect && inside) k = std::min(static_cast<int>(p), last - 1);
            const int node = i * strides[u] + j * strides[v] + k * strides[a];
            s.min_node.push_back(inside ? node : -1);
            s.max_node.push_back(inside ? node + strides[a] : -1);
            s.weights.push_back(!inside  ? 0
                                : g.rect ? (x - g.line(a, k)) / (g.line(a, k + 1) - g.line(a, k))
                                         : p - static_cast<float>(k));
            s.flags.push_back(inside);
            s.result += inside;
        }
    }
    return s;
}

// Lines that do not increase are among those of rectilinear grids.
TEST(PlaneSlice, IsThePlainOne) {
    std::mt19937 random(8);
    std::uniform_real_distribution<float> unit(-1, 1);
    int inside = 0;
    for (int n = 0; n < 3000; ++n) {
        Grid g{
            n % 2 == 1, std::array<Ints, 4>{{{7, 5, 6}, {30, 3, 40}, {1, 9, 2}, {4, 4, 1}}}[n / 2 % 4], {}};
        g.points.assign(3 * (g.rect ? g.dims[0] + g.dims[1] + g.dims[2] : 2), 99.0f);
        for (int d = 0, r = 0; d < 3; ++d) {
            float x = unit(random);
            for (int i = 0; i < (g.rect ? g.dims[d] : 2);
                 ++i, x += unit(random) + (n % 9 == 8 && g.rect ? 0 : 1.01f))
                g.points[3 * (g.rect ? r++ : i) + d] = x;
        }
        Point normal = {unit(random), unit(random), unit(random)};
        if (n % 5 == 4) normal[n % 3] = normal[(n + 1) % 3] = n % 2 ? 1 : -1;
        if (n % 7 == 6) normal[(n + 1) % 3] = normal[(n + 2) % 3] = 0;
        const double dist = 2.1 * unit(random);
        const Slice own = slice(g, normal, dist, 2 + n % 2);
        ASSERT_EQ(own, own.points.empty() ? Slice{} : plain_slice(g, normal, dist, 2 + n % 2)) << n;
        inside += own.result;
    }
    EXPECT_GT(inside, 50000);
}

TEST(PlaneSlice, ByHand) {
    const Ints dims = {3, 2, 4};
    const Grid unif{false, dims, {0, 0, 0, 2, 1, 3}},
        rect{true, dims, {0, 9, 9, 1, 9, 9, 2, 9, 9, 9, 0, 9, 9, 1, 9, 9, 9, 0, 9, 9, 1, 9, 9, 2, 9, 9, 3}};
    for (const Grid &g : {unif, rect}) {
        for (const auto &[z, base, weight] :
             {std::tuple{0.0f, 0, 0.0f}, {0.25f, 0, 0.25f}, {3.0f, 12, 1.0f}}) {
            const Slice s = slice(g, {0, 0, 2}, 2 * z, 3);
            EXPECT_EQ(s.result, 6);
            EXPECT_EQ(s.min_node, (Ints{base, base + 1, base + 2, base + 3, base + 4, base + 5}));
            EXPECT_EQ(s.max_node[5], base + 11);
            EXPECT_EQ(s.weights, Floats(6, weight));
            EXPECT_EQ(s.matrix, (Floats{2, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, z, 1}));
        }
        EXPECT_EQ(slice(g, {0, 0, 1}, 3.001, 2).result, 0);
        EXPECT_EQ(slice(g, {1, -1, 1}, 1, 2).dims, (Ints{2, 4})) << "the first of equal axes";
        EXPECT_EQ(slice(g, {0, 0, 0}, 1, 2), Slice{});
        EXPECT_EQ(slice({g.rect, {3, 1, 4}, g.points}, {0, 1, 0}, 0, 2), Slice{});
    }
    const MeshPtr grid = unit_grid(dims), cells = block_of(Cube::kHex, 1).make();
    grid->field_funcs->rslice_func = [](auto, auto, auto, double dist, auto...) {
        return dist == double{0.1f} ? 5 : 0;
    };
    testing::internal::CaptureStderr();
    for (MeshInfo *mesh : {grid.get(), cells.get()}) {
        EXPECT_EQ(UTILrslice(mesh, nullptr, nullptr, nullptr, 0.1, nullptr, nullptr, 2, nullptr, nullptr,
                             nullptr, nullptr, nullptr),
                  mesh == grid.get() ? 5 : 0);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "UTILrslice_func: no rslice function found\n");
}

}  // namespace
