// What walks from cell to cell of a grid share: the start at a point, the cells waiting and done, and the new
// nodes of crossed edges. Memory follows what a walk touches, never the size of the grid.
#ifndef ISOFIELD_MOD_UTIL_GRID_WALK_HPP
#define ISOFIELD_MOD_UTIL_GRID_WALK_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "output_array.hpp"
#include "progress.hpp"
#include "reports.hpp"
#include "slot_table.hpp"
#include "types.hpp"

namespace isofield::detail {

// The new nodes of crossed edges, in the order of first sight.
class NewNodeLists {
  public:
    explicit NewNodeLists(const char *unit) : min_node_(unit, kStep), max_node_(unit, kStep) {}

    bool create() { return min_node_.create() && max_node_.create(); }

    // Room for so many more. False when there is no memory.
    bool reserve(int more) {
        return min_node_.reserve_amply(std::int64_t{count_} + more) &&
               max_node_.reserve_amply(std::int64_t{count_} + more);
    }

    int add(int lo, int hi) {
        min_node_.data()[count_] = lo;
        max_node_.data()[count_] = hi;
        return count_++;
    }

    void hand_over(int **min_node, int **max_node, int *count) {
        *min_node = min_node_.release();
        *max_node = max_node_.release();
        *count = count_;
    }

  private:
    static constexpr int kStep = 1024;

    OutputArray<int> min_node_, max_node_;
    int count_ = 0;
};

// The cells that wait: the last one in is the first one out.
template <class Cell>
class CellStack {
  public:
    bool create() { return grow(kFirstCells); }
    // Room for so many more. False when there is no memory.
    bool reserve(std::size_t more) {
        return count_ + more <= capacity_ || grow(std::max(count_ + more, 2 * capacity_));
    }
    void push(const Cell &cell) { cells_[count_++] = cell; }
    // Where the next cell goes, for many at once; and the end of those that were put there.
    Cell *begin_push() { return cells_.get() + count_; }
    void end_push(const Cell *end) { count_ = static_cast<std::size_t>(end - cells_.get()); }
    bool empty() const { return count_ == 0; }
    Cell pop() { return cells_[--count_]; }

  private:
    static constexpr std::size_t kFirstCells = 1024;

    bool grow(std::size_t capacity) {
        Working<Cell> grown = allocate_working<Cell>(capacity);
        if (!grown) return false;
        if (count_ > 0) std::copy_n(cells_.get(), count_, grown.get());
        cells_ = std::move(grown);
        capacity_ = capacity;
        return true;
    }

    Working<Cell> cells_;
    std::size_t capacity_ = 0, count_ = 0;
};

// Results of a walk, empty until they are filled.
struct WalkResults {
    int *nnew, **min_node, **max_node;
    int *nelements, **connect, *nconnect;

    void clear() const {
        *nnew = *nelements = *nconnect = 0;
        *min_node = *max_node = *connect = nullptr;
    }
};

// What walks make.
class WalkOutput {
  public:
    explicit WalkOutput(const char *unit) : nodes(unit), connect_(unit, kConnectStep) {}

    bool create() { return connect_.create() && nodes.create(); }

    // Room for so many more ints of connectivity. False, and told, when there is no memory.
    bool reserve_connect(int more) {
        if (connect_.reserve_amply(std::int64_t{nconnect_} + more)) return true;
        tell("realloc for connect list failed\n");
        return false;
    }
    // The place of so many more, for which there is room.
    int *append(int count) { return connect_.data() + std::exchange(nconnect_, nconnect_ + count); }

    void hand_over(int nodes_of_element, const WalkResults &out) {
        nodes.hand_over(out.min_node, out.max_node, out.nnew);
        *out.connect = connect_.release();
        *out.nconnect = nconnect_;
        *out.nelements = nconnect_ / nodes_of_element;
    }

    NewNodeLists nodes;

  private:
    static constexpr int kConnectStep = 1024;

    OutputArray<int> connect_;
    int nconnect_ = 0;
};

// The cell of a point, and the data there, which are the walk's level. False where there is none, told for a
// missing method.
template <class T>
bool find_start(MeshInfo *mesh, BlockTable *table, const T *data, int null_flag, T null_value,
                const float *xyz, int *cell, double *level) {
    const auto find_cell = mesh->field_funcs->find_cell_func;
    const auto interp_data = mesh->field_funcs->interp_data_func;
    if (!find_cell || !interp_data) {
        tell_no_search();
        return false;
    }
    float uvw[3] = {0, 0, 0}, value = 0;
    if (find_cell(mesh, table, xyz, cell, uvw) != 1) return false;
    if (interp_data(mesh, *cell, 1, data, kTypeCode<T>, null_flag, &null_value, 1, uvw, &value) != 1)
        return false;
    *level = static_cast<double>(value);
    return true;
}

// Traces by a kind of walk, which has kUnit, kNodes (of an element), serves(ndim) and run(seed).
template <template <class> class WalkOver, class T>
int trace(MeshInfo *mesh, BlockTable *table, const T *data, int null_flag, ByValue<T> null_by_value,
          const float *xyz, double *level, const WalkResults &out) {
    using Walk = WalkOver<T>;
    out.clear();
    const T null_value = static_cast<T>(null_by_value);
    int seed = -1;
    if (!find_start(mesh, table, data, null_flag, null_value, xyz, &seed, level)) return 0;
    WalkOutput made(Walk::kUnit);
    if (!Walk::serves(mesh->ndim) || !made.create()) return 0;
    const Outcome outcome = Walk(mesh, data, null_flag != 0, null_value, *level, made).run(seed);
    if (outcome == Outcome::kDone) made.hand_over(Walk::kNodes, out);
    return static_cast<int>(outcome);
}

template <template <class> class WalkOver>
int trace_type(MeshInfo *mesh, BlockTable *table, const void *data, int dtype, int null_flag,
               const void *null_value, const float *xyz, double *level, const WalkResults &out) {
    return visit(
        dtype,
        [&]<class T>(ElementTag<T>) {
            return trace<WalkOver, T>(mesh, table, static_cast<const T *>(data), null_flag,
                                      load_scalar<T>(null_flag, null_value), xyz, level, out);
        },
        [mesh] { return narrowed_to_int(mesh); });
}

}  // namespace isofield::detail
#endif
