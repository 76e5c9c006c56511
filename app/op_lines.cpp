// isofield lines: isolines of a scalar on surfaces and two-dimensional grids.
#include <algorithm>
#include <limits>
#include <memory>

#include "errors.hpp"
#include "levels.hpp"
#include "operations.hpp"
#include "sheet.hpp"

namespace app {
namespace {

struct LinesOptions {
    FieldOptions field;
    std::vector<double> levels;
    std::optional<int> count;
    std::optional<double> every;
    OutputOptions output;
};

// What can be told before the file is read.
void check_options(const LinesOptions &options) {
    const int kinds = !options.levels.empty() + options.count.has_value() + options.every.has_value();
    if (kinds != 1) throw UsageError("name the levels by one of --level, --levels and --every");
    check_levels(options.levels.size(), options.count, options.every);
}

std::vector<double> choose_levels(const LinesOptions &options, const Field &field) {
    std::vector<double> levels = options.levels;
    if (levels.empty()) {
        const ComponentRange &range = range_for_levels(field, options.count.has_value());
        levels = options.every ? multiples(*options.every, range, Ends::kInside)
                               : inner_levels(*options.count, range);
    }
    std::sort(levels.begin(), levels.end());
    levels.erase(std::unique(levels.begin(), levels.end()), levels.end());
    return levels;
}

void check_surface_cells(const Dataset &dataset) {
    if (dataset.grid()) {
        if (dataset.grid_ndim() == 2) return;
        throw UsageError("'" + dataset.path + "' has " + dataset.dims_text() +
                         " nodes; isolines need a grid of two dimensions, triangles or quadrilaterals");
    }
    const auto flat = [](const CellBlock &block) {
        return block.type.starts_with("tri_") || block.type.starts_with("quad_");
    };
    if (std::any_of(dataset.blocks.begin(), dataset.blocks.end(), flat)) return;
    throw UsageError("'" + dataset.path +
                     "' has no triangles or quadrilaterals, which isolines need: it holds " +
                     counts_text(dataset.cell_counts));
}

// The polylines of all levels on common nodes.
struct LinesMade {
    std::vector<float> points;
    isofield::Polylines lines;
    std::vector<double> line_levels;
    std::vector<OutputArray> arrays;
};

void append(LinesMade &made, const isofield::Isolines &isolines, double level, const Field &field) {
    const std::size_t first = made.points.size() / 3;
    const isofield::Polylines joined = isofield::join_lines(isolines.lines(), isolines.npoints());
    constexpr std::size_t kMost = std::numeric_limits<int>::max();
    if (first + isolines.npoints() > kMost || made.lines.nodes.size() + joined.nodes.size() > kMost) {
        throw OperationError("the lines have more nodes than can be numbered; choose fewer levels");
    }
    made.points.insert(made.points.end(), isolines.points().begin(), isolines.points().end());
    const int end = made.lines.offsets.back();
    for (std::size_t line = 0; line < joined.size(); ++line) {
        made.lines.offsets.push_back(end + joined.offsets[line + 1]);
        made.line_levels.push_back(level);
    }
    for (const int node : joined.nodes) made.lines.nodes.push_back(static_cast<int>(first) + node);
    carry_arrays(field, isolines, made.arrays);
}

LinesMade extract(Field &field, const std::vector<double> &levels, Console &console) {
    LinesMade made;
    made.arrays = attached_arrays(field.attached);
    const PolledStage polled;
    for (std::size_t k = 0; k < levels.size(); ++k) {
        const auto settings = extraction_settings(field, "isolines", console, k, levels.size());
        append(made, field.mesh.isolines(field.scalar.data.view(), levels[k], settings), levels[k], field);
        check_interrupt();
    }
    console.clear_bar();
    return made;
}

std::string made_line(const LinesMade &made, const std::vector<double> &levels) {
    std::string line = "made   " + format_count(made.lines.size(), "polyline", "polylines") + ", " +
                       format_count(made.points.size() / 3, "node", "nodes") + " at " +
                       format_count(levels.size(), "level", "levels") + ", " + format_number(levels.front());
    if (levels.size() > 1) line += " to " + format_number(levels.back());
    return line;
}

void run_lines(const LinesOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    check_options(options);
    OutputFiles files(output, line_extensions(), {options.field.path});
    Field field = read_field(options.field, console, {.check = check_surface_cells});
    const std::vector<double> levels = choose_levels(options, field);

    const Stopwatch making;
    LinesMade made = extract(field, levels, console);
    OutputSurface lines;
    lines.points = made.points;
    lines.line_offsets = made.lines.offsets;
    lines.line_nodes = made.lines.nodes;
    lines.arrays = std::move(made.arrays);
    lines.cell_arrays.push_back(
        output_array<double>("level", isofield::ElementType::kDouble, made.line_levels));
    const std::string made_seconds = making.seconds();

    const Stopwatch writing;
    write_surface(lines, files.geometry, console);
    std::string line =
        made_line(made, levels) + ", " + made_seconds + "; " + output.geometry + ", " + writing.seconds();
    if (made.lines.size() == 0) line += " (empty: no cell without nulls takes a level)";
    console.say(line);
    if (!files.picture) return;

    const Stopwatch drawing;
    Sheet sheet = make_sheet(field);
    draw_lines(lines, sheet, field.scalar.name, field.dataset.bounds, output.style, *files.picture, console);
    say_drawn(output, drawing, console);
}

}  // namespace

void add_lines(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand(
        "lines", "Make isolines of a scalar on triangles, quadrilaterals or a two-dimensional grid");
    const auto options = std::make_shared<LinesOptions>();
    add_number(*command, "-l,--level", options->levels, "Level; may be given several times", "LEVEL")
        ->expected(1)
        ->take_all();
    add_count(*command, "--levels", options->count, "So many levels, evenly spaced inside the range");
    add_number(*command, "--every", options->every, "All multiples of a step within the range", "STEP");
    add_field_options(*command, options->field, "Node arrays to carry to the lines");
    add_output_options(*command, options->output, "Lines", line_extensions());
    command->footer(examples({"lines jacksboro.vti --every 100 -o heights.vtp --png heights.png"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_lines(*options, console); }; });
}

}  // namespace app
