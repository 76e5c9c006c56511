// The regular grid that scattered data are brought to: which nodes a point reaches, and tiles of nodes.
#ifndef ISOFIELD_MOD_UTIL_SCATTER_GRID_HPP
#define ISOFIELD_MOD_UTIL_SCATTER_GRID_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "working_array.hpp"

namespace isofield::detail {

// The smallest extent of an axis; what is closer to a node in square is a hit.
constexpr double kScatterTiny = 1e-37;

struct Interval {
    int lo, hi;  // both are in it

    bool empty() const { return lo > hi; }
    Interval common(const Interval &other) const { return {std::max(lo, other.lo), std::min(hi, other.hi)}; }
};

struct ScatterAxis {
    int count = 1;
    int reach = 1;  // nodes to either side of a point
    float min = 0, extent = 0, spacing = 0;
    bool flat = true;  // all nodes are at `min`

    ScatterAxis() = default;
    ScatterAxis(int nodes, int radius, float lower, float upper)
        : count(nodes), reach(radius), min(lower), extent(upper - lower) {
        flat = count == 1 || !(static_cast<double>(extent) > kScatterTiny);
        if (!flat) spacing = extent / static_cast<float>(count - 1);
    }

    float place(int node) const { return min + static_cast<float>(node) * spacing; }

    // The nodes that a point reaches.
    Interval around(float at) const {
        if (flat) return inside(0, 0);
        const std::int64_t node = node_below(at);
        return inside(node - reach, node + reach);
    }

    // The same on a line, where the node is brought inside first, and one node fewer is reached above it.
    Interval along(float at) const {
        if (flat) return inside(0, 0);
        const std::int64_t node =
            std::min<std::int64_t>(std::max<std::int64_t>(node_below(at), 0), count - 1);
        return inside(node - reach, node + reach - 1);
    }

  private:
    // Truncated towards 0; far places are held to what an int counts.
    std::int64_t node_below(float at) const {
        constexpr float kFar = 2147483520.0f;
        const float node = static_cast<float>(count - 1) * ((at - min) / extent);
        return static_cast<std::int64_t>(node > -kFar ? std::min(node, kFar) : -kFar);
    }

    Interval inside(std::int64_t lo, std::int64_t hi) const {
        return {static_cast<int>(std::max<std::int64_t>(lo, 0)),
                static_cast<int>(std::min<std::int64_t>(hi, count - 1))};
    }
};

// Nodes of a grid.
struct NodeBox {
    Interval x, y, z;

    bool empty() const { return x.empty() || y.empty() || z.empty(); }
    NodeBox common(const NodeBox &other) const {
        return {x.common(other.x), y.common(other.y), z.common(other.z)};
    }
};

// Axes beyond the grid's own have one node, at 0.
struct ScatterGrid {
    ScatterAxis x, y, z;

    std::size_t node(int i, int j, int k) const {
        const auto row =
            static_cast<std::size_t>(y.count) * static_cast<std::size_t>(k) + static_cast<std::size_t>(j);
        return row * static_cast<std::size_t>(x.count) + static_cast<std::size_t>(i);
    }

    NodeBox around(const float *at) const { return {x.around(at[0]), y.around(at[1]), z.around(at[2])}; }
    NodeBox along(const float *at) const { return {x.along(at[0]), y.around(at[1]), z.around(at[2])}; }
};

// A grid in tiles, whose nodes stay in the cache while the points that reach them are worked on.
class ScatterTiles {
  public:
    explicit ScatterTiles(const ScatterGrid &grid)
        : x_(grid.z.count > 1 ? 5 : 8, grid.x.count),
          y_(grid.z.count > 1 ? 5 : 7, grid.y.count),
          z_(5, grid.z.count) {}

    std::size_t count() const { return x_.count * y_.count * z_.count; }

    NodeBox tile(std::size_t number) const {
        return {x_.nodes(number % x_.count), y_.nodes(number / x_.count % y_.count),
                z_.nodes(number / x_.count / y_.count)};
    }

    // The numbers of the tiles that a box touches.
    template <class Visitor>
    void visit(const NodeBox &box, Visitor visitor) const {
        if (box.empty()) return;
        const std::size_t first = x_.tile_of(box.x.lo), last = x_.tile_of(box.x.hi);
        for (std::size_t k = z_.tile_of(box.z.lo); k <= z_.tile_of(box.z.hi); ++k) {
            for (std::size_t j = y_.tile_of(box.y.lo); j <= y_.tile_of(box.y.hi); ++j) {
                const std::size_t row = (k * y_.count + j) * x_.count;
                for (std::size_t i = first; i <= last; ++i) visitor(row + i);
            }
        }
    }

  private:
    struct Axis {
        int shift;          // a tile has 2^shift nodes
        std::size_t count;  // tiles

        Axis(int bits, int nodes)
            : shift(bits), count(nodes > 0 ? (static_cast<std::size_t>(nodes - 1) >> bits) + 1 : 0) {}
        std::size_t tile_of(int node) const { return static_cast<std::size_t>(node >> shift); }
        Interval nodes(std::size_t tile) const {
            const int first = static_cast<int>(tile << shift);
            return {first, first + ((1 << shift) - 1)};
        }
    };

    Axis x_, y_, z_;
};

// The points that reach each tile, in their own order.
class TileLists {
  public:
    // box_of(i): the nodes that point i reaches. False when there is no memory, or where boxes touch so many
    // tiles that the lists would be long.
    template <class BoxOf>
    bool build(const ScatterTiles &tiles, int npoints, BoxOf box_of) {
        constexpr std::size_t kMostTiles = 8;  // a point, on average
        first_ = allocate_cleared<std::size_t>(tiles.count() + 1);
        if (!first_) return false;
        for (int i = 0; i < npoints; ++i)
            tiles.visit(box_of(i), [&](std::size_t tile) { ++first_[tile + 1]; });
        for (std::size_t tile = 0; tile < tiles.count(); ++tile) first_[tile + 1] += first_[tile];
        size_ = first_[tiles.count()];
        if (size_ > kMostTiles * static_cast<std::size_t>(npoints)) return false;
        points_ = allocate_working<int>(size_);
        if (!points_) return false;
        // Each start moves to its end, which is the next one's start.
        for (int i = 0; i < npoints; ++i)
            tiles.visit(box_of(i), [&](std::size_t tile) { points_[first_[tile]++] = i; });
        return true;
    }

    std::size_t size() const { return size_; }
    const int *begin(std::size_t tile) const { return points_.get() + (tile > 0 ? first_[tile - 1] : 0); }
    const int *end(std::size_t tile) const { return points_.get() + first_[tile]; }

  private:
    Working<std::size_t> first_;
    Working<int> points_;
    std::size_t size_ = 0;
};

}  // namespace isofield::detail
#endif
