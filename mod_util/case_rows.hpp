// Turns case rows, written in digits and letters, into arrays while compiling.
//
// In the rows of cuts and contours a digit is a local node of the input cell and a letter a new node of the
// row, a for the first. New nodes are written a=0-1 (on the edge of the nodes 0 and 1), in contours with the
// level behind, l or h; cells and lines are words of digits and letters. A mistake in a row is an error of
// the compiler.
#ifndef ISOFIELD_MOD_UTIL_CASE_ROWS_HPP
#define ISOFIELD_MOD_UTIL_CASE_ROWS_HPP

#include <cstddef>

#include "cell_types.hpp"

namespace isofield::detail {

struct CutRow {
    int mask;
    const char *kept;  // the nodes of the mask
    const char *new_nodes;
    const char *cells;
    const char *lines = "";
};

struct ContourRow {
    int row;
    int upper;
    int lower;
    const char *new_nodes;
    const char *cells;
    const char *lines_lo;
    const char *lines_hi;
};

constexpr int count_words(const char *text) {
    int words = *text != 0;
    for (; *text; text++) words += *text == ' ';
    return words;
}

constexpr int count_symbols(const char *text) {
    int symbols = 0;
    for (; *text; text++) symbols += *text != ' ';
    return symbols;
}

constexpr int digit(char c) {
    if (c < '0' || c > '9') throw "not a digit";
    return c - '0';
}

// The mask of the nodes that a text of digits names.
constexpr int mask_of_digits(const char *text) {
    int mask = 0;
    for (; *text; text++) mask |= 1 << digit(*text);
    return mask;
}

constexpr int count_bits(int mask) {
    int bits = 0;
    for (; mask; mask >>= 1) bits += mask & 1;
    return bits;
}

// Elements of the arrays of a table.
struct TableSizes {
    int rows;
    int new_nodes;
    int cells;
    int connect;
};

// Elements in use so far while a table is filled row by row.
struct TableCursor {
    int new_nodes;
    int cells;
    int connect;
};

// What the tables of cuts and of contours have in common.
template <TableSizes kSizes>
struct CaseLists {
    int nold_nodes[kSizes.rows] = {};
    int nnew_nodes[kSizes.rows] = {};
    int m_ind[kSizes.rows] = {};
    int t_ind[kSizes.rows] = {};
    int ncell[kSizes.rows] = {};
    int c_ind[kSizes.rows] = {};
    unsigned char min_node[kSizes.new_nodes] = {};
    unsigned char max_node[kSizes.new_nodes] = {};
    unsigned char values[kSizes.new_nodes] = {};  // level of a new node of a contour
    unsigned char cell_type[kSizes.cells] = {};
    unsigned char cell_nnode[kSizes.cells] = {};
    unsigned char connect_list[kSizes.connect] = {};
    unsigned char new_flag_list[kSizes.connect] = {};

    constexpr void add_row(int row, int nold, const char *new_nodes, const char *cells, TableCursor &at) {
        nold_nodes[row] = nold;
        nnew_nodes[row] = count_words(new_nodes);
        m_ind[row] = at.new_nodes;
        add_new_nodes(new_nodes, at);
        ncell[row] = count_words(cells);
        t_ind[row] = at.cells;
        c_ind[row] = at.connect;
        add_cells(cells, nnew_nodes[row], at);
    }

  private:
    constexpr void add_new_nodes(const char *text, TableCursor &at) {
        for (char letter = 'a'; *text; letter++) {
            if (text[0] != letter || text[1] != '=' || text[3] != '-') throw "not a new node";
            const int a = digit(text[2]), b = digit(text[4]);
            if (a >= b) throw "the smaller node of an edge comes first";
            min_node[at.new_nodes] = static_cast<unsigned char>(a);
            max_node[at.new_nodes] = static_cast<unsigned char>(b);
            text += 5;
            if (*text == 'l' || *text == 'h') values[at.new_nodes] = *text++ == 'h';
            if (*text == ' ') text++;
            at.new_nodes++;
        }
    }

    constexpr void add_cells(const char *text, int nnew, TableCursor &at) {
        while (*text) {
            int nnodes = 0;
            for (; *text && *text != ' '; text++, nnodes++) {
                const bool is_new = *text >= 'a';
                const int node = is_new ? *text - 'a' : digit(*text);
                if (is_new && node >= nnew) throw "no such new node";
                connect_list[at.connect] = static_cast<unsigned char>(node);
                new_flag_list[at.connect++] = is_new;
            }
            if (nnodes != 3 && nnodes != 4) throw "neither a triangle nor a tetrahedron";
            cell_type[at.cells] = nnodes == 4 ? kTetIndex : kTriIndex;
            cell_nnode[at.cells++] = static_cast<unsigned char>(nnodes);
            if (*text) text++;
        }
    }
};

// Segments of each row, as pairs of new nodes.
template <int kRows, int kEntries>
struct LineLists {
    int nline[kRows] = {};
    int ind[kRows] = {};
    unsigned char connect[kEntries] = {};

    constexpr void add_row(int row, const char *text, int &used) {
        nline[row] = count_words(text);
        ind[row] = used;
        for (; *text; text++) {
            if (*text != ' ') connect[used++] = static_cast<unsigned char>(*text - 'a');
        }
    }
};

// True when no row of a table has more new nodes or cells than that.
template <class Table>
constexpr bool rows_within(const Table &table, int most_nodes, int most_cells) {
    for (const int count : table.nnew_nodes) {
        if (count > most_nodes) return false;
    }
    for (const int count : table.ncell) {
        if (count > most_cells) return false;
    }
    return true;
}

template <std::size_t kRows>
constexpr TableSizes table_sizes(const CutRow (&rows)[kRows]) {
    TableSizes sizes = {1 + int(kRows), 0, 0, 0};
    for (const CutRow &row : rows) {
        sizes.new_nodes += count_words(row.new_nodes);
        sizes.cells += count_words(row.cells);
        sizes.connect += count_symbols(row.cells);
    }
    return sizes;
}

// The table of cuts of one kind of cell: row 0, all zero, then `kRows`, one for each mask in turn.
template <const auto &kRows>
struct CutTable : CaseLists<table_sizes(kRows)> {
    constexpr CutTable() {
        TableCursor at = {0, 0, 0};
        int mask = 0;
        for (const CutRow &row : kRows) {
            if (row.mask != ++mask || mask_of_digits(row.kept) != mask) throw "row out of place";
            this->add_row(mask, count_bits(mask), row.new_nodes, row.cells, at);
        }
    }
};

template <std::size_t kRows>
constexpr int line_entries(const CutRow (&rows)[kRows]) {
    int entries = 0;
    for (const CutRow &row : rows) entries += count_symbols(row.lines);
    return entries;
}

// The lines along the level of the same rows.
template <const auto &kRows>
struct CutLineTable : LineLists<table_sizes(kRows).rows, line_entries(kRows)> {
    constexpr CutLineTable() {
        int used = 0;
        for (const CutRow &row : kRows) this->add_row(row.mask, row.lines, used);
    }
};

// Every list of a contour table begins with one unused element.
template <std::size_t kRows>
constexpr TableSizes table_sizes(const ContourRow (&rows)[kRows]) {
    TableSizes sizes = {1 + int(kRows), 1, 1, 1};
    for (const ContourRow &row : rows) {
        sizes.new_nodes += count_words(row.new_nodes);
        sizes.cells += count_words(row.cells);
        sizes.connect += count_symbols(row.cells);
    }
    return sizes;
}

template <std::size_t kRows>
constexpr int line_entries(const ContourRow (&rows)[kRows], const char *ContourRow::*lines) {
    int entries = 1;
    for (const ContourRow &row : rows) entries += count_symbols(row.*lines);
    return entries;
}

// The table of contours of a cell of `kNodes` nodes.
template <const auto &kRows, int kNodes>
struct ContourTable : CaseLists<table_sizes(kRows)> {
    static constexpr int kSide = 1 << kNodes;
    int table_index[kSide * kSide] = {};
    LineLists<table_sizes(kRows).rows, line_entries(kRows, &ContourRow::lines_lo)> lines_lo = {};
    LineLists<table_sizes(kRows).rows, line_entries(kRows, &ContourRow::lines_hi)> lines_hi = {};

    constexpr ContourTable() {
        for (int &entry : table_index) entry = -1;
        TableCursor at = {1, 1, 1};
        int number = 0, used_lo = 1, used_hi = 1, place = 0;
        for (const ContourRow &row : kRows) {
            const int previous = place;
            place = row.upper * kSide + row.lower;
            if (row.row != ++number || place <= previous) throw "row out of place";
            table_index[place] = number;
            this->add_row(number, count_bits(row.lower & ~row.upper), row.new_nodes, row.cells, at);
            lines_lo.add_row(number, row.lines_lo, used_lo);
            lines_hi.add_row(number, row.lines_hi, used_hi);
        }
    }
};

}  // namespace isofield::detail
#endif
