// isofield grad, curl, div and derive: derivatives of node arrays, in a file of the same kind.
#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include <CLI/Option.hpp>

#include "errors.hpp"
#include "extraction.hpp"
#include "field_picture.hpp"
#include "mesh_output.hpp"
#include "operations.hpp"
#include "vtk_support.hpp"

namespace app {
namespace {

using Values = std::vector<float>;

struct DerivativeOptions {
    FieldOptions field;
    bool native = false;
    std::string name;
    std::string show;
    OutputOptions output;
};

// One of the library's operators.
struct Operator {
    const char *command, *help;
    const char *native_help;
    const char *suffix;  // of the new array's name
    const DataArray &(*choose)(const Dataset &, const std::string &);
    Values (isofield::Mesh::*apply)(const isofield::DataView &, const isofield::DerivativeOptions &);
};

constexpr Operator kOperators[] = {
    {"grad", "Differentiate a scalar, or each component of a vector, along x, y and z",
     "Use the mesh kind's own formula: flat grids but .vti differentiate along x and y alone; 0 in the "
     "place of NaN. See isofield.h",
     "_gradient", choose_array, &isofield::Mesh::gradient},
    {"curl", "Make the curl of a vector",
     "Use the mesh kind's own formula: uniform and rectilinear grids leave component 0 out, surface cells "
     "give no field's curl; 0 in the place of NaN. See isofield.h",
     "_curl", choose_vector, &isofield::Mesh::curl},
    {"div", "Make the divergence of a vector",
     "Use the mesh kind's own formula: surface cells give no field's divergence; 0 in the place of NaN. See "
     "isofield.h",
     "_divergence", choose_vector, &isofield::Mesh::divergence},
};

// A field, and the file's own mesh that takes what is made.
struct Source {
    Field field;
    vtkSmartPointer<vtkDataSet> original;
};

// `vector`: an operator on vectors.
void check_components(const Field &field, bool vector, bool native) {
    const int components = field.scalar.data.components;
    const std::string array =
        "array '" + field.scalar.name + "' has " + std::to_string(components) + " components, ";
    if (vector && components == 2 && field.dataset.has_volume())
        throw UsageError(array + "but a mesh with volume needs vectors of 3");
    if (vector && native && field.dataset.grid() && !field.dataset.has_volume())
        throw UsageError("--native makes no curl or divergence of flat grids");
    if (!vector && native && components > 1) throw UsageError(array + "but --native differentiates scalars");
}

Source read_source(const DerivativeOptions &options,
                   const DataArray &(*choose)(const Dataset &, const std::string &), Console &console) {
    vtkSmartPointer<vtkDataSet> original;
    Field field = read_field(options.field, console, {.choose = choose, .original = &original});
    check_mesh_name(options.output.geometry, field.dataset, original);
    check_components(field, choose == choose_vector, options.native);
    return {std::move(field), original};
}

struct Made {
    std::vector<NamedArray> arrays;
    std::string seconds;
};

void add_array(Made &made, const std::string &name, const Field &field, Values given, Console &console) {
    std::vector<std::string> taken = node_array_names(field.dataset);
    for (const NamedArray &array : made.arrays) taken.push_back(array.name);
    const auto values = std::make_shared<const Values>(std::move(given));
    const std::size_t rows = field.dataset.nnodes;
    const ArrayData data{isofield::ElementType::kFloat,
                         static_cast<int>(values->size() / rows),
                         rows,
                         {values, values->data()}};
    made.arrays.push_back({free_name(name, "_new", taken, console), data, {}});
}

std::span<const float> values_of(const NamedArray &array) {
    const ArrayData &data = array.data;
    return {static_cast<const float *>(data.values.get()),
            data.rows * static_cast<std::size_t>(data.components)};
}

// Of what is finite, or of the vectors' lengths.
struct Summary {
    double lower = std::numeric_limits<double>::infinity(), upper = -lower;
    std::size_t without = 0;
};

Summary summary_of(const NamedArray &array) {
    Summary summary;
    const auto width = static_cast<std::size_t>(array.data.components);
    const std::span<const float> values = values_of(array);
    for (std::size_t first = 0; first < values.size(); first += width) {
        double value = values[first];
        if (width > 1) {
            double square = 0;
            for (const float x : values.subspan(first, width)) square += double{x} * x;
            value = std::sqrt(square);
        }
        if (!std::isfinite(value)) {
            ++summary.without;
            continue;
        }
        summary.lower = std::min(summary.lower, value);
        summary.upper = std::max(summary.upper, value);
    }
    return summary;
}

// "magnitude 0 to 2"
std::string range_text(const char *what, const Summary &summary) {
    if (summary.lower > summary.upper) return std::string(what) + "no value";
    return what + format_number(summary.lower) + " to " + format_number(summary.upper);
}

// "made   t_gradient at 8 nodes (magnitude 0 to 2, 1 node without)"
std::string made_text(const Made &made, const std::string &ranges) {
    std::string names;
    for (const NamedArray &array : made.arrays) add_item(names, array.name, ", ");
    const std::size_t without = summary_of(made.arrays.front()).without;
    std::string text = "made   " + names + " at " +
                       format_count(made.arrays.front().data.rows, "node", "nodes") + " (" + ranges;
    if (without > 0) text += ", " + format_count(without, "node", "nodes") + " without";
    return text + ")";
}

Values differentiate(Field &field, const Operator &how, const DerivativeOptions &options, Console &console) {
    isofield::DerivativeOptions settings;
    settings.null_value = field.scalar.null_value;
    settings.native = options.native;
    settings.progress = polled_progress("derivatives", console);
    const PolledStage polled;
    Values values = (field.mesh.*how.apply)(field.scalar.data.view(), settings);
    check_interrupt();
    console.clear_bar();
    return values;
}

// Writes all that was made, and draws the array `shown`.
void finish(Source &source, const Made &made, const NamedArray &shown, const std::string &ranges,
            const OutputOptions &output, OutputFiles &files, Console &console) {
    const Stopwatch writing;
    std::vector<vtkSmartPointer<vtkDataArray>> arrays;
    for (const NamedArray &array : made.arrays) arrays.push_back(view_array(array.name, array.data));
    write_mesh(source.original, arrays, files.geometry, console);
    console.say(made_text(made, ranges) + ", " + made.seconds + "; " + output.geometry + ", " +
                writing.seconds());
    if (!files.picture) return;

    const Stopwatch drawing;
    draw_field(source.field, shown, output.style, *files.picture, console);
    say_drawn(output, drawing, console);
}

void run_operator(const Operator &how, const DerivativeOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    OutputFiles files(output, kMeshExtensions, {options.field.path});
    Source source = read_source(options, how.choose, console);
    Field &field = source.field;

    const Stopwatch making;
    Made made;
    const std::string name = options.name.empty() ? field.scalar.name + how.suffix : options.name;
    add_array(made, name, field, differentiate(field, how, options, console), console);
    made.seconds = making.seconds();
    const NamedArray &array = made.arrays.front();
    const char *what = array.data.components > 1 ? "magnitude " : "";
    finish(source, made, array, range_text(what, summary_of(array)), output, files, console);
}

// Rows of two components' gradients, with those of a third that is 0 everywhere.
Values with_third_component(const Values &gradients) {
    Values wide;
    wide.reserve(gradients.size() / 6 * 9);
    for (auto row = gradients.begin(); row != gradients.end(); row += 6) {
        wide.insert(wide.end(), row, row + 6);
        const float zero = 0 * row[0];  // NaN where there is no derivative
        wide.insert(wide.end(), 3, zero);
    }
    return wide;
}

void run_derive(const DerivativeOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    if (!options.show.empty() && output.picture.empty()) throw UsageError("--show goes with --png");
    OutputFiles files(output, kMeshExtensions, {options.field.path});
    Source source = read_source(options, choose_vector, console);
    const Field &field = source.field;
    const std::string &name = field.scalar.name;

    const Stopwatch making;
    Values gradients = differentiate(source.field, kOperators[0], options, console);
    if (field.scalar.data.components == 2) gradients = with_third_component(gradients);
    Made made;
    add_array(made, name + "_vorticity", field, isofield::vorticity(gradients), console);
    add_array(made, name + "_vorticity_magnitude", field, isofield::vorticity_magnitude(gradients), console);
    add_array(made, name + "_q_criterion", field, isofield::q_criterion(gradients), console);
    made.seconds = making.seconds();
    const NamedArray &magnitude = made.arrays[1], &q = made.arrays[2];
    finish(source, made, options.show == "q" ? q : magnitude,
           range_text("magnitude ", summary_of(magnitude)) + range_text(", Q ", summary_of(q)), output, files,
           console);
}

void add_options(CLI::App &command, DerivativeOptions &options, const std::string &array_help) {
    command.add_option("-a,--array", options.field.array, array_help)->type_name("NAME");
    add_input_options(command, options.field);
    add_output_options(command, options.output, "Mesh with the new arrays, of the kind that it is of,",
                       kMeshExtensions);
}

void add_operator(CLI::App &tool, Action &chosen, const Operator &how) {
    CLI::App *command = tool.add_subcommand(how.command, how.help);
    const auto options = std::make_shared<DerivativeOptions>();
    add_options(*command, *options, "Node array to work on, when the file has several");
    command->add_flag("--native", options->native, how.native_help);
    command
        ->add_option("--name", options->name,
                     std::string("Name of the new array (that of the old one, and ") + how.suffix + ")")
        ->type_name("NAME");
    command->callback([options, &how, &chosen] {
        chosen = [options, &how](Console &console) { run_operator(how, *options, console); };
    });
}

}  // namespace

void add_derivatives(CLI::App &tool, Action &chosen) {
    for (const Operator &how : kOperators) add_operator(tool, chosen, how);
    CLI::App *command =
        tool.add_subcommand("derive", "Tell how a flow turns: vorticity, its magnitude and the Q-criterion");
    const auto options = std::make_shared<DerivativeOptions>();
    add_options(*command, *options, "Vector on the nodes, when the file has several");
    command->add_option("--show", options->show, "What colours the picture: vorticity (its magnitude) or q")
        ->check(CLI::IsMember({"vorticity", "q"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_derive(*options, console); }; });
}

}  // namespace app
