// Exported arrays from arrays that were made while compiling.
//
// A built-in array is initialised by a list of its elements and by nothing else. ISOFIELD_ARRAY defines the
// array `name` with the elements of the array `source`, whose number is spelled as four digits in
// parentheses: (0, 1, 4, 0) is 140.
#ifndef ISOFIELD_MOD_UTIL_CONSTANT_ARRAYS_HPP
#define ISOFIELD_MOD_UTIL_CONSTANT_ARRAYS_HPP

// clang-format off
#define ISOFIELD_LIST_1(s, i) s[i],
#define ISOFIELD_LIST_10(s, i) \
    s[i], s[i + 1], s[i + 2], s[i + 3], s[i + 4], s[i + 5], s[i + 6], s[i + 7], s[i + 8], s[i + 9],
#define ISOFIELD_LIST_100(s, i) \
    ISOFIELD_LIST_10(s, i) ISOFIELD_LIST_10(s, i + 10) ISOFIELD_LIST_10(s, i + 20) \
    ISOFIELD_LIST_10(s, i + 30) ISOFIELD_LIST_10(s, i + 40) ISOFIELD_LIST_10(s, i + 50) \
    ISOFIELD_LIST_10(s, i + 60) ISOFIELD_LIST_10(s, i + 70) ISOFIELD_LIST_10(s, i + 80) \
    ISOFIELD_LIST_10(s, i + 90)
#define ISOFIELD_LIST_1000(s, i) \
    ISOFIELD_LIST_100(s, i) ISOFIELD_LIST_100(s, i + 100) ISOFIELD_LIST_100(s, i + 200) \
    ISOFIELD_LIST_100(s, i + 300) ISOFIELD_LIST_100(s, i + 400) ISOFIELD_LIST_100(s, i + 500) \
    ISOFIELD_LIST_100(s, i + 600) ISOFIELD_LIST_100(s, i + 700) ISOFIELD_LIST_100(s, i + 800) \
    ISOFIELD_LIST_100(s, i + 900)
#define ISOFIELD_TIMES_0(list, s, i, n)
#define ISOFIELD_TIMES_1(list, s, i, n) list(s, i)
#define ISOFIELD_TIMES_2(list, s, i, n) ISOFIELD_TIMES_1(list, s, i, n) list(s, i + n)
#define ISOFIELD_TIMES_3(list, s, i, n) ISOFIELD_TIMES_2(list, s, i, n) list(s, i + 2 * n)
#define ISOFIELD_TIMES_4(list, s, i, n) ISOFIELD_TIMES_3(list, s, i, n) list(s, i + 3 * n)
#define ISOFIELD_TIMES_5(list, s, i, n) ISOFIELD_TIMES_4(list, s, i, n) list(s, i + 4 * n)
#define ISOFIELD_TIMES_6(list, s, i, n) ISOFIELD_TIMES_5(list, s, i, n) list(s, i + 5 * n)
#define ISOFIELD_TIMES_7(list, s, i, n) ISOFIELD_TIMES_6(list, s, i, n) list(s, i + 6 * n)
#define ISOFIELD_TIMES_8(list, s, i, n) ISOFIELD_TIMES_7(list, s, i, n) list(s, i + 7 * n)
#define ISOFIELD_TIMES_9(list, s, i, n) ISOFIELD_TIMES_8(list, s, i, n) list(s, i + 8 * n)
#define ISOFIELD_LIST(s, k, h, t, u) \
    ISOFIELD_TIMES_##k(ISOFIELD_LIST_1000, s, 0, 1000) \
    ISOFIELD_TIMES_##h(ISOFIELD_LIST_100, s, k * 1000, 100) \
    ISOFIELD_TIMES_##t(ISOFIELD_LIST_10, s, k * 1000 + h * 100, 10) \
    ISOFIELD_TIMES_##u(ISOFIELD_LIST_1, s, k * 1000 + h * 100 + t * 10, 1)
// clang-format on
#define ISOFIELD_UNPACK(...) __VA_ARGS__
#define ISOFIELD_CALL(macro, ...) macro(__VA_ARGS__)
#define ISOFIELD_ARRAY(type, name, source, size)                                      \
    const type name[] = {ISOFIELD_CALL(ISOFIELD_LIST, source, ISOFIELD_UNPACK size)}; \
    static_assert(sizeof name == sizeof source)

// The arrays that cuts and contours have in common: `family` is CUT or CONT, `K` the kind of cell.
#define ISOFIELD_CASE_ARRAYS(family, K, table, rows, new_nodes, cells, connect)           \
    ISOFIELD_ARRAY(int, family##nold_nodes_##K, table.nold_nodes, rows);                  \
    ISOFIELD_ARRAY(int, family##nnew_nodes_##K, table.nnew_nodes, rows);                  \
    ISOFIELD_ARRAY(int, family##m_ind_##K, table.m_ind, rows);                            \
    ISOFIELD_ARRAY(int, family##t_ind_##K, table.t_ind, rows);                            \
    ISOFIELD_ARRAY(int, family##ncell_##K, table.ncell, rows);                            \
    ISOFIELD_ARRAY(int, family##c_ind_##K, table.c_ind, rows);                            \
    ISOFIELD_ARRAY(unsigned char, family##min_node_##K, table.min_node, new_nodes);       \
    ISOFIELD_ARRAY(unsigned char, family##max_node_##K, table.max_node, new_nodes);       \
    ISOFIELD_ARRAY(unsigned char, family##cell_type_##K, table.cell_type, cells);         \
    ISOFIELD_ARRAY(unsigned char, family##cell_nnode_##K, table.cell_nnode, cells);       \
    ISOFIELD_ARRAY(unsigned char, family##connect_list_##K, table.connect_list, connect); \
    ISOFIELD_ARRAY(unsigned char, family##new_flag_list_##K, table.new_flag_list, connect)
#endif
