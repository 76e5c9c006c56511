// isofield stream: the paths that a steady flow takes.
#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>

#include "dataset_io.hpp"
#include "errors.hpp"
#include "extraction.hpp"
#include "operations.hpp"
#include "probe_points.hpp"
#include "relay.hpp"
#include "sampling.hpp"
#include "seeds.hpp"
#include "sheet.hpp"
#include "table_io.hpp"
#include "vtk_support.hpp"

namespace app {
namespace {

using isofield::ElementType;
using isofield::FlowDirection;
using isofield::LineEnd;
using isofield::Streamlines;

constexpr int kDefaultSeeds = 100;

struct StreamOptions {
    FieldOptions field;
    PointOptions points;
    std::optional<int> seeds;
    bool both = false, upstream = false;
    isofield::StreamlineOptions tracing;
    std::string tube;
    OutputOptions output;
};

// ---- What is asked for ----

// What can be told before a file is read.
void check_options(const StreamOptions &options) {
    if (options.points.count() + options.seeds.has_value() > 1) {
        throw UsageError("name the seeds by one of --points, --line, --grid and --seeds");
    }
    check_grid(options.points.grid);
    if (options.seeds && *options.seeds < 1) throw UsageError("--seeds is at least 1");
    if (options.both && options.upstream) throw UsageError("choose one of --both and --upstream");
    if (options.tracing.max_points < 1) throw UsageError("--max is at least 1");
    if (options.tracing.steps_per_cell < 1) throw UsageError("--steps-per-cell is at least 1");
    if (options.tracing.min_speed.value_or(0) < 0) throw UsageError("--min-speed is at least 0");
    if (!options.tube.empty() && options.output.picture.empty()) throw UsageError("--tube goes with --png");
}

// The radius of the picture's tubes; 0 for none.
double tube_radius(const StreamOptions &options, const std::array<double, 6> &bounds) {
    constexpr double kPart = 0.0025;  // of the field's diagonal
    if (options.tube.empty()) return 0;
    if (options.tube == "auto") {
        return kPart * std::hypot(bounds[1] - bounds[0], bounds[3] - bounds[2], bounds[5] - bounds[4]);
    }
    const auto radius = finite_number_of(options.tube);
    if (!radius || *radius <= 0)
        throw UsageError("--tube: '" + options.tube + "' is neither a radius above 0 nor auto");
    return *radius;
}

FlowDirection direction_of(const StreamOptions &options) {
    if (options.both) return FlowDirection::kBoth;
    return options.upstream ? FlowDirection::kUpstream : FlowDirection::kDownstream;
}

// ---- Flat fields ----

// Rows of three components with 0 along an axis, or when there is no third one in the mesh, without it.
ArrayData along_plane(const ArrayData &data, std::size_t axis, bool narrow) {
    return isofield::front::visit_type(data.type, [&](auto type) -> ArrayData {
        using T = typename decltype(type)::type;
        const std::span given(static_cast<const T *>(data.values.get()), 3 * data.rows);
        const auto values = std::make_shared<std::vector<T>>();
        for (std::size_t i = 0; i < given.size(); ++i) {
            if (i % 3 != axis) values->push_back(given[i]);
            if (i % 3 == axis && !narrow) values->push_back(0);
        }
        return {data.type, narrow ? 2 : 3, data.rows, {values, values->data()}};
    });
}

// A flat field has no way for a flow across it.
void keep_in_plane(Field &field, Console &console) {
    if (field.dataset.has_volume() || field.scalar.data.components != 3) return;
    const std::array<double, 6> &bounds = field.dataset.bounds;
    for (std::size_t d = 0; d < 3; ++d) {
        if (bounds[2 * d] < bounds[2 * d + 1]) continue;
        field.scalar.data = along_plane(field.scalar.data, d, field.mesh.info()->nspace == 2);
        console.note("the field is flat: component " + std::to_string(d) + " of '" + field.scalar.name +
                     "' is left out");
        return;
    }
}

// ---- Seeds ----

std::vector<float> seeds_of(const StreamOptions &options, Field &field, isofield::Locator &locator,
                            ProbePoints given) {
    if (!options.points.grid.empty()) given = grid_points(options.points, field.dataset.bounds);
    if (given.size() > 0) return std::move(given.points);
    return spread_seeds(field, locator, static_cast<std::size_t>(options.seeds.value_or(kDefaultSeeds)));
}

// ---- Lines ----

// The lines of two points and more, with their data.
struct Made {
    std::size_t nseeds;
    Streamlines lines;  // all
    std::vector<int> seeds, offsets, nodes;
    std::vector<float> points;
    std::vector<OutputArray> arrays;
    std::string seconds;
};

template <class T>
OutputArray picked(const std::string &name, ElementType type, std::span<const T> values, int components,
                   const std::vector<int> &rows) {
    const auto width = static_cast<std::size_t>(components);
    std::vector<T> kept;
    for (const int row : rows) {
        const auto first = values.begin() + static_cast<std::ptrdiff_t>(width) * row;
        kept.insert(kept.end(), first, first + components);
    }
    OutputArray array = output_array<T>(name, type, kept);
    array.components = components;
    return array;
}

// What the lines tell, and the field's arrays along them, at these of their points.
std::vector<OutputArray> arrays_along(const Field &field, isofield::Locator &locator,
                                      const Streamlines &lines, const std::vector<int> &rows,
                                      Console &console) {
    const std::vector<int> cells = file_cells(field.dataset, lines.cells());
    std::vector<OutputArray> arrays = {picked("speed", ElementType::kFloat, lines.speeds(), 1, rows),
                                       picked("time", ElementType::kFloat, lines.times(), 1, rows),
                                       picked("length", ElementType::kFloat, lines.lengths(), 1, rows),
                                       picked("cell_id", ElementType::kInt, std::span(cells), 1, rows),
                                       picked("uvw", ElementType::kFloat, lines.uvw(), 3, rows)};
    std::vector<std::string> taken;
    for (const OutputArray &array : arrays) taken.push_back(array.name);
    taken.push_back(free_name(field.scalar.name, "_data", taken, console));
    arrays.push_back(picked(taken.back(), ElementType::kFloat, lines.vectors(), lines.components(), rows));

    std::vector<NamedArray> others = field.attached;
    std::erase_if(others, [&](const NamedArray &array) { return array.name == field.scalar.name; });
    std::vector<isofield::Place> places;
    for (const int row : rows) {
        const auto i = static_cast<std::size_t>(row);
        const float *uvw = &lines.uvw()[3 * i];
        places.push_back({lines.cells()[i], {uvw[0], uvw[1], uvw[2]}});
    }
    for (OutputArray &array : sample_arrays(locator, places, others, {}, taken, console)) {
        arrays.push_back(std::move(array));
    }
    return arrays;
}

// Fills all but the lines and the time.
void take_lines(Made &made, const Field &field, isofield::Locator &locator, Console &console) {
    const std::span<const int> offsets = made.lines.offsets();
    std::vector<int> rows;
    for (std::size_t line = 0; line < made.lines.size(); ++line) {
        if (offsets[line + 1] - offsets[line] < 2) continue;
        made.seeds.push_back(static_cast<int>(line));
        for (int row = offsets[line]; row < offsets[line + 1]; ++row) {
            rows.push_back(row);
            const float *point = &made.lines.points()[3 * static_cast<std::size_t>(row)];
            made.points.insert(made.points.end(), point, point + 3);
        }
        made.offsets.push_back(static_cast<int>(rows.size()));
    }
    made.nodes.resize(rows.size());
    std::iota(made.nodes.begin(), made.nodes.end(), 0);
    made.arrays = arrays_along(field, locator, made.lines, rows, console);
}

Made trace(Field &field, const StreamOptions &options, ProbePoints given, Console &console) {
    const PolledStage polled;
    const Stopwatch building;
    isofield::Locator locator(field.mesh, polled_progress("search table", console));
    const std::string seconds = "search table " + building.seconds();
    const Stopwatch tracing;
    const std::vector<float> seeds = seeds_of(options, field, locator, std::move(given));
    isofield::StreamlineOptions settings = options.tracing;
    settings.null_value = field.scalar.null_value;
    settings.direction = direction_of(options);
    settings.progress = polled_progress("streamlines", console);
    Made made{seeds.size() / 3,
              locator.streamlines(seeds, field.scalar.data.view(), settings),
              {},
              {0},
              {},
              {},
              {},
              {}};
    take_lines(made, field, locator, console);
    check_interrupt();
    console.clear_bar();
    made.seconds = seconds + ", lines " + tracing.seconds();
    return made;
}

// ---- How lines ended ----

constexpr const char *kReasons[] = {"left the mesh", "missing data", "stagnation", "most points",
                                    "failed step"};

using End = std::optional<LineEnd> Streamlines::Ends::*;

struct Direction {
    const char *name;
    End end;
};

std::vector<Direction> directions_of(const StreamOptions &options) {
    std::vector<Direction> directions;
    const FlowDirection direction = direction_of(options);
    if (direction != FlowDirection::kDownstream)
        directions.push_back({"upstream", &Streamlines::Ends::upstream});
    if (direction != FlowDirection::kUpstream)
        directions.push_back({"downstream", &Streamlines::Ends::downstream});
    return directions;
}

// Per line a code: the place among the reasons.
std::vector<int> codes_of(const Made &made, End end) {
    std::vector<int> codes;
    for (const int seed : made.seeds) {
        const Streamlines::Ends &ends = made.lines.ends()[static_cast<std::size_t>(seed)];
        codes.push_back(static_cast<int>((ends.*end).value_or(LineEnd::kFailedStep)));
    }
    return codes;
}

std::string padded(const std::string &text, std::size_t width) {
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

// "end          upstream  downstream", and a row for each reason that is met.
void say_ends(const Made &made, const std::vector<Direction> &directions, Console &console) {
    constexpr std::size_t kReasonWidth = 19, kWidth = 12;
    const auto row = [&](std::string head, auto cell) {
        head.resize(kReasonWidth, ' ');
        for (const Direction &direction : directions) head += padded(cell(direction), kWidth);
        console.say("       " + head);
    };
    if (made.seeds.empty()) return;
    row("lines ended by", [](const Direction &direction) { return std::string(direction.name); });
    for (int code = 0; code < static_cast<int>(std::size(kReasons)); ++code) {
        std::ptrdiff_t met = 0;
        const auto count = [&](const Direction &direction) {
            const std::vector<int> codes = codes_of(made, direction.end);
            const auto found = std::count(codes.begin(), codes.end(), code);
            met += found;
            return std::to_string(found);
        };
        for (const Direction &direction : directions) count(direction);
        if (met > 0) row("  " + std::string(kReasons[code]) + " (" + std::to_string(code) + ")", count);
    }
}

std::string range_text(const OutputArray &array) {
    const std::span values(reinterpret_cast<const float *>(array.values.data()),
                           array.values.size() / sizeof(float));
    const auto [lower, upper] = std::minmax_element(values.begin(), values.end());
    return format_number(*lower) + " to " + format_number(*upper);
}

std::string made_text(const Made &made) {
    std::string text = "made   " + format_count(made.seeds.size(), "line", "lines") + ", " +
                       format_count(made.nodes.size(), "point", "points") + " from " +
                       format_count(made.nseeds, "seed", "seeds");
    const std::size_t without = made.nseeds - made.seeds.size();
    if (without > 0)
        text += " (" + std::to_string(without) + " lead nowhere: outside, missing data, no flow)";
    if (!made.seeds.empty())
        text += ", time " + range_text(made.arrays[1]) + ", length " + range_text(made.arrays[2]);
    return text;
}

// ---- Outputs ----

OutputSurface output_of(const Made &made, const std::vector<Direction> &directions) {
    OutputSurface lines;
    lines.points = made.points;
    lines.line_offsets = made.offsets;
    lines.line_nodes = made.nodes;
    lines.arrays = made.arrays;
    lines.cell_arrays.push_back(output_array<int>("seed", ElementType::kInt, made.seeds));
    for (const Direction &direction : directions) {
        lines.cell_arrays.push_back(output_array<int>(std::string(direction.name) + "_end", ElementType::kInt,
                                                      codes_of(made, direction.end)));
    }
    return lines;
}

// A row a point.
std::vector<Column> columns_of(const Made &made, Console &console) {
    std::vector<int> seeds;
    for (std::size_t line = 0; line < made.seeds.size(); ++line) {
        seeds.resize(static_cast<std::size_t>(made.offsets[line + 1]), made.seeds[line]);
    }
    std::vector<Column> columns = {number_column<int>("seed", seeds)};
    for (std::size_t d = 0; d < 3; ++d) {
        columns.push_back(number_column<float>(std::string(1, "xyz"[d]), made.points, 3, d));
    }
    for (const OutputArray &array : made.arrays) add_columns(columns, array, console);
    return columns;
}

void run_stream(const StreamOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    check_options(options);
    OutputFiles files(output, line_extensions() + " .csv", {options.field.path, options.points.path});
    ProbePoints given = given_points(options.points, console);
    vtkSmartPointer<vtkDataSet> original;
    Field field =
        read_field(options.field, console,
                   {.choose = choose_vector, .attach = Attach::kEveryNodeArray, .original = &original});
    keep_in_plane(field, console);
    const double radius = tube_radius(options, field.dataset.bounds);

    const Made made = trace(field, options, std::move(given), console);
    const std::vector<Direction> directions = directions_of(options);
    const OutputSurface lines = output_of(made, directions);
    const Stopwatch writing;
    if (extension_of(output.geometry) == ".csv") {
        if (result_is_wanted()) hand_on(to_polydata(lines));
        write_csv(columns_of(made, console), files.geometry, console);
    } else {
        write_surface(lines, files.geometry, console);
    }
    console.say(made_text(made) + ", " + made.seconds + "; " + output.geometry + ", " + writing.seconds());
    say_ends(made, directions, console);
    if (!files.picture) return;

    const Stopwatch drawing;
    if (field.dataset.has_volume()) {
        const bool box =
            field.dataset.kind == MeshKind::kUniform || field.dataset.kind == MeshKind::kRectilinear;
        draw_flow(lines, box ? nullptr : original.Get(), radius, field.dataset.bounds, output.style,
                  *files.picture, console);
    } else {
        draw_map(lines, make_sheet(field), field.scalar.name + " (length)", field.dataset.bounds,
                 output.style, *files.picture, console);
    }
    say_drawn(output, drawing, console);
}

void add_tracing_options(CLI::App &command, StreamOptions &options) {
    isofield::StreamlineOptions &tracing = options.tracing;
    command.add_flag("--both", options.both, "Follow the flow and go against it too");
    command.add_flag("--upstream", options.upstream, "Go against the flow instead");
    add_count(command, "--order", tracing.order, "Order of the Runge-Kutta steps", whole_number(1, 4))
        ->capture_default_str();
    add_count(command, "--max", tracing.max_points, "Most points of a line, in each direction")
        ->capture_default_str();
    add_count(command, "--steps-per-cell", tracing.steps_per_cell, "Steps aimed for in a cell")
        ->capture_default_str();
    add_number(command, "--min-speed", tracing.min_speed,
               "A line ends where it is slower, or turns back within a step, as it does around a sink",
               "SPEED")
        ->default_str("a millionth of the largest speed");
    command.add_flag(
        "--native", tracing.native,
        "Leave uvw as the library's search does, a few hundredths off in curved cells, and let lines go "
        "on around sinks");
    command.add_option("--tube", options.tube, "Draw tubes of this radius in a field with volume")
        ->type_name("auto|RADIUS");
}

}  // namespace

void add_stream(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand("stream", "Make streamlines, the paths that a steady flow takes");
    const auto options = std::make_shared<StreamOptions>();
    command
        ->add_option(
            "--points", options->points.path,
            "Seeds: rows of a .csv file with the columns x, y and z, or nodes of " + readable_extensions())
        ->type_name("FILE");
    add_point_options(*command, options->points, "Seeds from one end to the other, so many with both",
                      "Seeds on a grid over the box of the field");
    add_count(*command, "--seeds", options->seeds, "So many seeds, spread evenly over the field")
        ->default_str(std::to_string(kDefaultSeeds));
    add_tracing_options(*command, *options);
    add_array_option(*command, "-a,--array", options->field.array, kVectorHelp, kVectorType);
    add_array_option(*command, "--attach", options->field.attach,
                     "Node arrays to have along the lines, instead of all");
    add_input_options(*command, options->field);
    add_output_options(*command, options->output, "Lines", line_extensions() + " .csv (a row a point)");
    command->footer(examples(
        {"stream disk_out_ref.ex2 --array V --both --tube auto -o flow.vtp --png flow.png",
         "stream coads_climatology.cdf --array UWND,VWND --both --seeds 300 -o paths.vtp --png paths.png"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_stream(*options, console); }; });
}

}  // namespace app
