// The sweep of bands and cuts over grids: layer by layer of cells, which lie between two planes of nodes (in
// two dimensions two rows).
//
// A layer is classified first, from byte masks of its planes; cells that don't stay are passed over eight at
// a time. New nodes are found in a rolling edge table.
#ifndef ISOFIELD_MOD_UTIL_GRID_SPLIT_HPP
#define ISOFIELD_MOD_UTIL_GRID_SPLIT_HPP

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "cell_arrays.hpp"
#include "cell_split.hpp"
#include "edge_table.hpp"
#include "node_mask.hpp"
#include "progress.hpp"

namespace isofield::detail {

// Where a local node stands in its cell: 1 for the far side of an axis, and for the next plane.
struct GridCorner {
    std::uint8_t i, j, next;
};

template <class Kind>
inline constexpr std::array<GridCorner, Kind::kNodes> kGridCorners;
template <>
inline constexpr std::array<GridCorner, 4> kGridCorners<Quad> = {
    {{0, 0, 0}, {1, 0, 0}, {1, 0, 1}, {0, 0, 1}}};
// The next plane comes first: cells are mirrored in index space.
template <>
inline constexpr std::array<GridCorner, 8> kGridCorners<Hex> = {
    {{0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}, {0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}};

// In the masks of planes: all bits of a byte, for every corner of a case.
constexpr int kHolds = 255;

// One plane of nodes.
struct GridPlane {
    Working<unsigned char> lower;  // at or above the lower level
    Working<unsigned char> above;  // above the upper one
    Working<unsigned char> null;
    Working<int> rows;  // of nodes that stay
};

// The mask of the n nodes from `data` on that are null.
inline void mask_nulls(int n, const void *data, int dtype, const void *null_value, unsigned char *mask) {
    UTILthreshold_scalar(n, data, dtype, 1, null_value, 1, 0.0, 0, 0, kHolds, mask);
}

inline void clean(EdgeTableStr *table, int n) {
    UTILedge_table_clean(table, n);
}
inline void clean(EdgeTable2Str *table, int n) {
    UTILedge_table2_clean(table, n);
}

struct DeleteTable {
    void operator()(EdgeTableStr *table) const { UTILedge_table_delete_str(table); }
    void operator()(EdgeTable2Str *table) const { UTILedge_table2_delete_str(table); }
};

// Nodes of a plane; in two dimensions of a row.
template <class Kind>
int plane_size(const MeshInfo *mesh) {
    return Kind::kVolume ? mesh->dims[0] * mesh->dims[1] : mesh->dims[0];
}

// Loops that compilers turn into vector code.
inline void add_bit(const unsigned char *__restrict mask, unsigned bit, int n,
                    unsigned char *__restrict cases) {
    const auto byte = static_cast<unsigned char>(bit);
    for (int i = 0; i < n; ++i) cases[i] |= mask[i] & byte;
}
inline void clear_where(const unsigned char *__restrict mask, int n, unsigned char *__restrict cases) {
    for (int i = 0; i < n; ++i) cases[i] &= static_cast<unsigned char>(~mask[i]);
}

// The sweep. Tables with levels make bands, others cuts.
template <class Kind, class Table>
class GridSplit {
  public:
    static constexpr bool kLevels = kHasLevel<Table>;

    // All that `out` refers to outlives the sweep.
    GridSplit(const MeshInfo *mesh, bool has_nulls, int nold, Table *table, const SplitOutput &out)
        : d0_(mesh->dims[0]),
          nrows_(Kind::kVolume ? mesh->dims[1] - 1 : 1),
          layer_(plane_size<Kind>(mesh)),
          nlayers_(mesh->dims[Kind::kVolume ? 2 : 1]),
          has_nulls_(has_nulls),
          table_(table),
          out_(out),
          edges_(table),
          splitter_(edges_, mesh->nnodes, nold, out.lines_lo, out.lines_hi) {}

    // load(k, plane) fills plane k, whose rows are -1 before; end_layer(k) is called after the cells of layer
    // k. Either may give false. False then, on a failure, and when interrupted.
    template <class Load, class EndLayer>
    bool run(Load load, EndLayer end_layer) {
        if (!allocate() || !load_next(0, load)) return false;
        const MaskPoll poll(nlayers_ - 1.0);
        for (int k = 0; k < nlayers_ - 1; ++k) {
            if (poll.stop(k)) return false;
            std::swap(current_, next_);
            if (!load_next(k + 1, load)) return false;
            edges_.set_base(k * layer_);
            for (int j = 0; j < nrows_; ++j) {
                if (!split_row(k, j)) return false;
            }
            if (!end_layer(k)) return false;
            clean(table_, layer_);
        }
        return true;
    }

  private:
    using Traits = PieceTraits<Kind>;
    static constexpr std::size_t kNodes = Kind::kNodes;
    static constexpr int kType = Kind::kTypeIndex, kPiece = Traits::kType;
    static constexpr int kWord = sizeof(std::uint64_t);

    bool allocate() {
        const auto layer = static_cast<std::size_t>(layer_), row = static_cast<std::size_t>(d0_);
        for (GridPlane *plane : {&current_, &next_}) {
            plane->lower =
                kLevels ? allocate_cleared<unsigned char>(layer) : allocate_mask(layer_, "mod_util/cut_str");
            if (kLevels) plane->above = allocate_cleared<unsigned char>(layer);
            if (has_nulls_) plane->null = allocate_cleared<unsigned char>(layer);
            plane->rows = allocate_working<int>(layer);
            if (!plane->lower || (kLevels && !plane->above) || (has_nulls_ && !plane->null) || !plane->rows) {
                return false;
            }
        }
        // Cases are looked at by words: those behind a row's end stay 0.
        lower_ = allocate_cleared<unsigned char>(row + kWord);
        above_ = allocate_cleared<unsigned char>(row + kWord);
        kept_ = allocate_working<int>(row + kWord);
        return lower_ && above_ && kept_;
    }

    template <class Load>
    bool load_next(int k, Load &load) {
        std::fill_n(next_.rows.get(), layer_, -1);
        return load(k, next_);
    }

    // The mask of a corner of each cell of row j, by the cell's i.
    template <class T>
    const T *at_corner(std::size_t n, int j, Working<T> GridPlane::*array) const {
        const GridCorner corner = kGridCorners<Kind>[n];
        const GridPlane &plane = corner.next ? next_ : current_;
        return (plane.*array).get() + ((j + corner.j) * d0_ + corner.i);
    }

    void find_cases(int j, Working<unsigned char> GridPlane::*masks, unsigned char *cases) const {
        std::memset(cases, 0, static_cast<std::size_t>(d0_ - 1));
        for (std::size_t n = 0; n < kNodes; ++n) add_bit(at_corner(n, j, masks), 1u << n, d0_ - 1, cases);
    }

    void drop_nulls(int j, unsigned char *cases) const {
        for (std::size_t n = 0; n < kNodes; ++n) {
            clear_where(at_corner(n, j, &GridPlane::null), d0_ - 1, cases);
        }
    }

    // Lists the cells of row j that stay.
    void find_kept(int j) {
        unsigned char *lower = lower_.get(), *above = above_.get();
        find_cases(j, &GridPlane::lower, lower);
        if (kLevels) find_cases(j, &GridPlane::above, above);
        if (has_nulls_) drop_nulls(j, lower);
        constexpr std::uint64_t kAllAbove = ~std::uint64_t{0} / 255 * Kind::kAllKept;
        nkept_ = ncrossed_ = 0;
        for (int first = 0; first < d0_ - 1; first += kWord) {
            std::uint64_t lower_word, above_word;
            std::memcpy(&lower_word, lower + first, kWord);
            std::memcpy(&above_word, above + first, kWord);
            if (lower_word == 0 || above_word == kAllAbove) continue;
            for (int i = first; i < first + kWord; ++i) {
                const bool stays = (lower[i] != 0) & (above[i] != Kind::kAllKept);
                kept_[static_cast<std::size_t>(nkept_)] = i;
                nkept_ += stays;
                ncrossed_ += stays & ((lower[i] != Kind::kAllKept) | (above[i] != 0));
            }
        }
    }

    bool split_row(int k, int j) {
        find_kept(j);
        if (nkept_ == 0) return true;
        if (!reserve_split<Kind, kLevels>(edges_, out_, ncrossed_, nkept_)) return false;
        const int base = k * layer_;
        const int first_cell = (k * nrows_ + j) * (d0_ - 1);
        std::array<const int *, kNodes> rows_at;
        std::array<int, kNodes> node_at;
        for (std::size_t n = 0; n < kNodes; ++n) {
            const GridCorner corner = kGridCorners<Kind>[n];
            rows_at[n] = at_corner(n, j, &GridPlane::rows);
            node_at[n] = base + corner.next * layer_ + (j + corner.j) * d0_ + corner.i;
        }
        int *whole_end = out_.arrays.end(kType), *piece_end = out_.arrays.end(kPiece);
        for (int at = 0; at < nkept_; ++at) {
            const int i = kept_[static_cast<std::size_t>(at)];
            const unsigned lower = lower_[static_cast<std::size_t>(i)];
            const unsigned above = above_[static_cast<std::size_t>(i)];
            if (lower == Kind::kAllKept && above == 0) {
                for (std::size_t n = 0; n < kNodes; ++n) *whole_end++ = rows_at[n][i];
                out_.lists.append(kType, first_cell + i, 1);
                continue;
            }
            std::array<int, kNodes> nodes, rows;
            for (std::size_t n = 0; n < kNodes; ++n) {
                nodes[n] = node_at[n] + i;
                rows[n] = rows_at[n][i];
            }
            const int *start = piece_end;
            piece_end = splitter_.split(lower, above, nodes.data(), rows.data(), piece_end);
            out_.lists.append(kPiece, first_cell + i, static_cast<int>(piece_end - start) / Traits::kCorners);
        }
        out_.arrays.close(kType, whole_end, Kind::kNodes);
        out_.arrays.close(kPiece, piece_end, Traits::kCorners);
        return true;
    }

    int d0_, nrows_, layer_, nlayers_;
    bool has_nulls_;
    Table *table_;
    SplitOutput out_;
    EdgeLookup<Table> edges_;
    CellSplitter<Kind, EdgeLookup<Table>> splitter_;
    GridPlane current_, next_;
    Working<unsigned char> lower_, above_;  // the masks of a row's cells
    Working<int> kept_;
    int nkept_ = 0, ncrossed_ = 0;
};

}  // namespace isofield::detail
#endif
