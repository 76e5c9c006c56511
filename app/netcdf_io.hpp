// NetCDF files, whose arrays may stand on several grids.
#ifndef ISOFIELD_APP_NETCDF_IO_HPP
#define ISOFIELD_APP_NETCDF_IO_HPP

#include <vtkDataSet.h>
#include <vtkSmartPointer.h>

#include <optional>
#include <string>
#include <vector>

#include "console.hpp"
#include "dataset.hpp"

namespace app {

struct NetcdfGrid {
    vtkSmartPointer<vtkDataSet> data;
    std::vector<std::string> remarks;  // of the grids, this one first
    Step step;
};

// Reads the arrays that stand on one grid, at one step (from 1; none: the first): with `array`, or the first
// name of such a list as "U,V", on the grid of that one, else on the grid with the most arrays. Longitude and
// latitude are x and y, fill values are NaN. Throws UsageError.
NetcdfGrid read_netcdf_grid(const std::string &path, std::optional<int> step, const std::string &array,
                            Console &console);

}  // namespace app
#endif
