#include "part_output.hpp"

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>

#include "cells_io.hpp"
#include "errors.hpp"
#include "extraction.hpp"
#include "vtk_support.hpp"
#include "writer_support.hpp"

namespace app {
namespace {

using Vector = std::array<double, 3>;

// Calls f(set, nodes of the cell, number of the cell) for each cell of the sets.
template <class F>
void each_cell(std::span<const isofield::CellSet> sets, F f) {
    std::size_t cell = 0;
    for (const isofield::CellSet &set : sets) {
        const auto width = static_cast<std::size_t>(isohost_cell_type_nodes(set.type.c_str()));
        for (std::size_t first = 0; first < set.connect.size(); first += width) {
            f(set, set.connect.subspan(first, width), cell++);
        }
    }
}

Vector cross(const Vector &a, const Vector &b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

double length(const Vector &a) {
    return std::hypot(a[0], a[1], a[2]);
}

// A triangle or tetrahedron that is less high, over its longest edge or largest face, than floats resolve at
// its place.
bool flat(std::span<const float> points, std::span<const int> nodes) {
    double largest = 0;
    const auto at = [&](std::size_t i, std::size_t d) {
        return double{points[3 * static_cast<std::size_t>(nodes[i]) + d]};
    };
    const auto edge = [&](std::size_t i, std::size_t j) {
        return Vector{at(j, 0) - at(i, 0), at(j, 1) - at(i, 1), at(j, 2) - at(i, 2)};
    };
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        for (std::size_t d = 0; d < 3; ++d) largest = std::max(largest, std::abs(at(i, d)));
    }
    const double resolution = 2 * FLT_EPSILON * largest;
    const Vector a = edge(0, 1), b = edge(0, 2), normal = cross(a, b);
    if (nodes.size() == 3) {
        const double base = std::max({length(a), length(b), length(edge(1, 2))});
        return length(normal) <= resolution * base;
    }
    const Vector c = edge(0, 3);
    const double base = std::max(
        {length(normal), length(cross(a, c)), length(cross(b, c)), length(cross(edge(1, 2), edge(1, 3)))});
    return std::abs(normal[0] * c[0] + normal[1] * c[1] + normal[2] * c[2]) <= resolution * base;
}

// The rows that the wanted cells have, in their order.
std::vector<int> used_rows(const isofield::Part &part, const std::vector<char> &wanted) {
    std::vector<char> used(part.npoints(), 0);
    each_cell(part.sets(), [&](const isofield::CellSet &, std::span<const int> nodes, std::size_t cell) {
        if (!wanted[cell]) return;
        for (const int node : nodes) used[static_cast<std::size_t>(node)] = 1;
    });
    std::vector<int> rows;
    for (std::size_t row = 0; row < used.size(); ++row) {
        if (used[row]) rows.push_back(static_cast<int>(row));
    }
    return rows;
}

template <class T>
void append_rows(std::vector<T> &out, const T *from, std::size_t width, std::span<const int> rows) {
    const std::size_t end = out.size();
    out.resize(end + rows.size() * width);
    T *to = out.data() + end;
    for (const int row : rows) to = std::copy_n(from + static_cast<std::size_t>(row) * width, width, to);
}

std::size_t row_bytes(const ArrayData &data) {
    return static_cast<std::size_t>(data.components) * isofield::size_of(data.type);
}

// In the array's type.
std::vector<std::byte> values_at_nodes(const NamedArray &source, const isofield::Part &part) {
    std::vector<std::byte> values(part.npoints() * row_bytes(source.data));
    part.carry(source.data.view(), values.data(), source.null_value);
    return values;
}

std::vector<std::byte> narrowed(std::span<const double> values, isofield::ElementType type) {
    const std::size_t size = isofield::size_of(type);
    std::vector<std::byte> narrow(values.size() * size);
    std::byte *to = narrow.data();
    for (const double value : values) {
        UTILdouble_to_type(to, value, static_cast<int>(type));
        to += size;
    }
    return narrow;
}

void append_nodes(OutputPart &out, const Field &field, const isofield::Part &part, std::span<const int> rows,
                  std::span<const double> scalar) {
    const auto kept = static_cast<int>(part.kept_nodes().size());
    out.nkept += static_cast<std::size_t>(std::lower_bound(rows.begin(), rows.end(), kept) - rows.begin());
    append_rows(out.points, part.points().data(), 3, rows);
    for (std::size_t i = 0; i < field.attached.size(); ++i) {
        const NamedArray &source = field.attached[i];
        const bool known = !scalar.empty() && source.name == field.scalar.name;
        const std::vector<std::byte> values =
            known ? narrowed(scalar, source.data.type) : values_at_nodes(source, part);
        append_rows(out.arrays[i].values, values.data(), row_bytes(source.data), rows);
    }
}

// Turns a cell in the library's order of nodes inside out; the faces of a skin stand right.
void mirror(const std::string &type, std::vector<int> &nodes) {
    if (type == "tet_1") std::swap(nodes[1], nodes[2]);
    if (type == "hex_1") std::swap_ranges(nodes.begin(), nodes.begin() + 4, nodes.begin() + 4);
}

// wanted(number of the cell) tells those to append, row_of(node) the row of their nodes.
template <class Wanted, class RowOf>
void append_cells(OutputPart &out, const Dataset &dataset, std::span<const isofield::CellSet> sets,
                  Wanted wanted, RowOf row_of) {
    const bool turned = dataset.left_handed && dataset.grid() && dataset.grid_ndim() == 3;
    std::vector<int> nodes;
    const FileCell *kind = nullptr;
    const isofield::CellSet *last = nullptr;
    each_cell(sets, [&](const isofield::CellSet &set, std::span<const int> given, std::size_t cell) {
        if (!wanted(cell)) return;
        if (last != &set) kind = &file_cell(set.type);
        last = &set;
        nodes.assign(given.begin(), given.end());
        if (turned) mirror(set.type, nodes);
        for (const int place : kind->nodes)
            out.nodes.push_back(row_of(nodes[static_cast<std::size_t>(place)]));
        out.offsets.push_back(static_cast<int>(out.nodes.size()));
        out.types.push_back(static_cast<unsigned char>(kind->type));
    });
}

// The file's numbers of cells of the field, and their rows of the cell arrays.
void append_cell_arrays(OutputPart &out, const Field &field, std::span<const int> cells) {
    const std::vector<int> ids = file_cells(field.dataset, cells, field.lines);
    for (std::size_t i = 0; i < field.attached_cells.size(); ++i) {
        const ArrayData &data = field.attached_cells[i].data;
        const auto *values = static_cast<const std::byte *>(data.values.get());
        append_rows(out.cell_arrays[i].values, values, row_bytes(data), ids);
    }
    const auto bytes = std::as_bytes(std::span<const int>(ids));
    std::vector<std::byte> &of_ids = out.cell_arrays[field.attached_cells.size()].values;
    of_ids.insert(of_ids.end(), bytes.begin(), bytes.end());
}

void append_lines(OutputPart &out, const isofield::Part &part, const std::vector<isofield::Line> &lines) {
    for (const isofield::Line &line : lines) append_rows(out.lines, part.points().data(), 3, line);
}

}  // namespace

OutputPart start_part(const Field &field, const std::vector<std::string> &reserved, Console &console) {
    OutputPart part;
    part.arrays = attached_arrays(field.attached);
    std::vector<std::string> taken = reserved;
    taken.push_back("cell_id");
    part.cell_arrays = attached_arrays(field.attached_cells);
    for (OutputArray &array : part.cell_arrays) {
        array.name = free_name(array.name, "_input", taken, console);
        taken.push_back(array.name);
    }
    part.cell_arrays.push_back({"cell_id", isofield::ElementType::kInt, 1, {}, {}});
    return part;
}

std::vector<char> solid_cells(const isofield::Part &part) {
    std::vector<char> solid(part.ncells(), 1);
    const auto kept = static_cast<int>(part.kept_nodes().size());
    each_cell(part.sets(), [&](const isofield::CellSet &set, std::span<const int> nodes, std::size_t cell) {
        if (set.type != "tet_1" && set.type != "tri_1") return;
        const bool piece = std::any_of(nodes.begin(), nodes.end(), [kept](int node) { return node >= kept; });
        if (piece && flat(part.points(), nodes)) solid[cell] = 0;
    });
    return solid;
}

void append_part(OutputPart &out, const Field &field, const isofield::Part &part,
                 const std::vector<char> &wanted, std::span<const double> scalar) {
    const std::vector<int> rows = used_rows(part, wanted);
    constexpr std::size_t kMostNodes = 8;
    if (out.npoints() + rows.size() > INT_MAX || out.nodes.size() + kMostNodes * wanted.size() > INT_MAX) {
        throw OperationError("the result has more cells than can be numbered; keep less of the field");
    }
    if (!rows.empty()) append_nodes(out, field, part, rows, scalar);
    std::vector<int> new_row(part.npoints());
    auto next = static_cast<int>(out.npoints() - rows.size());
    for (const int row : rows) new_row[static_cast<std::size_t>(row)] = next++;
    append_cells(
        out, field.dataset, part.sets(), [&](std::size_t cell) { return wanted[cell] != 0; },
        [&](int row) { return new_row[static_cast<std::size_t>(row)]; });
    std::vector<int> cells;
    for (std::size_t cell = 0; cell < wanted.size(); ++cell) {
        if (wanted[cell]) cells.push_back(part.cells()[cell]);
    }
    append_cell_arrays(out, field, cells);
    append_lines(out, part, part.lines_lo());
    append_lines(out, part, part.lines_hi());
}

void take_submesh(OutputPart &out, const Field &field, const isofield::Submesh &mesh) {
    out.points.assign(mesh.points().begin(), mesh.points().end());
    out.nkept = mesh.nnodes();
    for (std::size_t i = 0; i < field.attached.size(); ++i) {
        const ArrayData &data = field.attached[i].data;
        out.arrays[i].values.resize(mesh.nnodes() * row_bytes(data));
        mesh.carry(data.view(), out.arrays[i].values.data());
    }
    append_cells(
        out, field.dataset, mesh.sets(), [](std::size_t) { return true; }, [](int row) { return row; });
    append_cell_arrays(out, field, mesh.cells());
}

std::string counts_of(const OutputPart &part) {
    return counts_text(count_cells(part.types)) + ", " + format_count(part.npoints(), "node", "nodes") +
           " (" + std::to_string(part.npoints() - part.nkept) + " new)";
}

void write_part(const OutputPart &part, OutputFile &file, Console &console) {
    console.progress("writing", 0);
    write_xml(to_unstructured(part), file, console);
    file.commit();
    console.clear_bar();
}

}  // namespace app
