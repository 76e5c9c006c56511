// isofield loft: the strip of triangles between two closed outlines.
#include <algorithm>
#include <cmath>
#include <memory>

#include <CLI/Option.hpp>

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

// The points of the file's one line, which is closed.
std::vector<float> line_points(const std::string &path, Console &console) {
    const Dataset dataset = read_dataset(path, {}, console);
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
    std::vector<float> points;
    for (const int node : joined[0]) {
        const float *place = dataset.coords.get() + 3 * static_cast<std::size_t>(node);
        points.insert(points.end(), place, place + 3);
    }
    if (!is_closed(points)) refuse(path, "its line is open, and an outline ends where it starts");
    return points;
}

// With each point once, at the height that is asked for.
std::vector<float> read_outline(const LoftOptions &options, std::size_t which, Console &console) {
    const std::string &path = options.paths[which];
    const Stopwatch reading;
    std::vector<float> points;
    std::optional<double> height = options.heights[which];
    if (is_table(path)) {
        PointOptions file;
        file.path = path;
        ProbePoints given = given_points(file, console);
        if (!given.has_z && !height) height = static_cast<double>(which);
        points = std::move(given.points);
    } else {
        points = line_points(path, console);
    }
    if (points.size() > 3 && is_closed(points)) points.resize(points.size() - 3);
    for (std::size_t z = 2; height && z < points.size(); z += 3) points[z] = static_cast<float>(*height);
    const double perimeter = perimeter_of(points);
    if (points.size() < 9 || perimeter == 0)
        refuse(path, "an outline takes at least 3 points that differ in x or y");
    console.say("read   " + path + ": " + format_count(points.size() / 3, "point", "points") +
                ", perimeter " + format_number(perimeter) + ", " + reading.seconds());
    return points;
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
    std::vector<float> points = read_outline(options, 0, console);
    const std::vector<float> other = read_outline(options, 1, console);

    const Stopwatch making;
    const auto side = std::find(kSides.begin(), kSides.end(), options.side) - kSides.begin();
    const std::vector<isofield::Triangle> triangles =
        isofield::loft(points, other, static_cast<isofield::LoftStart>(side));
    points.insert(points.end(), other.begin(), other.end());
    tell_if_flat(points, console);
    const std::string made_seconds = making.seconds();

    const Stopwatch writing;
    OutputSurface surface;
    surface.points = points;
    surface.triangles = triangles;
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
                             " outline: a .csv file of its points in order, or any of " +
                             readable_extensions() + " with one closed line")
            ->required();
        command
            ->add_option("--z" + std::to_string(i), options->heights[i],
                         "Height of " + std::string(kNames[i]) + ", in the place of the file's (" +
                             std::to_string(i) + " where it has none)")
            ->check(finite_number())
            ->type_name("Z");
    }
    command
        ->add_option("--side", options->side,
                     "Where on both outlines the strip starts: where x or y passes the middle so (rising-x)")
        ->check(CLI::IsMember(kSides));
    add_output_options(*command, options->output, "Surface", surface_extensions());
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_loft(*options, console); }; });
}

}  // namespace app
