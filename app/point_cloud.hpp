// Points anywhere, with values: rows of a table, or the nodes of a file without its cells.
#ifndef ISOFIELD_APP_POINT_CLOUD_HPP
#define ISOFIELD_APP_POINT_CLOUD_HPP

#include <CLI/App.hpp>

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "console.hpp"
#include "operation_support.hpp"

namespace app {

struct CloudOptions : InputOptions {
    std::array<std::string, 3> axes;  // columns
    std::vector<std::string> values;
};

// Adds the file and the options of CloudOptions; the others help with --value and --z.
void add_cloud_options(CLI::App &command, CloudOptions &options, const std::string &value_help,
                       const std::string &z_help);

// What can be told before a file is read. Throws UsageError.
void check_cloud_options(const CloudOptions &options);

struct PointCloud {
    std::string path;
    std::array<std::vector<double>, 3> coords;  // NaN where missing; empty along axes that are not read
    std::array<std::string, 3> names;           // of the columns; of nodes x, y and z
    std::vector<NamedArray> arrays;

    std::size_t size() const { return coords[0].size(); }
    bool has_place(std::size_t point) const;  // all its coordinates
};

// What an operation wants of its points.
struct CloudNeeds {
    std::size_t naxes = 3;
    bool values = true;  // at least one
};

// Reads the points and says so. Columns of axes are those that are named, else those that are called so, else
// the first that hold numbers; values those that are named, or all others. Throws UsageError.
PointCloud read_cloud(const CloudOptions &options, const CloudNeeds &needs, Console &console);

// Of the points that have a place; 0 along axes that are not read. Throws UsageError when there are none.
std::array<double, 6> bounds_of(const PointCloud &cloud);

// npoints x 3 from `origin`, as floats are too coarse far from 0; NaN of points without a place.
std::vector<float> places_in(const PointCloud &cloud, const std::array<double, 3> &origin);

}  // namespace app
#endif
