// isofield simplify: a grid of heights as triangles of few nodes.
#include <cmath>
#include <memory>

#include "errors.hpp"
#include "extraction.hpp"
#include "operations.hpp"
#include "render.hpp"
#include "sheet.hpp"

namespace app {
namespace {

struct SimplifyOptions {
    FieldOptions field;
    double tolerance = 0;
    bool relative = false;
    bool flat = false;
    bool edges = false;
    OutputOptions output;
};

void check_options(const SimplifyOptions &options) {
    if (!(options.tolerance >= 0)) throw UsageError("--tolerance is a height of 0 or more");
    if (options.edges && options.output.picture.empty()) throw UsageError("--edges goes with --png");
}

void check_heights(const Dataset &dataset) {
    if (dataset.kind == MeshKind::kUniform && dataset.grid_ndim() == 2) return;
    throw UsageError("'" + dataset.path + "' is " + (dataset.description.starts_with('u') ? "an " : "a ") +
                     dataset.description + (dataset.grid() ? " of " + dataset.dims_text() + " nodes" : "") +
                     ", but simplify works on uniform grids of constant z; bring it to one by isofield "
                     "probe --grid");
}

void check_complete(const Field &field) {
    const std::size_t missing = field.range.nan_count + field.range.null_count + field.range.infinite_count;
    if (missing == 0) return;
    throw UsageError("'" + field.scalar.name + "' is missing at " + format_count(missing, "node", "nodes") +
                     " of '" + field.dataset.path +
                     "', but simplify needs all heights; fill them first, by "
                     "isofield scatter");
}

isofield::HeightMesh simplify(const Field &field, double tolerance, Console &console) {
    const Dataset &dataset = field.dataset;
    isofield::HeightGrid grid;
    for (const std::size_t d : {0, 1}) {
        grid.dims[d] = dataset.dims[d];
        grid.lower[d] = static_cast<float>(dataset.lower[d]);
        grid.upper[d] = static_cast<float>(dataset.upper[d]);
    }
    console.progress("simplifying", 0);
    isofield::HeightMesh mesh = isofield::simplify_heights(field.scalar.data.view(), grid, tolerance);
    console.clear_bar();
    return mesh;
}

// "1200 nodes of 138632 (0.866 %), 2350 triangles of 275772 (0.852 %)"
std::string counts_of(const isofield::HeightMesh &mesh, const Dataset &dataset) {
    const auto share = [](std::size_t count, std::size_t all) {
        return " of " + std::to_string(all) + " (" +
               format_number(100 * static_cast<double>(count) / static_cast<double>(all), 3) + " %)";
    };
    const std::size_t nodes = mesh.points.size() / 3;
    return format_count(nodes, "node", "nodes") + share(nodes, mesh.grid_nodes) + ", " +
           format_count(mesh.triangles.size(), "triangle", "triangles") +
           share(mesh.triangles.size(), 2 * dataset.ncells);
}

// "error  12.5 at most, 3.1 rms; 2 nodes above the tolerance 12"
std::string errors_of(const isofield::HeightMesh &mesh) {
    constexpr double kSame = 1e-6;
    std::string text =
        "error  " + format_number(mesh.worst) + " at most, " + format_number(mesh.rms) + " rms; ";
    text += mesh.above_tolerance > 0 ? format_count(mesh.above_tolerance, "node", "nodes") : "no node";
    text += " above the tolerance " + format_number(mesh.tolerance);
    if (std::abs(mesh.coverage - 1) > kSame)  // gaps, or triangles over each other
        text += "; the triangles have " + format_number(100 * mesh.coverage) + " % of the grid's area";
    return text;
}

void run_simplify(const SimplifyOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    check_options(options);
    OutputFiles files(output, surface_extensions(), {options.field.path});
    const Field field = read_field(options.field, console, {.check = check_heights});
    check_complete(field);

    const Stopwatch making;
    const double unit = options.relative ? field.range.upper - field.range.lower : 1;
    const isofield::HeightMesh mesh = simplify(field, options.tolerance * unit, console);
    const std::string made_seconds = making.seconds();
    std::vector<float> heights, flat = mesh.points;
    for (std::size_t z = 2; z < flat.size(); z += 3) {
        heights.push_back(flat[z]);
        flat[z] = static_cast<float>(field.dataset.lower[2]);
    }
    const Stopwatch writing;
    OutputSurface surface;
    surface.points = options.flat ? flat : mesh.points;
    surface.triangles = mesh.triangles;
    surface.arrays.push_back(output_array<float>(field.scalar.name, isofield::ElementType::kFloat, heights));
    write_surface(surface, files.geometry, console);
    console.say("made   " + counts_of(mesh, field.dataset) + ", " + made_seconds + "; " + output.geometry +
                ", " + writing.seconds());
    console.say(errors_of(mesh));
    if (!files.picture) return;

    const Stopwatch drawing;
    Sheet sheet{flat, mesh.triangles, {}, heights};
    draw_relief(sheet, field.scalar.name, options.edges, field.dataset.bounds, output.style, *files.picture,
                console);
    say_drawn(output, drawing, console);
}

}  // namespace

void add_simplify(CLI::App &tool, Action &chosen) {
    CLI::App *command =
        tool.add_subcommand("simplify", "Make triangles of few nodes in place of a uniform grid of heights");
    const auto options = std::make_shared<SimplifyOptions>();
    add_number(*command, "-t,--tolerance", options->tolerance,
               "How far heights may be from the triangles: a goal, the worst error is told", "HEIGHT")
        ->required();
    command->add_flag("--relative", options->relative,
                      "The tolerance is a part of the heights' range: 0.01 for a hundredth");
    command->add_flag("--flat", options->flat, "Leave the nodes in the grid's plane; heights are an array");
    command->add_flag("--edges", options->edges, "Draw the triangles' edges too");
    add_array_option(*command, "-a,--array", options->field.array, kArrayHelp);
    add_input_options(*command, options->field);
    add_output_options(*command, options->output, "Surface", surface_extensions());
    command->footer(
        examples({"simplify jacksboro.vti --tolerance 80 -o mountains.vtp --png mountains.png --edges"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_simplify(*options, console); }; });
}

}  // namespace app
