// isofield iso: the surface along which a scalar takes one level.
#include <cmath>
#include <memory>
#include <optional>

#include <CLI/Error.hpp>
#include <CLI/Option.hpp>

#include "dataset.hpp"
#include "dataset_io.hpp"
#include "errors.hpp"
#include "interrupt.hpp"
#include "isofield.hpp"
#include "operations.hpp"
#include "options.hpp"

namespace app {
namespace {

struct IsoOptions {
    std::string volume;
    double level = 0;
    std::string array;
    std::vector<std::string> attach;
    std::optional<double> null_value;
    OutputOptions output;
};

std::string read_line(const Dataset &dataset, const DataArray &array, const ComponentRange &range,
                      const std::string &seconds) {
    std::string line = "read   " + dataset.path + ": " + dataset.description + ", " + dataset.dims_text() +
                       " nodes, array '" + array.name + "' " + array.type_name + ", ";
    line +=
        range.empty ? "no finite value" : format_number(range.lower) + " to " + format_number(range.upper);
    if (range.nan_count > 0) line += ", " + std::to_string(range.nan_count) + " NaN";
    return line + ", " + seconds;
}

std::string empty_reason(const ComponentRange &range, double level) {
    const bool outside = range.empty || level <= range.lower || level > range.upper;
    return outside ? " (empty: the level lies outside the range)"
                   : " (empty: no cell without nulls takes the level)";
}

isofield::Surface extract(isofield::Mesh &mesh, const NodeData &data, const IsoOptions &options,
                          Console &console) {
    isofield::IsosurfaceOptions settings;
    settings.null_value = options.null_value;
    settings.progress = [&console](int percent) {
        console.progress("isosurface", percent);
        return isohost_interrupted() == 0;
    };
    const PolledStage polled;
    isofield::Surface surface = mesh.isosurface(data.view(), options.level, settings);
    if (isohost_interrupted()) throw isofield::Interrupted();  // after the last poll
    console.clear_bar();
    return surface;
}

std::vector<PointArray> carry_arrays(const isofield::Surface &surface,
                                     const std::vector<const DataArray *> &arrays,
                                     std::optional<double> null_value, Console &console) {
    std::vector<PointArray> carried;
    for (const DataArray *array : arrays) {
        const NodeData data = node_data(*array, console);
        PointArray result{
            array->name, data.type, data.components, {}, isofield::null_of(data.type, null_value)};
        result.values.resize(surface.npoints() * static_cast<std::size_t>(data.components) *
                             isofield::size_of(data.type));
        if (!result.values.empty()) surface.carry(data.view(), result.values.data(), result.null_value);
        carried.push_back(std::move(result));
    }
    return carried;
}

// Right-hand normals point to the side below the level in index space; where that is left-handed, turning the
// triangles round makes it so in space.
std::vector<std::array<int, 3>> turned_round(std::span<const std::array<int, 3>> triangles) {
    std::vector<std::array<int, 3>> turned(triangles.begin(), triangles.end());
    for (auto &triangle : turned) std::swap(triangle[1], triangle[2]);
    return turned;
}

std::vector<const DataArray *> choose_attached(const Dataset &dataset,
                                               const std::vector<std::string> &names) {
    std::vector<const DataArray *> chosen;
    for (const std::string &name : names) {
        const DataArray *array = &choose_node_array(dataset, name);
        if (std::find(chosen.begin(), chosen.end(), array) == chosen.end()) chosen.push_back(array);
    }
    return chosen;
}

void run_iso(const IsoOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    check_surface_name(output.surface);
    if (!output.picture.empty()) check_picture_name(output.picture);

    OutputFile surface_file(output.surface, options.volume);
    std::optional<OutputFile> picture_file;
    if (!output.picture.empty()) picture_file.emplace(output.picture, options.volume);

    const Stopwatch reading;
    const Dataset dataset = read_dataset(options.volume, console);
    isofield::Mesh mesh = grid_mesh_3d(dataset);
    const DataArray &array = choose_scalar(dataset, options.array);
    const std::vector<const DataArray *> attached = choose_attached(dataset, options.attach);
    const NodeData data = node_data(array, console);
    const ComponentRange range = component_ranges(array).front();
    console.say(read_line(dataset, array, range, reading.seconds()));

    const Stopwatch making;
    const isofield::Surface surface = extract(mesh, data, options, console);
    OutputSurface made{surface.points(), surface.triangles(),
                       carry_arrays(surface, attached, options.null_value, console)};
    std::vector<std::array<int, 3>> turned;
    if (dataset.left_handed) {
        turned = turned_round(made.triangles);
        made.triangles = turned;
    }
    const std::string made_seconds = making.seconds();

    const Stopwatch writing;
    write_surface(made, surface_file, console);
    const std::string counts = format_count(made.triangles.size(), "triangle", "triangles") + ", " +
                               format_count(surface.npoints(), "node", "nodes");
    std::string line = "made   " + counts + " at level " + format_number(options.level) + ", " +
                       made_seconds + "; " + output.surface + ", " + writing.seconds();
    if (made.triangles.empty()) line += empty_reason(range, options.level);
    console.say(line);
    if (!picture_file) return;

    const Stopwatch drawing;
    draw_surface(made, dataset.bounds, output.style, *picture_file, console);
    console.say("drawn  " + output.picture + ", " + std::to_string(output.style.width) + " x " +
                std::to_string(output.style.height) + " pixels, " + drawing.seconds());
}

}  // namespace

void add_iso(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand("iso", "Make the surface along which a scalar takes one level");
    const auto options = std::make_shared<IsoOptions>();
    command
        ->add_option("VOLUME", options->volume, "A grid: any of .vti .vtr .vts .vtk .nii .nii.gz .mha .mhd")
        ->required();
    const CLI::Validator finite(
        [](std::string &text) {
            double value = 0;
            const bool number = CLI::detail::lexical_cast(text, value) && std::isfinite(value);
            return number ? std::string() : "'" + text + "' is not a number";
        },
        "NUMBER");
    command->add_option("-l,--level", options->level, "Level of the surface")->required()->check(finite);
    command->add_option("-a,--array", options->array, "Node array to work on, when the file has several")
        ->type_name("NAME");
    command
        ->add_option("--attach", options->attach,
                     "Node arrays to carry to the surface; the first colours the picture")
        ->type_name("ARRAY");
    command->add_option("--null", options->null_value, "Value of missing nodes; NaN is always missing")
        ->check(finite);
    add_output_options(*command, options->output);
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_iso(*options, console); }; });
}

}  // namespace app
