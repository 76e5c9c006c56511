// The drive of surfaces and lines over the sets of a mesh: one mask and one edge table for the call, a kernel
// a set, quadratic sets in pieces.
#ifndef ISOFIELD_MOD_UTIL_SET_EXTRACTION_HPP
#define ISOFIELD_MOD_UTIL_SET_EXTRACTION_HPP

#include <cstdint>
#include <optional>
#include <utility>

#include "node_mask.hpp"
#include "pieces.hpp"
#include "set_kernel.hpp"

namespace isofield::detail {

using SetKernel = int (*)(MeshInfo *mesh, int set, int null_flag, const unsigned char *mask, EdgeTable *table,
                          int **connect, int *size, int *capacity, int **cell_list);

// Triangles or lines of the whole mesh, in the caller's words.
struct Elements {
    int *count;
    int **connect;
    int *size;
    int capacity = 0;
};

// What is done with a set: nothing when the kernel is null.
struct SetTask {
    SetKernel kernel = nullptr;
    Elements *elements = nullptr;
};

// A list of cells in the word that a kernel grows it through.
struct ListWord {
    int *list = nullptr;

    ListWord() = default;
    ~ListWord() {
        if (list) ARRfree_f(list, "mod_util/set_extraction", __LINE__);
    }
    ListWord(const ListWord &) = delete;
    ListWord &operator=(const ListWord &) = delete;

    bool create(int size, const char *unit, int line = __builtin_LINE()) {
        list = allocate_array<int>(size, unit, line);
        return list != nullptr;
    }
};

// One call's walk over sets. choose(set) gives an optional<SetTask>, empty to refuse the mesh. Until the
// results are handed over, all that was made is freed at the end of the scope, and the caller's words are
// emptied.
template <class Choose>
class SetExtraction {
  public:
    // With `ranges` every set has its share of the progress.
    SetExtraction(MeshInfo *mesh, const ElementTraits &traits, bool ranges, int *cell_count, int **cell_list,
                  Choose choose)
        : mesh_(mesh),
          traits_(traits),
          ranges_(ranges),
          cell_count_(cell_count),
          cell_list_(cell_list),
          choose_(choose) {}
    ~SetExtraction() {
        if (handed_over_) return;
        UTILedge_table_delete(table_);
        for_each_task([this](int set, const SetTask &task) { free_results(set, *task.elements); });
    }
    SetExtraction(const SetExtraction &) = delete;
    SetExtraction &operator=(const SetExtraction &) = delete;

    // Makes the table and the mask of the level, walks all sets, and hands the results over. False on a
    // failure or an interruption.
    bool run(const void *data, int dtype, int null_flag, const void *null_value, double level, int *nnew,
             int **min_node, int **max_node, int line = __builtin_LINE()) {
        null_flag_ = null_flag;
        for_each_task([this](int set, const SetTask &) { empty_words(set); });
        table_ = UTILedge_table_create(mesh_->nnodes);
        if (!table_) return false;
        mask_ = allocate_mask(mesh_->nnodes, traits_.unit, line);
        if (!fill_mask(mesh_->nnodes, data, dtype, null_flag, null_value, level, mask_.get())) return false;
        for (int set = 0; set < mesh_->ncell_sets; ++set) {
            if (!run_set(set)) return false;
        }
        UTILedge_table_get_free(table_, min_node, max_node, nnew);
        handed_over_ = true;
        return true;
    }

  private:
    bool run_set(int set) {
        const std::optional<SetTask> task = choose_(set);
        if (!task) return false;
        const bool quadratic = mesh_->cell_order[set] > 1;
        if (!task->kernel || (quadratic && !mesh_->cell_funcs[set].funcs.tesselate_func)) return true;

        std::optional<StatusRange> range;
        const int nsets = mesh_->ncell_sets;
        if (ranges_) range.emplace(whole_percent(set, nsets), whole_percent(set + 1, nsets));
        ListWord cells;
        if (wants_cells() && !cells.create(traits_.step, traits_.unit)) return false;
        int made = 0;
        if (!(quadratic ? run_pieces(set, *task, cells, made) : run_linear(set, *task, cells, made))) {
            return false;
        }
        if (cell_count_) cell_count_[set] = made;
        if (wants_cells()) cell_list_[set] = std::exchange(cells.list, nullptr);
        *task->elements->count += made;
        return true;
    }

    bool run_linear(int set, const SetTask &task, ListWord &cells, int &made) {
        // A kernel's result doesn't tell cells that are not to be had from cells that nothing crosses.
        return fetch_cell_set(mesh_, set) && run_kernel(mesh_, set, task, cells, made);
    }

    bool run_pieces(int set, const SetTask &task, ListWord &cells, int &made) {
        const int ncells = mesh_->cell_ncells[set];
        int capacity = traits_.step;
        return for_each_chunk_of_pieces(
            mesh_, set, traits_.step, [&](const Pieces &pieces, int first, int count) {
                ListWord chunk_cells;
                if (wants_cells() && !chunk_cells.create(traits_.step, traits_.unit)) return false;
                int chunk_made = 0;
                {
                    const StatusRange range(whole_percent(first, ncells),
                                            whole_percent(first + count, ncells));
                    if (!run_kernel(pieces.record(), set, task, chunk_cells, chunk_made)) return false;
                }
                if (wants_cells()) {
                    if (!grow_list(cells, capacity, made + std::int64_t{chunk_made})) return false;
                    for (int n = 0; n < chunk_made; ++n) {
                        cells.list[made + n] = first + pieces.cell_of(chunk_cells.list[n]);
                    }
                }
                made += chunk_made;
                return true;
            });
    }

    bool run_kernel(MeshInfo *mesh, int set, const SetTask &task, ListWord &cells, int &made) {
        Elements &elements = *task.elements;
        made = task.kernel(mesh, set, null_flag_, mask_.get(), table_, elements.connect, elements.size,
                           &elements.capacity, &cells.list);
        if (made >= 0 && elements.capacity != KernelOutput::kStopped) return true;
        // The kernel has freed them.
        table_ = nullptr;
        static_cast<void>(mask_.release());
        *elements.connect = nullptr;
        return false;
    }

    bool grow_list(ListWord &cells, int &capacity, std::int64_t needed) {
        if (grow_in_steps(cells.list, capacity, needed, traits_.step, traits_.unit)) return true;
        traits_.report_list();
        return false;
    }

    bool wants_cells() const { return cell_count_ && cell_list_; }

    // Calls work(set, task) for every set that has a kernel, whose words are ours.
    template <class Work>
    void for_each_task(Work work) const {
        for (int set = 0; set < mesh_->ncell_sets; ++set) {
            const std::optional<SetTask> task = choose_(set);
            if (task && task->kernel) work(set, *task);
        }
    }

    void empty_words(int set) const {
        if (cell_count_) cell_count_[set] = 0;
        if (cell_list_) cell_list_[set] = nullptr;
    }

    void free_results(int set, const Elements &elements) const {
        if (*elements.connect) ARRfree_f(*elements.connect, traits_.unit, __LINE__);
        *elements.connect = nullptr;
        *elements.count = *elements.size = 0;
        if (wants_cells() && cell_list_[set]) ARRfree_f(cell_list_[set], traits_.unit, __LINE__);
        empty_words(set);
    }

    MeshInfo *mesh_;
    const ElementTraits &traits_;
    bool ranges_;
    int *cell_count_;
    int **cell_list_;
    Choose choose_;
    int null_flag_ = 0;
    Working<unsigned char> mask_;
    EdgeTable *table_ = nullptr;
    bool handed_over_ = false;
};

}  // namespace isofield::detail
#endif
