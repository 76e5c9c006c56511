// The line of one level through a point, by a walk over a grid's cells.
#include <array>
#include <cstddef>
#include <cstdint>

#include "grid_walk.hpp"

namespace {

using namespace isofield::detail;

// A slot of a set of cells, and of the new nodes of edges; keys start at 1.
struct DoneCell {
    std::uint32_t key_;
    std::uint64_t key() const { return key_; }
};
struct NumberedEdge {
    std::uint64_t key_;
    int number;
    std::uint64_t key() const { return key_; }
};

template <class T>
class LineWalk {
  public:
    static constexpr const char *kUnit = "mod_util/isoline_trc";
    static constexpr int kNodes = 2;
    static bool serves(int ndim) { return ndim >= 2; }

    LineWalk(const MeshInfo *mesh, const T *data, bool has_nulls, T null_value, double level, WalkOutput &out)
        : data_(data),
          has_nulls_(has_nulls),
          null_value_(null_value),
          level_(level),
          out_(out),
          nnodes_(mesh->nnodes),
          dims_{mesh->dims[0], mesh->dims[1]},
          offset_{0, 1, dims_[0] + 1, dims_[0]} {}

    Outcome run(int seed) {
        if (!waiting_.create() || !done_.create() || !edges_.create()) return Outcome::kFailed;
        if (holds(seed)) waiting_.push(seed);
        while (!waiting_.empty()) {
            const int cell = waiting_.pop();
            if (done_.find(key_of(cell)).key_ == 0 && !visit_cell(cell)) return Outcome::kFailed;
        }
        return Outcome::kDone;
    }

  private:
    bool holds(int cell) const {
        return cell >= 0 && cell % dims_[0] < dims_[0] - 1 && std::int64_t{cell} + dims_[0] + 1 < nnodes_;
    }

    bool crosses(double a, double b) const {
        return (a <= level_ && b > level_) || (a >= level_ && b < level_) || (a == level_ && b == level_);
    }

    // False when there is no memory; so below.
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
        return count == 0 || (add_segments(cell, edges, count, value[0] < value[1]) && set_done(cell) &&
                              push_neighbours(cell, crossed));
    }

    static std::uint64_t key_of(int cell) { return std::uint64_t{static_cast<std::uint32_t>(cell)} + 1; }

    bool set_done(int cell) {
        if (!done_.reserve(1)) return false;
        done_.find(key_of(cell)).key_ = static_cast<std::uint32_t>(key_of(cell));
        done_.added();
        return true;
    }

    // The new node of the edge that starts at a node and runs along an axis. There is room for it.
    int node_on(int lower, int axis) {
        const std::uint64_t key = 2 * key_of(lower) + static_cast<std::uint64_t>(axis);
        NumberedEdge &edge = edges_.find(key);
        if (edge.key_ == 0) {
            edge = {key, out_.nodes.add(lower, lower + (axis == 0 ? 1 : dims_[0]))};
            edges_.added();
        }
        return edge.number;
    }

    bool add_segments(int cell, const int *edges, int count, bool rising) {
        if (!edges_.reserve(4) || !out_.nodes.reserve(4) || !out_.reserve_connect(4)) return false;
        int ids[4];
        for (int i = 0; i < count; ++i) {
            // Edges 0 and 2 run along the first axis, 1 and 3 along the second.
            const int edge = edges[i];
            ids[i] = node_on(cell + (edge == 1 ? 1 : edge == 2 ? dims_[0] : 0), edge % 2);
        }
        int *const connect = out_.append(count == 4 ? 4 : 2);
        connect[0] = ids[0];
        connect[1] = count == 1 ? ids[0] : count == 4 && !rising ? ids[3] : ids[1];
        if (count == 4) {
            connect[2] = ids[2];
            connect[3] = rising ? ids[3] : ids[1];
        }
        return true;
    }

    bool push_neighbours(int cell, const bool *crossed) {
        const int j = cell / dims_[0], i = cell - j * dims_[0];
        if (!waiting_.reserve(4)) return false;
        if (i > 0 && crossed[3]) waiting_.push(cell - 1);
        if (i < dims_[0] - 2 && crossed[1]) waiting_.push(cell + 1);
        if (j > 0 && crossed[0]) waiting_.push(cell - dims_[0]);
        if (j < dims_[1] - 2 && crossed[2]) waiting_.push(cell + dims_[0]);
        return true;
    }

    const T *data_;
    bool has_nulls_;
    T null_value_;
    double level_;
    WalkOutput &out_;
    CellStack<int> waiting_;
    SlotTable<DoneCell> done_;
    SlotTable<NumberedEdge> edges_;
    int nnodes_;
    std::array<int, 2> dims_;
    std::array<int, 4> offset_;  // of a cell's corners
};

template <class T>
int trace_line(MeshInfo *mesh, BlockTable *table, const T *data, int null_flag, ByValue<T> null_value,
               const float *xyz, double *level, const WalkResults &out) {
    return trace<LineWalk, T>(mesh, table, data, null_flag, null_value, xyz, level, out);
}

}  // namespace

ISOFIELD_STAMP(UTILisoline_trace, trace_line,
               (MeshInfo * mesh, BlockTable *table, const T *data, int null_flag, V null_value,
                const float *xyz, double *level, int *nnew, int **min_node, int **max_node, int *nlines,
                int **connect, int *nconnect),
               (mesh, table, data, null_flag, null_value, xyz, level,
                {nnew, min_node, max_node, nlines, connect, nconnect}))

int UTILisoline_trace(MeshInfo *mesh, BlockTable *table, const void *data, int dtype, int null_flag,
                      const void *null_value, const float *xyz, double *level, int *nnew, int **min_node,
                      int **max_node, int *nlines, int **connect, int *nconnect) {
    return trace_type<LineWalk>(mesh, table, data, dtype, null_flag, null_value, xyz, level,
                                {nnew, min_node, max_node, nlines, connect, nconnect});
}
