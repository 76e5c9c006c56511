// The surfaces that operations make, and the files they are written to.
#ifndef ISOFIELD_APP_SURFACE_IO_HPP
#define ISOFIELD_APP_SURFACE_IO_HPP

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "console.hpp"
#include "isofield.hpp"
#include "output_file.hpp"

namespace app {

// Data on a surface's nodes: npoints x components of `type`.
struct PointArray {
    std::string name;
    isofield::ElementType type;
    int components = 1;
    std::vector<std::byte> values;
    std::optional<double> null_value;
};

// Views the points and triangles, which the operation keeps alive.
struct OutputSurface {
    std::span<const float> points;  // npoints x 3
    std::span<const std::array<int, 3>> triangles;
    std::vector<PointArray> arrays;
};

// Throws UsageError unless `path` has an extension that surfaces are written under.
void check_surface_name(const std::string &path);

// Writes and commits `file`, in the format of its name. Warns of arrays that the format cannot hold. Throws
// OperationError.
void write_surface(const OutputSurface &surface, OutputFile &file, Console &console);

}  // namespace app
#endif
