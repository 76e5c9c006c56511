// make_case_rows: writes the case rows that no one could write by hand.
//
//   make_case_rows cut_hex      mod_util/cut_rows_hex.inc
//   make_case_rows slice_hex    mod_util/slice_rows_hex.inc
//   make_case_rows slice_prism  mod_util/slice_rows_prism.inc
//
// Kept (or above) nodes are the set bits of a case. Seen from outside, the border of a face runs through kept
// nodes, leaves them at one crossed edge and comes back at another. On a face whose kept nodes are diagonal
// each keeps its own corner. So in every face the cut surface runs from an edge where the border comes back
// to the next crossed edge of that border: every crossed edge has one successor, and following them gives the
// cut polygons, each with its normal to the side that is not kept. A slice row lists these polygons.
//
// A cut row fills the kept side with tetrahedra. Each group of kept nodes that cell edges connect is a body,
// bounded by the kept parts of the faces and by its cut polygons. Every corner of the body is tried as an
// apex from which all boundary triangles that do not touch it are coned. Given the apex, the boundary
// polygons are independent of each other, so each takes the best of all its triangulations: fewest tetrahedra
// flat while the new nodes are at the middle of their edges, then fewest in all, then the first found. None
// may be inverted, in the middle or at any of a few hundred other placements of the new nodes. Every case has
// such a cone, which is not obvious: cut polygons are not planar, and the program ends with 1 if it meets a
// case that has none.
//
// Rows that were settled before this program stand in it as they are.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

using Edge = std::pair<int, int>;  // smaller node first
using Polygon = std::vector<int>;

struct Point {
    long x, y, z;
};

// faces: nodes counterclockwise seen from outside. slice_nodes: node of each bit of a slice index, bit 0
// first.
struct Cell {
    std::vector<Point> corners;
    std::vector<Polygon> faces;
    std::vector<int> slice_nodes;
};

constexpr long kUnit = 64;  // positions along an edge are whole numbers of 1/64

const Cell kHex = {
    {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}},
    {{0, 3, 2, 1}, {4, 5, 6, 7}, {0, 1, 5, 4}, {1, 2, 6, 5}, {2, 3, 7, 6}, {3, 0, 4, 7}},
    {0, 1, 4, 5, 3, 2, 7, 6},
};
const Cell kPrism = {
    {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {0, 1, 1}},
    {{0, 2, 1}, {3, 4, 5}, {0, 1, 4, 3}, {1, 2, 5, 4}, {2, 0, 3, 5}},
    {5, 2, 0, 3, 1, 4},
};

struct SettledCut {
    int mask;
    const char *new_nodes;
    const char *cells;
};
struct SettledSlice {
    int index;
    const char *pairs;
    const char *sizes;
};

// clang-format off
const SettledCut kSettledCutHex[] = {
    {1, "a=0-1 b=0-3 c=0-4", "c0ba"},
    {3, "a=1-2 b=0-3 c=0-4 d=1-5", "c1ad c1ba c0b1"},
    {5, "a=0-1 b=0-3 c=0-4 d=2-3 e=1-2 f=2-6", "e2df c0ba"},
    {15, "a=1-5 b=2-6 c=3-7 d=0-4", "a021 a2cb a032 a3c2 d03a d3ca"},
    {51, "a=1-2 b=0-3 c=4-7 d=5-6", "50a1 40a5 d4a5 c4ad 40ba c4ba"},
    {85, "a=0-1 b=0-3 c=4-7 d=4-5 e=2-3 f=1-2 g=5-6 h=6-7", "e2gf h26g e2hg c4ba 40ba c4ad"},
    {105, "a=0-1 b=2-3 c=3-7 d=0-4 e=2-6 f=1-5 g=4-5 h=6-7", "f6g5 e6gf geh6 d3ca d03a a3cb"},
    {127, "a=4-7 b=6-7 c=3-7", "b165 41a5 a1b5 3021 c031 a0c1 40a1 b261 c2b1 32c1 bac1"},
    {250, "a=0-3 b=2-3 c=2-6 d=1-2 e=0-1 f=0-4", "d5e1 c5fd f5ed 75c6 f45c 547c 74fc b7ac a7fc a37b"},
    {254, "a=0-3 b=0-1 c=0-4", "2156 b126 51b6 b2a6 3276 a236 a376 7456 75c6 c5b6 a7c6 bac6 74c5"},
};
const SettledSlice kSettledSliceHex[] = {
    {1, "0-1 0-3 0-4", "3"},
    {3, "1-2 0-3 0-4 1-5", "4"},
    {6, "1-2 1-0 1-5 4-7 4-5 4-0", "3 3"},
    {7, "1-2 0-3 4-7 4-5 1-5", "5"},
    {15, "1-2 0-3 4-7 5-6", "4"},
    {51, "1-5 2-6 3-7 0-4", "4"},
    {60, "3-0 2-1 2-6 3-7 5-6 5-1 4-0 4-7", "4 4"},
    {85, "0-1 3-2 7-6 4-5", "4"},
    {105, "0-1 0-3 0-4 2-3 2-1 2-6 5-6 5-1 5-4 7-6 7-4 7-3", "3 3 3 3"},
    {127, "5-6 2-6 7-6", "3"},
    {150, "3-0 3-2 3-7 1-2 1-0 1-5 6-2 6-5 6-7 4-7 4-5 4-0", "3 3 3 3"},
    {195, "1-2 0-3 0-4 1-5 6-2 6-5 7-4 7-3", "4 4"},
    {254, "3-0 1-0 4-0", "3"},
};
const SettledSlice kSettledSlicePrism[] = {
    {1, "5-2 5-4 5-3", "3"},
    {3, "2-1 5-4 5-3 2-0", "4"},
    {5, "5-2 5-4 5-3 0-1 0-2 0-3", "3 3"},
    {7, "2-1 5-4 5-3 0-3 0-1", "5"},
    {10, "2-1 2-5 2-0 3-4 3-0 3-5", "3 3"},
    {21, "5-2 5-4 5-3 1-4 1-2 0-2 0-3", "3 4"},
    {42, "4-5 4-1 3-0 3-5 2-1 2-5 2-0", "4 3"},
    {62, "4-5 2-5 3-5", "3"},
};
// clang-format on

bool has(int mask, int node) {
    return (mask >> node & 1) != 0;
}

Edge make_edge(int a, int b) {
    return {std::min(a, b), std::max(a, b)};
}

std::string node_digits(int mask, size_t nnodes) {
    std::string text;
    for (size_t i = 0; i < nnodes; i++) {
        if (has(mask, int(i))) text += char('0' + i);
    }
    return text;
}

// The crossed edge that follows each crossed edge round its cut polygon.
std::map<Edge, Edge> successors(const Cell &cell, int mask) {
    std::map<Edge, Edge> next;
    for (const Polygon &face : cell.faces) {
        const size_t n = face.size();
        for (size_t i = 0; i < n; i++) {
            if (has(mask, face[i]) || !has(mask, face[(i + 1) % n])) continue;
            size_t j = i + 1;
            while (has(mask, face[(j + 1) % n])) j++;
            next[make_edge(face[i], face[(i + 1) % n])] = make_edge(face[j % n], face[(j + 1) % n]);
        }
    }
    return next;
}

// Cut polygons of a case, in the order of their smallest edges, each beginning with it.
std::vector<std::vector<Edge>> cut_polygons(const Cell &cell, int mask) {
    std::map<Edge, Edge> next = successors(cell, mask);
    std::vector<std::vector<Edge>> polygons;
    while (!next.empty()) {
        std::vector<Edge> polygon;
        for (auto at = next.begin(); at != next.end(); at = next.find(polygon.back())) {
            polygon.push_back(at->second);
            next.erase(at);
        }
        std::rotate(polygon.begin(), polygon.end() - 1, polygon.end());
        polygons.push_back(polygon);
    }
    return polygons;
}

bool on_one_face(const Cell &cell, Edge a, Edge b) {
    return std::any_of(cell.faces.begin(), cell.faces.end(), [&](const Polygon &face) {
        auto holds = [&](int node) { return std::find(face.begin(), face.end(), node) != face.end(); };
        return holds(a.first) && holds(a.second) && holds(b.first) && holds(b.second);
    });
}

// ---- Slices ------------------------------------------------------------------------------------------

// Diagonals by which a slice polygon of 3 to 7 corners is split.
const std::vector<std::vector<Edge>> kFanDiagonals = {
    {}, {{0, 2}}, {{0, 2}, {0, 3}}, {{0, 2}, {0, 3}, {3, 5}}, {{0, 2}, {0, 3}, {3, 6}, {4, 6}},
};

// Turns a polygon to the first start at which no diagonal of its split lies in a face of the cell, where it
// could run across what the neighbour draws there.
bool choose_start(const Cell &cell, std::vector<Edge> &polygon) {
    for (size_t turn = 0; turn < polygon.size(); turn++) {
        const auto &diagonals = kFanDiagonals.at(polygon.size() - 3);
        const bool clear = std::none_of(diagonals.begin(), diagonals.end(), [&](Edge d) {
            return on_one_face(cell, polygon[size_t(d.first)], polygon[size_t(d.second)]);
        });
        if (clear) return true;
        std::rotate(polygon.begin(), polygon.begin() + 1, polygon.end());
    }
    return false;
}

template <size_t N>
bool write_slices(const Cell &cell, const SettledSlice (&settled)[N]) {
    const int all = (1 << cell.corners.size()) - 1;
    for (int index = 1; index < all; index++) {
        int mask = 0;
        for (size_t bit = 0; bit < cell.slice_nodes.size(); bit++) {
            if (has(index, int(bit))) mask |= 1 << cell.slice_nodes[bit];
        }
        std::string pairs, sizes;
        for (std::vector<Edge> &polygon : cut_polygons(cell, mask)) {
            if (!choose_start(cell, polygon)) return false;
            for (auto [a, b] : polygon) {
                if (!has(mask, a)) std::swap(a, b);
                pairs += std::to_string(a) + '-' + std::to_string(b) + ' ';
            }
            sizes += std::to_string(polygon.size()) + ' ';
        }
        pairs.pop_back();
        sizes.pop_back();
        for (const SettledSlice &row : settled) {
            if (row.index == index) pairs = row.pairs, sizes = row.sizes;
        }
        std::printf("{%d, \"%s\", \"%s\", \"%s\"},\n", index, node_digits(mask, cell.corners.size()).c_str(),
                    pairs.c_str(), sizes.c_str());
    }
    return true;
}

// ---- Cuts --------------------------------------------------------------------------------------------

using Triangle = std::array<int, 3>;

// What a tetrahedron or a set of them costs, the gravest first.
struct Cost {
    int inverted = 0;  // summed over all placements
    int flat = 0;      // with new nodes at the middle of their edges
    int cells = 0;
    auto operator<=>(const Cost &) const = default;

    Cost &operator+=(const Cost &other) {
        inverted += other.inverted;
        flat += other.flat;
        cells += other.cells;
        return *this;
    }
};

// One case: vertices are the cell's nodes, then the new nodes.
struct Case {
    const Cell &cell;
    int mask;
    std::vector<Edge> new_nodes;
    std::vector<std::vector<Point>> placements;  // the first has every new node at the middle of its edge
};

constexpr int kPlacements = 200;
constexpr int kMostCellsInCase = 13;
constexpr int kMostCells = 1608;

Point along(Point a, Point b, long t) {
    return {kUnit * a.x + t * (b.x - a.x), kUnit * a.y + t * (b.y - a.y), kUnit * a.z + t * (b.z - a.z)};
}

Case make_case(const Cell &cell, int mask) {
    Case c{cell, mask, {}, {}};
    for (const auto &[edge, next] : successors(cell, mask)) c.new_nodes.push_back(edge);
    std::uint32_t random = 12345;
    for (int p = 0; p < kPlacements; p++) {
        std::vector<Point> points;
        for (Point corner : cell.corners) points.push_back(along(corner, corner, 0));
        for (auto [a, b] : c.new_nodes) {
            random = random * 1664525u + 1013904223u;
            const long t = p == 0 ? kUnit / 2 : 1 + long(random >> 16) % (kUnit - 1);
            points.push_back(along(cell.corners[size_t(a)], cell.corners[size_t(b)], t));
        }
        c.placements.push_back(points);
    }
    return c;
}

int vertex_of(const Case &c, Edge edge) {
    const auto at = std::lower_bound(c.new_nodes.begin(), c.new_nodes.end(), edge);
    return int(c.cell.corners.size()) + int(at - c.new_nodes.begin());
}

// Six times the volume of the tetrahedron over `t` (seen from outside) with its tip at `apex`.
long volume(const std::vector<Point> &points, int apex, const Triangle &t) {
    const Point o = points[size_t(apex)];
    Point e[3];
    for (size_t i = 0; i < 3; i++) {
        const Point p = points[size_t(t[i])];
        e[i] = {p.x - o.x, p.y - o.y, p.z - o.z};
    }
    return e[0].x * (e[1].y * e[2].z - e[1].z * e[2].y) + e[0].y * (e[1].z * e[2].x - e[1].x * e[2].z) +
           e[0].z * (e[1].x * e[2].y - e[1].y * e[2].x);
}

Cost cost_of(const Case &c, int apex, const Triangle &t) {
    Cost cost;
    if (std::find(t.begin(), t.end(), apex) != t.end()) return cost;
    for (const auto &points : c.placements) cost.inverted += volume(points, apex, t) < 0;
    cost.flat = volume(c.placements[0], apex, t) == 0;
    cost.cells = 1;
    return cost;
}

// All triangulations of polygon[first..last], the side from last to first being one of its own.
std::vector<std::vector<Triangle>> triangulations(const Polygon &polygon, size_t first, size_t last) {
    if (last - first < 2) return {{}};
    std::vector<std::vector<Triangle>> all;
    for (size_t mid = first + 1; mid < last; mid++) {
        for (const auto &left : triangulations(polygon, first, mid)) {
            for (const auto &right : triangulations(polygon, mid, last)) {
                std::vector<Triangle> both = left;
                both.insert(both.end(), right.begin(), right.end());
                both.push_back({polygon[first], polygon[mid], polygon[last]});
                all.push_back(both);
            }
        }
    }
    return all;
}

// A body's boundary polygon with every triangulation that it may take.
struct Boundary {
    Polygon polygon;
    std::vector<std::vector<Triangle>> choices;
};

// A diagonal of a cut polygon within a face would put a piece of the cut into that face.
bool splits_in_face(const Case &c, const Polygon &polygon, const std::vector<Triangle> &triangles) {
    const size_t n = polygon.size();
    for (size_t i = 0; i < n; i++) {
        for (size_t j = i + 2; j < n; j++) {
            if (i == 0 && j == n - 1) continue;
            const bool drawn = std::any_of(triangles.begin(), triangles.end(), [&](const Triangle &t) {
                return std::count(t.begin(), t.end(), polygon[i]) +
                           std::count(t.begin(), t.end(), polygon[j]) ==
                       2;
            });
            const size_t corners = c.cell.corners.size();
            if (drawn && on_one_face(c.cell, c.new_nodes[size_t(polygon[i]) - corners],
                                     c.new_nodes[size_t(polygon[j]) - corners])) {
                return true;
            }
        }
    }
    return false;
}

// The kept parts of a face: one polygon, or a corner for each of two diagonal nodes.
std::vector<Polygon> kept_parts(const Case &c, const Polygon &face) {
    const size_t n = face.size();
    std::vector<Polygon> parts;
    Polygon whole;
    bool diagonal = n == 4;
    for (size_t i = 0; i < n; i++) {
        const int before = face[(i + n - 1) % n], node = face[i], after = face[(i + 1) % n];
        if (has(c.mask, node) == has(c.mask, after)) diagonal = false;
        if (!has(c.mask, node)) continue;
        const size_t start = whole.size();
        if (!has(c.mask, before)) whole.push_back(vertex_of(c, make_edge(before, node)));
        whole.push_back(node);
        if (!has(c.mask, after)) whole.push_back(vertex_of(c, make_edge(node, after)));
        parts.emplace_back(whole.begin() + long(start), whole.end());
    }
    if (diagonal) return parts;
    return whole.empty() ? std::vector<Polygon>{} : std::vector<Polygon>{whole};
}

// The bodies of a case, each as its boundary, in the order of their smallest kept nodes.
std::map<int, std::vector<Boundary>> bodies(const Case &c) {
    std::vector<int> body(c.cell.corners.size());
    for (size_t i = 0; i < body.size(); i++) body[i] = int(i);
    for (size_t round = 0; round < body.size(); round++) {
        for (const Polygon &face : c.cell.faces) {
            for (size_t i = 0; i < face.size(); i++) {
                const int a = face[i], b = face[(i + 1) % face.size()];
                if (!has(c.mask, a) || !has(c.mask, b)) continue;
                body[size_t(a)] = body[size_t(b)] = std::min(body[size_t(a)], body[size_t(b)]);
            }
        }
    }
    std::map<int, std::vector<Boundary>> result;
    for (const Polygon &face : c.cell.faces) {
        for (const Polygon &part : kept_parts(c, face)) {
            const auto kept =
                std::find_if(part.begin(), part.end(), [&](int v) { return v < int(body.size()); });
            result[body[size_t(*kept)]].push_back({part, triangulations(part, 0, part.size() - 1)});
        }
    }
    for (const auto &edges : cut_polygons(c.cell, c.mask)) {
        Polygon polygon;
        for (Edge edge : edges) polygon.push_back(vertex_of(c, edge));
        auto choices = triangulations(polygon, 0, polygon.size() - 1);
        std::erase_if(choices, [&](const auto &choice) { return splits_in_face(c, polygon, choice); });
        const int kept = has(c.mask, edges[0].first) ? edges[0].first : edges[0].second;
        result[body[size_t(kept)]].push_back({polygon, choices});
    }
    return result;
}

struct Filling {
    Cost cost;
    std::vector<std::array<int, 4>> cells;
};

// The best cone over the body's boundary with its tip at `apex`.
Filling cone(const Case &c, const std::vector<Boundary> &body, int apex) {
    Filling filling;
    for (const Boundary &boundary : body) {
        const std::vector<Triangle> *best = nullptr;
        Cost best_cost;
        for (const auto &choice : boundary.choices) {
            Cost cost;
            for (const Triangle &t : choice) cost += cost_of(c, apex, t);
            if (!best || cost < best_cost) best = &choice, best_cost = cost;
        }
        filling.cost += best_cost;
        for (const Triangle &t : *best) {
            if (std::find(t.begin(), t.end(), apex) == t.end())
                filling.cells.push_back({apex, t[0], t[1], t[2]});
        }
    }
    return filling;
}

Filling fill(const Case &c) {
    Filling all;
    for (const auto &[first_node, body] : bodies(c)) {
        Filling best;
        std::vector<int> apexes;
        for (const Boundary &boundary : body)
            apexes.insert(apexes.end(), boundary.polygon.begin(), boundary.polygon.end());
        std::sort(apexes.begin(), apexes.end());
        apexes.erase(std::unique(apexes.begin(), apexes.end()), apexes.end());
        for (int apex : apexes) {
            Filling filling = cone(c, body, apex);
            if (best.cells.empty() || filling.cost < best.cost) best = filling;
        }
        all.cost += best.cost;
        all.cells.insert(all.cells.end(), best.cells.begin(), best.cells.end());
    }
    return all;
}

std::string vertex_name(const Case &c, int vertex) {
    const int corners = int(c.cell.corners.size());
    return std::string(1, vertex < corners ? char('0' + vertex) : char('a' + vertex - corners));
}

template <size_t N>
bool write_cuts(const Cell &cell, const SettledCut (&settled)[N]) {
    int total = 0;
    for (int mask = 1; mask < (1 << cell.corners.size()) - 1; mask++) {
        const Case c = make_case(cell, mask);
        const Filling filling = fill(c);
        if (filling.cost.inverted > 0) return false;
        std::string new_nodes, cells;
        for (auto [a, b] : c.new_nodes) {
            new_nodes += vertex_name(c, vertex_of(c, {a, b})) + '=' + std::to_string(a) + '-' +
                         std::to_string(b) + ' ';
        }
        for (const auto &tet : filling.cells) {
            for (int vertex : tet) cells += vertex_name(c, vertex);
            cells += ' ';
        }
        new_nodes.pop_back();
        cells.pop_back();
        for (const SettledCut &row : settled) {
            if (row.mask == mask) new_nodes = row.new_nodes, cells = row.cells;
        }
        const int ncells = 1 + int(std::count(cells.begin(), cells.end(), ' '));
        total += ncells;
        if (ncells > kMostCellsInCase) return false;
        std::printf("{%d, \"%s\", \"%s\", \"%s\"},\n", mask, node_digits(mask, cell.corners.size()).c_str(),
                    new_nodes.c_str(), cells.c_str());
    }
    return total <= kMostCells;
}

}  // namespace

int main(int argc, char **argv) {
    const std::string what = argc == 2 ? argv[1] : "";
    bool (*write)() = nullptr;
    if (what == "cut_hex") write = [] { return write_cuts(kHex, kSettledCutHex); };
    if (what == "slice_hex") write = [] { return write_slices(kHex, kSettledSliceHex); };
    if (what == "slice_prism") write = [] { return write_slices(kPrism, kSettledSlicePrism); };
    if (!write) {
        std::fprintf(stderr, "usage: make_case_rows cut_hex|slice_hex|slice_prism\n");
        return 2;
    }
    std::printf("// generated by tools/make_case_rows, do not edit\n");
    if (write()) return 0;
    std::fprintf(stderr, "make_case_rows: a case of %s cannot be written within the rules\n", what.c_str());
    return 1;
}
