// Surfaces along levels, in the form that files and pictures take.
#ifndef ISOFIELD_APP_LEVEL_OUTPUT_HPP
#define ISOFIELD_APP_LEVEL_OUTPUT_HPP

#include <array>
#include <string>
#include <vector>

#include "extraction.hpp"
#include "surface_io.hpp"

namespace app {

struct LevelOutput {
    OutputSurface output;
    std::vector<std::array<int, 3>> turned;
    std::vector<int> line_offsets;
};

// With the field's attached arrays and, when asked for, the cells in the file's numbers, which the surface
// was made with. Files get normals that point to the side below the level. On grids the library's do so in
// index space, which may be left-handed; on cell sets they point to the other side. Views the surface.
LevelOutput make_output(const Field &field, const isofield::Surface &surface, bool with_cells);

// "8 triangles, 6 nodes"
std::string counts_of(const isofield::Surface &surface);

}  // namespace app
#endif
