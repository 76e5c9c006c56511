// The six kinds of cells and their tables, so that one kernel text serves all kinds.
#ifndef ISOFIELD_MOD_UTIL_CASE_TABLES_HPP
#define ISOFIELD_MOD_UTIL_CASE_TABLES_HPP

#include "cell_types.hpp"
#include "isofield.h"
#include "slice_tables.hpp"

namespace isofield::detail {

// The exported CUT... arrays of one kind, under the names that they have without prefix and kind.
struct CutTables {
    const int *nold_nodes;
    const int *nnew_nodes;
    const int *m_ind;
    const int *t_ind;
    const int *ncell;
    const int *c_ind;
    const unsigned char *min_node;
    const unsigned char *max_node;
    const unsigned char *cell_type;
    const unsigned char *cell_nnode;
    const unsigned char *connect_list;
    const unsigned char *new_flag_list;
};

// CUTedge_...
struct CutLineTables {
    const int *nline;
    const int *cind;
    const unsigned char *connect_list;
};

// CONT...
struct ContourTables : CutTables {
    const int *table_index;
    const unsigned char *values;
    const int *nedge1;
    const int *edge_ind1;
    const unsigned char *connect_edge1;
    const int *nedge2;
    const int *edge_ind2;
    const unsigned char *connect_edge2;
};

#define ISOFIELD_CASE_TABLES(family, K)                                                       \
    {                                                                                         \
        family##nold_nodes_##K, family##nnew_nodes_##K, family##m_ind_##K, family##t_ind_##K, \
            family##ncell_##K, family##c_ind_##K, family##min_node_##K, family##max_node_##K, \
            family##cell_type_##K, family##cell_nnode_##K, family##connect_list_##K,          \
            family##new_flag_list_##K                                                         \
    }
#define ISOFIELD_CUT_LINE_TABLES(K) \
    { CUTedge_nline_##K, CUTedge_cind_##K, CUTedge_connect_list_##K }
#define ISOFIELD_CONTOUR_TABLES(K)                                                          \
    {                                                                                       \
        ISOFIELD_CASE_TABLES(CONT, K), CONTtable_index_##K, CONTvalues_##K, CONTnedge1_##K, \
            CONTedge_ind1_##K, CONTconnect_edge1_##K, CONTnedge2_##K, CONTedge_ind2_##K,    \
            CONTconnect_edge2_##K                                                           \
    }

template <TypeIndex kIndex, int kNodeCount, bool kIsVolume>
struct Kind {
    static constexpr int kTypeIndex = kIndex;
    static constexpr int kNodes = kNodeCount;
    static constexpr int kAllKept = (1 << kNodeCount) - 1;  // CUTmax_index_K
    static constexpr bool kVolume = kIsVolume;
};

// Each kind has its tables of cuts. Volume kinds have kSlice and kSliceNodes (node of each bit of a slice
// index, bit 0 first), plane kinds kCutLines, kContour and kContourSide (rows of the table index).

struct Tet : Kind<kTetIndex, 4, true> {
    static constexpr const char *kName = "tet";
    static constexpr CutTables kCut = ISOFIELD_CASE_TABLES(CUT, tet);
    static constexpr const auto &kSlice = slice_tet;
    static constexpr const auto &kSliceNodes = slice_nodes_tet;
};

struct Prism : Kind<kPrismIndex, 6, true> {
    static constexpr const char *kName = "prism";
    static constexpr CutTables kCut = ISOFIELD_CASE_TABLES(CUT, prism);
    static constexpr const auto &kSlice = slice_prism;
    static constexpr const auto &kSliceNodes = slice_nodes_prism;
};

struct Pyr : Kind<kPyrIndex, 5, true> {
    static constexpr const char *kName = "pyr";
    static constexpr CutTables kCut = ISOFIELD_CASE_TABLES(CUT, pyr);
    static constexpr const auto &kSlice = slice_pyr;
    static constexpr const auto &kSliceNodes = slice_nodes_pyr;
};

struct Hex : Kind<kHexIndex, 8, true> {
    static constexpr const char *kName = "hex";
    static constexpr CutTables kCut = ISOFIELD_CASE_TABLES(CUT, hex);
    static constexpr const auto &kSlice = slice_hex;
    static constexpr const auto &kSliceNodes = slice_nodes_hex;
};

struct Tri : Kind<kTriIndex, 3, false> {
    static constexpr const char *kName = "tri";
    static constexpr CutTables kCut = ISOFIELD_CASE_TABLES(CUT, tri);
    static constexpr CutLineTables kCutLines = ISOFIELD_CUT_LINE_TABLES(tri);
    static constexpr ContourTables kContour = ISOFIELD_CONTOUR_TABLES(tri);
    static constexpr int kContourSide = 1 << kNodes;
};

struct Quad : Kind<kQuadIndex, 4, false> {
    static constexpr const char *kName = "quad";
    static constexpr CutTables kCut = ISOFIELD_CASE_TABLES(CUT, quad);
    static constexpr CutLineTables kCutLines = ISOFIELD_CUT_LINE_TABLES(quad);
    static constexpr ContourTables kContour = ISOFIELD_CONTOUR_TABLES(quad);
    static constexpr int kContourSide = 1 << kNodes;
};

#undef ISOFIELD_CASE_TABLES
#undef ISOFIELD_CUT_LINE_TABLES
#undef ISOFIELD_CONTOUR_TABLES

}  // namespace isofield::detail
#endif
