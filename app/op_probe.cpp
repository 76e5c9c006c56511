// isofield probe: what the fields on the nodes are at points anywhere.
#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>

#include <vtkCellArray.h>
#include <vtkPointData.h>
#include <vtkUnstructuredGrid.h>

#include "chart.hpp"
#include "dataset_io.hpp"
#include "errors.hpp"
#include "operation_support.hpp"
#include "operations.hpp"
#include "probe_points.hpp"
#include "relay.hpp"
#include "sampling.hpp"
#include "surface_io.hpp"
#include "table_io.hpp"
#include "writer_support.hpp"

namespace app {
namespace {

struct ProbeOptions : InputOptions {
    std::vector<std::string> arrays;
    PointOptions points;
    std::optional<double> fill;
    OutputOptions output;
};

// ---- What is asked for ----

// What can be told before a file is read.
void check_options(const ProbeOptions &options) {
    if (options.points.count() != 1) throw UsageError("name the points by one of POINTS, --line and --grid");
    check_grid(options.points.grid);
    if (!options.output.picture.empty() && options.points.line.empty() && !options.points.flat_grid()) {
        throw UsageError("--png draws a --line, or a --grid with one node along just one axis");
    }
}

std::string extensions_for(const ProbeOptions &options) {
    return options.points.grid.empty() ? ".csv .vtp .vtu" : ".csv .vti .vtp .vtu";
}

// ---- What is found ----

struct Probed {
    ProbePoints at;
    std::vector<unsigned char> found;
    std::vector<int> cell_ids;        // as the file counts them; -1 outside
    std::vector<OutputArray> arrays;  // sampled
    std::string seconds;

    std::size_t nfound() const { return static_cast<std::size_t>(std::count(found.begin(), found.end(), 1)); }
};

std::vector<std::string> reserved_names(const ProbePoints &at) {
    std::vector<std::string> names = {"found", "cell_id"};
    if (at.line()) names.push_back("distance");
    return names;
}

void take_places(const Dataset &dataset, const std::vector<isofield::Place> &places, Probed &probed) {
    std::vector<int> cells;
    for (const isofield::Place &place : places) {
        probed.found.push_back(place.found());
        cells.push_back(place.cell);
    }
    probed.cell_ids = file_cells(dataset, cells);
}

Probed probe(const Dataset &dataset, isofield::Mesh &mesh, const std::vector<NamedArray> &arrays,
             const ProbeOptions &options, ProbePoints at, Console &console) {
    Probed probed;
    probed.at = std::move(at);
    const PolledStage polled;
    const Stopwatch building;
    isofield::Locator locator(mesh, polled_progress("search table", console));
    probed.seconds = "search table " + building.seconds();
    const Stopwatch sampling;
    const auto places = locator.find(probed.at.points, polled_progress("finding", console));
    take_places(dataset, places, probed);
    probed.arrays = sample_arrays(locator, places, arrays, options.fill, reserved_names(probed.at), console);
    check_interrupt();
    console.clear_bar();
    probed.seconds += ", sampling " + sampling.seconds();
    return probed;
}

// ---- Files ----

std::vector<Column> columns_of(const Probed &probed, Console &console) {
    const ProbePoints &at = probed.at;
    std::vector<Column> columns;
    for (std::size_t d = 0; d < 3; ++d) {
        columns.push_back(number_column<float>(std::string(1, "xyz"[d]), at.points, 3, d));
    }
    if (at.line()) columns.push_back(number_column<float>("distance", at.distances));
    columns.push_back(number_column<unsigned char>("found", probed.found));
    columns.push_back(number_column<int>("cell_id", probed.cell_ids));
    for (const OutputArray &array : probed.arrays) add_columns(columns, array, console);
    return columns;
}

// The points with their data, the sampled ones first.
OutputSurface surface_of(const Probed &probed) {
    using isofield::ElementType;
    OutputSurface surface;
    surface.points = probed.at.points;
    surface.arrays = probed.arrays;
    surface.arrays.push_back(output_array<unsigned char>("found", ElementType::kByte, probed.found));
    surface.arrays.push_back(output_array<int>("cell_id", ElementType::kInt, probed.cell_ids));
    if (probed.at.line()) {
        surface.arrays.push_back(output_array<float>("distance", ElementType::kFloat, probed.at.distances));
    }
    return surface;
}

// A line is one polyline, other points are vertices.
vtkSmartPointer<vtkCellArray> cells_of(const ProbePoints &at) {
    auto cells = vtkSmartPointer<vtkCellArray>::New();
    std::vector<vtkIdType> nodes(at.size());
    std::iota(nodes.begin(), nodes.end(), 0);
    const auto size = static_cast<vtkIdType>(at.line() ? nodes.size() : 1);
    for (std::size_t first = 0; first < nodes.size(); first += static_cast<std::size_t>(size)) {
        cells->InsertNextCell(size, &nodes[first]);
    }
    return cells;
}

vtkSmartPointer<vtkDataSet> to_dataset(const Probed &probed, const OutputSurface &surface,
                                       const std::string &extension) {
    const ProbePoints &at = probed.at;
    const vtkSmartPointer<vtkPolyData> data = to_polydata(surface);
    vtkSmartPointer<vtkDataSet> result;
    if (extension == ".vtp") {
        at.line() ? data->SetLines(cells_of(at)) : data->SetVerts(cells_of(at));
        return data;
    }
    if (extension == ".vti") {
        result = image_of(at);
    } else {
        vtkNew<vtkUnstructuredGrid> cells;
        cells->SetPoints(data->GetPoints());
        cells->SetCells(at.line() ? VTK_POLY_LINE : VTK_VERTEX, cells_of(at));
        result = cells;
    }
    result->GetPointData()->ShallowCopy(data->GetPointData());
    result->GetFieldData()->ShallowCopy(data->GetFieldData());
    return result;
}

void write(const Probed &probed, OutputFile &file, Console &console) {
    const bool as_table = extension_of(file.name()) == ".csv";
    const std::string own_kind = probed.at.grid() ? ".vti" : ".vtp";
    const OutputSurface surface = surface_of(probed);
    if (as_table) {
        if (result_is_wanted()) hand_on(to_dataset(probed, surface, own_kind));
        return write_csv(columns_of(probed, console), file, console);
    }
    console.progress("writing", 0);
    const std::string kind = file.in_memory() ? own_kind : extension_of(file.name());
    write_xml(to_dataset(probed, surface, kind), file, console);
    file.commit();
    console.clear_bar();
}

// ---- Pictures ----

// One value a point, NaN where there is none.
std::vector<float> plain_values(const OutputArray &array) {
    const auto colors = color_values(array);
    std::vector<float> values;
    for (vtkIdType i = 0; i < colors->GetNumberOfTuples(); ++i) {
        values.push_back(static_cast<float>(colors->GetComponent(i, 0)));
    }
    return values;
}

void draw_line(const Probed &probed, const PictureStyle &style, OutputFile &file, Console &console) {
    const OutputSurface surface = surface_of(probed);
    std::vector<Curve> curves;
    for (std::size_t i = 0; i < probed.arrays.size(); ++i) {
        curves.push_back({color_title(surface.arrays[i]), plain_values(surface.arrays[i])});
    }
    draw_chart("distance", probed.at.distances, curves, style, file, console);
}

// The cells of the plane whose corners have a value of the first array.
void draw_plane(const Probed &probed, const PictureStyle &style, OutputFile &file, Console &console) {
    OutputSurface surface = surface_of(probed);
    const std::vector<float> values = plain_values(surface.arrays.front());
    std::vector<int> dims(probed.at.dims.begin(), probed.at.dims.end());
    std::erase(dims, 1);
    const auto triangles = grid_triangles(
        {dims[0], dims[1]}, [&](int node) { return !std::isnan(values[static_cast<std::size_t>(node)]); });
    surface.triangles = triangles;
    std::array<double, 6> box;
    for (std::size_t d = 0; d < 3; ++d) {
        box[2 * d] = probed.at.origin[d];
        box[2 * d + 1] = probed.at.origin[d] + probed.at.spacing[d] * (probed.at.dims[d] - 1);
    }
    draw_surface(surface, box, style, file, console);
}

// ---- The run ----

void run_probe(const ProbeOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    check_options(options);
    OutputFiles files(output, extensions_for(options), {options.path, options.points.path});
    ProbePoints at = given_points(options.points, console);
    const Stopwatch reading;
    const Dataset dataset =
        read_dataset(options.path, options.step, console, nullptr, first_of(options.arrays));
    const auto chosen = choose_arrays(dataset, Association::kNode, options.arrays);
    isofield::Mesh mesh = make_mesh(dataset, console);
    const std::vector<NamedArray> arrays = named_arrays(chosen, options, console);
    say_read(dataset, arrays, reading, console);
    if (!options.points.grid.empty()) at = grid_points(options.points, dataset.bounds);

    const Probed probed = probe(dataset, mesh, arrays, options, std::move(at), console);
    const Stopwatch writing;
    write(probed, files.geometry, console);
    console.say("made   " + format_count(probed.at.size(), "point", "points") + ", " +
                std::to_string(probed.nfound()) + " found, " + probed.seconds + "; " + output.geometry +
                ", " + writing.seconds());
    if (!files.picture) return;

    const Stopwatch drawing;
    (probed.at.line() ? draw_line : draw_plane)(probed, output.style, *files.picture, console);
    say_drawn(output, drawing, console);
}

}  // namespace

void add_probe(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand("probe", "Tell what node arrays are at points, by interpolation");
    const auto options = std::make_shared<ProbeOptions>();
    add_point_options(*command, options->points, "Points from one end to the other, so many with both",
                      "Points on a grid over the box of the field");
    add_number(*command, "--fill", options->fill, "Value of points that have none", "VALUE")
        ->default_str("NaN");
    add_array_option(*command, "-a,--array", options->arrays,
                     "Node arrays to probe, instead of all; the first colours the picture");
    add_input_options(*command, *options);
    command->add_option(
        "POINTS", options->points.path,
        "Points: rows of a .csv file with the columns x, y and z, or nodes of " + readable_extensions());
    add_output_options(*command, options->output, "Points with their values", ".csv .vti (--grid) .vtp .vtu");
    command->footer(
        examples({"probe disk_out_ref.ex2 --line -5.75,0,-10 5.75,0,10.16 400 -o line.csv --png line.png",
                  "probe fire_ug.vtu --grid 400 1 160 -o plane.vti --png plane.png"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_probe(*options, console); }; });
}

}  // namespace app
