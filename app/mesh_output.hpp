// The file's own mesh with new arrays on its nodes, in a file of the same kind.
#ifndef ISOFIELD_APP_MESH_OUTPUT_HPP
#define ISOFIELD_APP_MESH_OUTPUT_HPP

#include <vtkDataArray.h>
#include <vtkDataSet.h>
#include <vtkSmartPointer.h>

#include <string>
#include <vector>

#include "console.hpp"
#include "dataset.hpp"
#include "output_file.hpp"

namespace app {

constexpr char kMadeMesh[] = "Mesh of FIELD's own kind, with the new arrays,";
constexpr char kMeshExtensions[] = ".vti .vtp .vtr .vts .vtu";

// Throws UsageError unless the output's name ends as VTK calls files of such data.
void check_mesh_name(const std::string &output, const Dataset &dataset, vtkDataSet *original);

// Throws UsageError unless the dataset is a grid, which `operation` needs.
void check_is_grid(const Dataset &dataset, const char *operation);

// The names of the mesh's node arrays, which new ones keep clear of.
std::vector<std::string> node_array_names(const Dataset &dataset);

// Adds the arrays to the reader's own data, the first one as its active scalars; writes and commits `file`. Throws OperationError.
void write_mesh(vtkDataSet *original, const std::vector<vtkSmartPointer<vtkDataArray>> &made,
                OutputFile &file, Console &console);

}  // namespace app
#endif
