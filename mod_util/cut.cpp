// Cuts of cell sets: the mesh-level entry, the drive over the sets, and the kernels.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "node_mask.hpp"
#include "reports.hpp"
#include "set_split.hpp"

namespace {

using namespace isofield::detail;

constexpr CellArrayTraits kTraits = {.unit = "mod_util/cut",
                                     .step = 1024,
                                     .connect_report = "realloc for connect list failed\n",
                                     .list_report = "realloc for cell list failed\n"};

using CutKernel = decltype(SetFuncs::cut_func);

// Lists the cells from `first` up to, not including, `end` that a mask keeps. `flip` is all ones of a case
// when the side below is kept.
template <class Kind, bool kNulls>
void find_kept(const int *cells, int nnodes, const unsigned char *mask, unsigned flip, int first, int end,
               KeptCells &kept) {
    const int *nodes = cells + static_cast<std::ptrdiff_t>(first) * nnodes;
    for (int cell = first; cell < end; ++cell, nodes += nnodes) {
        unsigned index = 0, all = 0;
        for (int n = 0; n < Kind::kNodes; ++n) {
            const unsigned byte = mask[nodes[n]];
            index |= byte << n;
            if constexpr (kNulls) all |= byte;
        }
        index ^= flip;
        bool stays = index - 1 < unsigned{Kind::kAllKept};
        if constexpr (kNulls) {
            for (int n = Kind::kNodes; n < nnodes; ++n) all |= mask[nodes[n]];
            stays = stays & ((all & kNullByte) == 0);
        }
        kept.add<Kind>(cell, index, 0, stays);
    }
}

template <class Kind>
int cut_set(MeshInfo *mesh, int set, int null_flag, const unsigned char *mask, int side, int nold,
            const int *node_map, EdgeTable *table, int *ncells, int **connect, int *connect_size,
            int *capacity, int *cell_count, int **cell_list) {
    const int *cells = fetch_cell_set(mesh, set);
    if (!cells) return 0;
    const int nnodes = mesh->cell_nnodes[set];
    const unsigned flip = side < 0 ? Kind::kAllKept : 0;
    CellArrays arrays(kTraits, ncells, connect, connect_size, capacity);
    CellLists lists(kTraits, cell_count ? cell_count + kCellTypes * set : nullptr,
                    cell_list ? cell_list + kCellTypes * set : nullptr);
    LineList no_lines;
    const auto find = [&](int first, int end, KeptCells &kept) {
        if (null_flag) {
            find_kept<Kind, true>(cells, nnodes, mask, flip, first, end, kept);
        } else {
            find_kept<Kind, false>(cells, nnodes, mask, flip, first, end, kept);
        }
    };
    const auto stop_block = [&](int first) { return poll_status(percent_of(first, mesh->cell_ncells[set])); };
    const auto stop_crossed = [](int) { return false; };
    if (table && arrays.create() &&
        split_set<Kind>(mesh, set, cells, nold, node_map, table, {arrays, lists, no_lines, no_lines}, find,
                        stop_block, stop_crossed)) {
        return 1;
    }
    std::free(const_cast<unsigned char *>(mask));
    UTILedge_table_delete(table);
    arrays.stop();
    lists.free();
    return 0;
}

// One call's work on a mesh of cell sets. Unless it ends well, all that was made is freed and the caller's
// words are emptied.
class CutCells {
  public:
    CutCells(MeshInfo *mesh, int null_flag, int side, int *ncells, int **connect, int *connect_size,
             int *cell_count, int **cell_list)
        : mesh_(mesh),
          null_flag_(null_flag),
          side_(side),
          ncells_(ncells),
          connect_(connect),
          size_(connect_size),
          cell_count_(cell_count),
          cell_list_(cell_list),
          cells_(kTraits, ncells, connect, connect_size) {
        for (int set = 0; set < mesh_->ncell_sets; ++set) lists(set).clear();
    }
    ~CutCells() {
        if (done_) return;
        UTILedge_table_delete(table_);
        for (int set = 0; set < mesh_->ncell_sets; ++set) lists(set).free();
    }
    CutCells(const CutCells &) = delete;
    CutCells &operator=(const CutCells &) = delete;

    bool run(const void *data, int dtype, const void *null_value, double level, int *nold, int **node_map,
             int *nnew, int **min_node, int **max_node) {
        map_ = allocate_working<int>(static_cast<std::size_t>(std::max(mesh_->nnodes, 0)));
        table_ = UTILedge_table_create(mesh_->nnodes);
        if (!map_ || !table_) return false;
        mask_ = allocate_mask(mesh_->nnodes, kTraits.unit);
        if (!fill_mask(mesh_->nnodes, data, dtype, null_flag_, null_value, level, mask_.get())) return false;
        nold_ = UTILnode_thresh(mesh_->nnodes, dtype, data, null_flag_, null_value, level, side_, map_.get());
        const auto kernel_of = [](const SetFuncs &funcs) {
            return funcs.cut_func ? funcs.cut_func : funcs.cut_func_tesselate;
        };
        const auto begin_set = [this](int set) { return lists(set).create(); };
        done_ = for_each_split_set(
            mesh_, kTraits.step, kernel_of, begin_set,
            [this](MeshInfo *record, int set, CutKernel kernel, const Pieces *pieces, int first) {
                return pieces ? run_pieces(record, set, kernel, *pieces, first)
                              : run_kernel(record, set, kernel, cell_count_, cell_list_);
            });
        if (!done_) return false;
        UTILedge_table_get_free(table_, min_node, max_node, nnew);
        cells_.hand_over(UnusedWords::kDangling);
        *nold = nold_;
        *node_map = map_.release();
        return true;
    }

  private:
    CellLists lists(int set) const {
        return {kTraits, cell_count_ ? cell_count_ + kCellTypes * set : nullptr,
                cell_list_ ? cell_list_ + kCellTypes * set : nullptr};
    }

    bool run_kernel(MeshInfo *record, int set, CutKernel kernel, int *cell_count, int **cell_list) {
        // A kernel's result doesn't tell cells that are not to be had from a stop.
        if (!fetch_cell_set(record, set)) return false;
        if (kernel(record, set, null_flag_, mask_.get(), side_, nold_, map_.get(), table_, ncells_, connect_,
                   size_, cells_.capacity.data(), cell_count, cell_list) == 1) {
            return true;
        }
        // The kernel has freed them.
        static_cast<void>(mask_.release());
        table_ = nullptr;
        std::fill_n(connect_, kCellTypes, nullptr);
        return false;
    }

    // A kernel fills lists of its own for the pieces, which are turned into lists of the cells.
    bool run_pieces(MeshInfo *record, int set, CutKernel kernel, const Pieces &pieces, int first) {
        if (!lists(set).wanted()) return run_kernel(record, set, kernel, cell_count_, cell_list_);
        const std::size_t nwords = std::size_t{kCellTypes} * static_cast<std::size_t>(mesh_->ncell_sets);
        const Working<int> counts = allocate_cleared<int>(nwords);
        const Working<int *> of_pieces = allocate_cleared<int *>(nwords);
        if (!counts || !of_pieces) return false;
        CellLists made(kTraits, counts.get() + kCellTypes * set, of_pieces.get() + kCellTypes * set);
        const bool done = made.create() && run_kernel(record, set, kernel, counts.get(), of_pieces.get()) &&
                          append_cells(set, pieces, first, counts.get(), of_pieces.get());
        made.free();
        return done;
    }

    bool append_cells(int set, const Pieces &pieces, int first, const int *counts, int *const *of_pieces) {
        for (int t = 0; t < kCellTypes; ++t) {
            const int word = kCellTypes * set + t;
            int &count = cell_count_[word];
            // Lists are as long as their count, rounded up, or one step.
            int capacity = std::max(1, (count + kTraits.step - 1) / kTraits.step) * kTraits.step;
            if (!grow_in_steps(cell_list_[word], capacity, std::int64_t{count} + counts[word], kTraits.step,
                               kTraits.unit)) {
                return kTraits.report(kTraits.list_report);
            }
            for (int n = 0; n < counts[word]; ++n) {
                cell_list_[word][count++] = first + pieces.cell_of(of_pieces[word][n]);
            }
        }
        return true;
    }

    MeshInfo *mesh_;
    int null_flag_, side_;
    int *ncells_;
    int **connect_;
    int *size_;
    int *cell_count_;
    int **cell_list_;
    OwnedCellArrays cells_;
    int nold_ = 0;
    Working<int> map_;
    Working<unsigned char> mask_;
    EdgeTable *table_ = nullptr;
    bool done_ = false;
};

}  // namespace

int UTILcut(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value, double level,
            int side, int *nold, int **node_map, int *nnew, int **min_node, int **max_node, int *ncells,
            int **connect, int *connect_size, int *cell_count, int **cell_list) {
    if (auto method = mesh->field_funcs->cut_func) {
        return method(mesh, data, dtype, null_flag, null_value, level, side, nold, node_map, nnew, min_node,
                      max_node, ncells, connect, connect_size, cell_count, cell_list);
    }
    return refuse("UTILcut", "no cut function found\n");
}

int UTILcut_cells(MeshInfo *mesh, const void *data, int dtype, int null_flag, const void *null_value,
                  double level, int side, int *nold, int **node_map, int *nnew, int **min_node,
                  int **max_node, int *ncells, int **connect, int *connect_size, int *cell_count,
                  int **cell_list) {
    if (!node_map) return refuse("UTILcut", "cannot allocate node -1 array\n");
    *nold = *nnew = 0;
    *node_map = *min_node = *max_node = nullptr;
    CutCells cut(mesh, null_flag, side, ncells, connect, connect_size, cell_count, cell_list);
    return cut.run(data, dtype, null_value, level, nold, node_map, nnew, min_node, max_node);
}

#define ISOFIELD_KERNEL(NAME, KIND)                                                                    \
    int NAME(MeshInfo *mesh, int set, int null_flag, const unsigned char *mask, int side, int nold,    \
             const int *node_map, EdgeTable *table, int *ncells, int **connect, int *connect_size,     \
             int *capacity, int *cell_count, int **cell_list) {                                        \
        return cut_set<KIND>(mesh, set, null_flag, mask, side, nold, node_map, table, ncells, connect, \
                             connect_size, capacity, cell_count, cell_list);                           \
    }
ISOFIELD_KERNEL(UTILcut_hex, Hex)
ISOFIELD_KERNEL(UTILcut_prism, Prism)
ISOFIELD_KERNEL(UTILcut_pyr, Pyr)
ISOFIELD_KERNEL(UTILcut_tet, Tet)
ISOFIELD_KERNEL(UTILcut_quad, Quad)
ISOFIELD_KERNEL(UTILcut_tri, Tri)
#undef ISOFIELD_KERNEL
