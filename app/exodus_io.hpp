// Exodus files, whose element blocks become one mesh.
#ifndef ISOFIELD_APP_EXODUS_IO_HPP
#define ISOFIELD_APP_EXODUS_IO_HPP

#include <vtkSmartPointer.h>
#include <vtkUnstructuredGrid.h>

#include <optional>
#include <string>
#include <vector>

#include "cells_io.hpp"
#include "console.hpp"

namespace app {

struct ExodusMesh {
    vtkSmartPointer<vtkUnstructuredGrid> data;  // cells in the order of the file's elements
    std::vector<FileBlock> blocks;
    Step step;
};

// Reads all blocks and all variables of one step (from 1; none: the first). Throws UsageError.
ExodusMesh read_exodus_mesh(const std::string &path, std::optional<int> step, Console &console);

}  // namespace app
#endif
