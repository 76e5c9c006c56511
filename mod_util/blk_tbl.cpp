// The search table of a mesh: blocks of space, and the cells whose bounding boxes touch them.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>

#include "block_grid.hpp"
#include "cell_geometry.hpp"
#include "cell_index.hpp"
#include "output_array.hpp"
#include "progress.hpp"
#include "working_array.hpp"

namespace {

using namespace isofield::detail;

constexpr const char *kUnit = "mod_util/blk_tbl";
constexpr const char *kStage = "building block table";
constexpr int kPollPeriod = 400;

struct TableSize {
    int ncells;  // up to, not including
    int nblk;
    int entries;
};

constexpr TableSize kSizes[] = {{1000, 7, 500}, {2000, 10, 1000}, {20000, 16, 2000}};
constexpr TableSize kLargest = {0, 20, 3000};

TableSize size_for(int ncells) {
    const TableSize *size = std::find_if(std::begin(kSizes), std::end(kSizes),
                                         [ncells](TableSize s) { return ncells < s.ncells; });
    return size == std::end(kSizes) ? kLargest : *size;
}

struct FreeTable {
    void operator()(BlockTable *table) const {
        for (int *array : {table->blocks, table->cell_list, table->next_list}) {
            if (array && table->owns_lists) ARRfree_f(array, kUnit, __LINE__);
        }
        std::free(table);
    }
};
using TablePtr = std::unique_ptr<BlockTable, FreeTable>;

TablePtr create_table(int ncells, int nspace) {
    TablePtr table(static_cast<BlockTable *>(std::malloc(sizeof(BlockTable))));
    if (!table) return table;
    const TableSize size = size_for(ncells);
    *table = {};
    table->nspace = nspace;
    table->nblk = size.nblk;
    table->nblocks = 1;
    for (int d = 0; d < nspace; ++d) table->nblocks *= size.nblk;
    table->list_cap = table->list_grow = size.entries;
    table->list_free = 1;
    table->owns_lists = 1;
    table->cell_list = allocate_array<int>(table->list_cap, kUnit);
    table->next_list = table->cell_list ? allocate_array<int>(table->list_cap, kUnit) : nullptr;
    table->blocks = table->next_list ? allocate_array<int>(table->nblocks, kUnit) : nullptr;
    if (!table->blocks) return nullptr;
    std::fill_n(table->next_list, table->list_cap, 0);
    std::fill_n(table->blocks, table->nblocks, 0);
    return table;
}

// Enters cells in a table, and gathers on the way what a finer index needs.
class TableBuilder {
  public:
    TableBuilder(MeshInfo *mesh, bool grid) : grid_(grid) {
        const int nspace = mesh->nspace;
        if (nspace >= 1 && nspace <= 3) table_ = create_table(mesh->ncells, nspace);
        if (!table_) return;
        std::copy_n(mesh->coord_min, nspace, table_->min);
        std::copy_n(mesh->coord_max, nspace, table_->max);
        blocks_.emplace(*table_);
    }

    explicit operator bool() const { return table_ != nullptr; }

    // Tells how many cells there are. With few, lists are short.
    void expect(std::int64_t ncells) {
        constexpr std::int64_t kFew = 1000;
        if (ncells < kFew || ncells > std::numeric_limits<int>::max()) return;
        const auto nblocks = static_cast<std::size_t>(table_->nblocks);
        cells_ = allocate_working<BoxedCell>(static_cast<std::size_t>(ncells));
        first_entered_ = allocate_cleared<int>(nblocks);
        lengths_ = allocate_cleared<int>(nblocks);
        indexable_ = cells_ && first_entered_ && lengths_;
    }

    // Cells come in the order of their ids. False when there is no memory.
    bool enter(int id, const Box &box) {
        const std::optional<BlockRange> range = blocks_->blocks_of(box);
        indexable_ = indexable_ && range && blocks_->inside(*range) && id > last_id_;
        if (!range) return true;
        if (indexable_) cells_[static_cast<std::size_t>(ncells_++)] = {box, id};
        last_id_ = id;
        bool entered = true;
        blocks_->for_each_run(*range, [&](int first, int end) {
            entered = entered && make_room(end - first);
            if (entered) enter_in_blocks(first, end, id);
        });
        return entered;
    }

    // Hands the table over.
    BlockTable *finish() {
        if (!indexable_ || mean_walk() < kShortWalk) return table_.release();
        return CellIndex::attach(table_.release(), cells_.get(), ncells_, first_entered_.get(), grid_);
    }

  private:
    static constexpr double kShortWalk = 16;

    bool make_room(int entries) {
        BlockTable &t = *table_;
        int capacity = t.list_cap;
        const std::int64_t needed = std::int64_t{t.list_free} + entries;
        if (!grow_in_steps(t.cell_list, capacity, needed, t.list_grow, kUnit)) return false;
        const int grown = capacity;
        capacity = t.list_cap;
        if (!grow_in_steps(t.next_list, capacity, needed, t.list_grow, kUnit)) return false;
        std::fill(t.next_list + t.list_cap, t.next_list + grown, 0);
        t.list_cap = grown;
        return true;
    }

    void enter_in_blocks(int first, int end, int id) {
        int *const cell_list = table_->cell_list, *const next_list = table_->next_list;
        int *const blocks = table_->blocks;
        int entry = table_->list_free;
        table_->list_free += end - first;
        for (int b = first; b < end; ++b, ++entry) {
            cell_list[entry] = id;
            next_list[entry] = blocks[b];
            blocks[b] = entry;
        }
        if (!indexable_) return;
        int *const lengths = lengths_.get(), *const first_entered = first_entered_.get();
        for (int b = first; b < end; ++b) {
            if (lengths[b]++ == 0) first_entered[b] = id;
        }
    }

    // Of a search in a block chosen by the number of its cells.
    double mean_walk() const {
        double sum = 0, squares = 0;
        for (int b = 0; b < table_->nblocks; ++b) {
            const double length = lengths_[static_cast<std::size_t>(b)];
            sum += length;
            squares += length * length;
        }
        return sum > 0 ? squares / sum : 0;
    }

    TablePtr table_;
    std::optional<BlockGrid> blocks_;
    bool grid_;

    bool indexable_ = false;
    int last_id_ = -1;
    int ncells_ = 0;
    Working<BoxedCell> cells_;
    Working<int> first_entered_, lengths_;
};

bool enter_cell_sets(MeshInfo *mesh, const float *coords, TableBuilder &builder) {
    std::int64_t ncells = 0;
    for (int s = 0; s < mesh->ncell_sets; ++s) ncells += mesh->cell_ncells[s];
    builder.expect(ncells);
    Poll poll(mesh->ncells, kPollPeriod, kStage);
    int done = 0;
    for (int s = 0; s < mesh->ncell_sets; ++s) {
        const int *nodes = fetch_cell_set(mesh, s);
        if (!nodes) return false;
        const int nnodes = mesh->cell_nnodes[s];
        for (int cell = 0; cell < mesh->cell_ncells[s]; ++cell, ++done, nodes += nnodes) {
            if (poll.stop(done)) return false;
            if (nnodes >= 1 && !builder.enter(mesh->cell_first[s] + cell,
                                              box_of_nodes(coords, mesh->nspace, nodes, nnodes))) {
                return false;
            }
        }
    }
    return true;
}

bool enter_grid_cells(MeshInfo *mesh, const float *coords, TableBuilder &builder) {
    int cells[3] = {1, 1, 1};  // per axis; at least one
    for (int d = 0; d < mesh->ndim; ++d) cells[d] = std::max(mesh->dims[d] - 1, 1);
    builder.expect(std::int64_t{cells[0]} * cells[1] * cells[2]);
    const MaskPoll poll(cells[2], 1, kStage);
    const int row = mesh->dims[0], plane = cells[2] > 1 ? row * mesh->dims[1] : 0;
    for (int k = 0; k < cells[2]; ++k) {
        if (poll.stop(k)) return false;
        for (int j = 0; j < cells[1]; ++j) {
            for (int i = 0; i < cells[0]; ++i) {
                const int corner = k * plane + j * row + i;
                CellNodes nodes;
                if (!find_grid_cell_nodes(mesh, corner, nodes)) continue;
                if (!builder.enter(corner, box_of_nodes(coords, mesh->nspace, nodes.nodes, nodes.nnodes)))
                    return false;
            }
        }
    }
    return true;
}

int build(MeshInfo *mesh, BlockTable **out, bool grid) {
    *out = nullptr;
    const float *coords = fetch_coords(mesh);
    if (!coords) return 0;
    TableBuilder builder(mesh, grid);
    if (!builder) return 0;
    const StatusRange range(0, 100);
    if (!(grid ? enter_grid_cells(mesh, coords, builder) : enter_cell_sets(mesh, coords, builder))) return 0;
    *out = builder.finish();
    poll_status(100);
    return 1;
}

}  // namespace

int UTILinterp_init_alloc(int ncells, int nspace, BlockTable **out) {
    *out = nspace >= 1 && nspace <= 3 ? create_table(ncells, nspace).release() : nullptr;
    return *out ? 1 : 0;
}

int UTILinterp_init(MeshInfo *mesh, BlockTable **out) {
    return build(mesh, out, false);
}

int UTILinterp_init_struct(MeshInfo *mesh, BlockTable **out) {
    return build(mesh, out, true);
}

int UTILinterp_init_unif(MeshInfo *, BlockTable **out) {
    *out = nullptr;
    return 1;
}

int UTILinterp_init_rect(MeshInfo *, BlockTable **out) {
    *out = nullptr;
    return 1;
}
