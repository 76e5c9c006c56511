// Height grids against the plain way, polygon by polygon.
#include <cmath>

#include "support.hpp"

namespace {

using Connect = std::vector<int>;

template <class T>
struct Heights {
    int nx, ny, nspace;
    double tolerance;
    std::vector<T> data = {};

    int nnodes = -7, ntris = -7;
    std::vector<float> coords = {};
    Connect tris = {};
    std::vector<T> values = {};

    static constexpr float kCorners[] = {-1.1f, 2, 3.3f, 7, 9, -1};
    const float *upper() const { return kCorners + nspace; }

    int run() {
        const int dims[] = {nx, ny};
        int *conn = nullptr;
        float *xyz = nullptr;
        void *node_data = nullptr;
        const int result = UTILoptimize_surface(dims, nspace, kCorners, type_code<T>, data.data(), tolerance,
                                                &nnodes, &xyz, &ntris, &conn, &node_data);
        auto *const nodes = static_cast<T *>(node_data);
        coords.assign(xyz, xyz + nspace * nnodes);
        tris.assign(conn, conn + 3 * ntris);
        values.assign(nodes, nodes + nnodes);
        for (void *array : std::initializer_list<void *>{conn, xyz, node_data})
            if (array) ARRfree_f(array, __FILE__, __LINE__);
        return result;
    }
};

struct Node {
    int i, j, state = 0, id = -1;
    bool visited = false;

    bool is_at(const Node &n) const { return i == n.i && j == n.j; }
};

// From the head on.
struct Ring : std::vector<Node> {
    const Node &around(int k) const { return (*this)[(k + size()) % size()]; }
    Node &around(int k) { return (*this)[(k + size()) % size()]; }
    void unvisit() {
        for (Node &n : *this) n.visited = false;
    }
    bool is_point() const {
        return std::all_of(begin(), end(), [this](const Node &n) { return n.is_at(front()); });
    }
    bool has(const Node &at) const {
        return std::any_of(begin(), end(), [&](const Node &n) { return n.is_at(at); });
    }
};

int turn(const Node &a, const Node &n, const Node &b) {
    return (b.i - n.i) * (a.j - n.j) - (b.j - n.j) * (a.i - n.i);
}

double ratio(int a, int b) {
    return static_cast<double>(a) / b;
}

template <class T>
class Plain {
  public:
    explicit Plain(const Heights<T> &given) : h(given) {
        for (auto &buffer : buffers_) buffer.resize(std::max(h.nx, h.ny));
        std::vector<Ring> stack = {outline()};
        while (!stack.empty()) {
            Ring ring = stack.back(), rest;
            stack.pop_back();
            if (ring.size() < 3) continue;
            bool goes_on = false;
            if (ring.is_point()) {
                cut(ring);
            } else if (ring.size() == 3) {
                goes_on = !feasible(ring[2], ring[0], ring[1]) && split(ring);
                if (!goes_on) add_tri(ring[2], ring[0], ring[1]);
            } else {
                goes_on = take_ears(ring) || (!ring.is_point() && (bite(ring, rest) || split(ring)));
                if (!goes_on) cut(ring);
            }
            if (goes_on) stack.push_back(ring);
            if (!rest.empty()) stack.push_back(rest);
        }
    }

    Heights<T> h;

  private:
    double value(int i, int j) const { return static_cast<double>(h.data[h.nx * j + std::max(i, 0)]); }
    bool is_close(double v, double line) const {
        return !(v - h.tolerance > line) && !(v + h.tolerance < line);
    }

    void add_node(Node &n) {
        const double lower[] = {h.kCorners[0], h.kCorners[1]};
        n.id = static_cast<int>(h.values.size());
        h.coords.push_back(static_cast<float>(lower[0] + n.i * ((h.upper()[0] - lower[0]) / (h.nx - 1))));
        h.coords.push_back(static_cast<float>(lower[1] + n.j * ((h.upper()[1] - lower[1]) / (h.ny - 1))));
        if (h.nspace == 3) h.coords.push_back(0);
        h.values.push_back(h.data[h.nx * n.j + n.i]);
    }
    void add_tri(const Node &a, const Node &b, const Node &c) {
        h.tris.insert(h.tris.end(), {a.id, b.id, c.id});
    }
    // A new node between the k-th and the next, of which it has the value.
    void insert_on_edge(Ring &ring, int k, Node n) {
        const Node a = ring[k], b = ring.around(k + 1);
        add_node(n);
        const double t = a.j != b.j   ? ratio(n.j - a.j, b.j - a.j)
                         : a.i != b.i ? ratio(n.i - a.i, b.i - a.i)
                                      : 0;
        const auto va = static_cast<double>(h.values[a.id]), vb = static_cast<double>(h.values[b.id]);
        UTILdouble_to_type(&h.values[n.id], va + t * (vb - va), type_code<T>);
        ring.insert(ring.begin() + k + 1, n);
    }

    bool feasible(Node a, Node b, std::vector<double> &buffer) {
        if (std::pair(b.j, b.i) < std::pair(a.j, a.i)) std::swap(a, b);
        double line = value(a.i, a.j);
        if (a.j == b.j) {
            const double step = (value(b.i, b.j) - line) / (b.i - a.i);
            for (int i = a.i; i <= b.i && b.i - a.i > 1; ++i, line += step)
                if (!is_close(value(i, a.j), line)) return false;
            return true;
        }
        double step = (value(b.i, b.j) - line) / (b.j - a.j), x = a.i;
        for (int j = a.j; j <= b.j; ++j, x += ratio(b.i - a.i, b.j - a.j), line += step) {
            const int f = static_cast<int>(std::floor(x)), c = static_cast<int>(std::ceil(x));
            const bool is_between = f != c && f < h.nx - 1;
            const double v = is_between ? value(f, j) * (c - x) + value(c, j) * (x - f) : value(f, j);
            if ((is_between || a.i == b.i) && !is_close(v, line)) return false;
            buffer[j - a.j] = a.i == b.i ? line : v;
        }
        if (b.i < a.i) std::swap(a, b);
        line = value(a.i, a.j);
        step = (value(b.i, b.j) - line) / (b.i - a.i);
        double y = a.j;
        for (int i = a.i; i <= b.i && a.i < b.i; ++i, y += ratio(b.j - a.j, b.i - a.i), line += step) {
            const int f = static_cast<int>(std::floor(y)), c = static_cast<int>(std::ceil(y));
            if (f == c || f >= h.ny - 1) continue;
            if (!is_close(value(i, std::max(f, 0)) * (c - y) + value(i, c) * (y - f), line)) return false;
        }
        return true;
    }

    bool feasible(const Node &a, const Node &b, const Node &c) {
        std::array<std::pair<Node, Node>, 3> sides = {{{a, b}, {b, c}, {c, a}}};
        double x[3];
        for (int e = 0; e < 3; ++e) {
            auto &[low, high] = sides[e];
            if (std::pair(high.j, high.i) < std::pair(low.j, low.i)) std::swap(low, high);
            x[e] = low.i;
            if (!feasible(low, high, buffers_[e])) return false;
        }
        for (int j = std::min({a.j, b.j, c.j}); j < std::max({a.j, b.j, c.j}); ++j) {
            std::vector<std::pair<double, double>> ends;  // x and height
            for (int e = 0; e < 3; ++e) {
                const auto &[low, high] = sides[e];
                if (low.j > j || j >= high.j) continue;
                ends.push_back({x[e], buffers_[e][j - low.j]});
                x[e] += ratio(high.i - low.i, high.j - low.j);
            }
            if (ends[1].first < ends[0].first) std::swap(ends[0], ends[1]);
            const auto [xl, hl] = ends[0];
            const auto [xr, hr] = ends[1];
            const double ic = std::ceil(xl), fc = std::floor(xr), w = xr - xl;
            const double h0 = hl + (xl - ic) * hr / w, h1 = hr - (fc - xr) * hl / w;
            for (int k = static_cast<int>(ic); ic != fc && k <= fc; ++k)
                if (!is_close(value(k, j), h0 + (k - ic) * ((h1 - h0) / (fc - ic)))) return false;
        }
        return true;
    }

    Ring outline() {
        Ring ring;
        const Node corners[] = {{0, 0}, {h.nx - 1, 0}, {h.nx - 1, h.ny - 1}, {0, h.ny - 1}, {0, 0}};
        const auto keep = [&](int i, int j, int state) { add_node(ring.emplace_back(Node{i, j, state})); };
        for (int side = 0; side < 4; ++side) {
            const Node &from = corners[side], &to = corners[side + 1];
            keep(from.i, from.j, 2);
            const int di = (to.i > from.i) - (to.i < from.i), dj = (to.j > from.j) - (to.j < from.j);
            for (Node at = from; !at.is_at(to); at.i += di, at.j += dj) {
                const Node candidate{at.i + di, at.j + dj};
                if (!feasible(ring.back(), candidate, buffers_[0]) && !at.is_at(ring.back()))
                    keep(at.i, at.j, 1);
            }
        }
        std::rotate(ring.begin(), ring.end() - 1, ring.end());
        return ring;
    }

    void cut(Ring &ring) {
        for (int steps = static_cast<int>(ring.size()), k = 0; steps > 0 && ring.size() >= 3; --steps) {
            if (turn(ring.around(k - 1), ring[k], ring.around(k + 1)) >= 0) {
                add_tri(ring.around(k - 1), ring[k], ring.around(k + 1));
                ring.erase(ring.begin() + k);
                k += static_cast<int>(ring.size()) - 1;
            } else {
                ++k;
            }
            k %= static_cast<int>(ring.size());
        }
    }

    // False when there is none left.
    bool take_ears(Ring &ring) {
        for (int k = 0; ring.size() >= 4; k %= static_cast<int>(ring.size())) {
            if (ring[k].visited) return false;
            if (!is_ear(ring, k)) {
                ring[k++].visited = true;
                continue;
            }
            Node &a = ring.around(k - 1), &b = ring.around(k + 1);
            add_tri(a, ring[k], b);
            a.state = b.state = 0;
            ring.unvisit();
            ring.erase(ring.begin() + k);
            k += static_cast<int>(ring.size()) - 1;
        }
        return true;
    }
    bool is_ear(Ring &ring, int k) {
        Node &n = ring[k];
        const Node &a = ring.around(k - 1), &b = ring.around(k + 1);
        const bool is_shut = n.state == 1;
        n.state = 1;
        if (is_shut || turn(a, n, b) <= 0) return false;
        const double x1 = a.i - n.i, y1 = a.j - n.j, x2 = b.i - n.i, y2 = b.j - n.j, d = -turn(a, n, b);
        for (int m = k + 2; m < k + std::ssize(ring) - 1; ++m) {
            const double dx = ring.around(m).i - n.i, dy = ring.around(m).j - n.j;
            const double s = (dx * y2 - x2 * dy) / d, t = (dy * x1 - dx * y1) / d;
            if (s >= 0 && s <= 1 && t >= 0 && t <= 1 && s + t < 1) return false;
        }
        n.state = 2;
        return feasible(a, n, b);
    }

    // Inside: -1. On an edge: its number. Outside: -2.
    static int locate(const Ring &ring, const Node &p) {
        int counts[4] = {};
        for (int k = 0; k < std::ssize(ring); ++k) {
            const Node &a = ring[k], &b = ring.around(k + 1);
            const auto [i0, i1] = std::minmax(a.i, b.i);
            const auto [j0, j1] = std::minmax(a.j, b.j);
            const bool in_rows = j0 <= p.j && p.j < j1, in_columns = i0 <= p.i && p.i < i1;
            const bool is_end = (i0 == i1 || j0 == j1) && p.i == i1 && p.j == j1;
            const int side = turn(p, a, b);
            if (is_end || ((in_rows || in_columns) && side == 0)) return k;
            if (in_rows) ++counts[(side > 0) == (b.j > a.j)];
            if (in_columns) ++counts[2 + ((side < 0) == (b.i > a.i))];
        }
        return std::all_of(counts, counts + 4, [](int n) { return n % 2 == 1; }) ? -1 : -2;
    }

    static bool sees(const Ring &ring, const Node &p, const Node &q) {
        for (int k = 0; k < std::ssize(ring); ++k) {
            const Node &a = ring[k], &b = ring.around(k + 1);
            if ((a.is_at(p) && b.is_at(q)) || (a.is_at(q) && b.is_at(p))) return false;
            const double dx = q.i - p.i, dy = q.j - p.j, ex = b.i - a.i, ey = b.j - a.j;
            if (a.is_at(p) || b.is_at(p) || (dx == 0 && ex == 0) || (dy == 0 && ey == 0)) continue;
            const double t = ((p.i - a.i) * ey - (p.j - a.j) * ex) / (dy * ex - dx * ey);
            const double s = ex != 0 ? (p.i + t * dx - a.i) / ex : (p.j + t * dy - a.j) / ey;
            if (t >= 0 && t < 1 && s >= 0 && s <= 1) return false;
        }
        return true;
    }

    bool bite(Ring &ring, Ring &rest) {
        for (int k = 0; k < std::ssize(ring); ++k) {
            const Node a = ring[k], b = ring.around(k + 1);
            Node before{-9999, -9999};
            for (const double c : {2.0, 1.0, 0.5, 0.25, 0.125, 0.0}) {
                const Node at{static_cast<int>((a.i + b.i) * 0.5 - (b.j - a.j) * c),
                              static_cast<int>((a.j + b.j) * 0.5 + (b.i - a.i) * c)};
                if (at.is_at(before) || at.is_at(a) || at.is_at(b)) break;
                before = at;
                const int edge = locate(ring, at);
                if (edge == k) break;
                if (edge == -2 || !sees(ring, a, at) || !sees(ring, b, at) || !feasible(a, b, at)) continue;
                if (edge >= 0) {
                    bite_at_edge(ring, k, edge, at, rest);
                } else {
                    bite_inside(ring, k, at, rest);
                }
                return true;
            }
        }
        return false;
    }
    void bite_inside(Ring &ring, int k, Node n, Ring &rest) {
        add_node(n);
        add_tri(ring[k], ring.around(k + 1), n);
        for (int w = k + 2; w < k + std::ssize(ring) - 1; ++w) {
            const Node &from = ring.around(w), &to = ring.around(w + 1);
            if (turn(from, to, n) <= 0 || !sees(ring, from, n) || !sees(ring, to, n)) continue;
            if (!feasible(from, to, n)) continue;
            add_tri(from, to, n);
            return part(ring, k, w, w + 1, n, rest);
        }
        ring[k].state = ring.around(k + 1).state = 0;
        n.state = 1;
        ring.insert(ring.begin() + k + 1, n);
        ring.unvisit();
    }
    void bite_at_edge(Ring &ring, int k, int edge, const Node &at, Ring &rest) {
        if (!ring.has(at)) {
            insert_on_edge(ring, edge, at);
            k += edge < k;
        }
        int v = 0;
        while (!ring[v].is_at(at)) ++v;
        const Node n = ring[v];
        add_tri(ring[k], ring.around(k + 1), n);
        if (v < k) v += static_cast<int>(ring.size());
        part(ring, k, v - 1, v + 1, n, rest);
    }
    // What follows the k-th up to `last`, and from `first` round to the k-th, each with n.
    static void part(Ring &ring, int k, int last, int first, const Node &n, Ring &rest) {
        const auto closed = [&](int from, int to) {
            Ring part;
            for (int m = from; m <= to; ++m)
                part.push_back({ring.around(m).i, ring.around(m).j, 0, ring.around(m).id});
            part.push_back({n.i, n.j, 0, n.id});
            return part;
        };
        rest = closed(first, k + static_cast<int>(ring.size()));
        ring = closed(k + 1, last);
    }

    bool split(Ring &ring) {
        for (int k = 0; k < std::ssize(ring); ++k) {
            const Node a = ring[k], b = ring.around(k + 1);
            const int di = b.i - a.i, dj = b.j - a.j, length = std::max(std::abs(di), std::abs(dj));
            const bool by_rows = std::abs(di) < std::abs(dj);
            const Node lo = (by_rows ? dj : di) > 0 ? a : b;
            double across = by_rows ? lo.i : lo.j;
            for (int step = 1; step < length; ++step) {
                across += by_rows ? ratio(di, dj) : ratio(dj, di);
                if (std::floor(across) != std::ceil(across)) continue;
                const int whole = static_cast<int>(across);
                const Node at = by_rows ? Node{whole, lo.j + step, 1} : Node{lo.i + step, whole, 1};
                if (ring.has(at) || !feasible(at, lo, buffers_[0])) continue;
                insert_on_edge(ring, k, at);
                ring.unvisit();
                return true;
            }
        }
        return false;
    }

    std::vector<double> buffers_[3];
};

template <class T>
class HeightsOf : public testing::Test {};
using AllTypes = testing::Types<signed char, unsigned char, short, int, float, double>;
TYPED_TEST_SUITE(HeightsOf, AllTypes);

// A plane, a ridge, a step, waves, noise, and both, with NaN among them.
TYPED_TEST(HeightsOf, AreThePlainTwins) {
    using T = TypeParam;
    std::mt19937 random(sizeof(T));
    for (int n = 0; n < 24; ++n) {
        const int shape = n % 6;
        for (const double tolerance : {0.0, 0.6, 5.0, 200.0}) {
            const int nx = n == 3 ? 200 : 2 + static_cast<int>(random() % 23);
            const int ny = n == 3 ? 3 : n == 9 ? 80 : 2 + static_cast<int>(random() % 23);
            Heights<T> grid{nx, ny, 2 + n % 2, tolerance};
            for (int k = 0; k < nx * ny; ++k) {
                const int i = k % nx, j = k / nx;
                const auto noise = static_cast<double>(random() % 100);
                const double waves = 40 + 30 * std::sin(i * 0.4) * std::cos(j * 0.3);
                const double shapes[] = {
                    2.0 * i + j / 2.0, 3.0 * std::abs(i - j), i + j / 3 > 7 ? 50.0 : 5.0, waves, noise,
                    waves + noise / 30};
                grid.data.push_back(static_cast<T>(shapes[shape]));
                if (shape == 5 && noise < 5 && std::is_floating_point_v<T>)
                    grid.data.back() = std::numeric_limits<T>::quiet_NaN();
            }
            const Heights<T> plain = Plain<T>(grid).h;
            SCOPED_TRACE(testing::Message() << nx << " " << ny << " shape " << shape << " " << tolerance);
            ASSERT_EQ(grid.run(), 1);
            EXPECT_EQ(grid.nnodes, std::ssize(plain.values));
            EXPECT_EQ(grid.tris, plain.tris);
            EXPECT_TRUE(same_bits(grid.coords, plain.coords));
            EXPECT_TRUE(same_bits(grid.values, plain.values));
            double area = 0;
            for (std::size_t c = 0; c < grid.tris.size(); c += 3) {
                const auto edge = [&](std::size_t k, int d) -> double {
                    const auto at = [&](int node) { return grid.coords[grid.nspace * node + d]; };
                    return at(grid.tris[c + k]) - at(grid.tris[c]);
                };
                area += edge(1, 0) * edge(2, 1) - edge(1, 1) * edge(2, 0);
            }
            const double whole = 2 * (grid.upper()[0] + 1.1) * (grid.upper()[1] - 2);
            EXPECT_TRUE(shape > 2 || std::abs(area - whole) < 1e-4) << area;
        }
    }
}

TEST(Heights, FewNodesAreLeft) {
    Heights<int> flat{6, 5, 2, 0, Connect(30)}, level{5, 5, 3, 0, Connect(25, 7)};
    Heights<int> bent{2, 2, 2, 0, {0, 0, 0, 9}}, thin{1, 4, 2, 0, Connect(4)};
    EXPECT_EQ(flat.run() + level.run() + bent.run(), 3);
    for (const Connect &tris : {flat.tris, level.tris, bent.tris})
        EXPECT_EQ(tris, (Connect{2, 3, 0, 2, 0, 1}));
    EXPECT_EQ(flat.coords, (std::vector<float>{-1.1f, 2, 3.3f, 2, 3.3f, 7, -1.1f, 7}));
    EXPECT_EQ(bent.values, (Connect{0, 0, 9, 0}));
    EXPECT_EQ(thin.run(), 0);
    std::swap(thin.nx, thin.ny);
    EXPECT_EQ(thin.run() + thin.nnodes + thin.ntris, 0);
}

}  // namespace
