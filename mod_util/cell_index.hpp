// A finer index beside a search table: a tree of bounding boxes that finds the cells near a point without a
// walk through a block's list. It stands behind the table's record in the same block of memory, so that the
// record is freed as ever; the record's index_key tells whether it is there.
//
// The tree: cells in the order of a space-filling curve, eight to a leaf, eight leaves to a node and so on
// (after I. Kamel and C. Faloutsos, "On packing R-trees", 1993).
#ifndef ISOFIELD_MOD_UTIL_CELL_INDEX_HPP
#define ISOFIELD_MOD_UTIL_CELL_INDEX_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "box_lanes.hpp"
#include "spatial_order.hpp"
#include "spread_key.hpp"
#include "working_array.hpp"

namespace isofield::detail {

// The tolerance of a search, in space.
inline float search_tolerance(const BlockTable &table) {
    constexpr double kPartOfExtents = 1e-06;
    float extents = 0;
    for (int d = 0; d < 3; ++d) extents += table.max[d] - table.min[d];
    return static_cast<float>(static_cast<double>(extents) * kPartOfExtents);
}

struct BoxedCell {
    Box box;
    int id;
};

class CellIndex {
  public:
    // Cells whose boxes, widened by the tolerance, hold a point: the highest id first.
    struct Candidates {
        static constexpr int kRoom = 64;
        int count = 0;
        int id[kRoom];
    };

    // The index of a table, or null where it has none, or was copied or changed since it was built.
    static const CellIndex *of(const BlockTable *table) {
        return table->index_key != 0 && table->index_key == key_of(table)
                   ? reinterpret_cast<const CellIndex *>(table + 1)
                   : nullptr;
    }

    // Adds an index to a table, which may move. On failure the table stays as it was, without one.
    //   first_entered  per block the cell that was entered first, the last of its list
    //   grid           ids are corner numbers
    static BlockTable *attach(BlockTable *table, const BoxedCell *cells, int ncells, const int *first_entered,
                              bool grid);

    float tolerance() const { return tolerance_; }
    bool of_grid() const { return grid_; }
    int last_in_list(int block) const { return at<int>(last_offset_)[block]; }

    // False when there is no room for all of them.
    bool find_candidates(const float *xyz, Candidates &found) const;

    // Calls visit_cell(id, boxes, lane) for each cell whose widened box meets a box, in no order, until it
    // returns false; and returns false then.
    template <class Visitor>
    bool visit_near(const float *min, const float *max, Visitor visit_cell) const;

  private:
    static constexpr int kFan = BoxLanes::kFan;
    static constexpr int kMaxLevels = 12;

    // What distinguishes this very record from any other: never 0.
    static unsigned key_of(const BlockTable *table) {
        const std::uintptr_t words[] = {reinterpret_cast<std::uintptr_t>(table),
                                        reinterpret_cast<std::uintptr_t>(table->blocks),
                                        reinterpret_cast<std::uintptr_t>(table->cell_list),
                                        reinterpret_cast<std::uintptr_t>(table->next_list),
                                        static_cast<std::uintptr_t>(table->list_free)};
        std::uint64_t key = 0;
        for (const std::uintptr_t word : words) key = spread_key(key ^ word);
        return static_cast<unsigned>(key >> 32) | 1u;
    }

    template <class T>
    const T *at(std::size_t offset) const {
        return reinterpret_cast<const T *>(reinterpret_cast<const char *>(this) + offset);
    }
    template <class T>
    T *at(std::size_t offset) {
        return reinterpret_cast<T *>(reinterpret_cast<char *>(this) + offset);
    }

    void fill(const BoxedCell *cells, const CurveItem *order, int ncells, const int *first_entered,
              int nblocks);

    float tolerance_;
    bool grid_;
    int nlevels_;  // level 0 has the cells
    std::size_t last_offset_, id_offset_;
    std::size_t level_offset_[kMaxLevels];
};

// Puts cells in an order in which neighbours are near each other, however much their sizes differ: runs that
// share a code are ordered again within their own bounds.
inline void order_cells(const BoxedCell *cells, CurveItem *items, CurveItem *scratch, std::size_t count) {
    constexpr std::size_t kEnough = 8;
    const auto middle = [cells](int item, float *xyz) {
        for (int d = 0; d < 3; ++d) xyz[d] = 0.5f * cells[item].box.min[d] + 0.5f * cells[item].box.max[d];
    };
    if (count <= kEnough) return;
    float lo[3], hi[3], xyz[3];
    middle(items[0].item, lo);
    std::copy_n(lo, 3, hi);
    for (std::size_t i = 1; i < count; ++i) {
        middle(items[i].item, xyz);
        for (int d = 0; d < 3; ++d) {
            lo[d] = std::min(lo[d], xyz[d]);
            hi[d] = std::max(hi[d], xyz[d]);
        }
    }
    const CurveCoder code(lo, hi);
    for (std::size_t i = 0; i < count; ++i) {
        middle(items[i].item, xyz);
        items[i].code = code(xyz);
    }
    sort_by_code(items, scratch, count);
    for (std::size_t first = 0, end; first < count; first = end) {
        for (end = first + 1; end < count && items[end].code == items[first].code;) ++end;
        if (end - first < count) order_cells(cells, items + first, scratch, end - first);
    }
}

inline BlockTable *CellIndex::attach(BlockTable *table, const BoxedCell *cells, int ncells,
                                     const int *first_entered, bool grid) {
    const auto count = static_cast<std::size_t>(ncells);
    const auto items = allocate_working<CurveItem>(count), scratch = allocate_working<CurveItem>(count);
    if (!items || !scratch) return table;
    for (int i = 0; i < ncells; ++i) items[static_cast<std::size_t>(i)] = {0, i};
    order_cells(cells, items.get(), scratch.get(), count);

    // Sizes first: the nodes of each level, from the cells' up, then the ids and the ends of the lists.
    constexpr std::size_t kLine = 64;
    std::size_t nodes_of_level[kMaxLevels], all_nodes = 0;
    int nlevels = 0;
    for (std::size_t n = count; nlevels < kMaxLevels && (n > 1 || nlevels == 0);) {
        n = (n + kFan - 1) / kFan;
        nodes_of_level[nlevels++] = n;
        all_nodes += n;
    }
    const std::size_t lanes = nodes_of_level[0] * kFan;
    const std::size_t bytes = sizeof(BlockTable) + sizeof(CellIndex) + kLine + all_nodes * sizeof(BoxLanes) +
                              (lanes + static_cast<std::size_t>(table->nblocks)) * sizeof(int);
    auto *moved = static_cast<BlockTable *>(std::realloc(table, bytes));
    if (!moved) return table;

    auto *index = reinterpret_cast<CellIndex *>(moved + 1);
    const auto start = reinterpret_cast<std::uintptr_t>(index);
    std::size_t offset = (start + sizeof(CellIndex) + kLine - 1) / kLine * kLine - start;
    for (int level = 0; level < nlevels; ++level) {
        index->level_offset_[level] = offset;
        offset += nodes_of_level[level] * sizeof(BoxLanes);
    }
    index->id_offset_ = offset;
    index->last_offset_ = offset + lanes * sizeof(int);
    index->nlevels_ = nlevels;
    index->grid_ = grid;
    index->tolerance_ = search_tolerance(*moved);
    index->fill(cells, items.get(), ncells, first_entered, moved->nblocks);
    moved->index_key = key_of(moved);
    return moved;
}

inline void CellIndex::fill(const BoxedCell *cells, const CurveItem *order, int ncells,
                            const int *first_entered, int nblocks) {
    std::copy_n(first_entered, nblocks, at<int>(last_offset_));
    int *id = at<int>(id_offset_);
    BoxLanes *leaves = at<BoxLanes>(level_offset_[0]);
    const int lanes = (ncells + kFan - 1) / kFan * kFan;
    for (int i = 0; i < lanes; ++i) {
        Box box = kNowhere;
        if (i < ncells) {
            const BoxedCell &cell = cells[order[i].item];
            for (int d = 0; d < 3; ++d) {
                box.min[d] = cell.box.min[d] - tolerance_;
                box.max[d] = cell.box.max[d] + tolerance_;
            }
            id[i] = cell.id;
        }
        leaves[i / kFan].set(i % kFan, box);
    }
    int below = lanes / kFan;
    for (int level = 1; level < nlevels_; ++level) {
        const BoxLanes *from = at<BoxLanes>(level_offset_[level - 1]);
        BoxLanes *to = at<BoxLanes>(level_offset_[level]);
        const int nodes = (below + kFan - 1) / kFan;
        for (int i = 0; i < nodes * kFan; ++i) {
            to[i / kFan].set(i % kFan, i < below ? from[i].hull() : kNowhere);
        }
        below = nodes;
    }
}

template <class Visitor>
bool CellIndex::visit_near(const float *min, const float *max, Visitor visit_cell) const {
    // A node to visit, in one word: its level above its number.
    constexpr int kLevelShift = 28;
    unsigned stack[kMaxLevels * kFan];
    int depth = 0;
    stack[depth++] = static_cast<unsigned>(nlevels_ - 1) << kLevelShift;
    const int *ids = at<int>(id_offset_);
    while (depth > 0) {
        const unsigned visit = stack[--depth];
        const unsigned level = visit >> kLevelShift, number = visit & ((1u << kLevelShift) - 1);
        const BoxLanes &node = at<BoxLanes>(level_offset_[level])[number];
        for (unsigned bits = node.meeting(min, max); bits != 0; bits &= bits - 1) {
            const int lane = __builtin_ctz(bits);
            const unsigned child = number * kFan + static_cast<unsigned>(lane);
            if (level > 0) {
                stack[depth++] = (level - 1) << kLevelShift | child;
            } else if (!visit_cell(ids[child], node, lane)) {
                return false;
            }
        }
    }
    return true;
}

inline bool CellIndex::find_candidates(const float *xyz, Candidates &found) const {
    return visit_near(xyz, xyz, [&found](int id, const BoxLanes &, int) {
        if (found.count == Candidates::kRoom) return false;
        int place = found.count++;
        for (; place > 0 && found.id[place - 1] < id; --place) found.id[place] = found.id[place - 1];
        found.id[place] = id;
        return true;
    });
}

}  // namespace isofield::detail
#endif
