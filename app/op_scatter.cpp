// isofield scatter: values at points anywhere, brought to the nodes of a uniform grid.
#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <numbers>
#include <optional>

#include <vtkImageData.h>
#include <vtkPointData.h>

#include "array_output.hpp"
#include "dataset_io.hpp"
#include "errors.hpp"
#include "operations.hpp"
#include "point_cloud.hpp"
#include "probe_points.hpp"
#include "sheet.hpp"
#include "writer_support.hpp"

namespace app {
namespace {

constexpr char kExtensions[] = ".vti";

struct ScatterOptions : CloudOptions {
    std::vector<int> grid;
    std::string box, radius = "3";
    int power = 2;
    OutputOptions output;
};

// In the directions of the grid alone.
using Box = std::array<double, 6>;

// ---- What is asked for ----

std::optional<Box> given_box(const ScatterOptions &options) {
    if (options.box.empty()) return {};
    const std::size_t naxes = options.grid.size();
    const std::string form = naxes == 3 ? "X0,X1,Y0,Y1,Z0,Z1" : "X0,X1,Y0,Y1";
    const std::vector<double> given = numbers_of(options.box, "--box", 2 * naxes, form);
    Box box = {};
    std::copy(given.begin(), given.end(), box.begin());
    for (std::size_t d = 0; d < naxes; ++d) {
        if (box[2 * d] > box[2 * d + 1]) {
            throw UsageError("--box: '" + options.box + "' ends below its start along " + "xyz"[d]);
        }
    }
    return box;
}

isofield::ScatterOptions settings_of(const ScatterOptions &options) {
    const std::size_t naxes = options.grid.size();
    const std::string form = naxes == 3 ? "R or RX,RY,RZ" : "R or RX,RY";
    isofield::ScatterOptions settings;
    settings.radius = counts_of(options.radius, "--radius", form + " in nodes, whole numbers from 1");
    if (settings.radius.size() == 1) settings.radius.resize(naxes, settings.radius.front());
    if (settings.radius.size() != naxes)
        refuse_form(options.radius, "--radius", form + ", as the axes of --grid");
    settings.power = options.power;
    return settings;
}

// What can be told before a file is read.
void check_options(const ScatterOptions &options) {
    check_grid(options.grid);
    if (options.power < 1) throw UsageError("--power is at least 1");
    given_box(options);
    settings_of(options);
    if (options.grid.size() < 3 && !options.axes[2].empty())
        throw UsageError("--z goes with --grid NX NY NZ");
    check_cloud_options(options);
    if (!options.output.picture.empty() &&
        std::count_if(options.grid.begin(), options.grid.end(), [](int n) { return n > 1; }) < 2) {
        throw UsageError("--png draws a --grid of several nodes along two or three axes");
    }
}

// Tells of a word that was not meant for --grid, which takes one more where there is one.
CLI::Validator grid_count() {
    return CLI::Validator(
        [](std::string &text) {
            const std::string refused = whole_number()(text);
            return refused.empty() ? refused
                                   : refused + "; name POINTS before --grid, or after other options";
        },
        "");
}

bool inside(const PointCloud &points, std::size_t point, const Box &box) {
    for (std::size_t d = 0; d < 3; ++d) {
        if (points.coords[d].empty()) continue;
        const double x = points.coords[d][point];
        if (!(x >= box[2 * d] && x <= box[2 * d + 1])) return false;
    }
    return true;
}

// ---- The grid ----

struct MadeGrid {
    ProbePoints grid;
    Box box;
    std::vector<NamedArray> arrays;
    std::vector<isofield::Scattered> counts;  // per array; without its values
    std::string seconds;
};

MadeGrid scatter(const PointCloud &points, const Box &box, const ScatterOptions &options, Console &console) {
    MadeGrid made{grid_frame(options.grid, box), box, {}, {}, {}};
    isofield::ScatterGrid grid{options.grid, {}, {}};
    for (std::size_t d = 0; d < options.grid.size(); ++d) {
        grid.lower.push_back(0);
        grid.upper.push_back(options.grid[d] > 1 ? static_cast<float>(box[2 * d + 1] - box[2 * d]) : 0.0f);
    }
    isofield::ScatterOptions settings = settings_of(options);
    const std::vector<float> places = places_in(points, made.grid.origin);
    const PolledStage polled;
    const Stopwatch scattering;
    for (std::size_t i = 0; i < points.arrays.size(); ++i) {
        const NamedArray &array = points.arrays[i];
        settings.null_value = array.null_value;
        settings.progress = polled_progress("scattering", console, i, points.arrays.size());
        isofield::Scattered scattered = isofield::scatter(places, array.data.view(), grid, settings);
        made.arrays.push_back(
            {array.name, owned_data(std::exchange(scattered.values, {}), array.data.components), {}});
        made.counts.push_back(scattered);
    }
    check_interrupt();
    console.clear_bar();
    made.seconds = scattering.seconds();
    return made;
}

std::string made_text(const PointCloud &points, const MadeGrid &made, const ScatterOptions &options) {
    std::string dims, place;
    for (std::size_t d = 0; d < options.grid.size(); ++d) {
        add_item(dims, std::to_string(options.grid[d]), " x ");
        add_item(place, format_number(made.box[2 * d]) + " to " + format_number(made.box[2 * d + 1]), ", ");
    }
    std::size_t outside = 0;
    for (std::size_t i = 0; i < points.size(); ++i)
        outside += points.has_place(i) && !inside(points, i, made.box);
    std::string text = "made   " + dims + " nodes over " + place;
    if (outside > 0) text += ", " + format_count(outside, "point", "points") + " outside the box";
    return text;
}

void say_made(const MadeGrid &made, Console &console) {
    for (std::size_t i = 0; i < made.arrays.size(); ++i) {
        const NamedArray &array = made.arrays[i];
        const isofield::Scattered &counts = made.counts[i];
        std::string line = "       " + array.name + ": " + format_count(counts.used, "point", "points");
        if (counts.left_out > 0) line += " (" + std::to_string(counts.left_out) + " left out)";
        line += ", " + std::to_string(array.data.rows - counts.empty) + " nodes filled, " +
                std::to_string(counts.empty) + " empty";
        if (counts.empty < array.data.rows) line += range_text("; ", summary_of(array));
        console.say(line);
        if (counts.empty == array.data.rows) {
            console.warn("'" + array.name + "' reaches no node; look at --box and at --radius");
        }
    }
}

// ---- Pictures ----

// The points in the box as flat dots, a bit in front of the grid.
std::vector<float> dots_of(const PointCloud &points, const MadeGrid &made, std::size_t flat, double towards,
                           std::vector<std::array<int, 3>> &triangles) {
    constexpr std::size_t kMostDots = 20000;  // more would hide the map
    constexpr int kCorners = 8;
    constexpr double kLift = 1e-3;  // of the diagonal
    const double size = std::min(1.5e-3, 0.05 / std::sqrt(static_cast<double>(points.size())));  // likewise
    const std::size_t e = (flat + 1) % 3, f = (flat + 2) % 3;
    const Box &box = made.box;
    const double diagonal = std::hypot(box[1] - box[0], box[3] - box[2], box[5] - box[4]);
    std::vector<float> nodes;
    for (std::size_t i = 0; points.size() <= kMostDots && i < points.size(); ++i) {
        if (!inside(points, i, box)) continue;
        const auto first = static_cast<int>(nodes.size() / 3);
        for (int corner = 0; corner < kCorners; ++corner) {
            const double angle = 2 * std::numbers::pi * corner / kCorners;
            std::array<double, 3> at;
            at[flat] = made.grid.origin[flat] + towards * kLift * diagonal;
            at[e] = points.coords[e][i] + size * diagonal * std::cos(angle);
            at[f] = points.coords[f][i] + size * diagonal * std::sin(angle);
            for (const double x : at) nodes.push_back(static_cast<float>(x));
            if (corner > 1) triangles.push_back({first, first + corner - 1, first + corner});
        }
    }
    return nodes;
}

void draw(const PointCloud &points, const MadeGrid &made, vtkImageData *image, const ScatterOptions &options,
          OutputFiles &files, Console &console) {
    const OutputOptions &output = options.output;
    Dataset dataset = dataset_of(image, output.geometry);
    isofield::Mesh mesh = make_mesh(dataset, console);
    const NamedArray &shown = made.arrays.front();
    Field field = field_of(std::move(dataset), std::move(mesh));
    if (field.dataset.has_volume()) return draw_made(field, shown, output, files, console);

    const Stopwatch drawing;
    const std::array<int, 3> &dims = made.grid.dims;
    const auto flat = static_cast<std::size_t>(std::find(dims.begin(), dims.end(), 1) - dims.begin());
    const double towards = towards_viewer(output.style, field.dataset.bounds)[flat] < 0 ? -1 : 1;
    std::vector<std::array<int, 3>> triangles;
    const std::vector<float> nodes = dots_of(points, made, flat, towards, triangles);
    OutputSurface dots;
    dots.points = nodes;
    dots.triangles = triangles;
    draw_map(dots, make_sheet(field, shown), shown.name + (shown.data.components > 1 ? " (length)" : ""),
             field.dataset.bounds, output.style, *files.picture, console);
    say_drawn(output, drawing, console);
}

void run_scatter(const ScatterOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    check_options(options);
    OutputFiles files(output, kExtensions, {options.path});
    const PointCloud points = read_cloud(options, {.naxes = options.grid.size()}, console);
    const auto box = given_box(options);
    const MadeGrid made = scatter(points, box ? *box : bounds_of(points), options, console);

    const Stopwatch writing;
    const auto image = image_of(made.grid);
    for (const NamedArray &array : made.arrays) {
        image->GetPointData()->AddArray(view_array(array.name, array.data));
    }
    console.progress("writing", 0);
    write_xml(image, files.geometry, console);
    files.geometry.commit();
    console.clear_bar();
    console.say(made_text(points, made, options) + ", " + made.seconds + "; " + output.geometry + ", " +
                writing.seconds());
    say_made(made, console);
    if (files.picture) draw(points, made, image, options, files, console);
}

}  // namespace

void add_scatter(CLI::App &tool, Action &chosen) {
    CLI::App *command =
        tool.add_subcommand("scatter", "Bring values at scattered points to the nodes of a grid");
    const auto options = std::make_shared<ScatterOptions>();
    add_count(*command, "--grid", options->grid, "Nodes of the grid along each axis", grid_count())
        ->expected(2, 3)
        ->required()
        ->type_name("NX NY [NZ]");
    command->add_option("--box", options->box, "Where the grid lies")
        ->type_name("X0,X1,Y0,Y1[,Z0,Z1]")
        ->default_str("around all points");
    command->add_option("--radius", options->radius, "How many nodes a point reaches along an axis")
        ->type_name("R|RX,RY[,RZ]")
        ->capture_default_str();
    add_count(*command, "--power", options->power, "Weights are 1 / distance^N")->capture_default_str();
    add_cloud_options(*command, *options,
                      "Columns or node arrays to bring, instead of all that hold numbers; the first colours "
                      "the picture",
                      "; with NZ");
    add_output_options(*command, options->output, "Grid", kExtensions);
    command->footer(examples(
        {"scatter stations.csv --value temperature --grid 291 157 --radius 7 -o map.vti --png map.png"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_scatter(*options, console); }; });
}

}  // namespace app
