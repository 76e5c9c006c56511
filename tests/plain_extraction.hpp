// The plain twin of all surfaces and lines: every cell in order, straight from the tables, its new nodes
// looked up in a map.
#ifndef ISOFIELD_TESTS_PLAIN_EXTRACTION_HPP
#define ISOFIELD_TESTS_PLAIN_EXTRACTION_HPP

#include <array>
#include <span>

#include "case_tables.hpp"
#include "support.hpp"

// The lines of a plane kind: per case the number of its edges and the first of them in the lists of their
// ends.
struct PlainLineTable {
    int nnodes;
    std::vector<int> nedges, first, min_node, max_node;
};
inline const PlainLineTable kPlainTri = {
    3, {0, 2, 2, 2}, {0, 1, 3, 5}, {0, 0, 2, 0, 1, 1, 2}, {0, 1, 0, 1, 2, 2, 0}};
inline const PlainLineTable kPlainQuad = {4,
                                          {0, 2, 2, 2, 2, 4, 2, 2},
                                          {0, 1, 3, 5, 7, 9, 13, 15},
                                          {0, 0, 3, 0, 1, 1, 3, 1, 2, 0, 3, 1, 2, 0, 2, 2, 3},
                                          {0, 1, 0, 1, 2, 2, 0, 2, 3, 1, 0, 2, 3, 1, 3, 3, 0}};

using Tesselate = int (*)(int ncells, const int *connect, int *nout, int **out_connect, int *out_nnode);

inline CellSetData pieces_of(Tesselate tesselate, int ncells, const std::vector<int> &connect) {
    int npieces, nnodes, *out;
    EXPECT_EQ(tesselate(ncells, connect.data(), &npieces, &out, &nnodes), 1);
    const IntArray pieces(out);
    return {nnodes == 3 ? "tri_1" : "tet_1", {out, out + npieces * nnodes}};
}

template <class T>
class PlainExtraction {
  public:
    std::vector<int> lines, triangles;
    std::vector<std::vector<int>> cells;  // per set that was added

    PlainExtraction(const std::vector<T> &data, double level, const T *null_value)
        : data_(data), level_(level), null_value_(null_value) {}

    void add(const CellSetData &set) {
        cells.emplace_back();
        if (set.type == "tri_1") add_lines(set, kPlainTri);
        if (set.type == "quad_1") add_lines(set, kPlainQuad);
        if (set.type == "tet_1") add_triangles<isofield::detail::Tet>(set);
        if (set.type == "pyr_1") add_triangles<isofield::detail::Pyr>(set);
        if (set.type == "prism_1") add_triangles<isofield::detail::Prism>(set);
        if (set.type == "hex_1") add_triangles<isofield::detail::Hex>(set);
    }

    // A quadratic set by its pieces.
    void add(const CellSetData &set, Tesselate tesselate) {
        const CellSetData pieces = tesselate ? pieces_of(tesselate, set.ncells(), set.connect) : set;
        add(pieces);
        for (int &cell : cells.back()) cell /= pieces.ncells() / set.ncells();
    }

    std::vector<int> edges() const {
        std::vector<int> all;
        for (const auto &[lo, hi] : edges_) all.push_back(lo);
        for (const auto &[lo, hi] : edges_) all.push_back(hi);
        return all;
    }

  private:
    // 0 as well for a cell with a null node.
    template <class BitNodes>
    unsigned case_of(const int *cell, int nnodes, const BitNodes &bit_nodes) const {
        for (int n = 0; null_value_ && n < nnodes; ++n) {
            if (data_[static_cast<std::size_t>(cell[n])] == *null_value_) return 0;
        }
        unsigned index = 0, bit = 0;
        for (const int node : bit_nodes) {
            const T value = data_[static_cast<std::size_t>(cell[node])];
            index |= static_cast<unsigned>(static_cast<double>(value) >= level_) << bit++;
        }
        return index;
    }

    int new_node(int a, int b) {
        const std::pair<int, int> edge = std::minmax(a, b);
        const auto [known, is_new] = numbers_.insert({edge, static_cast<int>(edges_.size())});
        if (is_new) edges_.push_back(edge);
        return known->second;
    }

    template <class Kind>
    void add_triangles(const CellSetData &set) {
        const auto &table = Kind::kSlice;
        for (int cell = 0; cell < set.ncells(); ++cell) {
            const int *nodes = &set.connect[static_cast<std::size_t>(cell) * Kind::kNodes];
            const unsigned index = case_of(nodes, Kind::kNodes, Kind::kSliceNodes);
            std::vector<int> ids;
            for (int n = 0; n < table.ninter_pts[index]; ++n) {
                ids.push_back(new_node(nodes[table.left_vert[index][n]], nodes[table.right_vert[index][n]]));
            }
            const int *corner = ids.data();
            for (int polygon = 0; polygon < table.ninter_polys[index]; ++polygon) {
                const int m = table.nppoly[index][polygon];
                for (int t = 0; t < table.ncell[m - 1][0]; ++t) {
                    const auto &triple = table.npcel[table.ncell[m - 1][1] + t];
                    for (const int c : {triple[0], triple[2], triple[1]}) triangles.push_back(corner[c]);
                    cells.back().push_back(cell);
                }
                corner += m;
            }
        }
    }

    void add_lines(const CellSetData &set, const PlainLineTable &table) {
        const std::array<int, 4> corners = {0, 1, 2, 3};
        const std::span<const int> bit_nodes(corners.data(), static_cast<std::size_t>(table.nnodes));
        const unsigned all = (1u << table.nnodes) - 1;
        for (int cell = 0; cell < set.ncells(); ++cell) {
            const int *nodes = &set.connect[static_cast<std::size_t>(cell * table.nnodes)];
            unsigned index = case_of(nodes, table.nnodes, bit_nodes);
            index = std::min(index, all - index);
            const auto first = static_cast<std::size_t>(table.first[index]);
            for (std::size_t e = first; e < first + static_cast<std::size_t>(table.nedges[index]); ++e) {
                lines.push_back(new_node(nodes[table.min_node[e]], nodes[table.max_node[e]]));
            }
            cells.back().insert(cells.back().end(), static_cast<std::size_t>(table.nedges[index] / 2), cell);
        }
    }

    const std::vector<T> &data_;
    double level_;
    const T *null_value_;
    std::map<std::pair<int, int>, int> numbers_;
    std::vector<std::pair<int, int>> edges_;
};

// Triangles with their corners the other way round, as those of grids are beside those of cells.
inline std::vector<int> turned(std::vector<int> triangles) {
    for (std::size_t t = 0; t < triangles.size(); t += 3) std::swap(triangles[t + 1], triangles[t + 2]);
    return triangles;
}

#endif
