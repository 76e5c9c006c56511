// The tables of cuts of all kinds but hex, and the vectors that gather the tables of all kinds.
#include "case_rows.hpp"
#include "cell_types.hpp"
#include "constant_arrays.hpp"
#include "isofield.h"

namespace {

using namespace isofield::detail;

// clang-format off

/* ---- tri --------------------------------------------------------------------------------------------------
 *
 *        2
 *       / \         edges 0-1, 1-2, 0-2
 *      /   \
 *     0-----1 */
constexpr CutRow kRowsTri[] = {
    {1, "0", "a=0-1 b=0-2", "b0a", "ab"},
    {2, "1", "a=0-1 b=1-2", "ba1", "ba"},
    {3, "01", "a=1-2 b=0-2", "a01 b0a", "ab"},
    {4, "2", "a=1-2 b=0-2", "2ba", "ba"},
    {5, "02", "a=0-1 b=1-2", "0ab 20b", "ab"},
    {6, "12", "a=0-1 b=0-2", "2a1 2ba", "ba"},
};

/* ---- quad -------------------------------------------------------------------------------------------------
 *
 *     3-------2
 *     |       |     edges 0-1, 1-2, 2-3, 0-3
 *     |       |
 *     0-------1     In cases 5 and 10 the middle belongs with nodes 0 and 2. */
constexpr CutRow kRowsQuad[] = {
    {1, "0", "a=0-1 b=0-3", "b0a", "ab"},
    {2, "1", "a=0-1 b=1-2", "a1b", "ba"},
    {3, "01", "a=1-2 b=0-3", "a01 b0a", "ab"},
    {4, "2", "a=1-2 b=2-3", "ba2", "ba"},
    {5, "02", "a=0-1 b=1-2 c=2-3 d=0-3", "2cb cab dac d0a", "ab cd"},
    {6, "12", "a=0-1 b=2-3", "2a1 ba2", "ba"},
    {7, "012", "a=2-3 b=0-3", "a12 b01 ab1", "ab"},
    {8, "3", "a=2-3 b=0-3", "3ba", "ba"},
    {9, "03", "a=0-1 b=2-3", "3ab 30a", "ab"},
    {10, "13", "a=0-1 b=1-2 c=2-3 d=0-3", "a1b 3dc", "ba dc"},
    {11, "013", "a=1-2 b=2-3", "a01 b0a 30b", "ab"},
    {12, "23", "a=1-2 b=0-3", "3a2 3ba", "ba"},
    {13, "023", "a=0-1 b=1-2", "23b 3ab 30a", "ab"},
    {14, "123", "a=0-1 b=0-3", "a12 3b2 ba2", "ba"},
};

/* ---- tet --------------------------------------------------------------------------------------------------
 *
 *          3
 *         /|\       edges 0-1, 1-2, 0-2 below, 0-3, 1-3, 2-3 up to node 3
 *        / | \
 *       /  2  \     node 2 is behind
 *      / .   . \
 *     0---------1 */
constexpr CutRow kRowsTet[] = {
    {1, "0", "a=0-1 b=0-3 c=0-2", "b0ca"},
    {2, "1", "a=0-1 b=1-2 c=1-3", "cab1"},
    {3, "01", "a=0-2 b=1-2 c=1-3 d=0-3", "c0b1 d0bc d0ab"},
    {4, "2", "a=1-2 b=0-2 c=2-3", "b2ca"},
    {5, "02", "a=0-1 b=0-3 c=2-3 d=1-2", "a0cd c02d b0ca"},
    {6, "12", "a=0-1 b=0-2 c=2-3 d=1-3", "a2d1 a2cd b2ca"},
    {7, "012", "a=2-3 b=1-3 c=0-3", "b021 a02b c0ab"},
    {8, "3", "a=2-3 b=0-3 c=1-3", "a3bc"},
    {9, "03", "a=0-1 b=1-3 c=2-3 d=0-2", "c0ab 30cb c0da"},
    {10, "13", "a=0-1 b=1-2 c=2-3 d=0-3", "b3a1 c3ab c3da"},
    {11, "013", "a=0-2 b=1-2 c=2-3", "30b1 30cb c0ab"},
    {12, "23", "a=1-2 b=0-2 c=0-3 d=1-3", "a3cd b23a b3ca"},
    {13, "023", "a=0-1 b=1-3 c=1-2", "a0bc b02c b23c 302b"},
    {14, "123", "a=0-1 b=0-2 c=0-3", "a231 b2ca c23a"},
};

/* ---- pyr --------------------------------------------------------------------------------------------------
 *
 *            0
 *          /| |\    edges 0-1, 0-2, 0-3, 0-4 from the apex, 1-2, 2-3, 3-4, 1-4 round the base
 *         / | | \
 *        /  2-|--3  nodes 2 and 3 are behind
 *       / .   |./
 *      1------4 */
constexpr CutRow kRowsPyr[] = {
    {1, "0", "a=0-1 b=0-2 c=0-3 d=0-4", "c0ad b0ac"},
    {2, "1", "a=1-2 b=0-1 c=1-4", "b1ac"},
    {3, "01", "a=1-2 b=0-2 c=0-3 d=0-4 e=1-4", "d1ae a01d b0ad c0bd"},
    {4, "2", "a=0-2 b=1-2 c=2-3", "b2ac"},
    {5, "02", "a=0-1 b=1-2 c=2-3 d=0-3 e=0-4", "d0ae c2ad 20ad b2ac"},
    {6, "12", "a=0-2 b=0-1 c=1-4 d=2-3", "c2bd b2ad b12c"},
    {7, "012", "a=2-3 b=0-3 c=0-4 d=1-4", "c1ad 21ac b2ac 201c b02c"},
    {8, "3", "a=0-3 b=2-3 c=3-4", "b3ac"},
    {9, "03", "a=0-1 b=0-2 c=2-3 d=3-4 e=0-4", "c3ed c0e3 c0be b0ae"},
    {10, "13", "a=1-2 b=0-1 c=1-4 d=0-3 e=2-3 f=3-4", "e3df b1ac"},
    {11, "013", "a=1-2 b=0-2 c=2-3 d=3-4 e=0-4 f=1-4", "c3ed c0e3 c0be b1ae a1fe b01e"},
    {12, "23", "a=0-2 b=1-2 c=3-4 d=0-3", "b3dc b2d3 b2ad"},
    {13, "023", "a=0-1 b=1-2 c=3-4 d=0-4", "b3dc 20d3 b2d3 b2ad 20ad"},
    {14, "123", "a=0-2 b=0-1 c=1-4 d=3-4 e=0-3", "c23d c3ed c2e3 b12c b2ae c2be"},
    {15, "0123", "a=3-4 b=0-4 c=1-4", "20b3 a2b3 c2ba 21cb 201b"},
    {16, "4", "a=0-4 b=3-4 c=1-4", "a4cb"},
    {17, "04", "a=0-1 b=0-2 c=0-3 d=3-4 e=1-4", "c4ed c0a4 cae4 b0ac"},
    {18, "14", "a=1-2 b=0-1 c=0-4 d=3-4", "c4ad c1a4 b1ac"},
    {19, "014", "a=1-2 b=0-2 c=0-3 d=3-4", "c4ad c014 c1a4 a01c b0ac"},
    {20, "24", "a=0-2 b=1-2 c=2-3 d=0-4 e=3-4 f=1-4", "d4fe b2ac"},
    {21, "024", "a=0-1 b=1-2 c=2-3 d=0-3 e=3-4 f=1-4", "d4fe d0a4 daf4 b2dc b2ad 20ad"},
    {22, "124", "a=0-2 b=0-1 c=0-4 d=3-4 e=2-3", "41ed c4ed c1e4 b12c c2ae c12e b2ac"},
    {23, "0124", "a=2-3 b=0-3 c=3-4", "41ac b4ac b014 b1a4 201b b12a"},
    {24, "34", "a=0-3 b=2-3 c=1-4 d=0-4", "d4b3 bad3 cbd4"},
    {25, "034", "a=0-1 b=0-2 c=2-3 d=1-4", "a043 c0a3 a4c3 cad4 b0ac"},
    {26, "134", "a=1-2 b=0-1 c=0-4 d=0-3 e=2-3", "c4e3 dce3 cae4 c1a4 b1ac"},
    {27, "0134", "a=1-2 b=0-2 c=2-3", "30c4 c0b4 b014 b1a4 bac4"},
    {28, "234", "a=0-2 b=1-2 c=1-4 d=0-4 e=0-3", "d2e3 b2d3 d4c3 cbd3 d2ae b2ad"},
    {29, "0234", "a=0-1 b=1-2 c=1-4", "30a4 c3a4 20a3 bac3 b2a3"},
    {30, "1234", "a=0-2 b=0-1 c=0-4 d=0-3", "42c3 c2d3 c124 b12c c2ad b2ac"},
};

/* ---- prism ------------------------------------------------------------------------------------------------
 *
 *         5
 *       / | \       edges 0-1, 1-2, 0-2 below, 3-4, 4-5, 3-5 above, risers 0-3, 1-4, 2-5
 *      3-----4
 *      |  2  |      nodes 2 and 5 are behind
 *      |/   \|
 *      0-----1 */
constexpr CutRow kRowsPrism[] = {
    {1, "0", "a=0-1 b=0-2 c=0-3", "a0cb"},
    {2, "1", "a=1-4 b=1-2 c=0-1", "a1cb"},
    {3, "01", "a=1-4 b=1-2 c=0-2 d=0-3", "d0cb a0db 10ab"},
    {4, "2", "a=1-2 b=2-5 c=0-2", "a2cb"},
    {5, "02", "a=1-2 b=2-5 c=0-3 d=0-1", "a2cb a0c2 d0ca"},
    {6, "12", "a=1-4 b=2-5 c=0-2 d=0-1", "a2cb a1c2 a1dc"},
    {7, "012", "a=1-4 b=2-5 c=0-3", "a2cb a0c2 10a2"},
    {8, "3", "a=3-4 b=0-3 c=3-5", "b3ac"},
    {9, "03", "a=0-1 b=0-2 c=3-5 d=3-4", "a0cb a03c a3dc"},
    {10, "13", "a=1-4 b=1-2 c=0-1 d=3-4 e=0-3 f=3-5", "e3df a1cb"},
    {11, "013", "a=1-4 b=1-2 c=0-2 d=3-5 e=3-4", "b0dc b03d b3ed e03b 10ab a0eb"},
    {12, "23", "a=1-2 b=2-5 c=0-2 d=3-4 e=0-3 f=3-5", "bac2 e3df"},
    {13, "023", "a=1-2 b=2-5 c=3-5 d=3-4 e=0-1", "a0b2 a0cb e3da e03a a3dc a03c"},
    {14, "123", "a=1-4 b=2-5 c=0-2 d=0-1 e=3-4 f=0-3 g=3-5", "b1c2 a1cb a1dc f3eg"},
    {15, "0123", "a=1-4 b=2-5 c=3-5 d=3-4", "20ab a0cb 10a2 a0dc d03c"},
    {16, "4", "a=4-5 b=1-4 c=3-4", "c4ba"},
    {17, "04", "a=4-5 b=1-4 c=3-4 d=0-1 e=0-2 f=0-3", "d0fe c4ba"},
    {18, "14", "a=4-5 b=1-2 c=0-1 d=3-4", "a1cb d1ca 41da"},
    {19, "014", "a=4-5 b=1-2 c=0-2 d=0-3 e=3-4", "b0dc e4ba 41eb e1db 10db"},
    {20, "24", "a=4-5 b=1-4 c=3-4 d=1-2 e=2-5 f=0-2", "edf2 c4ba"},
    {21, "024", "a=4-5 b=1-4 c=3-4 d=1-2 e=2-5 f=0-3 g=0-1", "d0e2 d0fe c4ba g0fd"},
    {22, "124", "a=4-5 b=2-5 c=0-2 d=0-1 e=3-4", "b1c2 a1cb a1dc 41ea e1da"},
    {23, "0124", "a=4-5 b=2-5 c=0-3 d=3-4", "10b2 a0cb 10ab 10ca d1ca 41da"},
    {24, "34", "a=4-5 b=1-4 c=0-3 d=3-5", "c3ad b34a c3ba"},
    {25, "034", "a=4-5 b=1-4 c=0-1 d=0-2 e=3-5", "d3ae c0ad a03d c03a b34a c3ba"},
    {26, "134", "a=4-5 b=1-2 c=0-1 d=0-3 e=3-5", "d3ae a1cb 41ca d4ca d34a"},
    {27, "0134", "a=4-5 b=1-2 c=0-2 d=3-5", "c3ad b0ac a03c 10ab 103a 413a"},
    {28, "234", "a=4-5 b=1-4 c=0-3 d=3-5 e=1-2 f=2-5 g=0-2", "feg2 c3ad c4ba c34a"},
    {29, "0234", "a=4-5 b=1-4 c=0-1 d=1-2 e=2-5 f=3-5", "20fe d2fe d0f2 c03d d3ca d3af d03f b34a c3ba"},
    {30, "1234", "a=4-5 b=2-5 c=0-2 d=0-1 e=0-3 f=3-5", "a2cb a1c2 a1dc 41da e3af e4da e34a"},
    {31, "01234", "a=4-5 b=2-5 c=3-5", "20cb a2cb 10a2 a0c2 104a 403a a03c"},
    {32, "5", "a=2-5 b=4-5 c=3-5", "bac5"},
    {33, "05", "a=2-5 b=4-5 c=3-5 d=0-1 e=0-2 f=0-3", "bac5 d0fe"},
    {34, "15", "a=2-5 b=4-5 c=3-5 d=1-4 e=1-2 f=0-1", "bac5 d1fe"},
    {35, "015", "a=2-5 b=4-5 c=3-5 d=1-4 e=1-2 f=0-2 g=0-3", "c5ba 10de d0ge g0fe"},
    {36, "25", "a=1-2 b=4-5 c=3-5 d=0-2", "d5a2 bad5 cbd5"},
    {37, "025", "a=1-2 b=4-5 c=3-5 d=0-3 e=0-1", "a0d2 c5a2 cad2 bac5 e0da"},
    {38, "125", "a=1-4 b=4-5 c=3-5 d=0-2 e=0-1", "b1d2 d5b2 cbd5 b1ed a1eb"},
    {39, "0125", "a=1-4 b=4-5 c=3-5 d=0-3", "b2c5 b0d2 10b2 a0db 10ab cbd2"},
    {40, "35", "a=2-5 b=4-5 c=3-4 d=0-3", "a3b5 d3ba d3cb"},
    {41, "035", "a=2-5 b=4-5 c=3-4 d=0-1 e=0-2", "a3b5 e3ba d3cb d03b b03e d0be"},
    {42, "135", "a=2-5 b=4-5 c=3-4 d=0-3 e=1-4 f=1-2 g=0-1", "a3b5 d3ba e1gf d3cb"},
    {43, "0135", "a=2-5 b=4-5 c=3-4 d=1-4 e=1-2 f=0-2", "f35a f5ba f3b5 c03b c0be b03f e0bf 10de d0ce"},
    {44, "235", "a=1-2 b=4-5 c=3-4 d=0-3 e=0-2", "e5a2 bae5 dbe5 d3b5 d3cb"},
    {45, "0235", "a=1-2 b=4-5 c=3-4 d=0-1", "a052 a035 a3b5 d3ca d03a a3cb"},
    {46, "1235", "a=1-4 b=4-5 c=3-4 d=0-3 e=0-2 f=0-1", "b1e2 e5b2 b1fe a1fb dbe5 d3b5 d3cb"},
    {47, "01235", "a=1-4 b=4-5 c=3-4", "b052 10b2 b035 10ab a0cb c03b"},
    {48, "45", "a=2-5 b=1-4 c=3-4 d=3-5", "d5ba d4b5 c4bd"},
    {49, "045", "a=2-5 b=1-4 c=3-4 d=3-5 e=0-1 f=0-2 g=0-3", "d5ba d4b5 c4bd e0gf"},
    {50, "145", "a=2-5 b=1-2 c=0-1 d=3-4 e=3-5", "e4a5 e4ba d4be 41db d1cb"},
    {51, "0145", "a=2-5 b=1-2 c=0-2 d=0-3 e=3-4 f=3-5", "f4a5 f4ba e4bf 41eb b0dc e1db 10db"},
    {52, "245", "a=1-2 b=1-4 c=3-4 d=3-5 e=0-2", "e5a2 d4a5 dae5 c4ad c4ba"},
    {53, "0245", "a=1-2 b=1-4 c=3-4 d=3-5 e=0-3 f=0-1", "a0e2 d5a2 dae2 d4a5 d4ba c4bd f0ea"},
    {54, "1245", "a=0-2 b=0-1 c=3-4 d=3-5", "51a2 41a5 d4a5 c4ad c1ba 41ca"},
    {55, "01245", "a=0-3 b=3-4 c=3-5", "c125 41c5 10a2 c1a2 b1ac 41bc"},
    {56, "345", "a=2-5 b=1-4 c=0-3", "c5ba c345 c4b5"},
    {57, "0345", "a=2-5 b=1-4 c=0-1 d=0-2", "b35a d3ba b345 c3bd c03d"},
    {58, "1345", "a=2-5 b=1-2 c=0-1 d=0-3", "a345 d3ba b34a d34b d4cb 41cb"},
    {59, "01345", "a=2-5 b=1-2 c=0-2", "a345 b34a c3ba 413b 103b 30cb"},
    {60, "2345", "a=1-2 b=1-4 c=0-3 d=0-2", "d5a2 c3a5 a345 c34a c4ba cad5"},
    {61, "02345", "a=1-2 b=1-4 c=0-1", "a052 a035 a345 b34a c3ba c03a"},
    {62, "12345", "a=0-2 b=0-1 c=0-3", "51a2 41a5 c345 c4a5 41ba c4ba"},
};

// clang-format on

constexpr CutTable<kRowsTri> kTri;
constexpr CutTable<kRowsQuad> kQuad;
constexpr CutTable<kRowsTet> kTet;
constexpr CutTable<kRowsPyr> kPyr;
constexpr CutTable<kRowsPrism> kPrism;
constexpr CutLineTable<kRowsTri> kTriLines;
constexpr CutLineTable<kRowsQuad> kQuadLines;

static_assert(rows_within(kTet, kMostCutNodes[kTetIndex], kMostCutPieces[kTetIndex]));
static_assert(rows_within(kPrism, kMostCutNodes[kPrismIndex], kMostCutPieces[kPrismIndex]));
static_assert(rows_within(kPyr, kMostCutNodes[kPyrIndex], kMostCutPieces[kPyrIndex]));
static_assert(rows_within(kTri, kMostCutNodes[kTriIndex], kMostCutPieces[kTriIndex]));
static_assert(rows_within(kQuad, kMostCutNodes[kQuadIndex], kMostCutPieces[kQuadIndex]));

}  // namespace

// Numbers of rows, new nodes, cells and connect entries.
ISOFIELD_CASE_ARRAYS(CUT, tri, kTri, (0, 0, 0, 7), (0, 0, 1, 2), (0, 0, 0, 9), (0, 0, 2, 7));
ISOFIELD_CASE_ARRAYS(CUT, quad, kQuad, (0, 0, 1, 5), (0, 0, 3, 2), (0, 0, 3, 0), (0, 0, 9, 0));
ISOFIELD_CASE_ARRAYS(CUT, tet, kTet, (0, 0, 1, 5), (0, 0, 4, 8), (0, 0, 3, 5), (0, 1, 4, 0));
ISOFIELD_CASE_ARRAYS(CUT, pyr, kPyr, (0, 0, 3, 1), (0, 1, 2, 8), (0, 1, 2, 1), (0, 4, 8, 4));
ISOFIELD_CASE_ARRAYS(CUT, prism, kPrism, (0, 0, 6, 3), (0, 2, 8, 8), (0, 2, 7, 4), (1, 0, 9, 6));

const int CUTmax_index_tri = 7;
const int CUTmax_index_quad = 15;
const int CUTmax_index_tet = 15;
const int CUTmax_index_pyr = 31;
const int CUTmax_index_prism = 63;

ISOFIELD_ARRAY(int, CUTedge_nline_tri, kTriLines.nline, (0, 0, 0, 7));
ISOFIELD_ARRAY(int, CUTedge_cind_tri, kTriLines.ind, (0, 0, 0, 7));
ISOFIELD_ARRAY(unsigned char, CUTedge_connect_list_tri, kTriLines.connect, (0, 0, 1, 2));

ISOFIELD_ARRAY(int, CUTedge_nline_quad, kQuadLines.nline, (0, 0, 1, 5));
ISOFIELD_ARRAY(int, CUTedge_cind_quad, kQuadLines.ind, (0, 0, 1, 5));
ISOFIELD_ARRAY(unsigned char, CUTedge_connect_list_quad, kQuadLines.connect, (0, 0, 3, 2));

#define ISOFIELD_GATHER(type, name)                                           \
    const type *const name##_type[6] = {name##_tet, name##_prism, name##_pyr, \
                                        name##_hex, name##_tri,   name##_quad}
ISOFIELD_GATHER(int, CUTnold_nodes);
ISOFIELD_GATHER(int, CUTnnew_nodes);
ISOFIELD_GATHER(int, CUTm_ind);
ISOFIELD_GATHER(int, CUTt_ind);
ISOFIELD_GATHER(int, CUTncell);
ISOFIELD_GATHER(int, CUTc_ind);
ISOFIELD_GATHER(unsigned char, CUTmin_node);
ISOFIELD_GATHER(unsigned char, CUTmax_node);
ISOFIELD_GATHER(unsigned char, CUTcell_type);
ISOFIELD_GATHER(unsigned char, CUTcell_nnode);
ISOFIELD_GATHER(unsigned char, CUTconnect_list);
ISOFIELD_GATHER(unsigned char, CUTnew_flag_list);
#undef ISOFIELD_GATHER
