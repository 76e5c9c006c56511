// The kernel of bands and cuts on cell sets, and their walk over the sets of a mesh.
//
// Cells are taken in blocks: which of a block's cells stay, and by what masks, is found first in a loop
// without branches; only these cells are looked at again.
#ifndef ISOFIELD_MOD_UTIL_SET_SPLIT_HPP
#define ISOFIELD_MOD_UTIL_SET_SPLIT_HPP

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "cell_arrays.hpp"
#include "cell_split.hpp"
#include "edge_table.hpp"
#include "pieces.hpp"
#include "progress.hpp"

namespace isofield::detail {

// The cells of a block that stay, whole or in part.
struct KeptCells {
    static constexpr std::size_t kBlock = kCellPollPeriod + 1;

    std::size_t count = 0;
    int ncrossed = 0;
    std::array<int, kBlock> cells;
    std::array<std::uint8_t, kBlock> lower;  // mask of the nodes at or above the lower level
    std::array<std::uint8_t, kBlock> above;  // and of those above the upper one

    // Puts a cell behind the last one; it stays there when `stays`, and is overwritten by the next else.
    template <class Kind>
    void add(int cell, unsigned lower_mask, unsigned above_mask, bool stays) {
        cells[count] = cell;
        lower[count] = static_cast<std::uint8_t>(lower_mask);
        above[count] = static_cast<std::uint8_t>(above_mask);
        count += stays;
        ncrossed += stays & ((lower_mask != Kind::kAllKept) | (above_mask != 0));
    }
    void clear() {
        count = 0;
        ncrossed = 0;
    }
};

// Splits the cells of one set. `find(first, end, kept)` lists those that stay; `stop_block(first)` and
// `stop_crossed(cell)` poll, before a block but the first and before a crossed cell. False on a failure or an
// interruption.
template <class Kind, class Table, class Find, class StopBlock, class StopCrossed>
bool split_set(const MeshInfo *mesh, int set, const int *cells, int nold, const int *node_map, Table *table,
               const SplitOutput &out, Find find, StopBlock stop_block, StopCrossed stop_crossed) {
    constexpr int kType = Kind::kTypeIndex, kPiece = PieceTraits<Kind>::kType;
    constexpr int kPieceCorners = PieceTraits<Kind>::kCorners;
    CellArrays &arrays = out.arrays;
    CellLists &lists = out.lists;
    const int ncells = mesh->cell_ncells[set];
    const std::ptrdiff_t nnodes = mesh->cell_nnodes[set];
    EdgeLookup<Table> edges(table);
    CellSplitter<Kind, EdgeLookup<Table>> splitter(edges, mesh->nnodes, nold, out.lines_lo, out.lines_hi);
    KeptCells kept;
    for (int first = 0, end; first < ncells; first = end) {
        end = next_poll(first, ncells);
        if (first > 0 && stop_block(first)) return false;
        kept.clear();
        find(first, end, kept);
        if (kept.count == 0) continue;
        const std::int64_t nwhole = static_cast<std::int64_t>(kept.count) - kept.ncrossed;
        if (!reserve_split<Kind, kHasLevel<Table>>(edges, out, kept.ncrossed, nwhole)) return false;
        int *piece_end = arrays.end(kPiece), *own_end = arrays.end(kType);
        int *&whole_end = kType == kPiece ? piece_end : own_end;
        for (std::size_t k = 0; k < kept.count; ++k) {
            const int cell = kept.cells[k];
            const int *nodes = cells + cell * nnodes;
            std::array<int, Kind::kNodes> rows;
            for (std::size_t n = 0; n < rows.size(); ++n) rows[n] = node_map[nodes[n]];
            if (kept.lower[k] == Kind::kAllKept && kept.above[k] == 0) {
                whole_end = std::copy(rows.begin(), rows.end(), whole_end);
                lists.append(kType, cell, 1);
            } else {
                if (stop_crossed(cell)) return false;
                const int *start = piece_end;
                piece_end = splitter.split(kept.lower[k], kept.above[k], nodes, rows.data(), piece_end);
                lists.append(kPiece, cell, static_cast<int>(piece_end - start) / kPieceCorners);
            }
        }
        arrays.close(kPiece, piece_end, kPieceCorners);
        if (kType != kPiece) arrays.close(kType, own_end, Kind::kNodes);
    }
    return true;
}

// Walks the sets that have a kernel, which kernel_of(funcs) tells. begin_set(set) is called for each; then
// run(record, set, kernel, pieces, first) runs the kernel on the set, or, with `pieces`, on the pieces of its
// cells from `first`, at most `chunk` at a time. False as soon as either is.
template <class KernelOf, class BeginSet, class Run>
bool for_each_split_set(MeshInfo *mesh, int chunk, KernelOf kernel_of, BeginSet begin_set, Run run) {
    const int nsets = mesh->ncell_sets;
    for (int set = 0; set < nsets; ++set) {
        const auto kernel = kernel_of(mesh->cell_funcs[set].funcs);
        if (!kernel) continue;
        const StatusRange range(whole_percent(set, nsets), whole_percent(set + 1, nsets));
        if (!begin_set(set)) return false;
        if (mesh->cell_order[set] <= 1) {
            if (!run(mesh, set, kernel, nullptr, 0)) return false;
            continue;
        }
        if (!mesh->cell_funcs[set].funcs.tesselate_func) continue;
        const int ncells = mesh->cell_ncells[set];
        const bool done =
            for_each_chunk_of_pieces(mesh, set, chunk, [&](const Pieces &pieces, int first, int count) {
                const StatusRange part(whole_percent(first, ncells), whole_percent(first + count, ncells));
                return run(pieces.record(), set, kernel, &pieces, first);
            });
        if (!done) return false;
    }
    return true;
}

}  // namespace isofield::detail
#endif
