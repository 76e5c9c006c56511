// The parts of fields that operations make, in the form that files and pictures take.
#ifndef ISOFIELD_APP_PART_OUTPUT_HPP
#define ISOFIELD_APP_PART_OUTPUT_HPP

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "console.hpp"
#include "output_file.hpp"
#include "surface_io.hpp"

namespace app {

struct Field;

// Cells in VTK's types and orders of nodes, of one part after the other: parts share no nodes.
struct OutputPart {
    std::vector<float> points;       // npoints x 3
    std::vector<int> offsets = {0};  // per cell where its nodes start, and the end of the last one's
    std::vector<int> nodes;
    std::vector<unsigned char> types;
    std::vector<OutputArray> arrays;       // on nodes, as the field's attached
    std::vector<OutputArray> cell_arrays;  // the field's attached, and cell_id
    std::size_t nkept = 0;                 // nodes that are nodes of the field
    std::vector<float> lines;              // along levels in flat cells, two points a line: for the picture

    std::size_t npoints() const { return points.size() / 3; }
    std::size_t ncells() const { return types.size(); }
};

// The bands that the cells of a part are of, to be coloured by.
struct Bands {
    std::vector<double> levels;  // that they lie between, rising
    std::vector<int> of_cells;   // per cell its band, from 0
    std::string title;
};

// A part without cells, with arrays as those attached to the field. Cell arrays keep clear of cell_id and of
// `reserved` names.
OutputPart start_part(const Field &field, const std::vector<std::string> &reserved, Console &console);

// Per cell 1, or 0 for what does not go out: pieces that are flat, as far as coordinates of float tell. A
// level that runs through nodes leaves them where it touches a cell.
std::vector<char> solid_cells(const isofield::Part &part);

// Appends the wanted cells of a part of the field, which was made with keep_cells, and the nodes that they
// have. Cells of left-handed grids are turned, so that their volumes are positive. `scalar`: the field's
// scalar on the part's nodes, where it is known better than by carrying it over.
void append_part(OutputPart &out, const Field &field, const isofield::Part &part,
                 const std::vector<char> &wanted, std::span<const double> scalar = {});

// The same for a mesh without nulls or a skin, into a part without cells; nodes that no cell has come too.
void take_submesh(OutputPart &out, const Field &field, const isofield::Submesh &mesh);

// "1000 hexahedra, 240 tetrahedra, 1800 nodes (600 new)"
std::string counts_of(const OutputPart &part);

// Writes and commits `file`. Throws OperationError.
void write_part(const OutputPart &part, OutputFile &file, Console &console);

}  // namespace app
#endif
