// Reads the files of the field into a Dataset.
#ifndef ISOFIELD_APP_DATASET_IO_HPP
#define ISOFIELD_APP_DATASET_IO_HPP

#include <vtkDataSet.h>
#include <vtkSmartPointer.h>

#include <optional>
#include <string>

#include "console.hpp"
#include "dataset.hpp"

namespace app {

// The formats by extension, for help and messages.
std::string readable_extensions();

// Reads the whole file. Throws UsageError with what is wrong with it.
//
// Placement of images: with positive spacing along the axes of space an image is a uniform grid. Otherwise (a
// turned or mirrored one) it is a structured grid whose coordinates are worked out here. NIfTI volumes stand
// in the space of their sform matrix, else of their qform matrix (x to the right, y to the front, z up), else
// at the origin; the header's slope and intercept are applied; of a series the first volume is read.
//
// Exodus files: `step` counts from 1, none is the first; the nodes stand where the file has them, without
// displacements. All element blocks are read, on their common nodes. NetCDF files have steps too; of their
// grids that of `array` is read, see read_netcdf_grid. A step for a file of another kind is refused.
//
// `original`, when there is one, is given the reader's own data, for writing them again.
Dataset read_dataset(const std::string &path, std::optional<int> step, Console &console,
                     vtkSmartPointer<vtkDataSet> *original = nullptr, const std::string &array = "");
// The same of data that are at hand, as read from `path`.
Dataset dataset_of(vtkDataSet *data, const std::string &path);

}  // namespace app
#endif
