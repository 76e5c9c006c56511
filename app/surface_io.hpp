// The surfaces that operations make, and the files they are written to.
#ifndef ISOFIELD_APP_SURFACE_IO_HPP
#define ISOFIELD_APP_SURFACE_IO_HPP

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "console.hpp"
#include "isofield.hpp"
#include "output_file.hpp"

namespace app {

// Data on nodes or cells: rows x components of `type`.
struct OutputArray {
    std::string name;
    isofield::ElementType type;
    int components = 1;
    std::vector<std::byte> values;
    std::optional<double> null_value;
};

template <class T>
OutputArray output_array(const std::string &name, isofield::ElementType type, std::span<const T> values) {
    const auto bytes = std::as_bytes(values);
    return {name, type, 1, {bytes.begin(), bytes.end()}, {}};
}

// Views the points, lines and triangles, which the operation keeps alive.
struct OutputSurface {
    std::span<const float> points;  // npoints x 3
    std::span<const std::array<int, 3>> triangles;
    std::span<const int> line_offsets, line_nodes;  // as in Polylines; both may be empty
    std::vector<OutputArray> arrays;                // on nodes
    std::vector<OutputArray> cell_arrays;           // on the lines, then the triangles

    std::size_t nlines() const { return line_offsets.empty() ? 0 : line_offsets.size() - 1; }
};

// Triangles between the points of a grid, the first axis fastest: two where the four corners of a cell are
// present, one where three are.
std::vector<std::array<int, 3>> grid_triangles(const std::array<int, 2> &dims,
                                               const std::function<bool(int)> &present);

// The extensions that surfaces and that lines are written under.
std::string surface_extensions();
std::string line_extensions();

// Throws UsageError unless `path` ends in one of `extensions`.
void check_output_name(const std::string &path, const std::string &extensions);

// Whether cell arrays of a surface have a place to go to: in the file, or to the next operation.
bool keeps_cell_arrays(const std::string &path);

// Writes and commits `file`, in the format of its name, and hands the surface on where that is wanted. Warns of arrays and lines that the format cannot
// hold. Throws OperationError.
void write_surface(const OutputSurface &surface, OutputFile &file, Console &console);

}  // namespace app
#endif
