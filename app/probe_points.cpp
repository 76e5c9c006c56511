#include "probe_points.hpp"

#include <algorithm>
#include <climits>
#include <cmath>
#include <optional>

#include "dataset_io.hpp"
#include "options.hpp"
#include "point_table.hpp"
#include "reader_support.hpp"

namespace app {
namespace {

// ---- Tables ----

// With a header the columns of the axes, y and z as 0 where there are none; else the first that hold numbers.
ProbePoints read_table(const std::string &path, Console &console) {
    const PointTable table(path, console);
    auto columns = table.axes();
    if (table.has_header() && !columns[0]) {
        refuse(path, "its columns are " + table.names() + "; name those of the points x, y and z");
    }
    std::vector<std::size_t> taken;
    ProbePoints result;
    result.points.resize(3 * table.rows());
    for (std::size_t d = 0; d < 3; ++d) {
        if (!table.has_header()) columns[d] = table.next_numeric(taken);
        if (!columns[d]) continue;
        taken.push_back(*columns[d]);
        const std::vector<double> numbers = table.numbers(*columns[d]);
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            result.points[3 * i + d] = static_cast<float>(numbers[i]);
        }
    }
    result.has_z = columns[2].has_value();
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

// ---- Points ----

ProbePoints read_points(const PointOptions &options, Console &console) {
    const std::string &path = options.path;
    ProbePoints result;
    if (is_table(path))
        result = read_table(path, console);
    else
        result.points = node_coords(read_dataset(path, {}, console));
    if (result.size() == 0) refuse(path, "it holds no points");
    if (options.with_missing) return result;
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

std::vector<float> node_coords(const Dataset &dataset) {
    if (dataset.coords) return {dataset.coords.get(), dataset.coords.get() + 3 * dataset.nnodes};
    std::array<std::vector<float>, 3> axes;
    for (std::size_t d = 0; d < 3; ++d) {
        axes[d] = dataset.kind == MeshKind::kRectilinear
                      ? dataset.axes[d]
                      : grid_lines(dataset.lower[d], dataset.upper[d], dataset.dims[d]);
    }
    return nodes_of(axes);
}

bool PointOptions::flat_grid() const {
    return std::count(grid.begin(), grid.end(), 1) == 1;
}

void add_point_options(CLI::App &command, PointOptions &options, const std::string &line_help,
                       const std::string &grid_help) {
    command.add_option("--line", options.line, line_help)->expected(3)->type_name("X,Y,Z X,Y,Z N");
    add_count(command, "--grid", options.grid, grid_help)->expected(3)->type_name("NX NY NZ");
}

void check_grid(const std::vector<int> &grid) {
    double nodes = 1;
    for (const int n : grid) {
        if (n < 1) throw UsageError("--grid needs at least one node an axis");
        nodes *= n;
    }
    if (nodes > INT_MAX / 3) throw UsageError("--grid has more nodes than can be numbered");
}

ProbePoints given_points(const PointOptions &options, Console &console) {
    if (!options.path.empty()) return read_points(options, console);
    return options.line.empty() ? ProbePoints() : line_points(options.line);
}

ProbePoints grid_frame(const std::vector<int> &grid, const std::array<double, 6> &box) {
    ProbePoints result;
    for (std::size_t d = 0; d < 3; ++d) {
        const double lower = box[2 * d], upper = box[2 * d + 1];
        const int count = d < grid.size() ? grid[d] : 1;
        if (count > 1 && !(lower < upper)) {
            throw UsageError(std::string("the box has no extent along ") + "xyz"[d] +
                             "; give --grid one node there");
        }
        result.dims[d] = count;
        result.origin[d] = count > 1 ? lower : (lower + upper) / 2;
        result.spacing[d] = count > 1 ? (upper - lower) / (count - 1) : 1;
    }
    return result;
}

ProbePoints grid_points(const PointOptions &options, const std::array<double, 6> &box) {
    ProbePoints result = grid_frame(options.grid, box);
    std::array<std::vector<float>, 3> axes;
    for (std::size_t d = 0; d < 3; ++d) axes[d] = grid_lines(box[2 * d], box[2 * d + 1], result.dims[d]);
    result.points = nodes_of(axes);
    return result;
}

vtkSmartPointer<vtkImageData> image_of(const ProbePoints &grid) {
    auto image = vtkSmartPointer<vtkImageData>::New();
    image->SetDimensions(grid.dims.data());
    image->SetOrigin(grid.origin.data());
    image->SetSpacing(grid.spacing.data());
    return image;
}

}  // namespace app
