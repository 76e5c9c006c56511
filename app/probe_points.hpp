// The points at which a field is probed.
#ifndef ISOFIELD_APP_PROBE_POINTS_HPP
#define ISOFIELD_APP_PROBE_POINTS_HPP

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "console.hpp"

namespace app {

struct ProbePoints {
    std::vector<float> points;     // npoints x 3
    std::vector<float> distances;  // from the start of a line; else empty
    // Of a grid; else no nodes.
    std::array<int, 3> dims = {0, 0, 0};
    std::array<double, 3> origin = {}, spacing = {};

    std::size_t size() const { return points.size() / 3; }
    bool line() const { return !distances.empty(); }
    bool grid() const { return dims[0] > 0; }
};

// The points of a file: the rows of a CSV file, or the nodes of one that holds a field. Throws UsageError.
ProbePoints read_points(const std::string &path, Console &console);
// `count` points, at least 2, from `start` to `end`.
ProbePoints line_points(const std::array<float, 3> &start, const std::array<float, 3> &end, int count);
// The nodes of a grid over a box, lower and upper per axis; one node stands in the middle. Throws UsageError
// where several would stand on one spot.
ProbePoints grid_points(const std::array<int, 3> &dims, const std::array<double, 6> &box);

}  // namespace app
#endif
