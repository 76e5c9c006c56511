// What the sweeps over grids share: the crossed cells of a row, and the lists of new nodes and elements.
#ifndef ISOFIELD_MOD_UTIL_GRID_SWEEP_HPP
#define ISOFIELD_MOD_UTIL_GRID_SWEEP_HPP

#include <cstdint>
#include <cstring>

#include "element_lists.hpp"
#include "output_array.hpp"

namespace isofield::detail {

// Cases are looked at by words: a row of them has this many zero bytes behind its end.
constexpr int kCaseWord = sizeof(std::uint64_t);

// Lists the cells of a row whose case is neither 0 nor all_above, and returns their number. `active` has
// room for all of the row.
inline int list_crossed(const unsigned char *cases, int ncells, unsigned char all_above, int *active) {
    const std::uint64_t all_words = ~std::uint64_t{0} / 255 * all_above;
    int nactive = 0;
    for (int i = 0; i < ncells; i += kCaseWord) {
        std::uint64_t word;
        std::memcpy(&word, cases + i, kCaseWord);
        if (word == 0 || word == all_words) continue;
        for (int c = i; c < i + kCaseWord; ++c) {
            active[nactive] = c;
            nactive += static_cast<unsigned char>(cases[c] - 1) < all_above - 1;
        }
    }
    return nactive;
}

// The results of a sweep. Freed unless handed over.
struct GridResults {
    GridResults(const ElementTraits &traits_of, bool with_cells)
        : traits(traits_of),
          wants_cells(with_cells),
          min_node(traits.unit, traits.step),
          max_node(traits.unit, traits.step),
          connect(traits.unit, traits.step),
          cell_list(traits.unit, traits.step) {}

    bool create() {
        return connect.create() && min_node.create() && max_node.create() &&
               (!wants_cells || cell_list.create());
    }

    // Room for so many more new nodes and elements.
    bool reserve(std::int64_t more_nodes, std::int64_t more_elements) {
        if (!min_node.reserve(nnew + more_nodes) || !max_node.reserve(nnew + more_nodes)) return false;
        if (wants_cells && !cell_list.reserve(nelements + more_elements)) {
            traits.report_list();
            return false;
        }
        if (!connect.reserve(traits.corners * (nelements + more_elements))) {
            traits.report_connect();
            return false;
        }
        return true;
    }

    void hand_over(int *nnew_out, int **min_out, int **max_out, int *count_out, int **connect_out,
                   int *size_out, int **cells_out) {
        *nnew_out = nnew;
        *count_out = nelements;
        *size_out = traits.corners * nelements;
        *min_out = min_node.release();
        *max_out = max_node.release();
        *connect_out = connect.release();
        if (wants_cells) *cells_out = cell_list.release();
    }

    const ElementTraits &traits;
    bool wants_cells;
    OutputArray<int> min_node, max_node, connect, cell_list;
    int nnew = 0;
    int nelements = 0;
};

}  // namespace isofield::detail
#endif
