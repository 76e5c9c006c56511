// How far results that are rows of nodes (edges, faces, simplices) agree.
#ifndef ISOFIELD_BENCH_AGREEMENT_HPP
#define ISOFIELD_BENCH_AGREEMENT_HPP

#include <vtkCellArray.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <span>
#include <vector>

namespace bench {

using NodeRow = std::array<int, 4>;

// Rows of `width` nodes, in an order that does not depend on how they were found.
inline std::vector<NodeRow> sorted_rows(std::span<const int> nodes, int width) {
    std::vector<NodeRow> rows(nodes.size() / static_cast<std::size_t>(width));
    auto node = nodes.begin();
    for (NodeRow &row : rows) {
        row.fill(-1);
        std::copy_n(node, width, row.begin());
        std::sort(row.begin(), row.end());
        node += width;
    }
    std::sort(rows.begin(), rows.end());
    return rows;
}

// The share of the longer list's rows that both lists have.
inline float common_share(std::span<const int> a, std::span<const int> b, int width) {
    const std::vector<NodeRow> rows_a = sorted_rows(a, width), rows_b = sorted_rows(b, width);
    std::vector<NodeRow> common;
    std::set_intersection(rows_a.begin(), rows_a.end(), rows_b.begin(), rows_b.end(),
                          std::back_inserter(common));
    return static_cast<float>(common.size()) /
           static_cast<float>(std::max<std::size_t>({rows_a.size(), rows_b.size(), 1}));
}

// The nodes of a peer's cells.
inline std::vector<int> nodes_of(vtkCellArray &cells) {
    std::vector<int> nodes;
    vtkIdType nnodes;
    const vtkIdType *cell;
    for (cells.InitTraversal(); cells.GetNextCell(nnodes, cell);) {
        for (vtkIdType i = 0; i < nnodes; ++i) nodes.push_back(static_cast<int>(cell[i]));
    }
    return nodes;
}

}  // namespace bench

#endif
