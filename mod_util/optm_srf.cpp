// Grids of heights as triangles of few nodes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "height_feasibility.hpp"
#include "isofield.h"
#include "output_array.hpp"
#include "polygon_ring.hpp"
#include "working_list.hpp"

namespace {

using namespace isofield::detail;

constexpr const char *kUnit = "mod_util/optm_srf";
constexpr int kStep = 1024;

// The nodes and triangles made so far.
class Result {
  public:
    Result(const int *dims, int nspace, const float *points, int type, const void *data)
        : nspace_(nspace),
          type_(type),
          size_(DTYPEtype_size[type]),
          min_{points[0], points[1]},
          step_{(static_cast<double>(points[nspace]) - points[0]) / (dims[0] - 1),
                (static_cast<double>(points[nspace + 1]) - points[1]) / (dims[1] - 1)},
          from_(static_cast<const char *>(data)),
          coords_(kUnit, kStep),
          conn_(kUnit, kStep) {}
    ~Result() {
        if (data_) ARRfree_f(data_, kUnit, __LINE__);
    }
    Result(const Result &) = delete;
    Result &operator=(const Result &) = delete;

    // False when there is no memory.
    bool create() {
        data_ = ARRalloc_f(nullptr, type_, kStep, nullptr, kUnit, __LINE__);
        capacity_ = data_ ? kStep : 0;
        return data_ && coords_.create() && conn_.create();
    }

    // The number of the new node, or -1 when there is no memory.
    [[gnu::noinline]] int add_node(GridPlace at, int index) {
        const std::int64_t count = std::int64_t{nnodes_} + 1;
        if (!coords_.reserve_amply(count * nspace_) || !reserve_data(count)) return -1;
        float *const row = coords_.data() + static_cast<std::ptrdiff_t>(nnodes_) * nspace_;
        row[0] = static_cast<float>(min_[0] + at.i * step_[0]);
        row[1] = static_cast<float>(min_[1] + at.j * step_[1]);
        if (nspace_ == 3) row[2] = 0.0f;
        std::memcpy(element(nnodes_), from_ + static_cast<std::ptrdiff_t>(index) * size_,
                    static_cast<std::size_t>(size_));
        return nnodes_++;
    }
    bool add_triangle(const RingLink &a, const RingLink &b, const RingLink &c) {
        const std::int64_t length = 3 * (std::int64_t{ntris_} + 1);
        if (!conn_.reserve_amply(length)) return false;
        int *const row = conn_.data() + (length - 3);
        row[0] = a.id;
        row[1] = b.id;
        row[2] = c.id;
        ++ntris_;
        return true;
    }

    // Puts the value of a node on the line between those of a and b, so that the edge stays straight for the
    // polygon on its other side.
    void interpolate(const RingLink &node, const RingLink &a, const RingLink &b) {
        double t = 0.0;
        if (b.at.j != a.at.j) {
            t = static_cast<double>(node.at.j - a.at.j) / (b.at.j - a.at.j);
        } else if (b.at.i != a.at.i) {
            t = static_cast<double>(node.at.i - a.at.i) / (b.at.i - a.at.i);
        }
        double va, vb;
        UTILtype_to_double(&va, element(a.id), type_);
        UTILtype_to_double(&vb, element(b.id), type_);
        UTILdouble_to_type(element(node.id), va + t * (vb - va), type_);
    }

    void hand_over(int *nnodes, float **coords, int *ntris, int **conn, void **node_data) {
        *nnodes = nnodes_;
        *ntris = ntris_;
        *coords = coords_.release();
        *conn = conn_.release();
        *node_data = std::exchange(data_, nullptr);
    }

  private:
    void *element(int node) const {
        return static_cast<char *>(data_) + static_cast<std::ptrdiff_t>(node) * size_;
    }

    bool reserve_data(std::int64_t count) {
        return grow_in_steps(data_, type_, capacity_, ample_capacity(capacity_, count), kStep, kUnit);
    }

    int nspace_, type_, size_;
    double min_[2], step_[2];
    const char *from_;
    OutputArray<float> coords_;
    OutputArray<int> conn_;
    void *data_ = nullptr;
    int capacity_ = 0;
    int nnodes_ = 0, ntris_ = 0;
};

enum class Outcome { kNone, kDone, kNoMemory };

// Takes polygons apart, the last one split off first, until none is left.
class Simplifier {
  public:
    Simplifier(const int *dims, const HeightFeasibility &heights, Result &result)
        : nx_(dims[0]), ny_(dims[1]), heights_(heights), result_(result) {}

    // False when there is no memory.
    bool run() {
        Polygon outline;
        if (!ring_.create(nx_, ny_) || !start(outline) || !stack_.push(outline)) return false;
        while (!stack_.empty()) {
            const Outcome outcome = reduce(stack_.back());
            if (outcome == Outcome::kNoMemory) return false;
            if (outcome == Outcome::kDone) continue;
            ring_.give_back_all(stack_.back());
            stack_.pop();
        }
        return true;
    }

  private:
    // A link that is also a node of the result, or -1 when there is no memory.
    int new_node(GridPlace at, EarState state) {
        const int link = ring_.take(at, state);
        if (link >= 0) ring_[link].id = result_.add_node(at, heights_.index(at));
        return link >= 0 && ring_[link].id >= 0 ? link : -1;
    }
    bool append(Polygon &polygon, GridPlace at, EarState state) {
        const int link = new_node(at, state);
        if (link < 0) return false;
        ring_.append(polygon, link);
        return true;
    }

    // The grid's outline: the corners, and between them the ends of the longest feasible spans.
    bool start(Polygon &polygon) {
        const GridPlace corners[] = {{0, 0}, {nx_ - 1, 0}, {nx_ - 1, ny_ - 1}, {0, ny_ - 1}, {0, 0}};
        for (int side = 0; side < 4; ++side) {
            if (!append(polygon, corners[side], EarState::kTooFar)) return false;
            const GridPlace end = corners[side + 1];
            GridPlace last = corners[side], candidate = last;
            const int di = (end.i > last.i) - (end.i < last.i), dj = (end.j > last.j) - (end.j < last.j);
            while (!(candidate == end)) {
                const GridPlace next = {candidate.i + di, candidate.j + dj};
                if (!(candidate == last) && !heights_.allows(last, next)) {
                    if (!append(polygon, candidate, EarState::kBlocked)) return false;
                    last = candidate;
                }
                candidate = next;
            }
        }
        return true;
    }

    // One round of the polygon: kDone when there is more to do, kNone when it is finished.
    Outcome reduce(Polygon &polygon) {
        if (polygon.nnode < 3) return Outcome::kNone;
        if (ring_.is_point(polygon)) return cut(polygon);
        if (polygon.nnode == 3) return take_last(polygon);
        const Outcome ears = take_ears(polygon);
        if (ears != Outcome::kNone) return ears;
        if (ring_.is_point(polygon)) return cut(polygon);
        const Outcome bitten = bite(polygon);
        if (bitten != Outcome::kNone) return bitten;
        const Outcome split = split_edge(polygon);
        return split != Outcome::kNone ? split : cut(polygon);
    }

    bool add_triangle(int a, int b, int c) { return result_.add_triangle(ring_[a], ring_[b], ring_[c]); }
    bool allows(int a, int b, int c) const { return heights_.allows(ring_[a].at, ring_[b].at, ring_[c].at); }

    Outcome take_last(Polygon &polygon) {
        const int head = polygon.head, prev = ring_[head].prev, next = ring_[head].next;
        if (!allows(prev, head, next)) {
            const Outcome split = split_edge(polygon);
            if (split != Outcome::kNone) return split;
        }
        return add_triangle(prev, head, next) ? Outcome::kNone : Outcome::kNoMemory;
    }

    enum class Ear { kFullCircle, kNo, kYes };

    // kDone when the polygon has become a triangle, kNone when there is no ear left.
    Outcome take_ears(Polygon &polygon) {
        for (int link = polygon.head; polygon.nnode > 3;) {
            const int prev = ring_[link].prev, next = ring_[link].next;
            switch (check_ear(polygon, link)) {
                case Ear::kFullCircle:
                    return Outcome::kNone;
                case Ear::kNo:
                    link = next;
                    break;
                case Ear::kYes:
                    if (!add_triangle(prev, link, next)) return Outcome::kNoMemory;
                    ring_[prev].state = ring_[next].state = EarState::kTry;
                    ring_.unlink(polygon, link);
                    ring_.clear_visited(polygon);
                    link = prev;
            }
        }
        return Outcome::kDone;
    }

    Ear check_ear(const Polygon &polygon, int link) const {
        RingLink &node = ring_[link];
        if (node.visited) return Ear::kFullCircle;
        if (node.state != EarState::kBlocked) {
            if (is_blocked(polygon, link)) {
                node.state = EarState::kBlocked;
            } else if (allows_ear(node)) {
                return Ear::kYes;
            } else {
                node.state = EarState::kTooFar;
            }
        }
        node.visited = true;
        return Ear::kNo;
    }

    // Reflex, straight, or with another node of the ring in the triangle.
    bool is_blocked(const Polygon &polygon, int link) const {
        const RingLink &node = ring_[link];
        const GridPlace n = node.at, prev = ring_[node.prev].at, next = ring_[node.next].at;
        const std::int64_t area = doubled_area(prev, n, next);
        if (area <= 0) return true;
        const double e1x = prev.i - n.i, e1y = prev.j - n.j, e2x = next.i - n.i, e2y = next.j - n.j;
        const double denominator = -static_cast<double>(area);
        const GridPlace low = {std::min({prev.i, n.i, next.i}), std::min({prev.j, n.j, next.j})};
        const GridPlace high = {std::max({prev.i, n.i, next.i}), std::max({prev.j, n.j, next.j})};
        return ring_.any_in_box(polygon, low, high, [&](int other) {
            if (other == link || other == node.prev || other == node.next) return false;
            const GridPlace w = ring_[other].at;
            const double dx = w.i - n.i, dy = w.j - n.j;
            const double s = (dx * e2y - e2x * dy) / denominator;
            const double t = (dy * e1x - dx * e1y) / denominator;
            return !(s < 0.0 || s > 1.0 || t < 0.0 || t > 1.0) && s + t < 1.0;
        });
    }

    bool allows_ear(RingLink &node) const {
        const GridPlace prev = ring_[node.prev].at, next = ring_[node.next].at;
        if (!node.ear.is_of(prev, next))
            node.ear = {{prev, next}, static_cast<unsigned char>(heights_.allows(prev, node.at, next))};
        return node.ear.found != 0;
    }

    // Cuts a triangle out of the first edge for which there is a place inside or on the boundary.
    Outcome bite(Polygon &polygon) {
        int a = polygon.head;
        for (int k = 0; k < polygon.nnode; ++k, a = ring_[a].next) {
            RingPool::Position position;
            GridPlace at;
            if (!find_place(polygon, a, at, position)) continue;
            return position.side == RingPool::Side::kInside ? bite_inside(polygon, a, at)
                                                            : bite_boundary(polygon, a, at, position.link);
        }
        return Outcome::kNone;
    }

    // How far in from the edge, in units of its length, places are tried: no further than to one that is as
    // the one before or at an end.
    static constexpr double kDepths[] = {2.0, 1.0, 0.5, 0.25, 0.125, 0.0};
    static constexpr int kMaxPlaces = 6;

    static int places_beside(GridPlace a, GridPlace b, GridPlace (&places)[kMaxPlaces]) {
        const double mx = (a.i + b.i) * 0.5, my = (a.j + b.j) * 0.5;
        const double di = b.i - a.i, dj = b.j - a.j;
        GridPlace previous = {-9999, -9999};
        int count = 0;
        for (const double depth : kDepths) {
            const GridPlace at = {static_cast<int>(mx - dj * depth), static_cast<int>(my + di * depth)};
            if (at == previous || at == a || at == b) break;
            previous = places[count++] = at;
        }
        return count;
    }

    // Which of the places have triangles with the edge that the heights allow, as bits.
    unsigned allowed_beside(RingLink &edge, GridPlace b, const GridPlace *places, int count) const {
        if (!edge.bites.is_of(edge.at, b)) {
            unsigned bits = 0;
            for (int k = 0; k < count; ++k) {
                if (heights_.is_inside(places[k]) && heights_.allows(edge.at, b, places[k])) bits |= 1u << k;
            }
            edge.bites = {{edge.at, b}, static_cast<unsigned char>(bits)};
        }
        return edge.bites.found;
    }

    bool find_place(const Polygon &polygon, int edge, GridPlace &at, RingPool::Position &position) const {
        const GridPlace a = ring_[edge].at, b = ring_[ring_[edge].next].at;
        if (ring_[edge].bites.is_of(a, b) && ring_[edge].bites.found == 0) return false;
        GridPlace places[kMaxPlaces];
        const int count = places_beside(a, b, places);
        unsigned allowed = allowed_beside(ring_[edge], b, places, count);
        for (int k = 0; allowed >> k != 0; ++k) {
            at = places[k];
            const bool is_allowed = allowed >> k & 1;
            // Without leave of the heights it still matters whether the place is on the edge.
            if (!heights_.is_inside(at) || (!is_allowed && doubled_area(a, at, b) != 0)) continue;
            position = ring_.locate(polygon, at);
            if (position.side == RingPool::Side::kOutside) continue;
            if (position.side == RingPool::Side::kBoundary && position.link == edge) return false;
            if (is_allowed && ring_.holds_segment(polygon, a, at) && ring_.holds_segment(polygon, b, at))
                return true;
        }
        return false;
    }

    Outcome bite_inside(Polygon &polygon, int a, GridPlace at) {
        const int b = ring_[a].next;
        const int node = new_node(at, EarState::kTry);
        if (node < 0 || !add_triangle(a, b, node)) return Outcome::kNoMemory;
        // A second triangle behind the node cuts the ring in two. Its sides are looked at once, as neighbours
        // share them; what most often fails goes first.
        int w = ring_[b].next;
        bool is_side_allowed = heights_.allows(ring_[w].at, at);
        for (int k = polygon.nnode - 3; k > 0; --k) {
            const int u = ring_[w].next;
            const GridPlace from = ring_[w].at, to = ring_[u].at;
            const bool was_allowed = std::exchange(is_side_allowed, heights_.allows(to, at));
            if (was_allowed && is_side_allowed && doubled_area(from, to, at) > 0 && allows(w, u, node) &&
                ring_.holds_segment(polygon, from, at) && ring_.holds_segment(polygon, to, at))
                return add_triangle(w, u, node) ? split(polygon, a, b, w, u, node) : Outcome::kNoMemory;
            w = u;
        }
        ring_.insert(polygon, node, a, b);
        ring_.clear_visited(polygon);
        ring_[a].state = ring_[b].state = EarState::kTry;
        ring_[node].state = EarState::kBlocked;
        return Outcome::kDone;
    }

    // The node goes between w and b, and its copy between a and u.
    Outcome split(Polygon &polygon, int a, int b, int w, int u, int node) {
        const int copy = copy_of(node);
        if (copy < 0) return Outcome::kNoMemory;
        ring_.join(w, node);
        polygon = ring_.close(b, node);
        ring_.join(a, copy);
        return stack_.push(ring_.close(u, copy)) ? Outcome::kDone : Outcome::kNoMemory;
    }
    int copy_of(int node) {
        const int copy = ring_.take(ring_[node].at, EarState::kTry);
        if (copy >= 0) ring_[copy].id = ring_[node].id;
        return copy;
    }

    // `from` starts the edge that the place is on.
    Outcome bite_boundary(Polygon &polygon, int a, GridPlace at, int from) {
        const int b = ring_[a].next;
        int node = ring_.find(polygon, at);
        if (node < 0) {
            node = new_node(at, EarState::kTry);
            if (node < 0) return Outcome::kNoMemory;
            const int to = ring_[from].next;
            ring_.insert(polygon, node, from, to);
            result_.interpolate(ring_[node], ring_[from], ring_[to]);
        }
        if (!add_triangle(a, b, node)) return Outcome::kNoMemory;
        const int copy = copy_of(node);
        if (copy < 0) return Outcome::kNoMemory;
        const int behind = ring_[node].next;
        polygon = ring_.close(b, node);
        ring_.join(a, copy);
        return stack_.push(ring_.close(behind, copy)) ? Outcome::kDone : Outcome::kNoMemory;
    }

    // Puts a node on the first edge that has a place for one.
    Outcome split_edge(Polygon &polygon) {
        int a = polygon.head;
        for (int k = 0; k < polygon.nnode; ++k, a = ring_[a].next) {
            GridPlace at;
            const int b = ring_[a].next;
            if (!find_place_on(polygon, ring_[a], ring_[b].at, at)) continue;
            const int node = new_node(at, EarState::kBlocked);
            if (node < 0) return Outcome::kNoMemory;
            ring_.insert(polygon, node, a, b);
            result_.interpolate(ring_[node], ring_[a], ring_[b]);
            ring_.clear_visited(polygon);
            return Outcome::kDone;
        }
        return Outcome::kNone;
    }

    // The first lattice point inside an edge that is no vertex yet, and to which the edge's lower end is
    // close.
    bool find_place_on(const Polygon &polygon, RingLink &edge, GridPlace b, GridPlace &at) const {
        const GridPlace a = edge.at;
        if (edge.splits.is_of(a, b)) return false;
        const int di = std::abs(b.i - a.i), dj = std::abs(b.j - a.j);
        if (di < 2 && dj < 2) return false;
        const bool by_rows = di < dj;
        const bool is_turned = by_rows ? b.j < a.j : b.i < a.i;
        const GridPlace low = is_turned ? b : a, high = is_turned ? a : b;
        const double slope =
            by_rows ? static_cast<double>(high.i - low.i) / dj : static_cast<double>(high.j - low.j) / di;
        double across = by_rows ? low.i : low.j;
        bool is_any_allowed = false;
        for (int k = 1; k < std::max(di, dj); ++k) {
            across += slope;
            if (across != static_cast<int>(across)) continue;
            const int whole = static_cast<int>(across);
            at = by_rows ? GridPlace{whole, low.j + k} : GridPlace{low.i + k, whole};
            if (!heights_.allows(at, low)) continue;
            if (ring_.find(polygon, at) < 0) return true;
            is_any_allowed = true;
        }
        if (!is_any_allowed) edge.splits = {{a, b}, 0};
        return false;
    }

    // Triangles without regard to the heights, in one walk around the ring.
    Outcome cut(Polygon &polygon) {
        int link = polygon.head;
        for (int k = polygon.nnode; k > 0 && polygon.nnode > 2; --k) {
            const int prev = ring_[link].prev, next = ring_[link].next;
            if (doubled_area(ring_[prev].at, ring_[link].at, ring_[next].at) < 0) {
                link = next;
                continue;
            }
            if (!add_triangle(prev, link, next)) return Outcome::kNoMemory;
            ring_.unlink(polygon, link);
            link = prev;
        }
        return Outcome::kNone;
    }

    int nx_, ny_;
    const HeightFeasibility &heights_;
    Result &result_;
    RingPool ring_;
    WorkingList<Polygon> stack_;
};

}  // namespace

int UTILoptimize_surface(const int *dims, int nspace, const float *points, int data_type, const void *data,
                         double tolerance, int *nnodes, float **coords, int *ntris, int **conn,
                         void **node_data) {
    *nnodes = *ntris = 0;
    *coords = nullptr;
    *conn = nullptr;
    *node_data = nullptr;
    if (dims[0] < 2 || dims[1] < 2 || data_type < 0 || data_type > kTypeCode<double>) return 0;
    HeightFeasibility heights(dims[0], dims[1], tolerance);
    Result result(dims, nspace, points, data_type, data);
    if (!heights.create(data_type, data) || !result.create()) return 0;
    if (!Simplifier(dims, heights, result).run()) return 0;
    result.hand_over(nnodes, coords, ntris, conn, node_data);
    return 1;
}
