// The tables of contours, the bands between two levels in a triangle or quadrilateral.
#include "case_rows.hpp"
#include "constant_arrays.hpp"
#include "isofield.h"

namespace {

using namespace isofield::detail;

// Columns: row, upper mask, lower mask, new nodes (l on the lower level, h on the upper), cells, lines along
// the lower level, lines along the upper level.
// clang-format off

/* ---- tri --------------------------------------------------------------------------------------------------
 *
 *        2
 *       / \         edges 0-1, 1-2, 0-2
 *      /   \
 *     0-----1 */
constexpr ContourRow kRowsTri[] = {
{1, 1, 1, "a=0-1l b=0-2l c=0-2h d=0-1h", "bda bcd", "ab", "cd"},
{2, 1, 3, "a=1-2l b=0-2l c=0-1h d=0-2h", "ac1 bda adc", "ab", "cd"},
{3, 1, 5, "a=0-1l b=1-2l c=0-1h d=0-2h", "bca dcb 2db", "ab", "cd"},
{4, 2, 2, "a=0-1l b=1-2l c=0-1h d=1-2h", "acd bad", "ab", "cd"},
{5, 2, 3, "a=1-2l b=0-2l c=0-1h d=1-2h", "acd abc b0c", "ab", "cd"},
{6, 2, 6, "a=0-1l b=0-2l c=0-1h d=1-2h", "dac bad 2bd", "ab", "cd"},
{7, 3, 3, "a=1-2l b=0-2l c=1-2h d=0-2h", "adc bda", "ab", "cd"},
{8, 4, 4, "a=1-2l b=0-2l c=0-2h d=1-2h", "dba cbd", "ab", "cd"},
{9, 4, 5, "a=0-1l b=1-2l c=0-2h d=1-2h", "dab dca c0a", "ab", "cd"},
{10, 4, 6, "a=0-1l b=0-2l c=1-2h d=0-2h", "ca1 dbc bac", "ab", "cd"},
{11, 5, 5, "a=0-1l b=1-2l c=0-1h d=1-2h", "bca dcb", "ab", "cd"},
{12, 6, 6, "a=0-1l b=0-2l c=0-1h d=0-2h", "dac dba", "ab", "cd"},
};

/* ---- quad -------------------------------------------------------------------------------------------------
 *
 *     3-------2
 *     |       |     edges 0-1, 1-2, 2-3, 0-3
 *     |       |
 *     0-------1     The middle belongs with nodes 0 and 2. */
constexpr ContourRow kRowsQuad[] = {
{1, 1, 1, "a=0-1l b=0-3l c=0-3h d=0-1h", "bda bcd", "ab", "cd"},
{2, 1, 3, "a=1-2l b=0-3l c=0-1h d=0-3h", "ac1 bca bdc", "ab", "cd"},
{3, 1, 5, "a=0-1l b=1-2l c=2-3l d=0-3l e=0-1h f=0-3h", "cb2 eab ceb fec dfc", "ab cd", "ef"},
{4, 1, 7, "a=2-3l b=0-3l c=0-1h d=0-3h", "2c1 ac2 bdc bca", "ab", "cd"},
{5, 1, 9, "a=0-1l b=2-3l c=0-3h d=0-1h", "bca cda 3cb", "ab", "cd"},
{6, 1, 11, "a=1-2l b=2-3l c=0-1h d=0-3h", "ac1 bca dcb 3db", "ab", "cd"},
{7, 1, 13, "a=0-1l b=1-2l c=0-3h d=0-1h", "2cb cab 3c2 cda", "ab", "cd"},
{8, 2, 2, "a=0-1l b=1-2l c=0-1h d=1-2h", "bcd acb", "ab", "cd"},
{9, 2, 3, "a=1-2l b=0-3l c=0-1h d=1-2h", "acd bca b0c", "ab", "cd"},
{10, 2, 6, "a=0-1l b=2-3l c=1-2h d=0-1h", "2bc adc bac", "ab", "cd"},
{11, 2, 7, "a=2-3l b=0-3l c=0-1h d=1-2h", "2ad acd bca b0c", "ab", "cd"},
{12, 2, 10, "a=0-1l b=1-2l c=2-3l d=0-3l e=0-1h f=1-2h", "3dc afb aef", "ab cd", "ef"},
{13, 2, 11, "a=1-2l b=2-3l c=0-1h d=1-2h", "acd bca 30c 3cb", "ab", "cd"},
{14, 2, 14, "a=0-1l b=0-3l c=1-2h d=0-1h", "3c2 3bc bdc bad", "ab", "cd"},
{15, 3, 3, "a=1-2l b=0-3l c=1-2h d=0-3h", "bca bdc", "ab", "cd"},
{16, 3, 7, "a=2-3l b=0-3l c=1-2h d=0-3h", "ac2 adc bda", "ab", "cd"},
{17, 3, 11, "a=1-2l b=2-3l c=0-3h d=1-2h", "abd bcd 3cb", "ab", "cd"},
{18, 4, 4, "a=1-2l b=2-3l c=1-2h d=2-3h", "cba dbc", "ab", "cd"},
{19, 4, 5, "a=0-1l b=1-2l c=2-3l d=0-3l e=1-2h f=2-3h", "eab fae daf cdf d0a", "ab cd", "ef"},
{20, 4, 6, "a=0-1l b=2-3l c=1-2h d=2-3h", "ca1 bac dbc", "ab", "cd"},
{21, 4, 7, "a=2-3l b=0-3l c=1-2h d=2-3h", "c01 b0c dbc abd", "ab", "cd"},
{22, 4, 12, "a=1-2l b=0-3l c=2-3h d=1-2h", "cad cba 3bc", "ab", "cd"},
{23, 4, 13, "a=0-1l b=1-2l c=2-3h d=1-2h", "dab cad 30c c0a", "ab", "cd"},
{24, 4, 14, "a=0-1l b=0-3l c=1-2h d=2-3h", "ca1 dac dba 3bd", "ab", "cd"},
{25, 5, 5, "a=0-1l b=1-2l c=2-3l d=0-3l e=0-1h f=1-2h g=2-3h h=0-3h", "fab fea cdh chg", "ab cd", "ef gh"},
{26, 5, 7, "a=2-3l b=0-3l c=0-1h d=1-2h e=2-3h f=0-3h", "1dc abf afe", "ab", "cd ef"},
{27, 5, 13, "a=0-1l b=1-2l c=2-3h d=0-3h e=0-1h f=1-2h", "3dc abf afe", "ab", "cd ef"},
{28, 6, 6, "a=0-1l b=2-3l c=2-3h d=0-1h", "bdc bad", "ab", "cd"},
{29, 6, 7, "a=2-3l b=0-3l c=0-1h d=2-3h", "abd bcd b0c", "ab", "cd"},
{30, 6, 14, "a=0-1l b=0-3l c=2-3h d=0-1h", "bad cbd 3bc", "ab", "cd"},
{31, 7, 7, "a=2-3l b=0-3l c=2-3h d=0-3h", "adc bda", "ab", "cd"},
{32, 8, 8, "a=2-3l b=0-3l c=0-3h d=2-3h", "dba cbd", "ab", "cd"},
{33, 8, 9, "a=0-1l b=2-3l c=0-3h d=2-3h", "cab dcb c0a", "ab", "cd"},
{34, 8, 10, "a=0-1l b=1-2l c=2-3l d=0-3l e=0-3h f=2-3h", "1ba dcf dfe", "ab cd", "ef"},
{35, 8, 11, "a=1-2l b=2-3l c=0-3h d=2-3h", "a01 c0a bca dcb", "ab", "cd"},
{36, 8, 12, "a=1-2l b=0-3l c=2-3h d=0-3h", "ca2 cba dbc", "ab", "cd"},
{37, 8, 13, "a=0-1l b=1-2l c=2-3h d=0-3h", "2cb cab cda d0a", "ab", "cd"},
{38, 8, 14, "a=0-1l b=0-3l c=2-3h d=0-3h", "2a1 ca2 dbc cba", "ab", "cd"},
{39, 9, 9, "a=0-1l b=2-3l c=0-1h d=2-3h", "bca dcb", "ab", "cd"},
{40, 9, 11, "a=1-2l b=2-3l c=0-1h d=2-3h", "ac1 bda dca", "ab", "cd"},
{41, 9, 13, "a=0-1l b=1-2l c=2-3h d=0-1h", "cb2 dab cdb", "ab", "cd"},
{42, 10, 10, "a=0-1l b=1-2l c=2-3l d=0-3l e=0-3h f=0-1h g=1-2h h=2-3h", "afg agb ced che", "ab cd", "eh fg"},
{43, 10, 11, "a=1-2l b=2-3l c=0-1h d=0-3h e=1-2h f=2-3h", "bca cea dcb fdb d0c", "ab", "ce df"},
{44, 10, 14, "a=0-1l b=0-3l c=1-2h d=2-3h e=0-3h f=0-1h", "2dc afc dac bad ebd", "ab", "cf de"},
{45, 11, 11, "a=1-2l b=2-3l c=1-2h d=2-3h", "bca bdc", "ab", "cd"},
{46, 12, 12, "a=1-2l b=0-3l c=0-3h d=1-2h", "cad cba", "ab", "cd"},
{47, 12, 13, "a=0-1l b=1-2l c=0-3h d=1-2h", "dab cad c0a", "ab", "cd"},
{48, 12, 14, "a=0-1l b=0-3l c=1-2h d=0-3h", "ca1 dac dba", "ab", "cd"},
{49, 13, 13, "a=0-1l b=1-2l c=0-1h d=1-2h", "cbd cab", "ab", "cd"},
{50, 14, 14, "a=0-1l b=0-3l c=0-3h d=0-1h", "cad cba", "ab", "cd"},
};

// clang-format on

constexpr ContourTable<kRowsTri, 3> kTri;
constexpr ContourTable<kRowsQuad, 4> kQuad;

// The room that kernels keep for the new nodes and the triangles of a cell of n nodes: 2 n and n + 1.
static_assert(rows_within(kTri, 2 * 3, 3 + 1) && rows_within(kQuad, 2 * 4, 4 + 1));

}  // namespace

// Numbers of rows, new nodes, cells and connect entries, with the unused first ones.
ISOFIELD_CASE_ARRAYS(CONT, tri, kTri, (0, 0, 1, 3), (0, 0, 4, 9), (0, 0, 3, 1), (0, 0, 9, 1));
ISOFIELD_CASE_ARRAYS(CONT, quad, kQuad, (0, 0, 5, 1), (0, 2, 2, 5), (0, 1, 6, 1), (0, 4, 8, 1));

ISOFIELD_ARRAY(int, CONTtable_index_tri, kTri.table_index, (0, 0, 6, 4));
ISOFIELD_ARRAY(unsigned char, CONTvalues_tri, kTri.values, (0, 0, 4, 9));
ISOFIELD_ARRAY(int, CONTnedge1_tri, kTri.lines_lo.nline, (0, 0, 1, 3));
ISOFIELD_ARRAY(int, CONTedge_ind1_tri, kTri.lines_lo.ind, (0, 0, 1, 3));
ISOFIELD_ARRAY(unsigned char, CONTconnect_edge1_tri, kTri.lines_lo.connect, (0, 0, 2, 5));
ISOFIELD_ARRAY(int, CONTnedge2_tri, kTri.lines_hi.nline, (0, 0, 1, 3));
ISOFIELD_ARRAY(int, CONTedge_ind2_tri, kTri.lines_hi.ind, (0, 0, 1, 3));
ISOFIELD_ARRAY(unsigned char, CONTconnect_edge2_tri, kTri.lines_hi.connect, (0, 0, 2, 5));

ISOFIELD_ARRAY(int, CONTtable_index_quad, kQuad.table_index, (0, 2, 5, 6));
ISOFIELD_ARRAY(unsigned char, CONTvalues_quad, kQuad.values, (0, 2, 2, 5));
ISOFIELD_ARRAY(int, CONTnedge1_quad, kQuad.lines_lo.nline, (0, 0, 5, 1));
ISOFIELD_ARRAY(int, CONTedge_ind1_quad, kQuad.lines_lo.ind, (0, 0, 5, 1));
ISOFIELD_ARRAY(unsigned char, CONTconnect_edge1_quad, kQuad.lines_lo.connect, (0, 1, 1, 3));
ISOFIELD_ARRAY(int, CONTnedge2_quad, kQuad.lines_hi.nline, (0, 0, 5, 1));
ISOFIELD_ARRAY(int, CONTedge_ind2_quad, kQuad.lines_hi.ind, (0, 0, 5, 1));
ISOFIELD_ARRAY(unsigned char, CONTconnect_edge2_quad, kQuad.lines_hi.connect, (0, 1, 1, 3));
