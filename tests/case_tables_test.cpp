// Every row of every case table against the rules of its family.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "case_tables.hpp"

namespace {

using namespace isofield::detail;

using Edge = std::pair<int, int>;  // smaller first
using Polygon = std::vector<int>;

struct Vec {
    long x, y, z;
    Vec operator+(Vec o) const { return {x + o.x, y + o.y, z + o.z}; }
    Vec operator-(Vec o) const { return {x - o.x, y - o.y, z - o.z}; }
    Vec operator*(long s) const { return {x * s, y * s, z * s}; }
};

Vec cross(Vec a, Vec b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

long dot(Vec a, Vec b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

// Corners are multiples of 4, so that new nodes at halves and quarters of edges are exact. Faces run
// counterclockwise seen from outside; a plane cell is its own face.
struct Shape {
    std::vector<Vec> corners;
    std::vector<Polygon> faces;
};

const Shape kShapes[6] = {
    {{{0, 0, 0}, {4, 0, 0}, {0, 4, 0}, {0, 0, 4}}, {{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {2, 0, 3}}},
    {{{0, 0, 0}, {4, 0, 0}, {0, 4, 0}, {0, 0, 4}, {4, 0, 4}, {0, 4, 4}},
     {{0, 2, 1}, {3, 4, 5}, {0, 1, 4, 3}, {1, 2, 5, 4}, {2, 0, 3, 5}}},
    {{{4, 4, 4}, {0, 0, 0}, {0, 8, 0}, {8, 8, 0}, {8, 0, 0}},
     {{1, 2, 3, 4}, {0, 2, 1}, {0, 3, 2}, {0, 4, 3}, {0, 1, 4}}},
    {{{0, 0, 0}, {4, 0, 0}, {4, 4, 0}, {0, 4, 0}, {0, 0, 4}, {4, 0, 4}, {4, 4, 4}, {0, 4, 4}},
     {{0, 3, 2, 1}, {4, 5, 6, 7}, {0, 1, 5, 4}, {1, 2, 6, 5}, {2, 3, 7, 6}, {3, 0, 4, 7}}},
    {{{0, 0, 0}, {4, 0, 0}, {0, 4, 0}}, {{0, 1, 2}}},
    {{{0, 0, 0}, {4, 0, 0}, {4, 4, 0}, {0, 4, 0}}, {{0, 1, 2, 3}}},
};
template <class K>
const Shape &kShape = kShapes[K::kTypeIndex];

// Over all cases of a kind.
struct Counts {
    int new_nodes, cells, flat_cells, most_new_nodes, most_cells, slice_polygons;
};
constexpr Counts kCounts[6] = {{48, 35, 1, 4, 4, 14},        {288, 274, 3, 7, 9, 74}, {128, 121, 3, 6, 7, 32},
                               {1536, 1580, 4, 12, 13, 358}, {12, 9, 0, 2, 2, 0},     {32, 30, 0, 4, 4, 0}};

bool has(int mask, int node) {
    return (mask >> node & 1) != 0;
}

int bits(int mask) {
    return mask ? (mask & 1) + bits(mask >> 1) : 0;
}

Edge edge_of(int a, int b) {
    return {std::min(a, b), std::max(a, b)};
}

std::set<Edge> edges_of(const Shape &shape) {
    std::set<Edge> edges;
    for (const Polygon &face : shape.faces) {
        for (size_t i = 0; i < face.size(); i++) edges.insert(edge_of(face[i], face[(i + 1) % face.size()]));
    }
    return edges;
}

bool on_face(const Polygon &face, Edge edge) {
    return std::count(face.begin(), face.end(), edge.first) &&
           std::count(face.begin(), face.end(), edge.second);
}

// Where a level crosses a face. Seen from outside, the border of the face leaves the kept side at the first
// edge of a link and comes back to it at the second, the kept side being on the link's left. Two diagonal
// kept nodes are `joined` through the middle, or stay apart.
std::vector<std::pair<Edge, Edge>> face_links(const Polygon &face, int mask, bool joined) {
    const size_t n = face.size();
    std::vector<std::pair<Edge, Edge>> links;
    for (size_t i = 0; i < n; i++) {
        if (!has(mask, face[i]) || has(mask, face[(i + 1) % n])) continue;
        size_t j = i + (joined ? 1 : n - 1);  // walks to the edge at which the border comes back
        while (has(mask, face[j % n]) || !has(mask, face[(j + 1) % n])) j += joined ? 1 : n - 1;
        links.push_back({edge_of(face[i], face[(i + 1) % n]), edge_of(face[j % n], face[(j + 1) % n])});
    }
    return links;
}

// In plane cells the middle belongs with nodes 0 and 2, whichever pair is kept.
bool joined_in_plane(int mask) {
    return mask == 5;
}

// Directed edges between vertices, opposite ones cancelling.
class Chain {
    std::map<Edge, int> count_;

  public:
    void add(int a, int b) { count_[edge_of(a, b)] += a < b ? 1 : -1; }
    void add_loop(const Polygon &loop) {
        for (size_t i = 0; i < loop.size(); i++) add(loop[i], loop[(i + 1) % loop.size()]);
    }
    std::map<Edge, int> edges() const {
        std::map<Edge, int> result = count_;
        std::erase_if(result, [](const auto &entry) { return entry.second == 0; });
        return result;
    }
};

constexpr int kNew = 16;  // vertices of an expanded row: local nodes, then kNew + new node

struct NewNode {
    Edge edge;
    int level;  // 0 or 1
    auto operator<=>(const NewNode &) const = default;
};

struct Row {
    std::vector<NewNode> new_nodes;
    std::vector<Polygon> cells;

    int vertex(Edge edge, int level = 0) const {
        const auto at = std::find(new_nodes.begin(), new_nodes.end(), NewNode{edge, level});
        return at == new_nodes.end() ? -1 : kNew + int(at - new_nodes.begin());
    }
    Edge edge(int vertex) const {
        return vertex < kNew ? Edge(vertex, vertex) : new_nodes[size_t(vertex - kNew)].edge;
    }
};

Row expand(const CutTables &t, int row, const unsigned char *values = nullptr) {
    Row result;
    for (int i = t.m_ind[row]; i < t.m_ind[row] + t.nnew_nodes[row]; i++) {
        result.new_nodes.push_back({{t.min_node[i], t.max_node[i]}, values ? values[i] : 0});
    }
    int at = t.c_ind[row];
    for (int i = t.t_ind[row]; i < t.t_ind[row] + t.ncell[row]; i++) {
        Polygon cell;
        for (int j = 0; j < t.cell_nnode[i]; j++, at++) {
            EXPECT_LE(t.new_flag_list[at], 1);
            cell.push_back(t.connect_list[at] + (t.new_flag_list[at] ? kNew : 0));
        }
        result.cells.push_back(cell);
    }
    return result;
}

// Four times the position of a vertex, a new node being at `quarters` quarters of its edge.
Vec position(const Shape &shape, Edge edge, long quarters = 2) {
    return shape.corners[size_t(edge.first)] * (4 - quarters) + shape.corners[size_t(edge.second)] * quarters;
}

long volume(const Shape &shape, const Row &row, const Polygon &tet) {
    Vec p[4];
    for (size_t i = 0; i < 4; i++) p[i] = position(shape, row.edge(tet[i]));
    return dot(p[1] - p[0], cross(p[2] - p[0], p[3] - p[0]));
}

// The lists of a table stand in row order without gaps, and say what they must of nodes and cell types.
void check_lists(const CutTables &t, int rows, int first, int nnode, int type) {
    int new_nodes = first, cells = first, connect = first;
    for (int row = 1; row < rows; row++) {
        ASSERT_EQ(t.m_ind[row], new_nodes) << row;
        ASSERT_EQ(t.t_ind[row], cells) << row;
        ASSERT_EQ(t.c_ind[row], connect) << row;
        new_nodes += t.nnew_nodes[row];
        for (int i = 0; i < t.ncell[row]; i++, cells++, connect += nnode) {
            ASSERT_EQ(t.cell_type[cells], type) << row;
            ASSERT_EQ(t.cell_nnode[cells], nnode) << row;
        }
    }
    EXPECT_EQ(t.nold_nodes[0] + t.nnew_nodes[0] + t.ncell[0] + t.m_ind[0] + t.t_ind[0] + t.c_ind[0], 0);
}

struct SliceCorner {
    int left, right;
    Edge edge() const { return edge_of(left, right); }
};

template <class K>
int slice_mask(int index) {
    int mask = 0;
    for (int bit = 0; bit < K::kNodes; bit++) mask |= (index >> bit & 1) << K::kSliceNodes[bit];
    return mask;
}

template <class K>
std::vector<std::vector<SliceCorner>> slice_polygons(int index) {
    std::vector<std::vector<SliceCorner>> polygons;
    int at = 0;
    for (int p = 0; p < K::kSlice.ninter_polys[index]; p++) {
        polygons.emplace_back();
        for (int i = 0; i < K::kSlice.nppoly[index][p]; i++, at++) {
            polygons.back().push_back({K::kSlice.left_vert[index][at], K::kSlice.right_vert[index][at]});
        }
    }
    EXPECT_EQ(at, K::kSlice.ninter_pts[index]) << index;
    return polygons;
}

// Triangles of a polygon of `corners` corners, as npcel gives them.
template <class K>
std::vector<Polygon> fan(size_t corners) {
    std::vector<Polygon> triangles;
    const auto &[count, first] = K::kSlice.ncell[corners - 1];
    for (int i = first; i < first + count; i++) {
        triangles.emplace_back(std::begin(K::kSlice.npcel[i]), std::end(K::kSlice.npcel[i]));
    }
    return triangles;
}

template <class K>
class AllKinds : public testing::Test {};
template <class K>
class VolumeKinds : public testing::Test {};
template <class K>
class PlaneKinds : public testing::Test {};
using AllKindTypes = testing::Types<Tet, Prism, Pyr, Hex, Tri, Quad>;
using VolumeKindTypes = testing::Types<Tet, Prism, Pyr, Hex>;
using PlaneKindTypes = testing::Types<Tri, Quad>;
TYPED_TEST_SUITE(AllKinds, AllKindTypes);
TYPED_TEST_SUITE(VolumeKinds, VolumeKindTypes);
TYPED_TEST_SUITE(PlaneKinds, PlaneKindTypes);

// ---- Cuts --------------------------------------------------------------------------------------------

// Rows of cuts are the rows of a band without an upper level: of the nodes in `lower` and not in `upper`,
// with a new node wherever a level crosses an edge.
void check_nodes(const Row &row, int nold, const Shape &shape, int lower, int upper) {
    std::vector<NewNode> crossed, found = row.new_nodes;
    for (auto [a, b] : edges_of(shape)) {
        for (int level : {0, 1}) {
            if (has(level ? upper : lower, a) != has(level ? upper : lower, b))
                crossed.push_back({{a, b}, level});
        }
    }
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, crossed);
    EXPECT_EQ(nold, bits(lower & ~upper));
    for (const Polygon &cell : row.cells) {
        for (int v : cell) EXPECT_TRUE(v < kNew ? has(lower & ~upper, v) : v - kNew < int(crossed.size()));
    }
}

// The outline of the band on a face: the face's border within the band, then the lines along the levels.
std::map<Edge, int> band_outline(const Row &row, const Polygon &face, int lower, int upper, bool plane) {
    Chain outline;
    for (size_t i = 0; i < face.size(); i++) {
        const int a = face[i], b = face[(i + 1) % face.size()];
        Polygon band;
        if (has(lower & ~upper, a)) band.push_back(a);
        const bool falls = has(upper, a) || (has(lower, a) && !has(lower, b));
        for (int level : {int(falls), int(!falls)}) {
            const int crossing = row.vertex(edge_of(a, b), level);
            if (crossing >= 0) band.push_back(crossing);
        }
        if (has(lower & ~upper, b)) band.push_back(b);
        if (band.size() == 2) outline.add(band[0], band[1]);
    }
    for (auto [from, to] : face_links(face, lower, plane && joined_in_plane(lower))) {
        outline.add(row.vertex(from, 0), row.vertex(to, 0));
    }
    for (auto [from, to] : face_links(face, upper, plane && joined_in_plane(upper))) {
        outline.add(row.vertex(to, 1), row.vertex(from, 1));
    }
    return outline.edges();
}

// The triangles of a row of a plane kind are counterclockwise and tile the band. A lone new node of an edge
// is put at its middle, two of them at its quarters.
void check_triangles_tile_band(const Row &row, const Shape &shape, int lower, int upper) {
    auto place = [&](int v) {
        const Edge edge = row.edge(v);
        if (v < kNew || row.vertex(edge, 0) < 0 || row.vertex(edge, 1) < 0) return position(shape, edge);
        const bool near_first = has(upper, edge.first) == (row.vertex(edge, 1) == v);
        return position(shape, edge, near_first ? 1 : 3);
    };
    Chain covered;
    for (const Polygon &t : row.cells) {
        EXPECT_GT(cross(place(t[1]) - place(t[0]), place(t[2]) - place(t[0])).z, 0);
        covered.add_loop(t);
    }
    EXPECT_EQ(covered.edges(), band_outline(row, shape.faces[0], lower, upper, true));
}

TYPED_TEST(AllKinds, CutRowsHaveKeptNodesCrossedEdgesAndDocumentedSizes) {
    using K = TypeParam;
    const Shape &shape = kShape<K>;
    int new_nodes = 0, cells = 0, most_new_nodes = 0, most_cells = 0;
    check_lists(K::kCut, K::kAllKept, 0, K::kVolume ? 4 : 3, K::kVolume ? 0 : 4);
    for (int mask = 1; mask < K::kAllKept; mask++) {
        SCOPED_TRACE(K::kName + std::to_string(mask));
        const Row row = expand(K::kCut, mask);
        check_nodes(row, K::kCut.nold_nodes[mask], shape, mask, 0);
        new_nodes += int(row.new_nodes.size());
        cells += int(row.cells.size());
        most_new_nodes = std::max(most_new_nodes, int(row.new_nodes.size()));
        most_cells = std::max(most_cells, int(row.cells.size()));
    }
    const Counts &counts = kCounts[K::kTypeIndex];
    EXPECT_EQ(new_nodes, counts.new_nodes);
    EXPECT_EQ(cells, counts.cells);
    EXPECT_EQ(most_new_nodes, counts.most_new_nodes);
    EXPECT_EQ(most_cells, counts.most_cells);
}

TYPED_TEST(AllKinds, GatheringVectorsPointToTheTablesOfTheKind) {
    using K = TypeParam;
    constexpr int k = K::kTypeIndex;
    const CutTables gathered = {CUTnold_nodes_type[k], CUTnnew_nodes_type[k],   CUTm_ind_type[k],
                                CUTt_ind_type[k],      CUTncell_type[k],        CUTc_ind_type[k],
                                CUTmin_node_type[k],   CUTmax_node_type[k],     CUTcell_type_type[k],
                                CUTcell_nnode_type[k], CUTconnect_list_type[k], CUTnew_flag_list_type[k]};
    EXPECT_EQ(std::memcmp(&gathered, &K::kCut, sizeof gathered), 0);
    const int max_index[6] = {CUTmax_index_tet, CUTmax_index_prism, CUTmax_index_pyr,
                              CUTmax_index_hex, CUTmax_index_tri,   CUTmax_index_quad};
    EXPECT_EQ(max_index[k], K::kAllKept);
}

// The outside of a row's tetrahedra: triangles seen from outside, smallest vertex first, inner ones having
// cancelled.
std::set<Polygon> surface(const Row &row) {
    std::set<Polygon> triangles;
    for (const Polygon &tet : row.cells) {
        for (const auto &[i, j, k] : {std::tuple(0u, 2u, 1u), {0u, 1u, 3u}, {1u, 2u, 3u}, {2u, 0u, 3u}}) {
            Polygon t = {tet[i], tet[j], tet[k]};
            std::rotate(t.begin(), std::min_element(t.begin(), t.end()), t.end());
            EXPECT_TRUE(triangles.erase({t[0], t[2], t[1]}) || triangles.insert(t).second);
        }
    }
    return triangles;
}

// The tetrahedra of a row fill the kept side: their outside covers the kept part of every face exactly and is
// closed by triangles over the polygons that the slice tables have for the case.
template <class K>
void check_cut_fills_kept_side(const Row &row, int mask) {
    const Shape &shape = kShape<K>;
    int index = 0;
    while (slice_mask<K>(index) != mask) index++;
    std::vector<std::set<Edge>> polygons;
    for (const auto &polygon : slice_polygons<K>(index)) {
        polygons.emplace_back();
        for (SliceCorner corner : polygon) polygons.back().insert(corner.edge());
    }
    std::map<size_t, Chain> on_faces;
    for (const Polygon &t : surface(row)) {
        const Edge e[3] = {row.edge(t[0]), row.edge(t[1]), row.edge(t[2])};
        const auto face = std::find_if(shape.faces.begin(), shape.faces.end(), [&](const Polygon &f) {
            return on_face(f, e[0]) && on_face(f, e[1]) && on_face(f, e[2]);
        });
        if (face == shape.faces.end()) {
            EXPECT_TRUE(std::any_of(polygons.begin(), polygons.end(), [&](const std::set<Edge> &polygon) {
                return polygon.contains(e[0]) && polygon.contains(e[1]) && polygon.contains(e[2]);
            })) << "a triangle neither in a face nor in the cut";
            continue;
        }
        auto normal = [](Vec a, Vec b, Vec c) { return cross(b - a, c - a); };
        auto corner = [&](size_t i) { return shape.corners[size_t((*face)[i])]; };
        EXPECT_GT(dot(normal(position(shape, e[0]), position(shape, e[1]), position(shape, e[2])),
                      normal(corner(0), corner(1), corner(2))),
                  0);
        on_faces[size_t(face - shape.faces.begin())].add_loop(t);
    }
    for (size_t f = 0; f < shape.faces.size(); f++) {
        EXPECT_EQ(on_faces[f].edges(), band_outline(row, shape.faces[f], mask, 0, false)) << "face " << f;
    }
}

TYPED_TEST(VolumeKinds, CutTetrahedraFillTheKeptSide) {
    int flat = 0;
    for (int mask = 1; mask < TypeParam::kAllKept; mask++) {
        SCOPED_TRACE(TypeParam::kName + std::to_string(mask));
        const Row row = expand(TypeParam::kCut, mask);
        for (const Polygon &tet : row.cells) {
            EXPECT_GE(volume(kShape<TypeParam>, row, tet), 0);
            flat += volume(kShape<TypeParam>, row, tet) == 0;
        }
        check_cut_fills_kept_side<TypeParam>(row, mask);
    }
    EXPECT_EQ(flat, kCounts[TypeParam::kTypeIndex].flat_cells);
}

TYPED_TEST(PlaneKinds, CutTrianglesTileTheKeptSideAndLinesHaveItOnTheirLeft) {
    using K = TypeParam;
    const Shape &shape = kShape<K>;
    int line_entries = 0;
    for (int mask = 1; mask < K::kAllKept; mask++) {
        SCOPED_TRACE(K::kName + std::to_string(mask));
        const Row row = expand(K::kCut, mask);
        check_triangles_tile_band(row, shape, mask, 0);
        std::set<std::pair<Edge, Edge>> lines;
        EXPECT_EQ(K::kCutLines.cind[mask], line_entries);
        for (int i = 0; i < K::kCutLines.nline[mask]; i++, line_entries += 2) {
            const unsigned char *ends = K::kCutLines.connect_list + line_entries;
            lines.insert({row.edge(kNew + ends[0]), row.edge(kNew + ends[1])});
        }
        const auto links = face_links(shape.faces[0], mask, joined_in_plane(mask));
        EXPECT_EQ(lines, std::set(links.begin(), links.end()));
    }
}

TEST(CutHex, DiagonalNodesStayApartSoThatACaseAndItsComplementLeaveAGap) {
    long sum = 0;
    for (int mask : {5, 250}) {
        const Row row = expand(Hex::kCut, mask);
        for (const Polygon &tet : row.cells) sum += volume(kShape<Hex>, row, tet);
    }
    EXPECT_EQ(sum * 6, 5 * 6 * 16 * 16 * 16);  // five sixths of the cell
}

// ---- Contours ----------------------------------------------------------------------------------------

TYPED_TEST(PlaneKinds, ContourIndexCountsTheCasesThatTwoLevelsCross) {
    using K = TypeParam;
    int rows = 0;
    for (int upper = 0; upper < K::kContourSide; upper++) {
        for (int lower = 0; lower < K::kContourSide; lower++) {
            const bool crossed = (upper & ~lower) == 0 && upper != 0 && lower != K::kAllKept;
            EXPECT_EQ(K::kContour.table_index[upper * K::kContourSide + lower], crossed ? ++rows : -1);
        }
    }
    EXPECT_EQ(rows, K::kNodes == 3 ? 12 : 50);
    check_lists(K::kContour, rows + 1, 1, 3, 4);
    const auto &t = K::kContour;
    const int sizes[5] = {t.m_ind[rows] + t.nnew_nodes[rows], t.t_ind[rows] + t.ncell[rows],
                          t.c_ind[rows] + 3 * t.ncell[rows], t.edge_ind1[rows] + 2 * t.nedge1[rows],
                          t.edge_ind2[rows] + 2 * t.nedge2[rows]};
    const int expected[2][5] = {{49, 31, 91, 25, 25}, {225, 161, 481, 113, 113}};
    for (int i = 0; i < 5; i++) EXPECT_EQ(sizes[i], expected[K::kNodes - 3][i]);
    EXPECT_EQ(t.min_node[0] + t.max_node[0] + t.values[0] + t.cell_type[0] + t.cell_nnode[0] +
                  t.connect_list[0] + t.new_flag_list[0] + t.connect_edge1[0] + t.connect_edge2[0] +
                  t.nedge1[0] + t.nedge2[0],
              0);
}

// Compares a row's lines along one level with the links of the level's mask, in no direction.
void check_contour_lines(const Row &row, const Polygon &face, int mask, int level, const unsigned char *ends,
                         int nlines) {
    std::set<std::set<NewNode>> lines, links;
    for (int i = 0; i < 2 * nlines; i += 2) {
        lines.insert({row.new_nodes.at(ends[i]), row.new_nodes.at(ends[i + 1])});
    }
    for (auto [from, to] : face_links(face, mask, joined_in_plane(mask)))
        links.insert({{from, level}, {to, level}});
    EXPECT_EQ(lines, links) << "level " << level;
    EXPECT_EQ(size_t(nlines), links.size()) << "level " << level;
}

TYPED_TEST(PlaneKinds, ContourRowsTileTheBandAndListItsLines) {
    using K = TypeParam;
    for (int upper = 1; upper < K::kAllKept; upper++) {
        for (int lower = 1; lower < K::kAllKept; lower++) {
            const int r = K::kContour.table_index[upper * K::kContourSide + lower];
            SCOPED_TRACE(std::string(K::kName) + " row " + std::to_string(r));
            if (r < 1) continue;
            const auto &t = K::kContour;
            const Row row = expand(t, r, t.values);
            check_nodes(row, t.nold_nodes[r], kShape<K>, lower, upper);
            check_triangles_tile_band(row, kShape<K>, lower, upper);
            const Polygon &face = kShape<K>.faces[0];
            check_contour_lines(row, face, lower, 0, t.connect_edge1 + t.edge_ind1[r], t.nedge1[r]);
            check_contour_lines(row, face, upper, 1, t.connect_edge2 + t.edge_ind2[r], t.nedge2[r]);
        }
    }
}

// ---- Slices ------------------------------------------------------------------------------------------

TYPED_TEST(VolumeKinds, SlicePolygonsFollowTheLinksOfTheFacesAndFaceTheirSide) {
    using K = TypeParam;
    const Shape &shape = kShape<K>;
    const bool is_tet = K::kTypeIndex == 0;
    int polygons = 0;
    for (int index = 0; index <= K::kAllKept; index++) {
        SCOPED_TRACE(K::kName + std::to_string(index));
        const int mask = slice_mask<K>(index);
        std::multiset<std::set<Edge>> links, found;
        for (const Polygon &face : shape.faces) {
            for (auto [from, to] : face_links(face, mask, false)) links.insert({from, to});
        }
        std::set<Edge> corners;
        for (const auto &polygon : slice_polygons<K>(index)) {
            Vec area = {0, 0, 0}, to_right = {0, 0, 0};
            for (size_t i = 0; i < polygon.size(); i++) {
                const SliceCorner at = polygon[i], next = polygon[(i + 1) % polygon.size()];
                EXPECT_EQ(has(mask, at.left), !is_tet);
                EXPECT_EQ(has(mask, at.right), is_tet);
                EXPECT_TRUE(corners.insert(at.edge()).second);
                found.insert({at.edge(), next.edge()});
                area = area + cross(position(shape, at.edge()), position(shape, next.edge()));
                to_right = to_right + shape.corners[size_t(at.right)] - shape.corners[size_t(at.left)];
            }
            EXPECT_GT(dot(area, to_right), 0);
            polygons++;
        }
        EXPECT_EQ(found, links);
    }
    EXPECT_EQ(polygons, kCounts[K::kTypeIndex].slice_polygons);
}

// A triangle side that is no side of its polygon must not lie in a face, where the neighbour knows nothing of
// it. The settled pyramid row 21 breaks this: its diagonals lie in the base.
TYPED_TEST(VolumeKinds, SliceFansCoverTheirPolygonsAndDrawNothingIntoAFace) {
    using K = TypeParam;
    for (int index = 1; index < K::kAllKept; index++) {
        SCOPED_TRACE(K::kName + std::to_string(index));
        bool draws_into_face = false;
        for (const auto &polygon : slice_polygons<K>(index)) {
            const size_t n = polygon.size();
            Polygon border;
            for (size_t i = 0; i < n; i++) border.push_back(int(i));
            if (K::kTypeIndex == 0) std::reverse(border.begin(), border.end());
            Chain expected, covered;
            expected.add_loop(border);
            for (const Polygon &t : fan<K>(n)) {
                covered.add_loop(t);
                for (size_t i = 0; i < 3; i++) {
                    const size_t a = size_t(t[i]), b = size_t(t[(i + 1) % 3]);
                    if ((a + 1) % n == b || (b + 1) % n == a) continue;
                    for (const Polygon &face : kShape<K>.faces) {
                        draws_into_face |=
                            on_face(face, polygon[a].edge()) && on_face(face, polygon[b].edge());
                    }
                }
            }
            EXPECT_EQ(covered.edges(), expected.edges());
            EXPECT_EQ(fan<K>(n).size(), n - 2);
        }
        EXPECT_EQ(draws_into_face, K::kTypeIndex == Pyr::kTypeIndex && index == 21);
    }
}

// Segments that slices draw on a face, by the mask of the face's corners. An end is a place on the face's
// border: i lies between the corners i and i + 1.
using FaceSegments = std::map<int, std::set<Edge>>;

template <class K>
void add_face_segments(std::vector<std::pair<size_t, FaceSegments>> &faces) {
    for (const Polygon &face : kShape<K>.faces) {
        const size_t n = face.size();
        auto slot = [&](Edge edge) {
            size_t i = 0;
            while (i < n && edge_of(face[i], face[(i + 1) % n]) != edge) i++;
            return int(i);
        };
        FaceSegments segments;
        for (int index = 0; index <= K::kAllKept; index++) {
            int face_mask = 0;
            for (size_t i = 0; i < n; i++) face_mask |= has(slice_mask<K>(index), face[i]) << i;
            std::set<Edge> drawn;
            for (const auto &polygon : slice_polygons<K>(index)) {
                for (size_t i = 0; i < polygon.size(); i++) {
                    const int a = slot(polygon[i].edge()), b = slot(polygon[(i + 1) % polygon.size()].edge());
                    if (a < int(n) && b < int(n)) drawn.insert(edge_of(a, b));
                }
            }
            const auto [known, first] = segments.insert({face_mask, drawn});
            EXPECT_EQ(known->second, drawn) << K::kName << index << " depends on nodes off the face";
        }
        faces.push_back({n, segments});
    }
}

TEST(SlicesOfNeighbours, DrawTheSameSegmentsOnTheirCommonFace) {
    std::vector<std::pair<size_t, FaceSegments>> faces;
    add_face_segments<Tet>(faces);
    add_face_segments<Prism>(faces);
    add_face_segments<Pyr>(faces);
    add_face_segments<Hex>(faces);
    for (const auto &[n, mine] : faces) {
        for (const auto &[other_n, theirs] : faces) {
            // the neighbour runs round the face the other way, from any corner
            for (size_t turn = 0; n == other_n && turn < n; turn++) {
                for (const auto &[mask, segments] : mine) {
                    int their_mask = 0;
                    std::set<Edge> expected;
                    for (size_t i = 0; i < n; i++) their_mask |= has(mask, int(i)) << (turn + n - i) % n;
                    for (auto [a, b] : segments) {
                        const size_t slots = turn + 2 * n - 1;
                        expected.insert(edge_of(int((slots - size_t(a)) % n), int((slots - size_t(b)) % n)));
                    }
                    EXPECT_EQ(theirs.at(their_mask), expected);
                }
            }
        }
    }
}

TEST(SliceTables, SplitsStand) {
    EXPECT_EQ(fan<Hex>(7), (std::vector<Polygon>{{0, 1, 2}, {0, 2, 3}, {0, 3, 6}, {3, 4, 6}, {4, 5, 6}}));
    EXPECT_EQ(fan<Prism>(6), (std::vector<Polygon>{{0, 1, 2}, {0, 2, 3}, {0, 3, 5}, {3, 4, 5}}));
    EXPECT_EQ(fan<Tet>(5), (std::vector<Polygon>{{0, 2, 1}, {0, 3, 2}, {0, 4, 3}}));
    EXPECT_EQ(std::size(ncell_hex), 7u);
    EXPECT_EQ(std::size(ncell_tet), 6u);
    EXPECT_EQ(std::size(npcel_pyr), 7u);
}

// ---- Generator ---------------------------------------------------------------------------------------

std::string generated(const std::string &what) {
    std::string text;
    FILE *pipe = popen(("\"" ISOFIELD_MAKE_CASE_ROWS "\" " + what).c_str(), "r");
    for (int c; pipe && (c = std::fgetc(pipe)) != EOF;) text += char(c);
    EXPECT_EQ(pipe ? pclose(pipe) : -1, 0) << what;
    return text;
}

TEST(MakeCaseRows, WritesTheCommittedRows) {
    for (const std::string what : {"cut_hex", "slice_hex", "slice_prism"}) {
        std::string name = what;
        name.replace(name.find('_'), 1, "_rows_");
        std::ifstream file(ISOFIELD_SOURCE_DIR "/mod_util/" + name + ".inc", std::ios::binary);
        std::stringstream committed;
        committed << file.rdbuf();
        EXPECT_TRUE(generated(what) == committed.str()) << name << ".inc is not what make_case_rows writes";
    }
}

}  // namespace
