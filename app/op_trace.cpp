// isofield trace: the connected sheet or line of a level through a point.
#include <memory>

#include "errors.hpp"
#include "level_output.hpp"
#include "operations.hpp"
#include "render.hpp"
#include "sheet.hpp"

namespace app {
namespace {

struct TraceOptions {
    FieldOptions field;
    std::string at;
    bool native = false;
    OutputOptions output;
};

using Point = std::array<float, 3>;

// What is written of a sheet or line, and told of it.
struct Traced {
    OutputSurface surface;
    double level;
    std::string counts;
};

// Traces by `method` of the locator, inside one stage that can be interrupted.
template <class Result>
Result trace(Field &field, const TraceOptions &options, bool keep_cells, const Point &at,
             Result (isofield::Locator::*method)(const isofield::DataView &, const Point &,
                                                 const isofield::TraceOptions &),
             Console &console) {
    const PolledStage polled;
    isofield::Locator locator(field.mesh, polled_progress("search table", console));
    isofield::TraceOptions settings;
    settings.null_value = field.scalar.null_value;
    settings.native = options.native;
    settings.keep_cells = keep_cells;
    settings.progress = polled_progress("tracing", console);
    Result result = (locator.*method)(field.scalar.data.view(), at, settings);
    check_interrupt();
    console.clear_bar();
    return result;
}

void finish(const Field &field, const Traced &traced, const TraceOptions &options, const Stopwatch &making,
            OutputFiles &files, Console &console) {
    const std::string made_seconds = making.seconds();
    const Stopwatch writing;
    write_surface(traced.surface, files.geometry, console);
    std::string line = "made   " + traced.counts + " at level " + format_number(traced.level) +
                       ", that of '" + field.scalar.name + "' at " + options.at + ", " + made_seconds + "; " +
                       options.output.geometry + ", " + writing.seconds();
    if (traced.surface.points.empty()) line += " (empty: no cell takes the level there)";
    console.say(line);
}

void trace_sheet(Field &field, const TraceOptions &options, const Point &at, OutputFiles &files,
                 Console &console) {
    const Stopwatch making;
    const bool with_cells = !options.native && keeps_cell_arrays(options.output.geometry);
    const isofield::Sheet sheet = trace(field, options, with_cells, at, &isofield::Locator::sheet, console);
    const LevelOutput made = make_output(field, sheet.surface, with_cells);
    finish(field, {made.output, sheet.level, counts_of(sheet.surface)}, options, making, files, console);
    if (!files.picture) return;

    const Stopwatch drawing;
    draw_surface(made.output, field.dataset.bounds, options.output.style, *files.picture, console,
                 {.mark = at});
    say_drawn(options.output, drawing, console);
}

void trace_line(Field &field, const TraceOptions &options, const Point &at, OutputFiles &files,
                Console &console) {
    const Stopwatch making;
    const isofield::LevelLine line =
        trace(field, options, false, at, &isofield::Locator::level_line, console);
    const isofield::Polylines joined = isofield::join_lines(line.lines.lines(), line.lines.npoints());
    Traced traced;
    traced.level = line.level;
    traced.counts = format_count(joined.size(), "polyline", "polylines") + ", " +
                    format_count(line.lines.npoints(), "node", "nodes");
    traced.surface.points = line.lines.points();
    traced.surface.line_offsets = joined.offsets;
    traced.surface.line_nodes = joined.nodes;
    traced.surface.arrays = attached_arrays(field.attached);
    carry_arrays(field, line.lines, traced.surface.arrays);
    const std::vector<double> levels(joined.size(), line.level);
    traced.surface.cell_arrays.push_back(
        output_array<double>("level", isofield::ElementType::kDouble, levels));
    finish(field, traced, options, making, files, console);
    if (!files.picture) return;

    const Stopwatch drawing;
    Sheet sheet = make_sheet(field);
    traced.surface.cell_arrays.clear();  // one level needs no colours
    draw_lines(traced.surface, sheet, field.scalar.name, field.dataset.bounds, options.output.style,
               *files.picture, console, at);
    say_drawn(options.output, drawing, console);
}

void run_trace(const TraceOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    const Point at = point_of(options.at, "--at");
    OutputFiles files(output, surface_extensions(), {options.field.path});
    Field field = read_field(options.field, console);
    if (options.native && !field.dataset.grid())
        throw UsageError("--native walks grids, but '" + options.field.path + "' is an " +
                         field.dataset.description);
    if (!options.native) tell_of_gaps(field.dataset, "the sheet", console);
    (field.dataset.has_volume() ? trace_sheet : trace_line)(field, options, at, files, console);
}

}  // namespace

void add_trace(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand(
        "trace", "Make the one connected surface, or line on flat fields, of the level at a point");
    const auto options = std::make_shared<TraceOptions>();
    command->add_option("--at", options->at, "Point whose value is the level")
        ->required()
        ->type_name("X,Y,Z");
    command->add_flag("--native", options->native,
                      "Use the library's own walk, on grids only, which takes two axes for each other where "
                      "it goes on to the next cell, so that it may stop early, and may take along sheets "
                      "close by; see isofield.h");
    add_field_options(*command, options->field, "Node arrays to carry over; the first colours the picture");
    add_output_options(*command, options->output, "Surface or line", surface_extensions());
    command->footer(examples({"trace brain.nii.gz --at 27,-40,15 -o ventricle.vtp --png ventricle.png"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_trace(*options, console); }; });
}

}  // namespace app
