// isofield iso: the surface along which a scalar takes one level.
#include <memory>
#include <utility>

#include <CLI/Option.hpp>

#include "errors.hpp"
#include "extraction.hpp"
#include "operations.hpp"

namespace app {
namespace {

struct IsoOptions {
    FieldOptions field;
    double level = 0;
    OutputOptions output;
};

std::string empty_reason(const ComponentRange &range, double level) {
    const bool outside = range.empty || level <= range.lower || level > range.upper;
    return outside ? " (empty: the level lies outside the range)"
                   : " (empty: no cell without nulls takes the level)";
}

isofield::Surface extract(Field &field, const IsoOptions &options, bool keep_cells, Console &console) {
    isofield::ExtractionOptions settings = extraction_settings(field, "isosurface", console);
    settings.keep_cells = keep_cells;
    const PolledStage polled;
    isofield::Surface surface = field.mesh.isosurface(field.scalar.data.view(), options.level, settings);
    check_interrupt();
    console.clear_bar();
    return surface;
}

std::vector<std::array<int, 3>> turned_round(std::span<const std::array<int, 3>> triangles) {
    std::vector<std::array<int, 3>> turned(triangles.begin(), triangles.end());
    for (auto &triangle : turned) std::swap(triangle[1], triangle[2]);
    return turned;
}

OutputArray cell_ids(const Dataset &dataset, const isofield::Surface &surface) {
    std::vector<int> ids = file_cells(dataset, surface.line_cells());
    const std::vector<int> of_triangles = file_cells(dataset, surface.cells());
    ids.insert(ids.end(), of_triangles.begin(), of_triangles.end());
    return output_array<int>("cell_id", isofield::ElementType::kInt, ids);
}

// A surface in the form that files and pictures take.
struct Made {
    OutputSurface output;
    std::vector<std::array<int, 3>> turned;
    std::vector<int> line_offsets;
};

// Files get normals that point to the side below the level. On grids the library's do so in index space,
// which may be left-handed; on cell sets they point to the other side.
Made make_output(const Field &field, const isofield::Surface &surface, bool with_cells) {
    Made made;
    made.output.points = surface.points();
    made.output.triangles = surface.triangles();
    if (!field.dataset.grid() || field.dataset.left_handed) {
        made.turned = turned_round(surface.triangles());
        made.output.triangles = made.turned;
    }
    if (const auto lines = surface.lines(); !lines.empty()) {
        for (std::size_t i = 0; i <= lines.size(); ++i) made.line_offsets.push_back(static_cast<int>(2 * i));
        made.output.line_offsets = made.line_offsets;
        made.output.line_nodes = {lines.front().data(), 2 * lines.size()};
    }
    made.output.arrays = attached_arrays(field.attached);
    carry_arrays(field, surface, made.output.arrays);
    if (with_cells) made.output.cell_arrays.push_back(cell_ids(field.dataset, surface));
    return made;
}

std::string counts_of(const isofield::Surface &surface) {
    const std::size_t triangles = surface.triangles().size(), lines = surface.lines().size();
    std::string text;
    if (triangles > 0 || lines == 0) text = format_count(triangles, "triangle", "triangles");
    if (lines > 0) add_item(text, format_count(lines, "line", "lines"), ", ");
    return text + ", " + format_count(surface.npoints(), "node", "nodes");
}

void run_iso(const IsoOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    OutputFiles files(output, surface_extensions(), {options.field.path});
    Field field = read_field(options.field, console);
    tell_of_gaps(field.dataset, "the surface", console);

    const Stopwatch making;
    const bool with_cells = extension_of(output.geometry) == ".vtp";  // the others have no place for them
    const isofield::Surface surface = extract(field, options, with_cells, console);
    const Made made = make_output(field, surface, with_cells);
    const std::string made_seconds = making.seconds();

    const Stopwatch writing;
    write_surface(made.output, files.geometry, console);
    std::string line = "made   " + counts_of(surface) + " at level " + format_number(options.level) + ", " +
                       made_seconds + "; " + output.geometry + ", " + writing.seconds();
    if (surface.npoints() == 0) line += empty_reason(field.range, options.level);
    console.say(line);
    if (!files.picture) return;

    const Stopwatch drawing;
    draw_surface(made.output, field.dataset.bounds, output.style, *files.picture, console);
    say_drawn(output, drawing, console);
}

}  // namespace

void add_iso(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand(
        "iso", "Make the surface along which a scalar takes one level; lines where cells are flat");
    const auto options = std::make_shared<IsoOptions>();
    command->add_option("-l,--level", options->level, "Level of the surface")
        ->required()
        ->check(finite_number());
    add_field_options(*command, options->field,
                      "Node arrays to carry to the surface; the first colours the picture");
    add_output_options(*command, options->output, "Surface", surface_extensions());
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_iso(*options, console); }; });
}

}  // namespace app
