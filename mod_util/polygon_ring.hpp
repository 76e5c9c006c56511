// Polygons in the index plane of a grid, as rings of links, and where points and segments are to them.
#ifndef ISOFIELD_MOD_UTIL_POLYGON_RING_HPP
#define ISOFIELD_MOD_UTIL_POLYGON_RING_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "height_feasibility.hpp"
#include "working_list.hpp"

namespace isofield::detail {

enum class EarState : unsigned char {
    kTry,
    kBlocked,  // reflex, with a node inside, or new: not tried until something near it changes
    kTooFar,   // free, but too far from the heights: tried again after any change
};

// A node of a polygon. Rings run counterclockwise.
struct RingLink {
    GridPlace at;
    int id;  // in the result
    int prev, next;
    EarState state;
    bool visited;  // since the last change
};

struct Polygon {
    int nnode = 0;
    int head = -1;
};

// All links of all polygons; those given back are taken again.
class RingPool {
  public:
    // -1 when there is no memory.
    int take(GridPlace at, EarState state) {
        int link = free_;
        if (link >= 0) {
            free_ = (*this)[link].next;
        } else {
            if (!links_.push(RingLink{})) return -1;
            link = static_cast<int>(links_.size()) - 1;
        }
        (*this)[link] = {at, -1, -1, -1, state, false};
        return link;
    }
    void give_back(int link) {
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
    }
    void insert(Polygon &polygon, int link, int a, int b) const {
        join(a, link);
        join(link, b);
        ++polygon.nnode;
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
    Polygon close(int first, int last) const {
        join(last, first);
        Polygon polygon{0, first};
        int link = first;
        do {
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
        for (int k = 0, link = polygon.head; k < polygon.nnode; ++k, link = (*this)[link].next) {
            if ((*this)[link].at == at) return link;
        }
        return -1;
    }

    enum class Side { kOutside, kInside, kBoundary };
    struct Position {
        Side side;
        int link;  // on the boundary: where the edge starts
    };
    Position locate(const Polygon &polygon, GridPlace point) const;
    bool holds_segment(const Polygon &polygon, GridPlace from, GridPlace to) const;

  private:
    WorkingList<RingLink> links_;
    int free_ = -1;
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
