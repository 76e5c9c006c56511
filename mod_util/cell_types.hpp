// The six cell kinds by type index: the order of the words that bands and cuts fill.
#ifndef ISOFIELD_MOD_UTIL_CELL_TYPES_HPP
#define ISOFIELD_MOD_UTIL_CELL_TYPES_HPP

namespace isofield::detail {

enum TypeIndex { kTetIndex, kPrismIndex, kPyrIndex, kHexIndex, kTriIndex, kQuadIndex };
constexpr int kCellTypes = 6;

// The most new nodes and pieces that a row of a kind's table of cuts has.
inline constexpr int kMostCutNodes[kCellTypes] = {4, 7, 6, 12, 2, 4};
inline constexpr int kMostCutPieces[kCellTypes] = {4, 9, 7, 13, 2, 4};

}  // namespace isofield::detail
#endif
