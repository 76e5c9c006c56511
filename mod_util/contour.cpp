// Bands of cell sets: the mesh-level entry, the drive over the sets, and the kernels.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "reports.hpp"
#include "set_split.hpp"

namespace {

using namespace isofield::detail;

constexpr CellArrayTraits kTraits = {.unit = "mod_util/contour", .step = 1000};
constexpr int kPollPeriod = 256;  // crossed cells between two polls

using ContourKernel = decltype(SetFuncs::contour_func);

struct Band {
    double lo, hi;
    bool has_null;
    double null;
};

// Lists the cells from `first` up to, not including, `end` that have a part in the band.
template <class Kind, class T, bool kNulls>
void find_kept(const int *cells, int nnodes, const T *data, const Band &band, int first, int end,
               KeptCells &kept) {
    const int *nodes = cells + static_cast<std::ptrdiff_t>(first) * nnodes;
    for (int cell = first; cell < end; ++cell, nodes += nnodes) {
        unsigned lower = 0, above = 0;
        bool is_null = false;
        for (int n = 0; n < Kind::kNodes; ++n) {
            const double value = static_cast<double>(data[nodes[n]]);
            lower |= static_cast<unsigned>(value >= band.lo) << n;
            above |= static_cast<unsigned>(value > band.hi) << n;
            if constexpr (kNulls) is_null |= value == band.null;
        }
        if constexpr (kNulls) {
            for (int n = Kind::kNodes; n < nnodes; ++n)
                is_null |= static_cast<double>(data[nodes[n]]) == band.null;
        }
        kept.add<Kind>(cell, lower, above, (lower != 0) & (above != unsigned{Kind::kAllKept}) & !is_null);
    }
}

template <class Kind>
int contour_set(MeshInfo *mesh, int set, int dtype, const void *data, int null_flag, const void *null_value,
                double lo, double hi, int nold, const int *node_map, EdgeTable2 *table, int *ncells,
                int **connect, int *connect_size, int *capacity, int *nlines_lo, int **lines_lo,
                int *nlines_hi, int **lines_hi) {
    const int *cells = fetch_cell_set(mesh, set);
    if (!cells) return 0;
    CellArrays arrays(kTraits, ncells, connect, connect_size, capacity);
    CellLists no_lists(kTraits, nullptr, nullptr);
    LineList lower_lines, upper_lines;
    if constexpr (Kind::kVolume) {
        *nlines_lo = *nlines_hi = 0;
        *lines_lo = *lines_hi = nullptr;
    } else {
        lower_lines = LineList(nlines_lo, lines_lo, kTraits.unit);
        upper_lines = LineList(nlines_hi, lines_hi, kTraits.unit);
    }
    const SplitOutput out{arrays, no_lists, lower_lines, upper_lines};
    Band band{lo, hi, null_flag != 0, 0};
    if (band.has_null) UTILtype_to_double(&band.null, null_value, dtype);
    Poll poll(mesh->cell_ncells[set], kPollPeriod);
    const auto stop_block = [](int) { return false; };
    const auto stop_crossed = [&](int cell) { return poll.stop(cell); };
    const auto split = [&]<class T>(ElementTag<T>) {
        const T *const values = static_cast<const T *>(data);
        const int nnodes = mesh->cell_nnodes[set];
        const auto find = [&](int first, int end, KeptCells &kept) {
            if (band.has_null) {
                find_kept<Kind, T, true>(cells, nnodes, values, band, first, end, kept);
            } else {
                find_kept<Kind, T, false>(cells, nnodes, values, band, first, end, kept);
            }
        };
        return static_cast<int>(
            split_set<Kind>(mesh, set, cells, nold, node_map, table, out, find, stop_block, stop_crossed));
    };
    if (table && arrays.create() && lower_lines.create() && upper_lines.create() &&
        visit(dtype, split, [] { return 0; })) {
        return 1;
    }
    UTILedge_table2_delete(table);
    arrays.stop();
    lower_lines.free();
    upper_lines.free();
    return 0;
}

// The lines along one level over the kernels of a call, each of which may put a new list in the word.
class LineWord {
  public:
    LineWord(int *count, int **lines) : count_(count), lines_(lines) { *lines = nullptr; }

    // After a kernel: frees the list that it replaced.
    void settle() {
        if (held_ && held_ != *lines_) ARRfree_f(held_, kTraits.unit, __LINE__);
        held_ = *lines_;
    }
    void free() {
        settle();
        if (held_) ARRfree_f(held_, kTraits.unit, __LINE__);
        *lines_ = held_ = nullptr;
        *count_ = 0;
    }
    // No kernel has answered the request.
    void refuse() { *count_ = 0; }

  private:
    int *count_;
    int **lines_;
    int *held_ = nullptr;
};

// One call's work on a mesh of cell sets. Unless it ends well, all that was made is freed and the caller's
// words are emptied.
class ContourCells {
  public:
    ContourCells(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value,
                 double lo, double hi, int *ncells, int **connect, int *connect_size, int *nlines_lo,
                 int **lines_lo, int *nlines_hi, int **lines_hi)
        : mesh_(mesh),
          data_(data),
          dtype_(dtype),
          null_flag_(null_flag),
          null_value_(null_value),
          lo_(lo),
          hi_(hi),
          ncells_(ncells),
          connect_(connect),
          size_(connect_size),
          nlines_lo_(nlines_lo),
          lines_lo_(lines_lo),
          nlines_hi_(nlines_hi),
          lines_hi_(lines_hi),
          cells_(kTraits, ncells, connect, connect_size),
          lower_(nlines_lo, lines_lo),
          upper_(nlines_hi, lines_hi) {}
    ~ContourCells() {
        if (done_) return;
        UTILedge_table2_delete(table_);
        lower_.free();
        upper_.free();
    }
    ContourCells(const ContourCells &) = delete;
    ContourCells &operator=(const ContourCells &) = delete;

    bool run(int nspace, int *nold, int **node_map, int *nnew, int **min_node, int **max_node,
             char **level_flag, float **coords) {
        const float *mesh_coords = fetch_coords(mesh_);
        if (!mesh_coords || !is_type(dtype_)) return false;
        map_ = allocate_working<int>(static_cast<std::size_t>(std::max(mesh_->nnodes, 0)));
        table_ = UTILedge_table2_create(mesh_->nnodes);
        if (!map_ || !table_) return false;
        nold_ = UTILnode_thresh2(mesh_->nnodes, dtype_, data_, null_flag_, null_value_, lo_, hi_, map_.get());
        float *made = nullptr;
        if (!walk_sets() || !make_coords(mesh_coords, nspace, made)) return false;
        UTILedge_table2_get_free(table_, min_node, max_node, nnew, level_flag);
        cells_.hand_over(UnusedWords::kDangling);
        *nold = nold_;
        *node_map = map_.release();
        *coords = made;
        return done_ = true;
    }

  private:
    bool walk_sets() {
        bool any = false;
        const auto kernel_of = [](const SetFuncs &funcs) {
            return funcs.contour_func ? funcs.contour_func : funcs.contour_func_tesselate;
        };
        const bool walked = for_each_split_set(
            mesh_, kTraits.step, kernel_of, [](int) { return true; },
            [&](MeshInfo *record, int set, ContourKernel kernel, const Pieces *, int) {
                any = true;
                return run_kernel(record, set, kernel);
            });
        if (walked && !any) {
            lower_.refuse();
            upper_.refuse();
        }
        return walked;
    }

    // The coordinates of all rows; none, and true, where there are no rows.
    bool make_coords(const float *mesh_coords, int nspace, float *&made) const {
        const int nnew = table_->count;
        const std::int64_t size = nspace * (std::int64_t{nold_} + nnew);
        if (size == 0) return true;
        if (size > std::numeric_limits<int>::max()) return false;
        OutputArray<float> coords(kTraits.unit, static_cast<int>(size));
        if (!coords.create()) return false;
        if (nold_ > 0 && !UTILget_coord_list(mesh_, nold_, map_.get(), coords.data())) return false;
        const auto *flags = reinterpret_cast<const char *>(table_->level_flag);
        if (!UTILeval_contour(mesh_->nnodes, nnew, 0, dtype_, data_, lo_, hi_, table_->min_node,
                              table_->max_node, flags, nspace, kTypeCode<float>, 0, nullptr, 0, mesh_coords,
                              coords.data() + std::ptrdiff_t{nspace} * nold_)) {
            return false;
        }
        made = coords.release();
        return true;
    }

    bool run_kernel(MeshInfo *record, int set, ContourKernel kernel) {
        // A kernel's result doesn't tell cells that are not to be had from a stop.
        if (!fetch_cell_set(record, set)) return false;
        const bool done = kernel(record, set, dtype_, data_, null_flag_, null_value_, lo_, hi_, nold_,
                                 map_.get(), table_, ncells_, connect_, size_, cells_.capacity.data(),
                                 nlines_lo_, lines_lo_, nlines_hi_, lines_hi_) == 1;
        lower_.settle();
        upper_.settle();
        if (done) return true;
        // The kernel has freed them.
        table_ = nullptr;
        std::fill_n(connect_, kCellTypes, nullptr);
        return false;
    }

    MeshInfo *mesh_;
    const void *data_;
    int dtype_, null_flag_;
    const void *null_value_;
    double lo_, hi_;
    int *ncells_;
    int **connect_;
    int *size_;
    int *nlines_lo_, **lines_lo_, *nlines_hi_, **lines_hi_;
    OwnedCellArrays cells_;
    LineWord lower_, upper_;
    int nold_ = 0;
    Working<int> map_;
    EdgeTable2 *table_ = nullptr;
    bool done_ = false;
};

}  // namespace

int UTILcontour(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value, double lo,
                double hi, int *nold, int **node_map, int *nnew, int **min_node, int **max_node,
                char **level_flag, int *ncells, int **connect, int *connect_size, int nspace, float **coords,
                int *nlines_lo, int **lines_lo, int *nlines_hi, int **lines_hi) {
    if (auto method = mesh->field_funcs->contour_func) {
        return method(mesh, data, dtype, null_flag, null_value, lo, hi, nold, node_map, nnew, min_node,
                      max_node, level_flag, ncells, connect, connect_size, nspace, coords, nlines_lo,
                      lines_lo, nlines_hi, lines_hi);
    }
    return refuse("UTILcontour", "no contour function found\n");
}

int UTILcontour_cells(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value,
                      double lo, double hi, int *nold, int **node_map, int *nnew, int **min_node,
                      int **max_node, char **level_flag, int *ncells, int **connect, int *connect_size,
                      int nspace, float **coords, int *nlines_lo, int **lines_lo, int *nlines_hi,
                      int **lines_hi) {
    *nold = *nnew = 0;
    *node_map = *min_node = *max_node = nullptr;
    *level_flag = nullptr;
    *coords = nullptr;
    ContourCells band(mesh, data, dtype, null_flag, null_value, lo, hi, ncells, connect, connect_size,
                      nlines_lo, lines_lo, nlines_hi, lines_hi);
    return band.run(nspace, nold, node_map, nnew, min_node, max_node, level_flag, coords);
}

#define ISOFIELD_KERNEL(NAME, KIND)                                                                       \
    int NAME(MeshInfo *mesh, int set, int dtype, const void *data, int null_flag, const void *null_value, \
             double lo, double hi, int nold, const int *node_map, EdgeTable2 *table, int *ncells,         \
             int **connect, int *connect_size, int *capacity, int *nlines_lo, int **lines_lo,             \
             int *nlines_hi, int **lines_hi) {                                                            \
        return contour_set<KIND>(mesh, set, dtype, data, null_flag, null_value, lo, hi, nold, node_map,   \
                                 table, ncells, connect, connect_size, capacity, nlines_lo, lines_lo,     \
                                 nlines_hi, lines_hi);                                                    \
    }
ISOFIELD_KERNEL(UTILcontour_hex, Hex)
ISOFIELD_KERNEL(UTILcontour_prism, Prism)
ISOFIELD_KERNEL(UTILcontour_pyr, Pyr)
ISOFIELD_KERNEL(UTILcontour_tet, Tet)
ISOFIELD_KERNEL(UTILcontour_quad, Quad)
ISOFIELD_KERNEL(UTILcontour_tri, Tri)
#undef ISOFIELD_KERNEL
