// The line of one level through a point, by a walk over a grid's cells.
#include <array>
#include <cstddef>
#include <cstdint>

#include "grid_walk.hpp"

namespace {

using namespace isofield::detail;

constexpr const char *kUnit = "mod_util/isoline_trc";

template <class T>
class LineWalk {
  public:
    LineWalk(const MeshInfo *mesh, const T *data, bool has_nulls, T null_value, double level, Walk &walk)
        : data_(data),
          has_nulls_(has_nulls),
          null_value_(null_value),
          level_(level),
          walk_(walk),
          nnodes_(mesh->nnodes),
          dims_{mesh->dims[0], mesh->dims[1]},
          offset_{0, 1, dims_[0] + 1, dims_[0]} {}

    // False when there is no memory.
    bool run(int seed) {
        if (holds(seed) && !walk_.waiting.push(&seed, 1)) return false;
        while (!walk_.waiting.empty()) {
            const int cell = walk_.waiting.pop();
            if (!walk_.done.holds(cell) && !visit_cell(cell)) return false;
        }
        return true;
    }

  private:
    bool holds(int cell) const {
        return cell >= 0 && cell % dims_[0] < dims_[0] - 1 && std::int64_t{cell} + dims_[0] + 1 < nnodes_;
    }

    bool crosses(double a, double b) const {
        return (a <= level_ && b > level_) || (a >= level_ && b < level_) || (a == level_ && b == level_);
    }

    bool visit_cell(int cell) {
        double value[4];
        for (std::size_t q = 0; q < 4; ++q) {
            const T at_corner = data_[cell + offset_[q]];
            if (has_nulls_ && at_corner == null_value_) return true;
            value[q] = static_cast<double>(at_corner);
        }
        bool crossed[4];
        int edges[4], count = 0;
        for (std::size_t e = 0; e < 4; ++e) {
            crossed[e] = crosses(value[e], value[(e + 1) % 4]);
            if (crossed[e]) edges[count++] = static_cast<int>(e);
        }
        return count == 0 || (add_segments(cell, edges, count, value[0] < value[1]) && walk_.done.add(cell) &&
                              push_neighbours(cell, crossed));
    }

    bool add_segments(int cell, const int *edges, int count, bool rising) {
        if (!walk_.edges.reserve(4) || !walk_.reserve_connect(4)) return false;
        int ids[4];
        for (int i = 0; i < count; ++i) {
            // Edges 0 and 2 run along the first axis, 1 and 3 along the second.
            const int edge = edges[i], axis = edge % 2;
            const int lower = cell + (edge == 1 ? 1 : edge == 2 ? dims_[0] : 0);
            ids[i] = walk_.edges(lower, axis, lower + (axis == 0 ? 1 : dims_[0]));
        }
        walk_.append(ids[0]);
        walk_.append(count == 1 ? ids[0] : count == 4 && !rising ? ids[3] : ids[1]);
        if (count == 4) {
            walk_.append(ids[2]);
            walk_.append(rising ? ids[3] : ids[1]);
        }
        return true;
    }

    bool push_neighbours(int cell, const bool *crossed) {
        const int j = cell / dims_[0], i = cell - j * dims_[0];
        int neighbours[4], count = 0;
        if (i > 0 && crossed[3]) neighbours[count++] = cell - 1;
        if (i < dims_[0] - 2 && crossed[1]) neighbours[count++] = cell + 1;
        if (j > 0 && crossed[0]) neighbours[count++] = cell - dims_[0];
        if (j < dims_[1] - 2 && crossed[2]) neighbours[count++] = cell + dims_[0];
        return walk_.waiting.push(neighbours, count);
    }

    const T *data_;
    bool has_nulls_;
    T null_value_;
    double level_;
    Walk &walk_;
    int nnodes_;
    std::array<int, 2> dims_;
    std::array<int, 4> offset_;  // of a cell's corners
};

template <class T>
int trace(MeshInfo *mesh, BlockTable *table, const T *data, int null_flag, ByValue<T> null_by_value,
          const float *xyz, double *level, const WalkResults &out) {
    out.clear();
    const T null_value = static_cast<T>(null_by_value);
    int seed = -1;
    if (!find_start(mesh, table, data, null_flag, null_value, xyz, &seed, level) || mesh->ndim < 2) return 0;
    Walk walk(kUnit, out);
    if (!walk.create() || !LineWalk<T>(mesh, data, null_flag != 0, null_value, *level, walk).run(seed))
        return 0;
    walk.hand_over(2);
    return 1;
}

}  // namespace

ISOFIELD_STAMP(UTILisoline_trace, trace,
               (MeshInfo * mesh, BlockTable *table, const T *data, int null_flag, V null_value,
                const float *xyz, double *level, int *nnew, int **min_node, int **max_node, int *nlines,
                int **connect, int *nconnect),
               (mesh, table, data, null_flag, null_value, xyz, level,
                {nnew, min_node, max_node, nlines, connect, nconnect}))

int UTILisoline_trace(MeshInfo *mesh, BlockTable *table, const void *data, int dtype, int null_flag,
                      const void *null_value, const float *xyz, double *level, int *nnew, int **min_node,
                      int **max_node, int *nlines, int **connect, int *nconnect) {
    return visit(
        dtype,
        [&]<class T>(ElementTag<T>) {
            return trace<T>(mesh, table, static_cast<const T *>(data), null_flag,
                            load_scalar<T>(null_flag, null_value), xyz, level,
                            {nnew, min_node, max_node, nlines, connect, nconnect});
        },
        [mesh] { return narrowed_to_int(mesh); });
}
