#include <gtest/gtest.h>

#include <cmath>

#include "plain_split.hpp"

namespace {

using Connect = std::vector<int>;

template <class T>
class BandsOf : public testing::Test {};
using AllTypes = testing::Types<signed char, unsigned char, short, int, float, double>;
TYPED_TEST_SUITE(BandsOf, AllTypes);

// Levels on and between values, without room between them, and beyond the values.
TYPED_TEST(BandsOf, AreThePlainTwins) {
    expect_plain_twins<TypeParam>(
        {{2, 4}, {2.5, 3.5, 3, false, 0, true}, {3, 3, 1}, {-1, 3, 2, false, 0, true}, {2, 9}, {8, 9}});
}

// Each set, and each chunk of a quadratic one, starts its lines anew if there were any.
TEST(Bands, OfSeveralSetsHaveTheLinesOfTheLast) {
    const CellMesh all = all_kinds(13);
    const std::vector<int> data = random_values<int>(all.nnodes(), 6, 5);
    const std::vector<std::vector<const char *>> meshes = {
        {"tri_1"}, {"quad_1"}, {"quad_1", "tri_1"}, {"quad_2"}, {"tri_1", "hex_1"}, {"hex_1", "tri_1"}};
    for (const auto &types : meshes) {
        CellMesh cells{all.coords, {}};
        for (const char *type : types) cells.sets.push_back(CellMesh(all).set(type));
        const MeshPtr mesh = cells.make();
        for (const int wanted : {0, 1, 2, 3}) expect_plain(mesh.get(), data, {1.5, 4, wanted});
    }
    const std::vector<float> steps = {1, 1, 1, 0, 1, 2, 0, 1, 2};
    const CellSetData inside = {"tri_1", {0, 1, 2}}, crossed = {"tri_1", {3, 4, 5}},
                      other = {"tri_1", {6, 7, 8}};
    const auto lines = [&](const std::vector<CellSetData> &sets) {
        const CellMesh cells{std::vector<float>(27), sets};
        const Split s = split(cells.make().get(), steps, {0.5, 1.5});
        return s.lines[0].size() + s.lines[1].size();
    };
    EXPECT_EQ(lines({crossed}), 4u);
    EXPECT_EQ(lines({crossed, other}), 4u);
    EXPECT_EQ(lines({inside, crossed}) + lines({crossed, inside}), 0u);
}

// A triangle of 0, 1, 2; and a grid cell, whose upper plane comes first.
TEST(Bands, OfOneCell) {
    const CellMesh cells{std::vector<float>(9), {{"tri_1", {0, 1, 2}}}};
    const Split s = split<float>(cells.make().get(), {0, 1, 2}, {0.5, 1.5});
    EXPECT_EQ(s.nodes, (Connect{-1, 0, -1}));
    EXPECT_EQ(s.nnew(), 4);
    EXPECT_EQ(s.ncells(), 3);
    EXPECT_EQ(s.lines[0].size() + s.lines[1].size(), 4u);
    const Split whole = split(unit_grid({2, 2, 2}).get(), Connect(8, 1), {1, 1});
    EXPECT_EQ(whole.connect[3], (Connect{4, 5, 7, 6, 0, 1, 3, 2}));
}

TEST(BandsAndCuts, AreRefused) {
    const std::vector<int> data(8);
    const MeshPtr line = unit_grid({4}), plane = unit_grid({2, 2}), box = unit_grid({2, 2, 2});
    const MeshPtr cells = block_of(Cube::kHex, 1).make();
    isohost_quiet_errors(1);
    for (const SplitAt &at : {SplitAt{0, 1}, cut_at(0, 0)}) {
        EXPECT_EQ(split(line.get(), data, at).result, 0);
        for (const MeshPtr *mesh : {&plane, &box, &cells})
            EXPECT_EQ(split<int>(mesh->get(), data, at, nullptr, 6).result, 0);
    }
    *cells->field_funcs = {};
    isohost_clear_errors();
    int *const n = nullptr, **const p = nullptr;
    EXPECT_EQ(
        UTILcontour(cells.get(), n, 3, 0, n, 0, 1, n, p, n, p, p, nullptr, n, p, n, 3, nullptr, n, p, n, p),
        0);
    EXPECT_EQ(UTILcut(cells.get(), n, 3, 0, n, 0, 1, n, p, n, p, p, n, p, n, n, p), 0);
    EXPECT_EQ(UTILcut_cells(cells.get(), n, 3, 0, n, 0, 1, n, p, n, p, p, n, p, n, n, p), 0);
    EXPECT_STREQ(isohost_errors(),
                 "UTILcontour: no contour function found\nUTILcut: no cut function found\n"
                 "UTILcut: cannot allocate node -1 array\n");
    isohost_clear_errors();
    isohost_quiet_errors(0);
}

// ---- Sizes

// Simplices of each kind of cell.
constexpr const char *kSimplices[6] = {"0123", "012501540453", "01230134", "012602360376074604560516",
                                       "012",  "012023"};

// Six times the volume, or twice the area, of a part, its new nodes placed in double. No simplex is inverted.
double size_of(const CellMesh &cells, const std::vector<double> &data, const SplitAt &at) {
    const Split s = split(cells.make().get(), data, at);
    EXPECT_EQ(s.result, 1);
    std::vector<double> points(3 * static_cast<std::size_t>(s.nold));
    const auto coord = [&](std::size_t node, std::size_t d) {
        return static_cast<double>(cells.coords[3 * node + d]);
    };
    for (std::size_t n = 0; n < s.nodes.size(); ++n) {
        for (std::size_t d = 0; d < 3 && s.nodes[n] >= 0; ++d)
            points[3 * static_cast<std::size_t>(s.nodes[n]) + d] = coord(n, d);
    }
    for (std::size_t k = 0; k < s.min_node.size(); ++k) {
        for (std::size_t d = 0; d < 3; ++d)
            points.push_back(
                plain_value(s, data, at.lo, at.hi, k, [&](std::size_t n) { return coord(n, d); }));
    }
    double sum = 0;
    for (std::size_t t = 0; t < 6; ++t) {
        const std::string simplices = kSimplices[t];
        const int corners = t < 4 ? 4 : 3;
        for (std::size_t cell = 0; cell < s.connect[t].size();
             cell += static_cast<std::size_t>(kTypeNodes[t])) {
            Connect nodes;
            for (const char corner : simplices)
                nodes.push_back(s.connect[t][cell + static_cast<std::size_t>(corner - '0')]);
            for (auto simplex = nodes.begin(); simplex != nodes.end(); simplex += corners) {
                const double size = measure(points, &*simplex, corners);
                EXPECT_GT(size, -1e-13);
                sum += size;
            }
        }
    }
    return sum;
}

// Six times the volume of a cube of 3 in which a linear field is below a level.
double volume_below(const std::array<double, 3> &gradient, double level) {
    double sum = 0;
    for (unsigned corner = 0; corner < 8; ++corner) {
        double over = level, sign = 1;
        for (unsigned d = 0; d < 3; ++d) {
            const double g = gradient[d];
            over -= 3 * (corner >> d & 1 ? std::max(g, 0.0) : std::min(g, 0.0));
            sign *= (corner >> d & 1 ? -1 : 1) / std::abs(g);
        }
        sum += sign * std::pow(std::max(over, 0.0), 3);
    }
    return sum;
}

TEST(BandsAndCuts, OfPlanesAreExactInAllKindsOfCells) {
    const CellMesh cells = mixed_block(3);
    std::mt19937 random(3);
    std::uniform_real_distribution<double> part(0.2, 1.0);
    for (unsigned direction = 0; direction < 16; ++direction) {
        std::array<double, 3> g = {part(random), part(random), part(random)};
        for (unsigned d = 0; d < 3; ++d) g[d] *= direction >> d & 1 ? -1 : 1;
        std::vector<double> data(cells.nnodes());
        for (std::size_t i = 0; i < cells.coords.size(); ++i)
            data[i / 3] += g[i % 3] * static_cast<double>(cells.coords[i]);
        const double lo = 1.5 * (g[0] + g[1] + g[2]) - part(random), hi = lo + part(random);
        EXPECT_NEAR(size_of(cells, data, {lo, hi}), volume_below(g, hi) - volume_below(g, lo), 1e-10);
        EXPECT_NEAR(size_of(cells, data, cut_at(lo, -1)), volume_below(g, lo), 1e-10);
        EXPECT_NEAR(size_of(cells, data, cut_at(hi, 0)), 162 - volume_below(g, hi), 1e-10);
    }
}

TEST(BandsAndCuts, TileTrianglesQuadsAndTets) {
    CellMesh plane{std::vector<float>(3 * 81), {}};
    for (std::size_t n = 0; n < 81; ++n) {
        plane.coords[3 * n] = static_cast<float>(n % 9);
        plane.coords[3 * n + 1] = static_cast<float>(n / 9);
    }
    plane.sets = {{"quad_1", grid_connect({9, 9})}, {"tri_1", {}}};
    for (std::size_t q = 0; q < 256; ++q) {
        if (q % 4 < 3) plane.sets[1].connect.push_back(plane.sets[0].connect[q]);  // a half of each
    }
    std::mt19937 random(5);
    std::uniform_real_distribution<double> value(0, 1);
    for (const CellMesh &cells : {plane, block_of(Cube::kTets, 4)}) {
        const double all = cells.sets[0].type == "tet_1" ? 6 * 64 : 3 * 64;
        std::vector<double> data(cells.nnodes());
        for (double &v : data) v = value(random);
        const double below = size_of(cells, data, cut_at(0.4, -1));
        EXPECT_NEAR(below + size_of(cells, data, cut_at(0.4, 0)), all, 1e-11);
        EXPECT_NEAR(below + size_of(cells, data, {0.4, 0.7}) + size_of(cells, data, cut_at(0.7, 0)), all,
                    1e-11);
    }
}

// ---- Nodes and their data

TYPED_TEST(BandsOf, NodesAreMappedCountedAndListed) {
    using T = TypeParam;
    const std::vector<T> data = {0, 2, 9, 3, 4, 5};
    const T null = 9;
    const bool whole = std::is_integral_v<T>;  // levels are truncated
    const Connect map = whole ? Connect{-1, 0, -1, 1, 2, -1} : Connect{-1, -1, -1, 0, 1, -1};
    const int n = whole ? 3 : 2, dims[] = {3, 2};
    Connect rows(6);
    EXPECT_EQ(UTILnode_thresh2(6, type_code<T>, data.data(), 1, &null, 2.5, 4.5, rows.data()), n);
    EXPECT_EQ(rows, map);
    EXPECT_EQ(UTILnode_thresh2(6, type_code<T>, data.data(), 0, nullptr, -5, -0.5, rows.data()),
              whole ? 1 : 0);
    using M = Members<T>;
    EXPECT_EQ(M::map2(6, data.data(), 1, null, 2, 9, rows.data()), 4);
    EXPECT_EQ(rows, (Connect{-1, 0, -1, 1, 2, 3}));
    EXPECT_EQ(M::count2(2, dims, data.data(), 1, null, 2, 9), 4);
    int count = 1;
    Connect list(5, -7), places(6, -7);
    EXPECT_EQ(M::list2(6, data.data(), 1, null, 2, 9, 100, &count, list.data(), places.data()), 1);
    EXPECT_EQ(count, 5);
    EXPECT_EQ(list, (Connect{-7, 101, 103, 104, 105}));
    EXPECT_EQ(places, (Connect{-7, 1, -7, 2, 3, 4}));
}

TEST(Bands, NodesTakeFloatLevelsAndKnownTypes) {
    const float tenth = 0.1f;
    int row = -7;
    EXPECT_EQ(UTILnode_thresh2(9, 6, &tenth, 0, nullptr, 0, 1, &row), 9);
    EXPECT_EQ(row, -7);
    EXPECT_EQ(UTILnode_thresh2(1, 4, &tenth, 0, nullptr, 0, 0.1, &row), 1);
}

// The first 60 edges run between values up to 4 and from 6 on, or equal ones; the others end in one of them,
// or nowhere. The array is given from its fifth row on.
template <class A, class B, class Member>
void expect_formula(Member member) {
    constexpr int kNodes = 40, kFirst = 60, kNew = 160, kStart = 7, kOffset = 4 * 3;
    std::mt19937 random(5);
    const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    auto data = random_values<A>(kNodes, 4, 1);
    auto in = random_values<B>(3 * kNodes, 10, 2);
    for (std::size_t n = 1; n < data.size(); n += 2) data[n] = static_cast<A>(data[n] + 6);
    for (B &x : in) x = static_cast<B>(x + 50);
    data[2] = data[0];
    Split s;
    for (int k = 0; k < kNew; ++k) {
        const int real = k % 9 == 0 ? 2 : below(kNodes);
        const int other = k % 9 == 0 ? 0 : below(kNodes / 2) * 2 + 1 - real % 2;
        const int far = k < kFirst ? other : k % 20 == 19 ? -1 : kNodes + below(kFirst);
        s.min_node.push_back(k % 2 ? real : far);
        s.max_node.push_back(k % 2 ? far : real);
        s.level_flag.push_back(static_cast<char>(below(2)));
    }
    const B null = 55;
    const double wide_null = 55;
    for (const int flag : {0, 1}) {
        std::vector<B> out(3 * (kNew - kStart), B{99}), expected = out, dispatched = out;
        for (std::size_t i = 0; i < out.size(); ++i) {
            const std::size_t k = kStart + i / 3;
            const auto at = [&](std::size_t n) { return static_cast<double>(in[3 * n + i % 3]); };
            if (std::min(s.min_node[k], s.max_node[k]) >= 0)
                expected[i] = static_cast<B>(plain_value(s, data, 4, 6, k, at, flag ? &wide_null : nullptr));
        }
        EXPECT_EQ(
            member(kNodes, kNew - kStart, kStart, data.data(), 4, 6, s.min_node.data(), s.max_node.data(),
                   s.level_flag.data(), 3, flag, null, kOffset, in.data() + kOffset, out.data()),
            1);
        EXPECT_EQ(UTILeval_contour(kNodes, kNew - kStart, kStart, type_code<A>, data.data(), 4, 6,
                                   s.min_node.data(), s.max_node.data(), s.level_flag.data(), 3, type_code<B>,
                                   flag, &null, kOffset, in.data() + kOffset, dispatched.data()),
                  1);
        EXPECT_TRUE(same_bits(out, expected));
        EXPECT_TRUE(same_bits(dispatched, expected));
    }
    if constexpr (std::is_same_v<A, B>) {
        std::vector<A> levels(2, A{99});
        member(kNodes, 1, 0, data.data(), 4, 6, s.min_node.data(), s.max_node.data(), "\1", 3, 0, null, 0,
               data.data(), levels.data());
        EXPECT_EQ(levels, (std::vector<A>{6, 99}));
    }
}

TEST(Bands, DataOnNewNodesFollowTheFormula) {
#define ISOFIELD_PAIR(a, A, b, B) expect_formula<A, B>(UTILeval_contour_##a##_##b);
#define ISOFIELD_PAIRS(b, B, V)              \
    ISOFIELD_PAIR(char, signed char, b, B)   \
    ISOFIELD_PAIR(byte, unsigned char, b, B) \
    ISOFIELD_PAIR(short, short, b, B)        \
    ISOFIELD_PAIR(int, int, b, B)            \
    ISOFIELD_PAIR(float, float, b, B)        \
    ISOFIELD_PAIR(double, double, b, B)
    ISOFIELD_FAMILY(ISOFIELD_PAIRS)
#undef ISOFIELD_PAIRS
#undef ISOFIELD_PAIR
}

TEST(Bands, DataOnNewNodesHaveAKnownTypeAndAtMost128Components) {
    const int ends[] = {0, 1}, data[] = {0, 2};
    const std::vector<int> in(258);
    std::vector<int> out(129, -7);
    const auto evaluate_as = [&](int data_type, int array_type, int veclen) {
        return UTILeval_contour(2, 1, 0, data_type, data, 1, 1, &ends[0], &ends[1], "", veclen, array_type, 0,
                                nullptr, 0, in.data(), out.data());
    };
    isohost_quiet_errors(1);
    isohost_clear_errors();
    EXPECT_EQ(evaluate_as(6, 3, 1) + evaluate_as(3, 6, 1) + evaluate_as(3, 3, 129), 0);
    EXPECT_EQ(out, Connect(129, -7));
    EXPECT_STREQ(isohost_errors(),
                 "UTILeval_contour_data: unknown data type\nUTILthreshold: unknown data type\n");
    EXPECT_EQ(evaluate_as(3, 3, 128), 1);
    EXPECT_EQ(out[127] + out[128], -7);
    isohost_clear_errors();
    isohost_quiet_errors(0);
}

}  // namespace
