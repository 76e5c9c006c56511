// Scattered data brought to a regular grid by inverse distance weighting: each point gives its value to a box
// of nodes around it.
#include <algorithm>
#include <cmath>
#include <cstddef>

#include "progress.hpp"
#include "reports.hpp"
#include "scatter_grid.hpp"
#include "scatter_nodes.hpp"
#include "types.hpp"

namespace {

using namespace isofield::detail;

constexpr int kPollPeriod = 128;
constexpr const char *kModule = "UTILscat_interp";

// The call's points.
template <class T>
struct Points {
    int count, nspace;
    const float *coords;
    int veclen;
    const T *data;
    bool has_null;
    T null_value;

    const T *value(int i) const { return data + static_cast<std::ptrdiff_t>(i) * veclen; }

    void prefetch(int i) const {
        __builtin_prefetch(coords + static_cast<std::ptrdiff_t>(i) * nspace);
        __builtin_prefetch(value(i));
    }

    // Coordinates beyond ndim are 0. False for a point that is null or nowhere, and gives nothing.
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
class Scatterer {
  public:
    Scatterer(const Points<T> &points, int ndim, const ScatterGrid &grid, int power, ScatterNodes &nodes)
        : points_(points),
          ndim_(ndim),
          grid_(grid),
          power_(power),
          hit_limit_(static_cast<float>(power >= 3 ? std::pow(kScatterTiny, 2.0 / power) : kScatterTiny)),
          nodes_(nodes) {}

    void scatter_on_line() {
        for (int i = 0; i < points_.count; ++i) {
            float at[3] = {};
            if (points_.position(i, ndim_, at)) give(at, grid_.along(at), points_.value(i));
        }
    }

    // False when interrupted.
    bool scatter() {
        const StatusRange range(0, 100);
        constexpr std::size_t kCached = 1 << 20;  // bytes
        const std::size_t nnodes = grid_.node(0, 0, grid_.z.count);
        const ScatterTiles tiles(grid_);
        TileLists lists;
        const bool tiled = nnodes * (1 + nodes_.veclen()) * sizeof(float) > kCached &&
                           lists.build(tiles, points_.count, [this](int i) { return box_of(i); });
        if (!(tiled ? scatter_by_tiles(tiles, lists) : scatter_in_order())) return false;
        poll_status(100);
        return true;
    }

  private:
    // Nodes of planes, alike in all of them.
    struct Columns {
        int nx, ny;
        ScatterRow dx2, dy2;
        bool near;  // along x some of them may be hit
    };

    static float square(float a) { return a * a; }

    bool scatter_in_order() {
        Poll poll(points_.count, kPollPeriod);
        for (int i = 0; i < points_.count; ++i) {
            if (poll.stop(i)) return false;
            float at[3] = {};
            if (points_.position(i, ndim_, at)) give(at, grid_.around(at), points_.value(i));
        }
        return true;
    }

    // Polls as the loop in order does, as far as the work has come. A node gets its points in their order.
    bool scatter_by_tiles(const ScatterTiles &tiles, const TileLists &lists) {
        constexpr std::ptrdiff_t kAhead = 8;  // points asked for before they are needed
        Poll poll(points_.count, kPollPeriod);
        int polled = 0;
        const auto stop_before = [&](int point) {
            while (polled < point)
                if (poll.stop(polled++)) return true;
            return false;
        };
        const double share =
            static_cast<double>(points_.count) / static_cast<double>(std::max<std::size_t>(lists.size(), 1));
        std::size_t done = 0;
        for (std::size_t tile = 0; tile < tiles.count(); ++tile) {
            const NodeBox nodes = tiles.tile(tile);
            for (const int *i = lists.begin(tile); i != lists.end(tile); ++i, ++done) {
                points_.prefetch(i[std::min<std::ptrdiff_t>(kAhead, lists.end(tile) - 1 - i)]);
                if (stop_before(static_cast<int>(static_cast<double>(done) * share))) return false;
                float at[3] = {};
                points_.position(*i, ndim_, at);
                give(at, grid_.around(at).common(nodes), points_.value(*i));
            }
        }
        return !stop_before(points_.count);
    }

    NodeBox box_of(int i) const {
        float at[3] = {};
        return points_.position(i, ndim_, at) ? grid_.around(at) : NodeBox{{0, -1}, {0, -1}, {0, -1}};
    }

    // Gives the value of a point to nodes around it.
    void give(const float (&at)[3], const NodeBox &box, const T *value) {
        for (int i = box.x.lo; i <= box.x.hi; i += kScatterChunk) {
            for (int j = box.y.lo; j <= box.y.hi; j += kScatterChunk) {
                Columns columns;
                columns.nx = std::min(box.x.hi - i + 1, kScatterChunk);
                columns.ny = std::min(box.y.hi - j + 1, kScatterChunk);
                columns.near = square_distances(grid_.x, at[0], i, columns.nx, hit_limit_, columns.dx2);
                square_distances(grid_.y, at[1], j, columns.ny, hit_limit_, columns.dy2);
                for (int k = box.z.lo; k <= box.z.hi; ++k)
                    give_plane(columns, square(at[2] - grid_.z.place(k)), grid_.node(i, j, k), value);
            }
        }
    }

    void give_plane(const Columns &columns, float dz2, std::size_t first, const T *value) {
        const auto stride = static_cast<std::size_t>(grid_.x.count);
        const bool near = columns.near && dz2 < hit_limit_, scalar = nodes_.veclen() == 1;
        if (scalar && power_ == 2 && !near) {
            nodes_.add_rows({first, columns.nx, stride, columns.ny}, columns.dx2, columns.dy2, dz2,
                            static_cast<float>(*value));
            return;
        }
        for (int j = 0; j < columns.ny; ++j, first += stride) {
            const float dy2 = columns.dy2[j];
            ScatterRow weights;
            row_weights(columns.dx2, dy2, dz2, columns.nx, power_, weights);
            if (scalar && !(near && dy2 < hit_limit_)) {
                nodes_.add_row(first, columns.nx, weights, static_cast<float>(*value));
            } else {
                give_row(columns.dx2, dy2, dz2, columns.nx, weights, first, value);
            }
        }
    }

    // Node by node; some may be hit.
    void give_row(const ScatterRow &dx2, float dy2, float dz2, int n, const ScatterRow &weights,
                  std::size_t node, const T *value) {
        for (int i = 0; i < n; ++i, ++node) {
            if (!nodes_.takes(node)) continue;
            if (dx2[i] + dy2 + dz2 < hit_limit_) {
                nodes_.lock(node, value);
            } else {
                nodes_.add(node, weights[i], value);
            }
        }
    }

    const Points<T> &points_;
    const int ndim_;
    const ScatterGrid &grid_;
    const int power_;
    const float hit_limit_;
    ScatterNodes &nodes_;
};

bool is_empty(float weight) {
    return !((weight > 0.0f) | (weight < 0.0f));
}

float divisor(float weight) {
    return weight > 0.0f ? weight : 1.0f;
}

// Writes the nodes' values, the null value where there is none.
template <class T>
void write_scalars(const float *weights, const float *values, std::size_t count, T null_value, T *out) {
    // Some at a time and in steps without branches: whether a node has a value follows no pattern. What comes
    // of values that are not set is not taken.
    constexpr std::size_t kBlock = 256;
    float means[kBlock];
    for (std::size_t first = 0; first < count; first += kBlock) {
        const std::size_t size = std::min(count - first, kBlock);
        for (std::size_t i = 0; i < size; ++i) means[i] = values[first + i] / divisor(weights[first + i]);
        for (std::size_t i = 0; i < size; ++i)
            out[first + i] = is_empty(weights[first + i]) ? null_value : truncated<T>(means[i]);
    }
}

template <class T>
void write_vectors(const ScatterNodes &nodes, std::size_t count, T null_value, T *out) {
    const float *value = nodes.values();
    for (std::size_t node = 0; node < count; ++node) {
        const float weight = nodes.weights()[node];
        for (std::size_t c = 0; c < nodes.veclen(); ++c, ++out, ++value)
            *out = is_empty(weight) ? null_value : truncated<T>(*value / divisor(weight));
    }
}

struct GridArguments {
    const float *min, *max;
    int ndim;
    const int *dims;
    int *radius;

    // For up to three dimensions.
    ScatterGrid grid() const {
        ScatterGrid grid;
        ScatterAxis *const axes[3] = {&grid.x, &grid.y, &grid.z};
        for (int d = 0; d < std::min(ndim, 3); ++d)
            *axes[d] = ScatterAxis(dims[d], radius[d], min[d], max[d]);
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
    ScatterNodes nodes;
    if (!nodes.allocate(nnodes, veclen)) return refuse(kModule, "cannot allocate arrays");
    for (int d = 0; d < arguments.ndim; ++d)
        if (arguments.radius[d] == 0) arguments.radius[d] = 1;
    if (arguments.ndim < 1 || arguments.ndim > 3) return refuse(kModule, "illegal ndim");

    const ScatterGrid grid = arguments.grid();
    Scatterer<T> scatterer(points, arguments.ndim, grid, power, nodes);
    if (arguments.ndim == 1) {
        scatterer.scatter_on_line();
    } else if (!scatterer.scatter()) {
        return 0;
    }
    if (veclen == 1) {
        write_scalars(nodes.weights(), nodes.values(), nnodes, points.null_value, out);
    } else {
        write_vectors(nodes, nnodes, points.null_value, out);
    }
    if (*null_flag == 0) *null_flag = std::any_of(nodes.weights(), nodes.weights() + nnodes, is_empty);
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
