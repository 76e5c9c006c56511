// Meshes of cells, built up cell by cell and then handed to both sides.
#ifndef ISOFIELD_BENCH_CELL_MESH_HPP
#define ISOFIELD_BENCH_CELL_MESH_HPP

#include <array>
#include <vector>

#include "field.hpp"

namespace bench {

enum CellKind { kHex, kPrism, kPyramid, kTet, kTri, kCellKinds };

// Nodes with a scalar, and the cells of each kind in our order of corners.
struct CellMesh {
    std::vector<std::array<float, 3>> coords;
    std::vector<float> scalars;
    std::array<std::vector<int>, kCellKinds> cells;

    void add_node(double x, double y, double z, double scalar);

    // Puts the nodes, and the cells of each kind, in random order.
    void shuffle();
};

// Ours has a set of each kind that there is; peers have triangles as polygons, volumes as an unstructured
// grid.
FieldPtr cell_field(const CellMesh &cells);

// The nodes alone, as those of a structured grid, first axis fastest.
FieldPtr structured_field(const CellMesh &nodes, const std::array<int, 3> &dims);

}  // namespace bench

#endif
