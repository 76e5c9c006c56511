// Polygons in the index plane of a grid, as rings of links, and where points and segments are to them.
#ifndef ISOFIELD_MOD_UTIL_POLYGON_RING_HPP
#define ISOFIELD_MOD_UTIL_POLYGON_RING_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "height_feasibility.hpp"
#include "working_list.hpp"

namespace isofield::detail {

enum class EarState : unsigned char {
    kTry,
    kBlocked,  // reflex, with a node inside, or new: not tried until something near it changes
    kTooFar,   // free, but too far from the heights: tried again after any change
};

// What the heights say of an ear or an edge, kept as long as its ends stay. They alone do not decide: where
// the polygon runs does too.
struct HeightMemo {
    static constexpr unsigned char kUnknown = 0xff;

    GridPlace ends[2];
    unsigned char found = kUnknown;

    bool is_of(GridPlace a, GridPlace b) const { return found != kUnknown && ends[0] == a && ends[1] == b; }
};

// A node of a polygon. Rings run counterclockwise.
struct RingLink {
    GridPlace at;
    int id;  // in the result
    int prev, next;
    int polygon;        // the number of its own
    int next_at_place;  // of the links at one place, or -1
    EarState state;
    bool visited;  // since the last change
    // Of the ear at this node; of the triangles and of the nodes that the edge to the next one may get.
    HeightMemo ear, bites, splits;
};

struct Polygon {
    int nnode = 0;
    int head = -1;
    int number = 0;
};

// All links of all polygons, in rings and by their places; those given back are taken again.
class RingPool {
  public:
    // For a grid of nx x ny places. False when there is no memory.
    bool create(int nx, int ny) {
        const std::size_t nplaces = static_cast<std::size_t>(nx) * static_cast<std::size_t>(ny);
        nx_ = nx;
        first_at_ = allocate_working<int>(nplaces);
        if (first_at_) std::fill_n(first_at_.get(), nplaces, -1);
        return first_at_ != nullptr;
    }

    // -1 when there is no memory.
    int take(GridPlace at, EarState state) {
        int link = free_;
        if (link >= 0) {
            free_ = (*this)[link].next;
        } else {
            if (!links_.push(RingLink{})) return -1;
            link = static_cast<int>(links_.size()) - 1;
        }
        int &first = first_at(at);
        (*this)[link] = {at, -1, -1, -1, -1, first, state, false, {}, {}, {}};
        first = link;
        return link;
    }
    void give_back(int link) {
        int *at_place = &first_at((*this)[link].at);
        while (*at_place != link) at_place = &(*this)[*at_place].next_at_place;
        *at_place = (*this)[link].next_at_place;
        (*this)[link].next = free_;
        free_ = link;
    }
    void give_back_all(const Polygon &polygon) {
        for (int k = 0, link = polygon.head; k < polygon.nnode; ++k) {
            const int next = (*this)[link].next;
            give_back(link);
            link = next;
        }
    }

    RingLink &operator[](int link) const { return links_[static_cast<std::size_t>(link)]; }

    void join(int a, int b) const {
        (*this)[a].next = b;
        (*this)[b].prev = a;
    }
    // Behind the head, to be the new head.
    void append(Polygon &polygon, int link) const {
        if (polygon.nnode++ == 0) {
            join(link, link);
        } else {
            join(link, (*this)[polygon.head].next);
            join(polygon.head, link);
        }
        polygon.head = link;
        (*this)[link].polygon = polygon.number;
    }
    void insert(Polygon &polygon, int link, int a, int b) const {
        join(a, link);
        join(link, b);
        ++polygon.nnode;
        (*this)[link].polygon = polygon.number;
    }
    void unlink(Polygon &polygon, int link) {
        const RingLink &gone = (*this)[link];
        join(gone.prev, gone.next);
        if (polygon.head == link) polygon.head = gone.next;
        --polygon.nnode;
        give_back(link);
    }
    void clear_visited(const Polygon &polygon) const {
        for (int k = 0, link = polygon.head; k < polygon.nnode; ++k, link = (*this)[link].next)
            (*this)[link].visited = false;
    }
    // Closes a part of a ring, `first` to `last`, to a polygon with nothing tried yet.
    Polygon close(int first, int last) {
        join(last, first);
        Polygon polygon{0, first, ++npolygons_};
        int link = first;
        do {
            (*this)[link].polygon = polygon.number;
            (*this)[link].state = EarState::kTry;
            (*this)[link].visited = false;
            ++polygon.nnode;
            link = (*this)[link].next;
        } while (link != first);
        return polygon;
    }

    // All nodes at one place, or hardly any.
    bool is_point(const Polygon &polygon) const {
        if (polygon.nnode < 2) return true;
        const GridPlace first = (*this)[polygon.head].at;
        for (int k = 1, link = (*this)[polygon.head].next; k < polygon.nnode;
             ++k, link = (*this)[link].next) {
            if (!((*this)[link].at == first)) return false;
        }
        return true;
    }
    // The first node at a place, from the head on, or -1.
    int find(const Polygon &polygon, GridPlace at) const {
        int found = -1;
        for (int link = first_at(at); link >= 0; link = (*this)[link].next_at_place) {
            if ((*this)[link].polygon != polygon.number) continue;
            if (found >= 0) return find_in_ring(polygon, at);
            found = link;
        }
        return found;
    }

    // Whether f(link) holds for a node of the ring within the box, or for any node where that is less work.
    template <class Test>
    bool any_in_box(const Polygon &polygon, GridPlace low, GridPlace high, Test &&f) const {
        const std::int64_t places = (std::int64_t{high.i} - low.i + 1) * (std::int64_t{high.j} - low.j + 1);
        if (places >= polygon.nnode) {
            for (int k = 0, link = polygon.head; k < polygon.nnode; ++k, link = (*this)[link].next) {
                if (f(link)) return true;
            }
            return false;
        }
        for (int j = low.j; j <= high.j; ++j) {
            for (int i = low.i; i <= high.i; ++i) {
                for (int link = first_at({i, j}); link >= 0; link = (*this)[link].next_at_place) {
                    if ((*this)[link].polygon == polygon.number && f(link)) return true;
                }
            }
        }
        return false;
    }

    enum class Side { kOutside, kInside, kBoundary };
    struct Position {
        Side side;
        int link;  // on the boundary: where the edge starts
    };
    Position locate(const Polygon &polygon, GridPlace point) const;
    bool holds_segment(const Polygon &polygon, GridPlace from, GridPlace to) const;

  private:
    int &first_at(GridPlace at) const { return first_at_[static_cast<std::ptrdiff_t>(nx_) * at.j + at.i]; }
    int find_in_ring(const Polygon &polygon, GridPlace at) const {
        for (int k = 0, link = polygon.head; k < polygon.nnode; ++k, link = (*this)[link].next) {
            if ((*this)[link].at == at) return link;
        }
        return -1;
    }

    int nx_ = 0;
    Working<int> first_at_;  // per place the first of its links, or -1
    WorkingList<RingLink> links_;
    int free_ = -1;
    int npolygons_ = 0;
};

// Twice the area of a triangle: positive when counterclockwise.
inline std::int64_t doubled_area(GridPlace a, GridPlace b, GridPlace c) {
    return std::int64_t{c.i - b.i} * (a.j - b.j) - std::int64_t{c.j - b.j} * (a.i - b.i);
}

// By crossings to the left, to the right, below and above, of which all four have to be odd inside.
inline RingPool::Position RingPool::locate(const Polygon &polygon, GridPlace point) const {
    const auto [i, j] = point;
    unsigned left = 0, right = 0, below = 0, above = 0;
    for (int k = 0, link = polygon.head; k < polygon.nnode; ++k, link = (*this)[link].next) {
        const GridPlace a = (*this)[link].at, b = (*this)[(*this)[link].next].at;
        const auto [low_i, high_i] = std::minmax(a.i, b.i);
        const auto [low_j, high_j] = std::minmax(a.j, b.j);
        const bool in_rows = low_j <= j && j < high_j, in_columns = low_i <= i && i < high_i;
        if (low_j == high_j && j == low_j && low_i <= i && i <= high_i) return {Side::kBoundary, link};
        if (low_i == high_i && i == low_i && low_j <= j && j <= high_j) return {Side::kBoundary, link};
        if (!in_rows && !in_columns) continue;
        const std::int64_t area = doubled_area(a, point, b);
        if (area == 0) return {Side::kBoundary, link};
        // The point is to the left of an upward edge when the turn a, point, b is clockwise.
        const bool is_left = (area < 0) == (a.j < b.j), is_above = (area < 0) == (a.i < b.i);
        if (in_rows) ++(is_left ? right : left);
        if (in_columns) ++(is_above ? below : above);
    }
    const bool is_inside = left & right & below & above & 1u;
    return {is_inside ? Side::kInside : Side::kOutside, -1};
}

// False when the segment is an edge of the ring or meets one; edges that end where it starts do not count.
inline bool RingPool::holds_segment(const Polygon &polygon, GridPlace from, GridPlace to) const {
    const auto [low_i, high_i] = std::minmax(from.i, to.i);
    const auto [low_j, high_j] = std::minmax(from.j, to.j);
    const double dx = to.i - from.i, dy = to.j - from.j;
    for (int k = 0, link = polygon.head; k < polygon.nnode; ++k, link = (*this)[link].next) {
        const GridPlace a = (*this)[link].at, b = (*this)[(*this)[link].next].at;
        if (std::max(a.i, b.i) < low_i || std::min(a.i, b.i) > high_i || std::max(a.j, b.j) < low_j ||
            std::min(a.j, b.j) > high_j)
            continue;
        if ((a == from && b == to) || (a == to && b == from)) return false;
        if (a == from || b == from) continue;
        const double ex = b.i - a.i, ey = b.j - a.j;
        if ((dx == 0.0 && ex == 0.0) || (dy == 0.0 && ey == 0.0)) continue;
        const double t = ((from.i - a.i) * ey - (from.j - a.j) * ex) / (dy * ex - dx * ey);
        if (!(t >= 0.0 && t < 1.0)) continue;
        const double s = ex != 0.0 ? (from.i + t * dx - a.i) / ex : (from.j + t * dy - a.j) / ey;
        if (s >= 0.0 && s <= 1.0) return false;
    }
    return true;
}

}  // namespace isofield::detail
#endif
