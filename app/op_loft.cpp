// isofield loft: the strip of triangles between two closed outlines.
#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "dataset_io.hpp"
#include "operation_support.hpp"
#include "operations.hpp"
#include "point_table.hpp"
#include "probe_points.hpp"
#include "reader_support.hpp"
#include "render.hpp"
#include "vtk_support.hpp"

namespace app {
namespace {

const std::vector<std::string> kSides = {"rising-x", "falling-y", "falling-x", "rising-y"};  // as LoftStart

struct LoftOptions {
    std::array<std::string, 2> paths;
    std::array<std::optional<double>, 2> heights;
    std::string side = kSides.front();
    std::string array;
    std::optional<double> null_value;
    OutputOptions output;
};

double perimeter_of(std::span<const float> points) {
    double perimeter = 0;
    for (std::size_t i = 0, last = points.size() - 3; i < points.size(); last = i, i += 3)
        perimeter += std::hypot(double{points[i]} - points[last], double{points[i + 1]} - points[last + 1]);
    return perimeter;
}

// The last point is the first again, but for what is lost on the way to a file.
bool is_closed(std::span<const float> points) {
    constexpr double kClose = 1e-6;  // of the perimeter
    const std::size_t last = points.size() - 3;
    const double gap = std::hypot(double{points[last]} - points[0], double{points[last + 1]} - points[1],
                                  double{points[last + 2]} - points[2]);
    return gap <= kClose * perimeter_of(points);
}

// Points in order, each once, with the values of the array that is carried, if there is one.
struct Outline {
    std::vector<float> points, values;
};

// The points of the file's one line, which is closed.
Outline line_outline(const std::string &path, const InputOptions &input, const std::string &array,
                     Console &console) {
    const Dataset dataset = read_dataset(path, {}, console, nullptr, array);
    std::vector<isofield::Line> lines;
    for (const CellBlock &block : dataset.blocks) {
        if (block.type != "line_1") continue;
        for (std::size_t i = 0; i < block.connect.size(); i += 2)
            lines.push_back({block.connect[i], block.connect[i + 1]});
    }
    const isofield::Polylines joined = isofield::join_lines(lines, dataset.nnodes);
    if (joined.size() != 1) {
        const std::string count = joined.size() == 0 ? "no line" : std::to_string(joined.size()) + " lines";
        refuse(path, "it holds " + count + ", and an outline is one closed line");
    }
    Outline outline;
    for (const int node : joined[0]) {
        const float *place = dataset.coords.get() + 3 * static_cast<std::size_t>(node);
        outline.points.insert(outline.points.end(), place, place + 3);
    }
    if (!is_closed(outline.points)) refuse(path, "its line is open, and an outline ends where it starts");
    if (array.empty()) return outline;
    const NamedArray carried = named_array(choose_scalar(dataset, array), input, console);
    const isofield::front::FloatValues values(carried.data.view(), carried.null_value);
    for (const int node : joined[0]) outline.values.push_back(values.view()[static_cast<std::size_t>(node)]);
    return outline;
}

Outline table_outline(const std::string &path, const InputOptions &input, const std::string &array,
                      bool &has_z, Console &console) {
    PointOptions file;
    file.path = path;
    file.with_missing = true;
    ProbePoints given = given_points(file, console);
    has_z = given.has_z;
    Outline outline{std::move(given.points), {}};
    if (array.empty()) return outline;
    const PointTable table(path, console);
    for (const double value : table.numbers(table.column(array, "--array"))) {
        const bool missing = value == input.null_value;
        outline.values.push_back(missing ? std::numeric_limits<float>::quiet_NaN()
                                         : static_cast<float>(value));
    }
    return outline;
}

// Leaves out points without all their coordinates.
void drop_missing(Outline &outline, bool has_z, std::optional<double> null_value, const std::string &path,
                  Console &console) {
    const auto null = isofield::null_of(isofield::ElementType::kFloat, null_value);
    Outline kept;
    for (std::size_t i = 0; i < outline.points.size() / 3; ++i) {
        const auto point = std::span(outline.points).subspan(3 * i, 3), given = point.first(has_z ? 3 : 2);
        if (std::any_of(given.begin(), given.end(), [&](float x) { return !std::isfinite(x) || x == null; }))
            continue;
        kept.points.insert(kept.points.end(), point.begin(), point.end());
        if (!outline.values.empty()) kept.values.push_back(outline.values[i]);
    }
    const std::size_t dropped = (outline.points.size() - kept.points.size()) / 3;
    if (dropped > 0)
        console.note("'" + path + "': " + format_count(dropped, "point", "points") +
                     " without all coordinates left out");
    outline = std::move(kept);
}

// With each point once, at the height that is asked for.
Outline read_outline(const LoftOptions &options, std::size_t which, Console &console) {
    const std::string &path = options.paths[which];
    const Stopwatch reading;
    InputOptions input;
    input.null_value = options.null_value;
    std::optional<double> height = options.heights[which];
    bool has_z = true;
    Outline outline = is_table(path) ? table_outline(path, input, options.array, has_z, console)
                                     : line_outline(path, input, options.array, console);
    if (!has_z && !height) height = static_cast<double>(which);
    drop_missing(outline, has_z, options.null_value, path, console);
    std::vector<float> &points = outline.points;
    if (points.size() > 3 && is_closed(points)) points.resize(points.size() - 3);
    outline.values.resize(std::min(outline.values.size(), points.size() / 3));
    for (std::size_t z = 2; height && z < points.size(); z += 3) points[z] = static_cast<float>(*height);
    const double perimeter = perimeter_of(points);
    if (points.size() < 9 || perimeter == 0)
        refuse(path, "an outline takes at least 3 points that differ in x or y");
    console.say("read   " + path + ": " + format_count(points.size() / 3, "point", "points") +
                ", perimeter " + format_number(perimeter) + ", " + reading.seconds());
    return outline;
}

void tell_if_flat(std::span<const float> points, Console &console) {
    for (std::size_t z = 2; z < points.size(); z += 3) {
        if (points[z] != points[2]) return;
    }
    console.note("both outlines lie at z " + format_number(points[2]) + "; --z0 and --z1 set them apart");
}

void run_loft(const LoftOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    OutputFiles files(output, surface_extensions(), {options.paths.begin(), options.paths.end()});
    auto [points, values] = read_outline(options, 0, console);
    const Outline other = read_outline(options, 1, console);

    const Stopwatch making;
    const auto side = std::find(kSides.begin(), kSides.end(), options.side) - kSides.begin();
    console.progress("stitching", 0);
    const std::vector<isofield::Triangle> triangles =
        isofield::loft(points, other.points, static_cast<isofield::LoftStart>(side));
    points.insert(points.end(), other.points.begin(), other.points.end());
    values.insert(values.end(), other.values.begin(), other.values.end());
    tell_if_flat(points, console);
    const std::string made_seconds = making.seconds();

    const Stopwatch writing;
    OutputSurface surface;
    surface.points = points;
    surface.triangles = triangles;
    if (!options.array.empty())
        surface.arrays.push_back(output_array<float>(options.array, isofield::ElementType::kFloat, values));
    write_surface(surface, files.geometry, console);
    console.say("made   " + format_count(triangles.size(), "triangle", "triangles") + ", " +
                format_count(points.size() / 3, "node", "nodes") + ", " + made_seconds + "; " +
                output.geometry + ", " + writing.seconds());
    if (!files.picture) return;

    const Stopwatch drawing;
    std::array<double, 6> bounds;
    to_polydata(surface)->GetBounds(bounds.data());
    draw_surface(surface, bounds, output.style, *files.picture, console);
    say_drawn(output, drawing, console);
}

}  // namespace

void add_loft(CLI::App &tool, Action &chosen) {
    CLI::App *command =
        tool.add_subcommand("loft", "Make the strip of triangles between two closed outlines");
    const auto options = std::make_shared<LoftOptions>();
    static constexpr const char *kNames[] = {"A", "B"};
    for (std::size_t i = 0; i < 2; ++i) {
        command
            ->add_option(kNames[i], options->paths[i],
                         std::string(i == 0 ? "First" : "Second") +
                             " outline: .csv with its points in order, or one closed line in " +
                             readable_extensions())
            ->required();
        add_number(*command, "--z" + std::to_string(i), options->heights[i],
                   "Height of " + std::string(kNames[i]) + ", in the place of the file's", "Z")
            ->default_str(std::to_string(i) + " where the file has none");
    }
    std::string sides;
    for (const std::string &side : kSides) add_item(sides, side);
    command
        ->add_option("--side", options->side,
                     "Where on both outlines the strip starts: where x or y passes the middle so")
        ->check(CLI::IsMember(kSides))
        ->type_name(choices_text(sides))
        ->capture_default_str();
    add_array_option(*command, "-a,--array", options->array,
                     "Column or node array of both outlines to carry to the strip; it colours the picture");
    add_null_option(*command, options->null_value);
    add_output_options(*command, options->output, "Surface", surface_extensions());
    command->footer(examples({"loft lower.csv upper.csv -o strip.vtp"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_loft(*options, console); }; });
}

}  // namespace app
