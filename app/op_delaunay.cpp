// isofield delaunay: triangles between points in the plane, tetrahedra between points in space.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <functional>
#include <memory>
#include <tuple>

#include "cells_io.hpp"
#include "extraction.hpp"
#include "field_picture.hpp"
#include "operations.hpp"
#include "part_output.hpp"
#include "point_cloud.hpp"
#include "point_table.hpp"
#include "render.hpp"

namespace app {
namespace {

constexpr char kSolidExtensions[] = ".vtu";

struct DelaunayOptions : CloudOptions {
    bool solid = false;
    bool check = false;
    OutputOptions output;
};

using Bounds = std::array<double, 6>;

// ---- Points ----

PointCloud read_points(const DelaunayOptions &options, Console &console) {
    const bool in_space = options.solid || !options.axes[2].empty() || !is_table(options.path);
    return read_cloud(options, {.naxes = in_space ? 3u : 2u, .values = false}, console);
}

// Those of tables from their lower corner, those of other files, which are floats, as they are.
std::vector<float> places_of(const PointCloud &cloud, const Bounds &bounds) {
    std::array<double, 3> origin = {};
    if (is_table(cloud.path)) origin = {bounds[0], bounds[2], bounds[4]};
    return places_in(cloud, origin);
}

// The nodes that are written may be coarser than the places that are worked on.
void tell_of_rounding(const PointCloud &cloud, const Bounds &bounds, Console &console) {
    constexpr double kFine = 1e-4;  // of the extent
    for (std::size_t d = 0; is_table(cloud.path) && d < 3; ++d) {
        const double lower = bounds[2 * d], upper = bounds[2 * d + 1];
        const double step = FLT_EPSILON / 2 * std::max(std::abs(lower), std::abs(upper));
        if (lower == upper || step <= kFine * (upper - lower)) continue;
        console.note("'" + cloud.names[d] + "' is so far from 0 that nodes are written up to " +
                     format_number(step, 1) + " off; subtract " + format_number(lower, 3) +
                     " from the column to keep them whole");
    }
}

// z lifts the nodes of a surface, and is one of their arrays.
void add_height(PointCloud &cloud) {
    const std::vector<double> &heights = cloud.coords[2];
    const bool flat =
        std::adjacent_find(heights.begin(), heights.end(), std::not_equal_to()) == heights.end();
    const bool there = std::any_of(cloud.arrays.begin(), cloud.arrays.end(),
                                   [&](const NamedArray &array) { return array.name == cloud.names[2]; });
    if (!flat && !there) cloud.arrays.push_back({cloud.names[2], owned_data(heights, 1), {}});
}

// ---- Nodes ----

struct Nodes {
    std::vector<float> points;
    std::vector<OutputArray> arrays;
    std::vector<int> rows;  // of the points
};

// Renumbers the cells by the points that they have, and returns these.
template <class Cell>
std::vector<int> take_rows(std::vector<Cell> &cells, std::size_t npoints) {
    std::vector<int> number(npoints, -1), rows;
    for (const Cell &cell : cells) {
        for (const int point : cell) number[static_cast<std::size_t>(point)] = 0;
    }
    for (std::size_t point = 0; point < npoints; ++point) {
        if (number[point] < 0) continue;
        number[point] = static_cast<int>(rows.size());
        rows.push_back(static_cast<int>(point));
    }
    for (Cell &cell : cells) {
        for (int &point : cell) point = number[static_cast<std::size_t>(point)];
    }
    return rows;
}

template <class Cell>
Nodes take_nodes(const PointCloud &cloud, std::vector<Cell> &cells) {
    Nodes nodes{{}, attached_arrays(cloud.arrays), take_rows(cells, cloud.size())};
    for (const int row : nodes.rows) {
        for (const auto &axis : cloud.coords) {
            const double x = axis.empty() ? 0 : axis[static_cast<std::size_t>(row)];
            nodes.points.push_back(static_cast<float>(x));
        }
    }
    for (std::size_t i = 0; i < cloud.arrays.size(); ++i) {
        const ArrayData &data = cloud.arrays[i].data;
        std::vector<std::byte> &values = nodes.arrays[i].values;
        values.resize(nodes.rows.size() * static_cast<std::size_t>(data.components) *
                      isofield::size_of(data.type));
        UTILcopy_array_list(nullptr, data.components, static_cast<int>(data.type), data.values.get(),
                            static_cast<int>(nodes.rows.size()), nodes.rows.data(), values.data());
    }
    return nodes;
}

// Which point each node is, as the file counts them from 0.
OutputArray point_ids(const Nodes &nodes, Console &console) {
    std::vector<std::string> taken;
    for (const OutputArray &array : nodes.arrays) taken.push_back(array.name);
    return output_array<int>(free_name("point_id", "_new", taken, console), isofield::ElementType::kInt,
                             nodes.rows);
}

// ---- Making ----

template <class Triangulate>
auto make(Triangulate triangulate, const PointCloud &cloud, const Bounds &bounds,
          const DelaunayOptions &options, Console &console) {
    isofield::DelaunayOptions settings;
    settings.progress = polled_progress("triangulating", console);
    settings.verify = options.check;
    const PolledStage polled;
    auto made = triangulate(places_of(cloud, bounds), settings);
    check_interrupt();
    console.clear_bar();
    return made;
}

// "8 triangles, 9 nodes, area 4"
template <class Cell>
std::string counts_of(const std::vector<Cell> &cells, std::span<const float> points) {
    constexpr std::size_t kCorners = std::tuple_size_v<Cell>;
    const bool flat = kCorners == 3;
    double measure = 0;
    if (!cells.empty()) {
        const isofield::CellSet set = {flat ? "tri_1" : "tet_1",
                                       {cells.front().data(), kCorners * cells.size()}};
        measure = isofield::Mesh::cells(points, {&set, 1}).integrate(flat ? 2 : 3).measure;
    }
    return format_count(cells.size(), flat ? "triangle" : "tetrahedron", flat ? "triangles" : "tetrahedra") +
           ", " + format_count(points.size() / 3, "node", "nodes") + (flat ? ", area " : ", volume ") +
           format_number(measure);
}

// What became of the points.
template <class Made>
void say_points(const Made &made, const DelaunayOptions &options, Console &console) {
    std::string line = "       " + format_count(made.used, "point", "points") + " used";
    const auto add = [&line](std::size_t count, const char *what) {
        if (count > 0) line += ", " + std::to_string(count) + " " + what;
    };
    add(made.duplicates, "equal to an earlier one");
    add(made.missing, "with a missing coordinate");
    add(made.unused, "left out");
    const std::string ball = options.solid ? "circumsphere" : "circumcircle";
    if (options.check && made.violations == 0) line += "; every " + ball + " is empty";
    console.say(line);
    if (made.violations > 0) {
        console.warn(format_count(made.violations, "time", "times") + " a point lies inside the " + ball +
                     " of a " + (options.solid ? "tetrahedron" : "triangle"));
    }
}

// A map from above, or with --view the surface in space.
void draw_triangles(OutputSurface surface, std::span<const float> flat, Bounds bounds,
                    const OutputOptions &output, OutputFile &file, Console &console) {
    const bool map = !output.style.view;
    if (map) {
        surface.points = flat;
        bounds[4] = bounds[5] = 0;
    }
    SurfaceLook look;
    look.shaded = !map;
    look.edges = shows_edges(static_cast<double>(surface.triangles.size()), output.style);
    draw_surface(surface, bounds, output.style, file, console, look);
}

void make_surface(PointCloud &cloud, const Bounds &bounds, const DelaunayOptions &options, OutputFiles &files,
                  Console &console) {
    const OutputOptions &output = options.output;
    add_height(cloud);
    const Stopwatch making;
    auto made = make(isofield::delaunay_2d, cloud, bounds, options, console);
    const Nodes nodes = take_nodes(cloud, made.triangles);
    const std::string made_seconds = making.seconds();

    const Stopwatch writing;
    OutputSurface surface;
    surface.points = nodes.points;
    surface.triangles = made.triangles;
    surface.arrays = nodes.arrays;
    const bool with_ids = keeps_cell_arrays(output.geometry);  // the others have no place for them
    if (with_ids) surface.arrays.push_back(point_ids(nodes, console));
    write_surface(surface, files.geometry, console);
    std::vector<float> flat = nodes.points;
    for (std::size_t z = 2; z < flat.size(); z += 3) flat[z] = 0;
    std::string line = "made   " + counts_of(made.triangles, flat) + ", " + made_seconds + "; " +
                       output.geometry + ", " + writing.seconds();
    if (made.triangles.empty()) line += " (empty: it takes 3 points that are not in one line)";
    console.say(line);
    say_points(made, options, console);
    if (!files.picture) return;

    const Stopwatch drawing;
    surface.arrays = nodes.arrays;
    draw_triangles(surface, flat, bounds, output, *files.picture, console);
    say_drawn(output, drawing, console);
}

OutputPart part_of(const Nodes &nodes, const std::vector<isofield::Tetrahedron> &tetrahedra) {
    OutputPart part;
    part.points = nodes.points;
    part.arrays = nodes.arrays;
    const FileCell &kind = file_cell("tet_1");
    for (const isofield::Tetrahedron &cell : tetrahedra) {
        for (const int corner : kind.nodes) part.nodes.push_back(cell[static_cast<std::size_t>(corner)]);
        part.offsets.push_back(static_cast<int>(part.nodes.size()));
        part.types.push_back(static_cast<unsigned char>(kind.type));
    }
    return part;
}

void make_part(const PointCloud &cloud, const Bounds &bounds, const DelaunayOptions &options,
               OutputFiles &files, Console &console) {
    const OutputOptions &output = options.output;
    const Stopwatch making;
    auto made = make(isofield::delaunay_3d, cloud, bounds, options, console);
    const Nodes nodes = take_nodes(cloud, made.tetrahedra);
    OutputPart part = part_of(nodes, made.tetrahedra);
    const std::string made_seconds = making.seconds();

    const Stopwatch writing;
    part.arrays.push_back(point_ids(nodes, console));
    write_part(part, files.geometry, console);
    std::string line = "made   " + counts_of(made.tetrahedra, nodes.points) + ", " + made_seconds + "; " +
                       output.geometry + ", " + writing.seconds();
    if (made.tetrahedra.empty()) line += " (empty: it takes 4 points that are not in one plane)";
    console.say(line);
    say_points(made, options, console);
    if (!files.picture) return;

    const Stopwatch drawing;
    part.arrays.pop_back();
    const double outside = 6 * std::pow(static_cast<double>(part.ncells()), 2.0 / 3);  // about as many
    draw_part(part, std::nullopt, bounds, output.style, *files.picture, console,
              shows_edges(outside, output.style));
    say_drawn(output, drawing, console);
}

void run_delaunay(const DelaunayOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    check_cloud_options(options);
    OutputFiles files(output, options.solid ? kSolidExtensions : surface_extensions(), {options.path});
    PointCloud cloud = read_points(options, console);
    const Bounds bounds = bounds_of(cloud);
    tell_of_rounding(cloud, bounds, console);
    if (options.solid)
        make_part(cloud, bounds, options, files, console);
    else
        make_surface(cloud, bounds, options, files, console);
}

}  // namespace

void add_delaunay(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand(
        "delaunay", "Make the triangles between points in the plane, or the tetrahedra in space");
    const auto options = std::make_shared<DelaunayOptions>();
    command->add_flag("--3d", options->solid, "Tetrahedra in x, y and z, instead of triangles in x and y");
    command->add_flag("--check", options->check, "Tell whether every circumcircle or circumsphere is empty");
    add_cloud_options(*command, *options,
                      "Columns or node arrays to carry, instead of all that hold numbers; the first colours "
                      "the picture",
                      "; with --3d, or to lift the triangles' nodes");
    add_output_options(*command, options->output, "Triangles or tetrahedra",
                       surface_extensions() + ", with --3d " + kSolidExtensions);
    command->footer(examples({"delaunay soundings.csv --value depth --check -o bay.vtp --png bay.png",
                              "delaunay atoms.csv --3d -o atoms.vtu"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_delaunay(*options, console); }; });
}

}  // namespace app
