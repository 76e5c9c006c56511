// The polygons in which one level crosses a volume cell.
//
// An index has one bit per node, set when the node is at or above the level, in an order of its own: see the
// slice_nodes_* arrays. Index 0 and the all-ones index have no crossing; their rows are zero. Corners of
// polygons lie on crossed edges, given by their ends. Normals of the polygons point to the side below the
// level in hex, prism and pyr, and to the other side in tet.
#ifndef ISOFIELD_MOD_UTIL_SLICE_TABLES_HPP
#define ISOFIELD_MOD_UTIL_SLICE_TABLES_HPP

#include <cstddef>
#include <cstdint>

#include "case_rows.hpp"

namespace isofield::detail {

struct SliceRow {
    int index;
    const char *above;
    const char *pairs;  // left vertex - right vertex, all polygons one after the other
    const char *sizes;  // corners of each polygon
};

// Size is the element type of nppoly, Vertex that of left_vert and right_vert.
template <int kNodes, int kMostCorners, int kSplits, int kTriples, typename Size, typename Vertex>
struct SliceTable {
    static constexpr int kIndices = 1 << kNodes;

    int ninter_pts[kIndices] = {};    // corners of all polygons
    int ninter_polys[kIndices] = {};  // polygons, at most 4
    Size nppoly[kIndices][4] = {};    // corners of each
    // Ends of each corner's edge. Left is the end at or above the level in hex, prism and pyr, the other one
    // in tet.
    Vertex left_vert[kIndices][kMostCorners] = {};
    Vertex right_vert[kIndices][kMostCorners] = {};
    // Pair p is for polygons of p + 1 corners: their number of triangles, and the first of them in npcel.
    int ncell[kSplits][2] = {};
    int npcel[kTriples][3] = {};  // corners of each triangle

    // `nodes` is the node of each bit of an index. In `reversed` tables the triangles are turned over.
    template <std::size_t kRows>
    constexpr SliceTable(const SliceRow (&rows)[kRows], const int (&nodes)[kNodes], bool reversed) {
        static_assert(kRows == kIndices - 2);
        int index = 0;
        for (const SliceRow &row : rows) {
            int mask = 0;
            index++;
            for (int bit = 0; bit < kNodes; bit++) mask |= (index >> bit & 1) << nodes[bit];
            if (row.index != index || mask_of_digits(row.above) != mask) throw "row out of place";
            add_row(row);
        }
        constexpr int kPairs[7][2] = {{0, 0}, {0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 3}, {5, 7}};
        constexpr int kCorners[12][3] = {{0, 1, 2}, {0, 2, 3}, {0, 3, 4}, {0, 1, 2}, {0, 2, 3}, {0, 3, 5},
                                         {3, 4, 5}, {0, 1, 2}, {0, 2, 3}, {0, 3, 6}, {3, 4, 6}, {4, 5, 6}};
        for (int i = 0; i < kSplits; i++) {
            for (int j = 0; j < 2; j++) ncell[i][j] = kPairs[i][j];
        }
        for (int i = 0; i < kTriples; i++) {
            for (int j = 0; j < 3; j++) npcel[i][j] = kCorners[i][reversed && j ? 3 - j : j];
        }
    }

    // Calls f(a, b, c) with the corners of each triangle of a case, counted through all its polygons.
    template <class F>
    constexpr void for_each_triangle(int index, F f) const {
        int first_corner = 0;
        for (int polygon = 0; polygon < ninter_polys[index]; ++polygon) {
            const int ncorners = nppoly[index][polygon];
            const auto &[ntriples, first_triple] = ncell[ncorners - 1];
            for (int triple = first_triple; triple < first_triple + ntriples; ++triple) {
                const auto &[a, b, c] = npcel[triple];
                f(first_corner + a, first_corner + b, first_corner + c);
            }
            first_corner += ncorners;
        }
    }

  private:
    constexpr void add_row(const SliceRow &row) {
        int &points = ninter_pts[row.index], &polygons = ninter_polys[row.index];
        for (const char *text = row.pairs; *text; text += text[3] ? 4 : 3) {
            if (text[1] != '-' || (text[3] && text[3] != ' ')) throw "not a pair";
            left_vert[row.index][points] = static_cast<Vertex>(digit(text[0]));
            right_vert[row.index][points++] = static_cast<Vertex>(digit(text[2]));
        }
        int corners = 0;
        for (const char *text = row.sizes; *text; text++) {
            if (*text == ' ') continue;
            corners += digit(*text);
            nppoly[row.index][polygons++] = static_cast<Size>(digit(*text));
        }
        if (corners != points) throw "polygons and corners differ";
    }
};

// clang-format off
inline constexpr SliceRow kSliceRowsTet[] = {
    {1, "0", "1-0 3-0 2-0", "3"},
    {2, "1", "0-1 2-1 3-1", "3"},
    {3, "01", "2-0 2-1 3-1 3-0", "4"},
    {4, "2", "1-2 0-2 3-2", "3"},
    {5, "02", "1-0 3-0 3-2 1-2", "4"},
    {6, "12", "0-1 0-2 3-2 3-1", "4"},
    {7, "012", "3-2 3-1 3-0", "3"},
    {8, "3", "2-3 0-3 1-3", "3"},
    {9, "03", "1-0 1-3 2-3 2-0", "4"},
    {10, "13", "0-1 2-1 2-3 0-3", "4"},
    {11, "013", "2-0 2-1 2-3", "3"},
    {12, "23", "1-2 0-2 0-3 1-3", "4"},
    {13, "023", "1-0 1-3 1-2", "3"},
    {14, "123", "0-1 0-2 0-3", "3"},
};

inline constexpr SliceRow kSliceRowsPyr[] = {
    {1, "1", "1-2 1-0 1-4", "3"},
    {2, "2", "2-0 2-1 2-3", "3"},
    {3, "12", "2-0 1-0 1-4 2-3", "4"},
    {4, "3", "3-0 3-2 3-4", "3"},
    {5, "13", "1-2 1-0 1-4 3-0 3-2 3-4", "3 3"},
    {6, "23", "2-0 2-1 3-4 3-0", "4"},
    {7, "123", "2-0 1-0 1-4 3-4 3-0", "5"},
    {8, "4", "4-0 4-3 4-1", "3"},
    {9, "14", "1-2 1-0 4-0 4-3", "4"},
    {10, "24", "2-0 2-1 2-3 4-0 4-3 4-1", "3 3"},
    {11, "124", "2-0 1-0 4-0 4-3 2-3", "5"},
    {12, "34", "3-0 3-2 4-1 4-0", "4"},
    {13, "134", "1-2 1-0 4-0 3-0 3-2", "5"},
    {14, "234", "2-0 2-1 4-1 4-0 3-0", "5"},
    {15, "1234", "2-0 1-0 4-0 3-0", "4"},
    {16, "0", "0-1 0-2 0-3 0-4", "4"},
    {17, "01", "1-2 0-2 0-3 0-4 1-4", "5"},
    {18, "02", "0-1 2-1 2-3 0-3 0-4", "5"},
    {19, "012", "2-3 0-3 0-4 1-4", "4"},
    {20, "03", "0-1 0-2 3-2 3-4 0-4", "5"},
    {21, "013", "1-2 0-2 3-2 3-4 0-4 1-4", "6"},
    {22, "023", "0-1 2-1 3-4 0-4", "4"},
    {23, "0123", "3-4 0-4 1-4", "3"},
    {24, "04", "0-1 0-2 0-3 4-3 4-1", "5"},
    {25, "014", "1-2 0-2 0-3 4-3", "4"},
    {26, "024", "0-1 2-1 2-3 0-3 4-3 4-1", "6"},
    {27, "0124", "2-3 0-3 4-3", "3"},
    {28, "034", "0-1 0-2 3-2 4-1", "4"},
    {29, "0134", "1-2 0-2 3-2", "3"},
    {30, "0234", "0-1 2-1 4-1", "3"},
};

inline constexpr SliceRow kSliceRowsPrism[] = {
#include "slice_rows_prism.inc"
};

inline constexpr SliceRow kSliceRowsHex[] = {
#include "slice_rows_hex.inc"
};
// clang-format on

// The place of each node of a hex in its cell of a grid: a bit for each of the axes i, j, k.
inline constexpr std::uint8_t kHexPlaces[8] = {0, 1, 3, 2, 4, 5, 7, 6};

// Node of each bit of an index, bit 0 first.
inline constexpr int slice_nodes_tet[4] = {0, 1, 2, 3};
inline constexpr int slice_nodes_prism[6] = {5, 2, 0, 3, 1, 4};
inline constexpr int slice_nodes_pyr[5] = {1, 2, 3, 4, 0};
inline constexpr int slice_nodes_hex[8] = {0, 1, 4, 5, 3, 2, 7, 6};

inline constexpr SliceTable<4, 4, 6, 7, int, int> slice_tet(kSliceRowsTet, slice_nodes_tet, true);
inline constexpr SliceTable<6, 12, 6, 7, int, unsigned char> slice_prism(kSliceRowsPrism, slice_nodes_prism,
                                                                         false);
inline constexpr SliceTable<5, 12, 6, 7, int, unsigned char> slice_pyr(kSliceRowsPyr, slice_nodes_pyr, false);
inline constexpr SliceTable<8, 12, 7, 12, unsigned char, unsigned char> slice_hex(kSliceRowsHex,
                                                                                  slice_nodes_hex, false);

// The same arrays by their own names.
#define ISOFIELD_SLICE_NAMES(K)                                       \
    inline constexpr auto &ninter_pts_##K = slice_##K.ninter_pts;     \
    inline constexpr auto &ninter_polys_##K = slice_##K.ninter_polys; \
    inline constexpr auto &nppoly_##K = slice_##K.nppoly;             \
    inline constexpr auto &left_vert_##K = slice_##K.left_vert;       \
    inline constexpr auto &right_vert_##K = slice_##K.right_vert;     \
    inline constexpr auto &ncell_##K = slice_##K.ncell;               \
    inline constexpr auto &npcel_##K = slice_##K.npcel;
ISOFIELD_SLICE_NAMES(tet)
ISOFIELD_SLICE_NAMES(prism)
ISOFIELD_SLICE_NAMES(pyr)
ISOFIELD_SLICE_NAMES(hex)
#undef ISOFIELD_SLICE_NAMES

// The edges of a tetrahedron.
inline constexpr int edge_table_hex[6][2] = {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}};

}  // namespace isofield::detail
#endif
