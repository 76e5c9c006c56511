// The table of cuts of a hex.
#include "case_rows.hpp"
#include "cell_types.hpp"
#include "constant_arrays.hpp"
#include "isofield.h"

namespace {

using namespace isofield::detail;

//       7---------6
//      /|        /|     edges 0-1, 1-2, 2-3, 0-3 below, 4-5, 5-6, 6-7, 4-7 above, risers 0-4, 1-5, 2-6, 3-7
//     4---------5 |
//     | 3-------|-2     nodes 2, 3, 6 and 7 are behind
//     |/        |/
//     0---------1
constexpr CutRow kRowsHex[] = {
#include "cut_rows_hex.inc"
};

constexpr CutTable<kRowsHex> kHex;

static_assert(rows_within(kHex, kMostCutNodes[kHexIndex], kMostCutPieces[kHexIndex]));

}  // namespace

// Numbers of rows, new nodes, cells and connect entries.
ISOFIELD_CASE_ARRAYS(CUT, hex, kHex, (0, 2, 5, 5), (1, 5, 3, 6), (1, 5, 8, 0), (6, 3, 2, 0));

const int CUTmax_index_hex = 255;
