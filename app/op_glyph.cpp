// isofield glyph: shapes at nodes, turned and sized by data.
#include <algorithm>
#include <cmath>
#include <memory>

#include "errors.hpp"
#include "extraction.hpp"
#include "glyph_shape.hpp"
#include "operations.hpp"
#include "render.hpp"
#include "sheet.hpp"
#include "vtk_support.hpp"

namespace app {
namespace {

constexpr char kAuto[] = "auto";
constexpr std::size_t kMany = 2000;  // glyphs, which a picture should not have more of

struct GlyphOptions {
    FieldOptions field;
    std::string shape;
    std::string scale = kAuto;
    std::optional<int> every;
    std::string by;
    bool fixed = false;
    bool no_orient = false;
    OutputOptions output;
};

// None: to be chosen.
std::optional<double> scale_of(const std::string &text) {
    if (text == kAuto) return std::nullopt;
    const auto scale = finite_number_of(text);
    if (!scale || !(*scale > 0)) throw UsageError("--scale: '" + text + "' is neither auto nor above 0");
    return scale;
}

// Without a name vectors come first.
const DataArray &choose_shown(const Dataset &dataset, const std::string &name) {
    const bool vectors =
        std::any_of(dataset.arrays.begin(), dataset.arrays.end(), [](const DataArray &array) {
            return array.association == Association::kNode &&
                   (array.components == 2 || array.components == 3);
        });
    return (name.empty() && vectors ? choose_vector : choose_array)(dataset, name);
}

// ---- Where glyphs stand ----

std::size_t count_every(const Dataset &dataset, int every) {
    const auto part = [every](std::size_t n) { return (n - 1) / static_cast<std::size_t>(every) + 1; };
    if (!dataset.grid()) return part(dataset.nnodes);
    std::size_t count = 1;
    for (const int n : dataset.dims) count *= part(static_cast<std::size_t>(n));
    return count;
}

int choose_every(const Dataset &dataset) {
    int every = 1;
    if (!dataset.grid()) every = static_cast<int>((dataset.nnodes - 1) / kMany + 1);
    while (count_every(dataset, every) > kMany) ++every;
    return every;
}

// Every so many nodes; of grids along each axis.
std::vector<int> nodes_every(const Dataset &dataset, int every) {
    const std::array<int, 3> dims =
        dataset.grid() ? dataset.dims : std::array<int, 3>{static_cast<int>(dataset.nnodes), 1, 1};
    std::vector<int> nodes;
    for (int k = 0; k < dims[2]; k += every) {
        for (int j = 0; j < dims[1]; j += every) {
            for (int i = 0; i < dims[0]; i += every) nodes.push_back((k * dims[1] + j) * dims[0] + i);
        }
    }
    return nodes;
}

// How far nodes are apart, if so many are spread evenly over the box of the field.
double distance_of(const Dataset &dataset, std::size_t count) {
    std::array<double, 3> sides;
    for (std::size_t d = 0; d < 3; ++d) sides[d] = dataset.bounds[2 * d + 1] - dataset.bounds[2 * d];
    std::sort(sides.rbegin(), sides.rend());
    const bool volume = dataset.has_volume() && sides[2] > 0;
    const double size = sides[0] * sides[1] * (volume ? sides[2] : 1);
    return std::pow(size / static_cast<double>(count), volume ? 1.0 / 3 : 1.0 / 2);
}

// ---- What they show ----

// An array as floats in which all that is missing is NaN.
struct Floats {
    NamedArray array;
    isofield::front::FloatValues values;

    explicit Floats(const NamedArray &given) : array(given), values(given.data.view(), given.null_value) {}
    isofield::DataView view() const { return {values.view(), array.data.components}; }
};

// The nodes that get a glyph, and what the others lack.
struct Standing {
    int every = 1;
    std::vector<int> nodes;
    std::size_t missing = 0, still = 0;
    double scale = 1;
};

// The length that all but a few are at most as long as.
double long_one(std::vector<double> lengths) {
    constexpr double kPart = 0.95;
    const auto place =
        lengths.begin() + static_cast<std::ptrdiff_t>(kPart * static_cast<double>(lengths.size() - 1));
    std::nth_element(lengths.begin(), place, lengths.end());
    return *place;
}

Standing choose_nodes(const Dataset &dataset, const Floats &data, const GlyphOptions &options) {
    Standing standing;
    standing.every = options.every.value_or(choose_every(dataset));
    const std::vector<int> all = nodes_every(dataset, standing.every);
    const auto width = static_cast<std::size_t>(data.array.data.components);
    // Without a length there is no size, or no direction.
    const bool lengths_tell = !options.fixed || (width > 1 && !options.no_orient);
    std::vector<double> lengths;
    for (const int node : all) {
        double square = 0;
        for (const float x : data.values.view().subspan(static_cast<std::size_t>(node) * width, width))
            square += double{x} * x;
        if (std::isnan(square)) {
            ++standing.missing;
        } else if (square == 0 && lengths_tell) {
            ++standing.still;
        } else {
            standing.nodes.push_back(node);
            lengths.push_back(std::sqrt(square));
        }
    }
    standing.scale = distance_of(dataset, all.size());
    if (!options.fixed && !lengths.empty()) standing.scale /= long_one(std::move(lengths));
    standing.scale = scale_of(options.scale).value_or(standing.scale);
    return standing;
}

// ---- Glyphs ----

isofield::Glyphs make(isofield::Mesh &mesh, const Floats &data, const GlyphOptions &options,
                      const isofield::GlyphShape &shape, const Standing &standing, const Floats &colors,
                      Console &console) {
    isofield::GlyphOptions settings;
    settings.orient = !options.no_orient;
    settings.scale_by_data = !options.fixed;
    settings.scale = standing.scale;
    settings.values = colors.view();
    settings.nodes = standing.nodes;
    settings.progress = polled_progress("glyphs", console);
    const PolledStage polled;
    isofield::Glyphs glyphs = mesh.glyphs(data.view(), shape, settings);
    check_interrupt();
    console.clear_bar();
    return glyphs;
}

OutputSurface surface_of(const isofield::Glyphs &glyphs, const std::string &name) {
    OutputSurface surface;
    surface.points = glyphs.points();
    surface.triangles = glyphs.triangles();
    surface.arrays.push_back(output_array<float>(name, isofield::ElementType::kFloat, glyphs.values()));
    std::vector<int> nodes;
    for (const int node : glyphs.nodes())
        nodes.insert(nodes.end(), static_cast<std::size_t>(glyphs.points_per_glyph()), node);
    surface.arrays.push_back(output_array<int>("node", isofield::ElementType::kInt, nodes));
    return surface;
}

// "made   1074 glyphs, one every 3 nodes along each axis (left out: 726 without data), ..."
std::string made_text(const Dataset &dataset, const isofield::Glyphs &glyphs, const Standing &standing) {
    std::string text = "made   " + format_count(glyphs.nodes().size(), "glyph", "glyphs");
    text += standing.every == 1 ? std::string(", at all nodes")
                                : ", one every " + std::to_string(standing.every) + " nodes" +
                                      (dataset.grid() ? " along each axis" : "");
    std::string none;
    if (standing.missing > 0) none = std::to_string(standing.missing) + " without data";
    if (standing.still > 0) add_item(none, std::to_string(standing.still) + " of no length", ", ");
    if (!none.empty()) text += " (left out: " + none + ")";
    return text + ", " + format_count(glyphs.triangles().size(), "triangle", "triangles") + ", scale " +
           format_number(standing.scale, 4);
}

void draw(Field &field, const OutputSurface &surface, const Floats &colors, const OutputOptions &output,
          OutputFile &file, Console &console) {
    const Stopwatch drawing;
    const std::array<double, 6> &bounds = field.dataset.bounds;
    const std::string title = color_title(attached_arrays({colors.array}).front());
    if (field.dataset.has_volume()) {
        draw_surface(surface, bounds, output.style, file, console, {.whole_field = true, .title = title});
    } else {
        const Sheet sheet = make_sheet(field, colors.array);
        draw_map(surface, sheet, title, bounds, output.style, file, console);
    }
    say_drawn(output, drawing, console);
}

void run_glyph(const GlyphOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    if (options.every && *options.every < 1) throw UsageError("--every needs a number of at least 1");
    scale_of(options.scale);
    OutputFiles files(output, surface_extensions(), {options.field.path, options.shape});
    Field field = read_field(options.field, console, {.choose = choose_shown});
    const int components = field.scalar.data.components;
    if (components > 3) {
        throw UsageError("array '" + field.scalar.name + "' has " + std::to_string(components) +
                         " components; glyphs need a scalar or a vector");
    }
    const std::string shape_name =
        !options.shape.empty() ? options.shape : std::string(components > 1 ? "arrow" : "sphere");
    const isofield::GlyphShape shape = read_shape(shape_name, console);
    const Floats data(field.scalar),
        colors(options.by.empty()
                   ? field.scalar
                   : named_array(choose_array(field.dataset, options.by), options.field, console));

    const Stopwatch making;
    const Standing standing = choose_nodes(field.dataset, data, options);
    const isofield::Glyphs glyphs = make(field.mesh, data, options, shape, standing, colors, console);
    const OutputSurface surface =
        surface_of(glyphs, free_name(colors.array.name, "_data", {"node"}, console));
    const std::string made_seconds = making.seconds();
    const Stopwatch writing;
    write_surface(surface, files.geometry, console);
    console.say(made_text(field.dataset, glyphs, standing) + ", " + made_seconds + "; " + output.geometry +
                ", " + writing.seconds());
    if (files.picture) draw(field, surface, colors, output, *files.picture, console);
}

}  // namespace

void add_glyph(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand(
        "glyph", "Make arrows or other shapes at nodes, turned along a vector and sized by it or a scalar");
    const auto options = std::make_shared<GlyphOptions>();
    command
        ->add_option("--shape", options->shape,
                     "Shape, along x: " + shape_names() +
                         ", whose point 0,0,0 comes to the node and whose longest side is taken as 1")
        ->type_name(shape_choices() + "|FILE")
        ->default_str("arrow for vectors, sphere for scalars");
    command
        ->add_option("--scale", options->scale,
                     "Size of a glyph over the length of its vector or its scalar; with auto nineteen "
                     "of twenty are at most as long as they are apart")
        ->type_name("auto|SIZE")
        ->capture_default_str();
    add_count(*command, "--every", options->every, "One glyph every N nodes, of grids along each axis")
        ->default_str("so that there are at most " + std::to_string(kMany));
    command->add_flag("--fixed", options->fixed, "Make all glyphs of the size that --scale tells");
    command->add_flag("--no-orient", options->no_orient, "Do not turn the glyphs");
    add_array_option(*command, "-a,--array", options->field.array,
                     "Vector or scalar on the nodes, or the scalars to make a vector of", kVectorType);
    add_array_option(*command, "--by", options->by,
                     "Node array that colours the glyphs, in the place of --array");
    add_input_options(*command, options->field);
    add_output_options(*command, options->output, "Glyphs", surface_extensions());
    command->footer(examples({"glyph coads_climatology.cdf --array UWND,VWND -o wind.vtp --png wind.png"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_glyph(*options, console); }; });
}

}  // namespace app
