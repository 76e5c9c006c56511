// Edges and faces of cells against plain chains.
#include <cmath>
#include <list>
#include <numbers>

#include "support.hpp"

namespace {

using Connect = std::vector<int>;

// Faces of a cell, a digit or letter for each local node: corners|midside nodes.
struct Topology {
    Connect step, nverts, nodes;

    Topology(std::initializer_list<const char *> faces) {
        for (const std::string face : faces) {
            const std::size_t bar = std::min(face.find('|'), face.size());
            for (const char node : face)
                if (node != '|') nodes.push_back(node <= '9' ? node - '0' : node - 'a' + 10);
            nverts.push_back(static_cast<int>(bar));
            step.push_back(static_cast<int>(face.size() - (bar < face.size())));
        }
    }
    int size() const { return static_cast<int>(step.size()); }
};

const std::map<std::string, Topology> kFaces = {
    {"tet_1", {"021", "013", "123", "032"}},
    {"pyr_1", {"012", "023", "034", "041", "1432"}},
    {"prism_1", {"021", "345", "0143", "1254", "2035"}},
    {"prism_2", {"021|876", "345|9ab", "0143|6c9d", "1254|7eac", "2035|8dbe"}},
    {"hex_2", {"0321|ba98", "4567|cdef", "0154|8hcg", "1265|9idh", "2376|ajei", "3047|bgfj"}}};

struct Cells {
    int nnodes, stride;
    Connect conn;

    int size() const { return static_cast<int>(conn.size()) / stride; }
};

Cells random_cells(int nnodes, int ncells, int stride, unsigned seed) {
    return {nnodes, stride, random_values<int>(static_cast<std::size_t>(ncells * stride), nnodes - 1, seed)};
}

// ---- The plain way: what hangs at each lowest node, the newest first

struct Entry {
    std::pair<int, int> others;
    int cell, face;
};
using Chains = std::map<int, std::list<Entry>>;

auto found(std::list<Entry> &chain, std::pair<int, int> others) {
    return std::find_if(chain.begin(), chain.end(), [&](const Entry &e) { return e.others == others; });
}

// Two cells that meet at less than `angle` between their normals take each other's edge away.
Connect plain_edges(const Cells &cells, const Topology &faces, const std::vector<Point> &normals = {},
                    float angle = 0) {
    Chains chains;
    for (int cell = 0; cell < cells.size(); ++cell) {
        const int *const nodes = &cells.conn[cell * cells.stride], *local = faces.nodes.data();
        for (int f = 0; f < faces.size(); local += faces.step[f++]) {
            for (int v = 0; v < faces.nverts[f]; ++v) {
                const auto [lo, hi] = std::minmax(nodes[local[v]], nodes[local[(v + 1) % faces.nverts[f]]]);
                std::list<Entry> &chain = chains[lo];
                const auto entry = found(chain, {hi, hi});
                if (entry == chain.end()) {
                    chain.push_front({{hi, hi}, cell, f});
                } else if (!normals.empty()) {
                    double cosine = 0;
                    for (int d = 0; d < 3; ++d) cosine += normals[entry->cell][d] * normals[cell][d];
                    if (cosine > 1) cosine = 1;
                    if (cosine < -1) cosine = -1;
                    if (static_cast<float>(std::acos(cosine)) < angle) chain.erase(entry);
                }
            }
        }
    }
    Connect edges;
    for (const auto &[lo, chain] : chains)
        for (const Entry &e : chain) edges.insert(edges.end(), {lo, e.others.second});
    return edges;
}

struct Group {
    int face_nodes;
    Connect cells, conn;

    bool operator==(const Group &) const = default;
};

std::vector<Group> plain_faces(const Cells &cells, const Topology &faces) {
    Chains chains;
    Connect starts = {0};
    for (const int step : faces.step) starts.push_back(starts.back() + step);
    for (int cell = 0; cell < cells.size(); ++cell) {
        for (int f = 0; f < faces.size(); ++f) {
            const int m = faces.nverts[f];
            Connect c;
            for (int v = 0; v < m; ++v)
                c.push_back(cells.conn[cell * cells.stride + faces.nodes[starts[f] + v]]);
            const auto at = static_cast<int>(std::min_element(c.begin(), c.end()) - c.begin());
            const std::pair<int, int> others = std::minmax(c[(at + 1) % m], c[(at + m - 1) % m]);
            std::list<Entry> &chain = chains[c[at]];
            const auto entry = found(chain, others);
            if (entry == chain.end())
                chain.push_front({others, cell, f});
            else
                chain.erase(entry);
        }
    }
    std::vector<Group> groups;
    const auto group_of = [&](int f) -> Group & {
        for (Group &g : groups)
            if (g.face_nodes == faces.step[f]) return g;
        return groups.emplace_back(Group{faces.step[f], {}, {}});
    };
    for (int f = 0; f < faces.size(); ++f) group_of(f);
    bool any = false;
    for (const auto &[lo, chain] : chains) {
        for (const Entry &e : chain) {
            Group &g = group_of(e.face);
            g.cells.push_back(e.cell);
            for (int n = starts[e.face]; n < starts[e.face + 1]; ++n)
                g.conn.push_back(cells.conn[e.cell * cells.stride + faces.nodes[n]]);
            any = true;
        }
    }
    return any ? groups : std::vector<Group>();
}

// ---- The library's

template <class Call>
Connect edges_of(Call call) {
    int nedges = -1, *edges = nullptr;
    EXPECT_EQ(call(&nedges, &edges), 1);
    const IntArray owned(edges);
    EXPECT_EQ(edges != nullptr, nedges > 0);
    return {edges, edges + 2 * nedges};
}

Connect edges_2d(const Cells &cells, int nverts) {
    return edges_of([&](int *n, int **edges) {
        return UTILedges_2D(cells.nnodes, cells.size(), cells.stride, cells.conn.data(), nverts, n, edges);
    });
}

Connect edges_3d(const Cells &cells, const Topology &faces) {
    return edges_of([&](int *n, int **edges) {
        return UTILedges_3D(cells.nnodes, cells.size(), cells.stride, cells.conn.data(), faces.size(),
                            faces.step.data(), faces.nverts.data(), faces.nodes.data(), n, edges);
    });
}

Connect external_edges(const Cells &cells, int nverts, const std::vector<float> &coords, int nspace,
                       double angle) {
    return edges_of([&](int *n, int **edges) {
        return UTILexternal_edges(cells.nnodes, nspace, coords.data(), cells.size(), cells.stride, nverts,
                                  cells.conn.data(), n, edges, angle);
    });
}

std::vector<Group> external_faces(const Cells &cells, const Topology &faces, int max_groups = 3,
                                  int expected = 1) {
    int ngroups = -1, count[3], nodes[3], length[3], *face_cells[3], *conn[3];
    EXPECT_EQ(UTILexternal_faces(cells.nnodes, cells.size(), cells.stride, cells.conn.data(), faces.size(),
                                 faces.step.data(), faces.nverts.data(), faces.nodes.data(), max_groups,
                                 &ngroups, count, nodes, face_cells, conn, length),
              expected);
    std::vector<Group> groups;
    for (int g = 0; g < ngroups; ++g) {
        const IntArray owned[] = {IntArray(face_cells[g]), IntArray(conn[g])};
        EXPECT_EQ(face_cells[g] != nullptr, count[g] > 0);
        EXPECT_EQ(conn[g] != nullptr, count[g] > 0);
        groups.push_back(
            {nodes[g], {face_cells[g], face_cells[g] + count[g]}, {conn[g], conn[g] + length[g]}});
    }
    return groups;
}

// Few nodes, so that nodes are repeated in a cell and many cells share an edge or face; and many.
const std::pair<int, int> kSizes[] = {{1, 3}, {5, 7}, {9, 60}, {60, 60}, {900, 3000}, {20000, 11000}};

TEST(Boundaries, OfVolumesAreThePlainTwins) {
    unsigned seed = 1;
    for (const auto &[type, faces] : kFaces) {
        SCOPED_TRACE(type);
        const int last = *std::max_element(faces.nodes.begin(), faces.nodes.end());
        for (const auto &[nnodes, ncells] : kSizes) {
            const Cells cells = random_cells(nnodes, ncells, last + 1 + ncells % 3, ++seed);
            EXPECT_EQ(edges_3d(cells, faces), plain_edges(cells, faces));
            EXPECT_EQ(external_faces(cells, faces), plain_faces(cells, faces));
        }
    }
}

// With coordinates that make normals too short for a length of 1 among them, and some that aren't finite.
TEST(Boundaries, OfPolygonsAreThePlainTwins) {
    const Topology faces[] = {{"012"}, {"0123"}, {"01234"}};
    unsigned seed = 50;
    for (const auto &[nnodes, ncells] : kSizes) {
        for (int nverts = 3; nverts < 6; ++nverts) {
            const Cells cells = random_cells(nnodes, ncells, nverts + ncells % 3, ++seed);
            EXPECT_EQ(edges_2d(cells, nverts), plain_edges(cells, faces[nverts - 3]));
            for (const int nspace : {2, 3}) {
                auto coords = random_values<float>(static_cast<std::size_t>(nnodes * nspace), 9, seed);
                for (std::size_t i = 0; i < coords.size(); ++i) coords[i] *= i % 7 < 3 ? 1e-9f : 1;
                coords[seed % coords.size()] = NAN;
                std::vector<Point> normals;
                for (int cell = 0; cell < ncells; ++cell) {
                    const int *const c = &cells.conn[cell * cells.stride];
                    Point u = {}, v = {}, n;
                    for (int d = 0; d < nspace; ++d) {
                        u[d] = coords[c[1] * nspace + d] - coords[c[0] * nspace + d];
                        v[d] = coords[c[nverts - 1] * nspace + d] - coords[c[0] * nspace + d];
                    }
                    for (int d = 0; d < 3; ++d)
                        n[d] = u[(d + 1) % 3] * v[(d + 2) % 3] - u[(d + 2) % 3] * v[(d + 1) % 3];
                    const float square = n[0] * n[0] + n[1] * n[1] + n[2] * n[2];
                    const auto length = static_cast<float>(std::sqrt(static_cast<double>(square)));
                    for (float &x : n) x = static_cast<double>(length) > 1e-29 ? x / length : x;
                    normals.push_back(n);
                }
                for (const double angle : {0.0, 0.7, 1.6, 3.0}) {
                    EXPECT_EQ(external_edges(cells, nverts, coords, nspace, angle),
                              plain_edges(cells, faces[nverts - 3], normals, static_cast<float>(angle)));
                }
            }
        }
    }
}

TEST(Boundaries, OfOneCell) {
    EXPECT_EQ(edges_2d({9, 4, {7, 2, 5, 3}}, 4), (Connect{2, 5, 2, 7, 3, 7, 3, 5}));
    EXPECT_EQ(edges_3d({4, 4, {0, 1, 2, 3}}, kFaces.at("tet_1")),
              (Connect{0, 3, 0, 1, 0, 2, 1, 3, 1, 2, 2, 3}));
    EXPECT_TRUE(edges_2d({9, 4, {}}, 4).empty());
    EXPECT_TRUE(external_faces({9, 4, {}}, kFaces.at("tet_1")).empty());
}

TEST(Boundaries, CreasesAreAtTheAngleOrMore) {
    const Cells pair{4, 3, {0, 1, 2, 0, 3, 1}}, against{4, 3, {0, 1, 2, 0, 1, 3}};
    const Connect all = {0, 3, 0, 2, 0, 1, 1, 3, 1, 2}, outer = {0, 3, 0, 2, 1, 3, 1, 2};
    const std::vector<float> roof = {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1}, flat = {0, 0, 1, 0, 0, 1, 0, -1};
    const double quarter = static_cast<float>(std::numbers::pi / 2), half = static_cast<float>(2 * quarter);
    const double above = std::nextafter(static_cast<float>(quarter), 9.0f);
    EXPECT_EQ(external_edges(pair, 3, roof, 3, quarter), all);
    EXPECT_EQ(external_edges(pair, 3, roof, 3, std::nextafter(quarter, 9.0)), all) << "the angle is a float";
    EXPECT_EQ(external_edges(pair, 3, roof, 3, above), outer);
    EXPECT_EQ(external_edges(pair, 3, flat, 2, 0), all);
    EXPECT_EQ(external_edges(pair, 3, flat, 2, 1e-30), outer);
    EXPECT_EQ(external_edges(against, 3, flat, 2, half).size(), 10u);
    EXPECT_EQ(external_edges(against, 3, flat, 2, std::nextafter(half, 9.0)).size(), 10u);
    EXPECT_EQ(external_edges(against, 3, flat, 2, 3.1416).size(), 8u);
    std::vector<float> tiny = flat;
    for (float &x : tiny) x *= 1e-16f;
    EXPECT_EQ(external_edges(pair, 3, tiny, 2, quarter), all) << "without a normal";
    EXPECT_EQ(external_edges(pair, 3, tiny, 2, above), outer);
}

// Prisms in a ring of three that share their rectangles two by two; and pairs of one cell on itself.
TEST(Boundaries, GroupsMayBeEmpty) {
    const Topology &prism = kFaces.at("prism_1");
    const Cells ring{8, 6, {0, 1, 2, 4, 5, 6, 0, 2, 3, 4, 6, 7, 0, 3, 1, 4, 7, 5}};
    std::vector<Group> groups = external_faces(ring, prism, 2);
    ASSERT_EQ(groups.size(), 2u);
    EXPECT_EQ(groups[0].cells, (Connect{2, 1, 0, 2, 1, 0}));
    EXPECT_EQ(groups[1].conn, (Connect{3, 1, 5, 7, 1, 2, 6, 5, 2, 3, 7, 6}));
    groups = external_faces({4, 6, {0, 1, 2, 0, 1, 2}}, prism);
    ASSERT_EQ(groups.size(), 2u);
    EXPECT_TRUE(groups[0].cells.empty());
    EXPECT_EQ(groups[1].cells, (Connect{0, 0, 0}));
    EXPECT_TRUE(external_faces({8, 6, {0, 1, 2, 4, 5, 6, 0, 1, 2, 4, 5, 6}}, prism, 0).empty());
    EXPECT_TRUE(external_faces(ring, prism, 1, 0).empty()) << "one group too many";
}

TEST(Boundaries, BadTablesAndNodesAreRefused) {
    const Cells fine{4, 4, {0, 1, 2, 3}};
    Topology many = kFaces.at("tet_1"), wide = many;
    for (int f = many.size(); f < 256; ++f) {
        many.step.push_back(3);
        many.nverts.push_back(3);
        many.nodes.insert(many.nodes.end(), {0, 1, 2});
    }
    wide.step[3] = 128;
    wide.nodes.resize(9 + 128);
    for (const Cells &cells : {Cells{4, 4, {0, 1, 2, 4}}, Cells{4, 4, {0, 1, -1, 3}}, fine}) {
        for (const Topology &faces : {kFaces.at("tet_1"), many, wide}) {
            const bool is_fine = cells.conn == fine.conn;
            if (is_fine && faces.size() == 4 && faces.step[3] == 3) continue;
            EXPECT_TRUE(external_faces(cells, faces, 3, 0).empty());
            if (is_fine) continue;
            const std::vector<float> coords(12);
            int counts[] = {-1, -1, -1}, untouched, *edges[] = {&untouched, &untouched, &untouched};
            EXPECT_EQ(UTILedges_2D(4, 1, 4, cells.conn.data(), 4, &counts[0], &edges[0]) +
                          UTILedges_3D(4, 1, 4, cells.conn.data(), faces.size(), faces.step.data(),
                                       faces.nverts.data(), faces.nodes.data(), &counts[1], &edges[1]) +
                          UTILexternal_edges(4, 3, coords.data(), 1, 4, 4, cells.conn.data(), &counts[2],
                                             &edges[2], 1),
                      0);
            for (int i = 0; i < 3; ++i) EXPECT_TRUE(counts[i] == 0 && !edges[i]) << i;
        }
    }
    EXPECT_TRUE(external_faces({-1, 4, fine.conn}, kFaces.at("tet_1"), 3, 0).empty())
        << "fewer than no nodes";
}

}  // namespace
