// The points at which a field is probed, or from which its streamlines start.
#ifndef ISOFIELD_APP_PROBE_POINTS_HPP
#define ISOFIELD_APP_PROBE_POINTS_HPP

#include <vtkImageData.h>
#include <vtkSmartPointer.h>
#include <CLI/App.hpp>

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "console.hpp"
#include "dataset.hpp"

namespace app {

struct ProbePoints {
    std::vector<float> points;     // npoints x 3
    std::vector<float> distances;  // from the start of a line; else empty
    bool has_z = true;             // else z is 0, as the file has none
    // Of a grid; else no nodes.
    std::array<int, 3> dims = {0, 0, 0};
    std::array<double, 3> origin = {}, spacing = {};

    std::size_t size() const { return points.size() / 3; }
    bool line() const { return !distances.empty(); }
    bool grid() const { return dims[0] > 0; }
};

// How points are asked for.
struct PointOptions {
    std::string path;               // of a file
    std::vector<std::string> line;  // two ends and a count
    std::vector<int> grid;          // nodes per axis
    bool with_missing = false;      // takes points of a file whose coordinates are not all finite

    int count() const { return !path.empty() + !line.empty() + !grid.empty(); }  // ways that are used
    bool flat_grid() const;  // one node along just one axis
};

// Adds --line and --grid.
void add_point_options(CLI::App &command, PointOptions &options, const std::string &line_help,
                       const std::string &grid_help);

// What can be told of a grid before a file is read. Throws UsageError.
void check_grid(const std::vector<int> &grid);
// The points of the one way that is used; none of a grid, which needs the field. A file's are the rows of a
// CSV file, or the nodes of one that holds a field. Throws UsageError.
ProbePoints given_points(const PointOptions &options, Console &console);
// The nodes of the grid over a box, lower and upper per axis; one node stands in the middle. Throws UsageError
// where several would stand on one spot.
ProbePoints grid_points(const PointOptions &options, const std::array<double, 6> &box);
// The same without the nodes, of one to three axes.
ProbePoints grid_frame(const std::vector<int> &grid, const std::array<double, 6> &box);
// The grid as VTK's, without arrays.
vtkSmartPointer<vtkImageData> image_of(const ProbePoints &grid);

std::vector<float> node_coords(const Dataset &dataset);  // nnodes x 3

}  // namespace app
#endif
