// Cells as files have them, brought into the library's types and orders of nodes.
#ifndef ISOFIELD_APP_CELLS_IO_HPP
#define ISOFIELD_APP_CELLS_IO_HPP

#include <vtkDataSet.h>

#include <span>
#include <string>

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

}  // namespace app
#endif
