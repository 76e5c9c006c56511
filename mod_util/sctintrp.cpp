// Scattered data brought to a regular grid by inverse distance weighting: each point gives its value to a box
// of nodes around it.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "lanes.hpp"
#include "output_array.hpp"
#include "progress.hpp"
#include "types.hpp"

namespace {

using namespace isofield::detail;

constexpr double kTiny = 1e-37;  // the smallest extent of an axis; what is closer in square is a hit
constexpr int kPollPeriod = 128;
constexpr const char *kModule = "UTILscat_interp";

// ---- The grid

struct Interval {
    int lo, hi;  // both are in it
};

struct Axis {
    int count = 1;
    int reach = 1;  // nodes to either side of a point
    float min = 0, extent = 0, spacing = 0;

    Axis() = default;
    Axis(int nodes, int radius, float lower, float upper)
        : count(nodes), reach(radius), min(lower), extent(upper - lower) {
        if (count != 1 && !flat()) spacing = extent / static_cast<float>(count - 1);
    }

    bool flat() const { return !(static_cast<double>(extent) > kTiny); }
    float place(int node) const { return min + static_cast<float>(node) * spacing; }

    // The nodes that a point reaches.
    Interval around(float at) const {
        if (flat()) return inside(0, 0);
        const std::int64_t node = node_below(at);
        return inside(node - reach, node + reach);
    }

    // The same on a line, where the node is brought inside first, and one node fewer is reached above it.
    Interval along(float at) const {
        if (flat()) return inside(0, 0);
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

// Axes beyond the grid's own have one node, at 0.
struct Grid {
    Axis x, y, z;

    std::size_t nnodes() const {
        std::size_t nodes = 1;
        for (const Axis *axis : {&x, &y, &z}) nodes *= static_cast<std::size_t>(std::max(axis->count, 0));
        return nodes;
    }
    std::size_t node(int i, int j, int k) const {
        const auto row =
            static_cast<std::size_t>(y.count) * static_cast<std::size_t>(k) + static_cast<std::size_t>(j);
        return row * static_cast<std::size_t>(x.count) + static_cast<std::size_t>(i);
    }
};

struct Box {
    Interval x, y, z;
};

// ---- Weights

constexpr int kChunk = 64;  // nodes of a row that are worked on at a time
constexpr int kLanes = 4;

// Squares of the distance of the nodes of a row to a point, or weights of them. Those beyond the row's end, up
// to full lanes, are not used.
using Chunk = float[kChunk];

float weight(float d2, int power) {
    if (power == 2) return 1.0f / d2;  // as 1 / d2 in double, narrowed: the double has digits to spare
    return static_cast<float>(1.0 / std::pow(std::sqrt(static_cast<double>(d2)), static_cast<double>(power)));
}

// The greatest square of a distance that is no hit is not below this.
float hit_limit(int power) {
    return static_cast<float>(power >= 3 ? std::pow(kTiny, 2.0 / power) : kTiny);
}

// ---- The nodes

// What a node has so far: a sum of weights, which is 0 until a point reaches it and kLocked once a point has
// hit it; and values, weighted unless the node is locked, which are not set while the weight is 0.
constexpr float kLocked = -1.0f;
// The greatest float below 1e37: a node with more weight takes no more.
constexpr float kFull = static_cast<float>(1e37);
static_assert(static_cast<double>(kFull) < 1e37);

struct Nodes {
    int veclen;
    float *weights;  // with room for full lanes behind the last node
    float *values;

    bool takes(std::size_t node) const { return weights[node] >= 0.0f && weights[node] <= kFull; }

    template <class T>
    void lock(std::size_t node, const T *value) const {
        float *const to = values + node * static_cast<std::size_t>(veclen);
        for (int c = 0; c < veclen; ++c) to[c] = static_cast<float>(value[c]);
        weights[node] = kLocked;
    }

    template <class T>
    void add(std::size_t node, float weight, const T *value) const {
        float *const to = values + node * static_cast<std::size_t>(veclen);
        if (weights[node] == 0.0f) std::fill_n(to, veclen, 0.0f);
        weights[node] += weight;
        for (int c = 0; c < veclen; ++c) to[c] += weight * static_cast<float>(value[c]);
    }

    // The same for a row of scalars.
    void add_row(std::size_t first, int n, const Chunk &weight, float value) const {
        using Words = int __attribute__((vector_size(16)));
        for (int i = 0; i < n; i += kLanes) {
            float *const at = weights + first + i, *const to = values + first + i;
            const Lanes w = load_lanes(at), v = load_lanes(to), g = load_lanes(weight + i);
            const Words lane = Words{0, 1, 2, 3} + i;
            const auto taking = (w >= 0.0f) & (w <= kFull) & (lane < n);
            const Lanes start = w == 0.0f ? splat(0) : v;
            store_lanes(taking ? w + g : w, at);
            store_lanes(taking ? start + g * value : v, to);
        }
    }
};

// ---- Points

template <class T>
class Scatterer {
  public:
    Scatterer(const Grid &grid, int power, const Nodes &nodes)
        : grid_(grid), power_(power), hit_limit_(hit_limit(power)), nodes_(nodes) {}

    // Gives the value of a point to the nodes of its box.
    void give(const float (&at)[3], const Box &box, const T *value) const {
        for (int i = box.x.lo; i <= box.x.hi; i += kChunk) {
            const int n = std::min(box.x.hi - i + 1, kChunk);
            Chunk dx2;
            const bool near = squares(at[0], i, n, dx2);
            for (int k = box.z.lo; k <= box.z.hi; ++k) {
                const float dz2 = square(at[2] - grid_.z.place(k));
                for (int j = box.y.lo; j <= box.y.hi; ++j) {
                    const float dy2 = square(at[1] - grid_.y.place(j));
                    Chunk d2;
                    for (int l = 0; l < n; ++l) d2[l] = dx2[l] + dy2 + dz2;
                    const bool hits = near && dy2 < hit_limit_ && dz2 < hit_limit_;
                    if (hits) {
                        give_row<true>(grid_.node(i, j, k), n, d2, value);
                    } else {
                        give_row<false>(grid_.node(i, j, k), n, d2, value);
                    }
                }
            }
        }
    }

  private:
    static float square(float a) { return a * a; }

    // Returns whether one of them is that of a hit, along x.
    bool squares(float x, int first, int n, Chunk &out) const {
        bool near = false;
        for (int l = 0; l < n; ++l) {
            out[l] = square(x - grid_.x.place(first + l));
            near |= out[l] < hit_limit_;
        }
        return near;
    }

    template <bool kHits>
    void give_row(std::size_t first, int n, const Chunk &d2, const T *value) const {
        if (!kHits && nodes_.veclen == 1 && power_ == 2) {
            Chunk weights;
            for (int l = 0; l < n; ++l) weights[l] = 1.0f / d2[l];
            nodes_.add_row(first, n, weights, static_cast<float>(*value));
            return;
        }
        for (int l = 0; l < n; ++l) {
            const std::size_t node = first + static_cast<std::size_t>(l);
            if (!nodes_.takes(node)) continue;
            if (kHits && d2[l] < hit_limit_) {
                nodes_.lock(node, value);
            } else {
                nodes_.add(node, weight(d2[l], power_), value);
            }
        }
    }

    const Grid &grid_;
    const int power_;
    const float hit_limit_;
    const Nodes &nodes_;
};

// The call's points; those that are null, or are nowhere, give nothing.
template <class T>
struct Points {
    int count, nspace;
    const float *coords;
    int veclen;
    const T *data;
    bool has_null;
    T null_value;

    const T *value(int i) const { return data + static_cast<std::ptrdiff_t>(i) * veclen; }

    // Coordinates beyond ndim are 0.
    bool position(int i, int ndim, float (&at)[3]) const {
        if (has_null && *value(i) == null_value) return false;
        const float *const from = coords + static_cast<std::ptrdiff_t>(i) * nspace;
        bool somewhere = true;
        for (int d = 0; d < 3; ++d) {
            at[d] = d < ndim ? from[d] : 0.0f;
            somewhere &= at[d] == at[d];
        }
        return somewhere;
    }
};

template <class T>
void scatter_on_line(const Points<T> &points, const Grid &grid, const Scatterer<T> &scatterer) {
    for (int i = 0; i < points.count; ++i) {
        float at[3];
        if (!points.position(i, 1, at)) continue;
        scatterer.give(at, {grid.x.along(at[0]), grid.y.around(at[1]), grid.z.around(at[2])},
                       points.value(i));
    }
}

// False when interrupted.
template <class T>
bool scatter(const Points<T> &points, int ndim, const Grid &grid, const Scatterer<T> &scatterer) {
    const StatusRange range(0, 100);
    Poll poll(points.count, kPollPeriod);
    for (int i = 0; i < points.count; ++i) {
        if (poll.stop(i)) return false;
        float at[3];
        if (!points.position(i, ndim, at)) continue;
        scatterer.give(at, {grid.x.around(at[0]), grid.y.around(at[1]), grid.z.around(at[2])},
                       points.value(i));
    }
    poll_status(100);
    return true;
}

// Writes the nodes' values. Returns whether a node has none.
template <class T>
bool finish(const Nodes &nodes, std::size_t count, T null_value, T *out) {
    const auto veclen = static_cast<std::size_t>(nodes.veclen);
    bool any_empty = false;
    for (std::size_t node = 0; node < count; ++node, out += veclen) {
        const float weight = nodes.weights[node];
        const float *const value = nodes.values + node * veclen;
        if (weight > 0.0f) {
            for (std::size_t c = 0; c < veclen; ++c) out[c] = truncated<T>(value[c] / weight);
        } else if (weight < 0.0f) {
            for (std::size_t c = 0; c < veclen; ++c) out[c] = truncated<T>(value[c]);
        } else {
            std::fill_n(out, veclen, null_value);
            any_empty = true;
        }
    }
    return any_empty;
}

struct GridArguments {
    const float *min, *max;
    int ndim;
    const int *dims;
    int *radius;

    // For up to three dimensions.
    Grid grid() const {
        Grid grid;
        Axis *const axes[3] = {&grid.x, &grid.y, &grid.z};
        for (int d = 0; d < std::min(ndim, 3); ++d) *axes[d] = Axis(dims[d], radius[d], min[d], max[d]);
        return grid;
    }

    std::size_t nnodes() const {
        std::size_t nodes = 1;
        for (int d = 0; d < ndim; ++d) nodes *= static_cast<std::size_t>(std::max(dims[d], 0));
        return nodes;
    }
};

template <class T>
int interpolate(const Points<T> &points, const GridArguments &arguments, int power, int *null_flag, T *out) {
    const std::size_t nnodes = arguments.nnodes();
    const auto veclen = static_cast<std::size_t>(std::max(points.veclen, 0));
    const Working<float> weights = allocate_cleared<float>(nnodes + kLanes);
    const Working<float> values = allocate_working<float>(nnodes * veclen + kLanes);
    if (!weights || !values) {
        ERRerror(kModule, 1, 2, "cannot allocate arrays");
        return 0;
    }
    for (int d = 0; d < arguments.ndim; ++d)
        if (arguments.radius[d] == 0) arguments.radius[d] = 1;
    if (arguments.ndim < 1 || arguments.ndim > 3) {
        ERRerror(kModule, 1, 2, "illegal ndim");
        return 0;
    }

    const Grid grid = arguments.grid();
    const Nodes nodes{static_cast<int>(veclen), weights.get(), values.get()};
    const Scatterer<T> scatterer(grid, power, nodes);
    if (arguments.ndim == 1) {
        scatter_on_line(points, grid, scatterer);
    } else if (!scatter(points, arguments.ndim, grid, scatterer)) {
        return 0;
    }
    const bool any_empty = finish(nodes, nnodes, points.null_value, out);
    if (*null_flag == 0) *null_flag = any_empty;
    return 1;
}

}  // namespace

ISOFIELD_STAMP(UTILscat_data_interp2, interpolate,
               (int npoints, int nspace, const float *coords, int veclen, const T *data, const float *min,
                const float *max, int ndim, const int *dims, int *radius, int power, int *null_flag,
                V null_value, T *out),
               ({npoints, nspace, coords, veclen, data, *null_flag != 0, static_cast<T>(null_value)},
                {min, max, ndim, dims, radius}, power, null_flag, out))

int UTILscat_data_interp2(int npoints, int nspace, const float *coords, int data_type, int veclen,
                          const void *data, const float *min, const float *max, int ndim, const int *dims,
                          int *radius, int power, int *null_flag, const void *null_value, void *out) {
    return visit_or_report(data_type, kModule, [&]<class T>(ElementTag<T>) {
        return interpolate<T>({npoints, nspace, coords, veclen, static_cast<const T *>(data), *null_flag != 0,
                               *static_cast<const T *>(null_value)},
                              {min, max, ndim, dims, radius}, power, null_flag, static_cast<T *>(out));
    });
}
