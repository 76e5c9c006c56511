// Cells as files have them, brought into the library's types and orders of nodes.
#ifndef ISOFIELD_APP_CELLS_IO_HPP
#define ISOFIELD_APP_CELLS_IO_HPP

#include <vtkDataSet.h>

#include <span>
#include <string>
#include <vector>

#include "dataset.hpp"

namespace app {

// Consecutive cells that the file keeps as one block.
struct FileBlock {
    std::string name;
    vtkIdType ncells = 0;
};

// Fills cell_counts, unknown_cells and blocks, one for each type and block of the file; without `blocks` the
// file is one. Pixels, voxels, strips, polylines and polygons of three or four corners become cells of the
// types that they are made of. Prisms are numbered by the sign of their volume: files have them either way.
// Throws UsageError on a node that is not there.
void take_cells(Dataset &dataset, vtkDataSet *data, std::span<const FileBlock> blocks);

// The cells of files that one of the library's types is written as. Wedges have the first of their
// triangles turned outwards, as VTK draws them.
struct FileCell {
    int type;
    std::vector<int> nodes;  // per node of the file's cell that of the library's
};
const FileCell &file_cell(const std::string &type);

// How many cells there are of each of VTK's types.
CellCounts count_cells(std::span<const unsigned char> types);

}  // namespace app
#endif
