#include "probe_points.hpp"

#include <vtkDelimitedTextReader.h>
#include <vtkNew.h>
#include <vtkStringArray.h>
#include <vtkTable.h>

#include <CLI/Option.hpp>
#include <algorithm>
#include <climits>
#include <cmath>
#include <optional>

#include "dataset_io.hpp"
#include "options.hpp"
#include "reader_support.hpp"

namespace app {
namespace {

constexpr char kCsv[] = ".csv";

// ---- CSV ----

using Cells = std::vector<vtkStringArray *>;  // one column each

Cells columns_of(vtkTable *table) {
    Cells columns;
    for (vtkIdType c = 0; c < table->GetNumberOfColumns(); ++c) {
        if (auto *column = vtkStringArray::SafeDownCast(table->GetColumn(c))) columns.push_back(column);
    }
    return columns;
}

bool is_axis(std::string name, char axis) {
    std::erase_if(name, [](unsigned char c) { return std::isspace(c); });
    return name.size() == 1 && std::tolower(static_cast<unsigned char>(name[0])) == axis;
}

// Per axis its column, or null. A first row without any number is a header.
struct Layout {
    bool header = false;
    std::array<vtkStringArray *, 3> axes = {};
};

Layout layout_of(const Cells &columns, const std::string &path) {
    Layout layout;
    std::size_t count = 0;
    for (vtkStringArray *column : columns) {
        if (count < 3 && finite_number_of(column->GetValue(0))) layout.axes[count++] = column;
    }
    layout.header = count == 0;
    if (!layout.header) return layout;
    std::string names;
    for (vtkStringArray *column : columns) {
        add_item(names, "'" + column->GetValue(0) + "'", ", ");
        for (std::size_t d = 0; d < 3; ++d) {
            if (is_axis(column->GetValue(0), "xyz"[d])) layout.axes[d] = column;
        }
    }
    if (!layout.axes[0]) {
        refuse(path, "its columns are " + names + "; name those of the points x, y and z");
    }
    return layout;
}

ProbePoints read_csv(const std::string &path, Console &console) {
    vtkNew<vtkDelimitedTextReader> reader;
    reader->SetFileName(path.c_str());
    run_reader(reader.Get(), path, console);
    const Cells columns = columns_of(reader->GetOutput());
    const vtkIdType rows = columns.empty() ? 0 : reader->GetOutput()->GetNumberOfRows();
    if (rows == 0) refuse(path, "it holds no points");
    const Layout layout = layout_of(columns, path);
    ProbePoints result;
    for (vtkIdType row = layout.header; row < rows; ++row) {
        for (vtkStringArray *column : layout.axes) {
            const auto number = column ? finite_number_of(column->GetValue(row)) : 0.0;
            if (!number) {
                refuse(path, "row " + std::to_string(row + 1) + " has '" + column->GetValue(row) +
                                 "' where a coordinate should be");
            }
            result.points.push_back(static_cast<float>(*number));
        }
    }
    return result;
}

// ---- Grids ----

// Nodes on the grid lines of three axes, the first axis fastest.
std::vector<float> nodes_of(const std::array<std::vector<float>, 3> &axes) {
    std::vector<float> points;
    for (const float z : axes[2]) {
        for (const float y : axes[1]) {
            for (const float x : axes[0]) points.insert(points.end(), {x, y, z});
        }
    }
    return points;
}

std::vector<float> grid_lines(double lower, double upper, int count) {
    std::vector<float> lines;
    for (int i = 0; i < count; ++i) {
        const double part = count > 1 ? i / (count - 1.0) : 0.5;
        lines.push_back(static_cast<float>(lower + part * (upper - lower)));
    }
    return lines;
}

// ---- Meshes ----

ProbePoints nodes_of_file(const std::string &path, Console &console) {
    const Dataset dataset = read_dataset(path, {}, console);
    if (dataset.coords) {
        return {{dataset.coords.get(), dataset.coords.get() + 3 * dataset.nnodes}, {}, {}, {}, {}};
    }
    std::array<std::vector<float>, 3> axes;
    for (std::size_t d = 0; d < 3; ++d) {
        axes[d] = dataset.kind == MeshKind::kRectilinear
                      ? dataset.axes[d]
                      : grid_lines(dataset.lower[d], dataset.upper[d], dataset.dims[d]);
    }
    return {nodes_of(axes), {}, {}, {}, {}};
}

ProbePoints read_points(const std::string &path, Console &console) {
    const bool csv = extension_of(path) == kCsv;
    if (csv) check_readable(path);
    ProbePoints result = csv ? read_csv(path, console) : nodes_of_file(path, console);
    if (result.size() == 0) refuse(path, "it holds no points");
    const auto bad = std::find_if_not(result.points.begin(), result.points.end(),
                                      [](float x) { return std::isfinite(x); });
    if (bad != result.points.end()) {
        refuse(path, "point " + std::to_string((bad - result.points.begin()) / 3) +
                         " has a coordinate that is not finite");
    }
    return result;
}

// Two ends and a number of points, both ends included.
ProbePoints line_points(const std::vector<std::string> &line) {
    const auto start = point_of(line[0], "--line"), end = point_of(line[1], "--line");
    const auto number = finite_number_of(line[2]);
    if (!number || *number != std::floor(*number) || *number < 2 || *number > INT_MAX / 3) {
        throw UsageError("--line: '" + line[2] + "' is not a number of points, at least 2");
    }
    if (start == end) throw UsageError("--line needs two different ends");
    const int count = static_cast<int>(*number);
    ProbePoints result;
    const double length =
        std::hypot(double{end[0]} - start[0], double{end[1]} - start[1], double{end[2]} - start[2]);
    for (int i = 0; i < count; ++i) {
        const double part = i / (count - 1.0);
        for (std::size_t d = 0; d < 3; ++d) {
            result.points.push_back(static_cast<float>((1 - part) * start[d] + part * end[d]));
        }
        result.distances.push_back(static_cast<float>(part * length));
    }
    return result;
}

}  // namespace

bool PointOptions::flat_grid() const {
    return std::count(grid.begin(), grid.end(), 1) == 1;
}

void add_point_options(CLI::App &command, PointOptions &options, const std::string &line_help,
                       const std::string &grid_help) {
    command.add_option("--line", options.line, line_help)->expected(3)->type_name("X,Y,Z X,Y,Z N");
    command.add_option("--grid", options.grid, grid_help)->expected(3)->type_name("NX NY NZ");
}

void check_grid(const PointOptions &options) {
    double nodes = 1;
    for (const int n : options.grid) {
        if (n < 1) throw UsageError("--grid needs at least one node an axis");
        nodes *= n;
    }
    if (nodes > INT_MAX / 3) throw UsageError("--grid has more nodes than can be numbered");
}

ProbePoints given_points(const PointOptions &options, Console &console) {
    if (!options.path.empty()) return read_points(options.path, console);
    return options.line.empty() ? ProbePoints() : line_points(options.line);
}

ProbePoints grid_points(const PointOptions &options, const std::array<double, 6> &box) {
    ProbePoints result;
    const std::array<int, 3> dims = {options.grid[0], options.grid[1], options.grid[2]};
    result.dims = dims;
    std::array<std::vector<float>, 3> axes;
    for (std::size_t d = 0; d < 3; ++d) {
        const double lower = box[2 * d], upper = box[2 * d + 1];
        if (dims[d] > 1 && !(lower < upper)) {
            throw UsageError(std::string("the field has no extent along ") + "xyz"[d] +
                             "; give --grid one node there");
        }
        axes[d] = grid_lines(lower, upper, dims[d]);
        result.origin[d] = dims[d] > 1 ? lower : (lower + upper) / 2;
        result.spacing[d] = dims[d] > 1 ? (upper - lower) / (dims[d] - 1) : 1;
    }
    result.points = nodes_of(axes);
    return result;
}

}  // namespace app
