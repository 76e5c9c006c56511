// Cells split by one or two levels: the pieces of a crossed cell as rows of the result. One text for bands
// and cuts, on cell sets and on grids; a cut is a band without an upper level.
#ifndef ISOFIELD_MOD_UTIL_CELL_SPLIT_HPP
#define ISOFIELD_MOD_UTIL_CELL_SPLIT_HPP

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "case_tables.hpp"
#include "cell_arrays.hpp"
#include "cell_types.hpp"

namespace isofield::detail {

// What pieces of a kind are, and how much one cell can make at most.
template <class Kind>
struct PieceTraits {
    static constexpr int kType = Kind::kVolume ? Tet::kTypeIndex : Tri::kTypeIndex;
    static constexpr int kCorners = Kind::kVolume ? Tet::kNodes : Tri::kNodes;
    static constexpr int kCutNodes = kMostCutNodes[Kind::kTypeIndex];
    static constexpr int kCutPieces = kMostCutPieces[Kind::kTypeIndex];
    // Two levels: in a volume every piece of the first may be cut again; in a flat cell each edge is cut
    // twice.
    static constexpr int kBandNodes =
        Kind::kVolume ? kCutNodes + kCutPieces * kMostCutNodes[kTetIndex] : 2 * Kind::kNodes;
    static constexpr int kBandPieces =
        Kind::kVolume ? kCutPieces * kMostCutPieces[kTetIndex] : Kind::kNodes + 1;
    static constexpr std::int64_t kMostLines = 2;  // along one level of a flat cell
};

// Room for the results of so many crossed cells and so many whole ones. False when there is no memory.
template <class Kind, bool kLevels, class Edges>
bool reserve_split(Edges &edges, const SplitOutput &out, std::int64_t ncrossed, std::int64_t nwhole) {
    using Traits = PieceTraits<Kind>;
    constexpr int kType = Kind::kTypeIndex, kPiece = Traits::kType;
    constexpr std::int64_t kNewNodes = kLevels ? Traits::kBandNodes : Traits::kCutNodes;
    constexpr std::int64_t kPieces = kLevels ? Traits::kBandPieces : Traits::kCutPieces;
    // Whole cells and pieces may be of one type, and stand in the order of the cells then.
    const std::int64_t of_piece_type = ncrossed * kPieces + (kType == kPiece ? nwhole : 0);
    return edges.reserve(ncrossed * kNewNodes) && out.arrays.reserve(kType, nwhole * Kind::kNodes) &&
           out.arrays.reserve(kPiece, of_piece_type * Traits::kCorners) && out.lists.reserve(kType, nwhole) &&
           out.lists.reserve(kPiece, of_piece_type) && out.lines_lo.reserve(ncrossed * Traits::kMostLines) &&
           out.lines_hi.reserve(ncrossed * Traits::kMostLines);
}

// Splits cells. `Edges` gives the number of the new node on an edge at a level, as EdgeLookup does; the
// result's rows are the old nodes', `nold` of them, then the new nodes'.
template <class Kind, class Edges>
class CellSplitter {
  public:
    using Traits = PieceTraits<Kind>;

    CellSplitter(Edges &edges, int nnodes, int nold, LineList &lines_lo, LineList &lines_hi)
        : edges_(edges), nnodes_(nnodes), nold_(nold), lines_lo_(lines_lo), lines_hi_(lines_hi) {}

    // Writes the pieces of a cell to `out`, and returns their end. `lower` is the mask of the nodes at or
    // above the lower level, `above` of those above the upper one; one of them crosses the cell at least. Per
    // local node its number and its row; rows of nodes that don't stay are not used.
    int *split(unsigned lower, unsigned above, const int *nodes, const int *rows, int *out) {
        const unsigned inside = Kind::kAllKept & ~above;
        if (inside == Kind::kAllKept) return cut(lower, 0, nodes, rows, out, lines_lo_);
        if (lower == Kind::kAllKept) return cut(inside, 1, nodes, rows, out, lines_hi_);
        if constexpr (Kind::kVolume) {
            return band_of_volume(lower, above, nodes, rows, out);
        } else {
            return band_of_flat(lower, above, nodes, rows, out);
        }
    }

  private:
    // Old rows, and the rows of new nodes behind them.
    template <int kNew>
    static std::array<int, Kind::kNodes + kNew> entry_rows(const int *rows) {
        std::array<int, Kind::kNodes + kNew> entries;
        std::copy_n(rows, Kind::kNodes, entries.begin());
        return entries;
    }

    // Writes the pieces of table row `row`: `entries` are the rows of the K::kNodes nodes and of the new
    // nodes.
    template <class K, class Tables>
    static int *write_pieces(const Tables &tables, int row, const int *entries, int *out) {
        const unsigned char *corner = tables.connect_list + tables.c_ind[row];
        const unsigned char *is_new = tables.new_flag_list + tables.c_ind[row];
        const int ncorners = tables.ncell[row] * Traits::kCorners;
        for (int c = 0; c < ncorners; ++c) *out++ = entries[corner[c] + K::kNodes * is_new[c]];
        return out;
    }

    // The pieces of a cell of kind K that one level leaves; `entries` has room for the new nodes' rows.
    template <class K>
    int *expand(unsigned index, int level, const int *nodes, int *entries, int *out) {
        constexpr const CutTables &tables = K::kCut;
        const unsigned char *a = tables.min_node + tables.m_ind[index];
        const unsigned char *b = tables.max_node + tables.m_ind[index];
        const int nnew = tables.nnew_nodes[index];
        for (int e = 0; e < nnew; ++e)
            entries[K::kNodes + e] = nold_ + edges_(nodes[a[e]], nodes[b[e]], level);
        return write_pieces<K>(tables, static_cast<int>(index), entries, out);
    }

    int *cut(unsigned index, int level, const int *nodes, const int *rows, int *out,
             [[maybe_unused]] LineList &lines) {
        auto entries = entry_rows<Traits::kCutNodes>(rows);
        out = expand<Kind>(index, level, nodes, entries.data(), out);
        if constexpr (!Kind::kVolume) {
            if (lines.wanted()) {
                constexpr const CutLineTables &tables = Kind::kCutLines;
                lines.append(tables.nline[index], tables.connect_list + tables.cind[index],
                             entries.data() + Kind::kNodes);
            }
        }
        return out;
    }

    int *band_of_flat(unsigned lower, unsigned above, const int *nodes, const int *rows, int *out) {
        constexpr const ContourTables &tables = Kind::kContour;
        const int row = tables.table_index[above * Kind::kContourSide + lower];
        if (row < 0) return out;  // of levels out of order
        auto entries = entry_rows<Traits::kBandNodes>(rows);
        int *new_rows = entries.data() + Kind::kNodes;
        const int first = tables.m_ind[row], nnew = tables.nnew_nodes[row];
        for (int e = 0; e < nnew; ++e) {
            new_rows[e] = nold_ + edges_(nodes[tables.min_node[first + e]], nodes[tables.max_node[first + e]],
                                         tables.values[first + e]);
        }
        out = write_pieces<Kind>(tables, row, entries.data(), out);
        if (lines_lo_.wanted()) {
            lines_lo_.append(tables.nedge1[row], tables.connect_edge1 + tables.edge_ind1[row], new_rows);
        }
        if (lines_hi_.wanted()) {
            lines_hi_.append(tables.nedge2[row], tables.connect_edge2 + tables.edge_ind2[row], new_rows);
        }
        return out;
    }

    // No table has two levels in a volume: the tetrahedra that the lower level leaves are cut at the upper
    // one. There a new node of the lower level has a number behind the mesh's nodes.
    int *band_of_volume(unsigned lower, unsigned above, const int *nodes, const int *rows, int *out) {
        constexpr const CutTables &tables = Kind::kCut;
        auto entry = entry_rows<Traits::kCutNodes>(rows);
        std::array<int, entry.size()> number;
        std::copy_n(nodes, Kind::kNodes, number.begin());
        const int first = tables.m_ind[lower], nnew = tables.nnew_nodes[lower];
        for (std::size_t e = 0; e < static_cast<std::size_t>(nnew); ++e) {
            const int n = edges_(nodes[tables.min_node[static_cast<std::size_t>(first) + e]],
                                 nodes[tables.max_node[static_cast<std::size_t>(first) + e]], 0);
            entry[Kind::kNodes + e] = nold_ + n;
            number[Kind::kNodes + e] = nnodes_ + n;
        }
        const unsigned char *corner = tables.connect_list + tables.c_ind[lower];
        const unsigned char *is_new = tables.new_flag_list + tables.c_ind[lower];
        for (int piece = 0; piece < tables.ncell[lower]; ++piece) {
            constexpr std::size_t kCorners = Tet::kNodes;
            std::array<std::size_t, kCorners> at;
            unsigned sub_above = 0;
            for (std::size_t c = 0; c < kCorners; ++c, ++corner, ++is_new) {
                at[c] = *corner + std::size_t{Kind::kNodes} * *is_new;
                // A new node lies at the lower level, which is not above the upper one.
                sub_above |= (above >> at[c] & 1u) << c;
            }
            const unsigned sub_inside = Tet::kAllKept & ~sub_above;
            if (sub_inside == Tet::kAllKept) {
                for (const std::size_t n : at) *out++ = entry[n];
            } else if (sub_inside != 0) {
                std::array<int, kCorners> sub_number;
                std::array<int, kCorners + PieceTraits<Tet>::kCutNodes> sub_entry;
                for (std::size_t c = 0; c < kCorners; ++c) {
                    sub_number[c] = number[at[c]];
                    sub_entry[c] = entry[at[c]];
                }
                out = expand<Tet>(sub_inside, 1, sub_number.data(), sub_entry.data(), out);
            }
        }
        return out;
    }

    Edges &edges_;
    int nnodes_, nold_;
    LineList &lines_lo_, &lines_hi_;
};

}  // namespace isofield::detail
#endif
