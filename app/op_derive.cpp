// isofield grad, curl, div and derive: derivatives of node arrays, in a file of the same kind.
#include <memory>

#include "array_output.hpp"
#include "errors.hpp"
#include "mesh_output.hpp"
#include "operations.hpp"

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
    const char *example;
    const DataArray &(*choose)(const Dataset &, const std::string &);
    Values (isofield::Mesh::*apply)(const isofield::DataView &, const isofield::DerivativeOptions &);
};

constexpr Operator kOperators[] = {
    {"grad", "Differentiate a scalar, or each component of a vector, along x, y and z",
     "Use the mesh kind's own formula: flat grids but .vti differentiate along x and y alone; 0 in the "
     "place of NaN; see isofield.h",
     "_gradient", "grad jacksboro.vti --name slope -o slope.vti --png slope.png", choose_array,
     &isofield::Mesh::gradient},
    {"curl", "Make the curl of a vector",
     "Use the mesh kind's own formula: uniform and rectilinear grids leave component 0 out, surface cells "
     "give no field's curl; 0 in the place of NaN; see isofield.h",
     "_curl", "curl disk_out_ref.ex2 --array V -o curl.vtu --png curl.png", choose_vector,
     &isofield::Mesh::curl},
    {"div", "Make the divergence of a vector",
     "Use the mesh kind's own formula: surface cells give no field's divergence; 0 in the place of NaN; see "
     "isofield.h",
     "_divergence", "div coads_climatology.cdf --array UWND,VWND -o divergence.vti --png divergence.png",
     choose_vector, &isofield::Mesh::divergence},
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

void add_values(Made &made, const std::string &name, const Field &field, Values values, Console &console) {
    const auto components = static_cast<int>(values.size() / field.dataset.nnodes);
    add_array(made, name, field.dataset, owned_data(std::move(values), components), {}, console);
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
    add_values(made, name, field, differentiate(field, how, options, console), console);
    made.seconds = making.seconds();
    write_made(made, ranges_text(made), source.original, output, files, console);
    draw_made(field, made.arrays.front(), output, files, console);
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
    Field &field = source.field;
    const std::string &name = field.scalar.name;

    const Stopwatch making;
    Values gradients = differentiate(field, kOperators[0], options, console);
    if (field.scalar.data.components == 2) gradients = with_third_component(gradients);
    Made made;
    add_values(made, name + "_vorticity", field, isofield::vorticity(gradients), console);
    add_values(made, name + "_vorticity_magnitude", field, isofield::vorticity_magnitude(gradients), console);
    add_values(made, name + "_q_criterion", field, isofield::q_criterion(gradients), console);
    made.seconds = making.seconds();
    const NamedArray &magnitude = made.arrays[1], &q = made.arrays[2];
    const std::string ranges =
        range_text("magnitude ", summary_of(magnitude)) + range_text(", Q ", summary_of(q));
    write_made(made, ranges, source.original, output, files, console);
    draw_made(field, options.show == "q" ? q : magnitude, output, files, console);
}

void add_common(CLI::App &command, DerivativeOptions &options) {
    add_input_options(command, options.field);
    add_output_options(command, options.output, kMadeMesh, kMeshExtensions);
}

void add_operator(CLI::App &tool, Action &chosen, const Operator &how) {
    CLI::App *command = tool.add_subcommand(how.command, how.help);
    const auto options = std::make_shared<DerivativeOptions>();
    command->add_flag("--native", options->native, how.native_help);
    const bool vector = how.choose == choose_vector;
    add_array_option(*command, "-a,--array", options->field.array, vector ? kVectorHelp : kArrayHelp,
                     vector ? kVectorType : "NAME");
    add_array_option(*command, "--name", options->name, "Name of the new array")
        ->default_str(std::string("that of the old one and ") + how.suffix);
    add_common(*command, *options);
    command->footer(examples({how.example}));
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
    command->add_option("--show", options->show, "What colours the picture: vorticity (its magnitude) or q")
        ->check(CLI::IsMember({"vorticity", "q"}))
        ->type_name("vorticity|q")
        ->default_str("vorticity");
    add_array_option(*command, "-a,--array", options->field.array, kVectorHelp, kVectorType);
    add_common(*command, *options);
    command->footer(examples({"derive disk_out_ref.ex2 --array V -o turning.vtu --png turning.png"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_derive(*options, console); }; });
}

}  // namespace app
