// isofield smooth, clamp, threshold and calc: new arrays made from node arrays, in a file of the same kind.
#include <algorithm>
#include <cmath>
#include <memory>

#include "array_output.hpp"
#include "dataset_io.hpp"
#include "errors.hpp"
#include "mesh_output.hpp"
#include "operations.hpp"

namespace app {
namespace {

using isofield::ElementType;

// ---- What they share ----

// The arrays of a file, and the file's own mesh that takes what is made.
struct Source {
    Dataset dataset;
    vtkSmartPointer<vtkDataSet> original;
    std::vector<NamedArray> arrays;
};

// `name` is that of the first array, `choose` names all from the dataset.
template <class Choose>
Source read_source(const InputOptions &input, const std::string &name, Choose choose,
                   const OutputOptions &output, Console &console) {
    const Stopwatch reading;
    vtkSmartPointer<vtkDataSet> original;
    Dataset dataset = read_dataset(input.path, input.step, console, &original, name);
    const std::vector<const DataArray *> chosen = choose(dataset);
    check_mesh_name(output.geometry, dataset, original);
    auto arrays = named_arrays(chosen, input, console);
    say_read(dataset, arrays, reading, console);
    return {std::move(dataset), original, std::move(arrays)};
}

// Writes what was made, and draws the first array of it.
void finish(Source &source, const Made &made, const std::string &details, const OutputOptions &output,
            OutputFiles &files, Console &console) {
    std::optional<isofield::Mesh> mesh;
    if (files.picture) mesh = make_mesh(source.dataset, console);
    write_made(made, details, source.original, output, files, console);
    if (!mesh) return;
    Field field = field_of(std::move(source.dataset), std::move(*mesh));
    draw_made(field, made.arrays.front(), output, files, console);
}

// Calls f with a span of the array's values in their own type.
template <class F>
auto with_values(const ArrayData &data, F f) {
    return isofield::front::visit_type(
        data.type, [&](auto type) { return f(data.values_as<typename decltype(type)::type>()); });
}

struct ArrayOptions : InputOptions {
    std::string array, name;
    isofield::Limits limits;
    OutputOptions output;
};

void add_common(CLI::App &command, InputOptions &input, OutputOptions &output) {
    add_input_options(command, input);
    add_output_options(command, output, kMadeMesh, kMeshExtensions);
}

CLI::Option *add_name_option(CLI::App &command, std::string &name) {
    return add_array_option(command, "--name", name, "Name of the new array");
}

// `name`: of the new array, unless it is given; `test`: of an array to look at instead.
void add_array_options(CLI::App &command, ArrayOptions &options, const std::string &name,
                       std::string *test = nullptr) {
    add_number(command, "--min", options.limits.min, "Lowest value", "VALUE");
    add_number(command, "--max", options.limits.max, "Highest value", "VALUE");
    add_array_option(command, "-a,--array", options.array, kArrayHelp);
    if (test)
        add_array_option(command, "--test", *test,
                         "Scalar on the nodes to test, instead of the array itself");
    add_name_option(command, options.name)->default_str(name);
    add_common(command, options, options.output);
}

void check_limits(const isofield::Limits &limits) {
    if (limits.min && limits.max && *limits.min > *limits.max) {
        throw UsageError("--min " + format_number(*limits.min) + " is above --max " +
                         format_number(*limits.max));
    }
}

std::string new_name(const ArrayOptions &options, const NamedArray &array, const char *suffix) {
    return options.name.empty() ? array.name + suffix : options.name;
}

// ---- smooth ----

struct SmoothOptions : InputOptions {
    std::vector<std::string> arrays;
    double sigma = 1;
    std::optional<int> box;
    std::string kernel;
    std::string axes;
    int passes = 1;
    OutputOptions output;
};

std::vector<float> kernel_of(const SmoothOptions &options) {
    if (!(options.sigma > 0)) throw UsageError("--sigma needs a width above 0");
    if (options.box.value_or(1) < 1) throw UsageError("--box needs at least one node");
    if (options.passes < 1) throw UsageError("--passes needs at least one");
    if (options.box) return isofield::box_kernel(*options.box);
    if (options.kernel.empty()) return isofield::gaussian_kernel(options.sigma);
    const auto numbers = numbers_of(options.kernel, "--kernel", "K0,K1,..., as in 1,2,1");
    return {numbers.begin(), numbers.end()};
}

// "x,z" as 0 and 2.
std::vector<int> axes_of(const std::string &text) {
    std::vector<int> axes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::size_t axis = std::string_view("xyz").find(text[i]);
        const bool in_place = i % 2 == 0 ? axis < 3 && std::count(axes.begin(), axes.end(), axis) == 0
                                         : text[i] == ',' && i + 1 < text.size();
        if (!in_place) refuse_form(text, "--axes", "different ones of x, y and z, as in x,y");
        if (i % 2 == 0) axes.push_back(static_cast<int>(axis));
    }
    return axes;
}

// The axes named, or all that the kernel fits in, of which a note tells when there are others.
std::vector<int> fitting_axes(const Dataset &dataset, const std::vector<int> &named, std::size_t kernel,
                              Console &console) {
    std::vector<int> axes;
    std::string others;
    for (const int axis : named.empty() ? std::vector<int>{0, 1, 2} : named) {
        const auto d = static_cast<std::size_t>(axis);
        const bool fits = static_cast<std::size_t>(dataset.dims[d]) >= kernel;
        if (fits) axes.push_back(axis);
        if (!fits && (dataset.dims[d] > 1 || !named.empty()))
            add_item(others, std::string(1, "xyz"[d]), ", ");
    }
    const std::string text =
        "the kernel takes " + format_count(kernel, "node", "nodes") + ", the grid has " + dataset.dims_text();
    if (axes.empty() || (!named.empty() && !others.empty())) throw UsageError(text);
    if (!others.empty()) console.note(text + ": not smoothed along " + others);
    return axes;
}

Made smooth_all(const Source &source, const std::vector<float> &kernel, const isofield::SmoothOptions &common,
                Console &console) {
    const Stopwatch making;
    Made made;
    const PolledStage polled;
    for (const NamedArray &array : source.arrays) {
        isofield::SmoothOptions settings = common;
        settings.null_value = array.null_value;
        settings.progress = polled_progress("smoothing", console, made.arrays.size(), source.arrays.size());
        auto values = isofield::smooth(array.data.view(), source.dataset.dims, kernel, settings);
        check_interrupt();
        add_array(made, array.name + "_smooth", source.dataset,
                  owned_data(std::move(values), array.data.components), {}, console);
    }
    console.clear_bar();
    made.seconds = making.seconds();
    return made;
}

void run_smooth(const SmoothOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    const std::vector<float> kernel = kernel_of(options);
    const std::vector<int> named = axes_of(options.axes);
    OutputFiles files(output, ".vti .vtr .vts", {options.path});
    const auto choose = [&](const Dataset &dataset) {
        check_is_grid(dataset, "smooth");
        return choose_arrays(dataset, Association::kNode, options.arrays);
    };
    Source source = read_source(options, first_of(options.arrays), choose, output, console);
    isofield::SmoothOptions settings;
    settings.axes = fitting_axes(source.dataset, named, kernel.size(), console);
    settings.passes = options.passes;
    const Made made = smooth_all(source, kernel, settings, console);
    finish(source, made, ranges_text(made), output, files, console);
}

// ---- clamp ----

// An array with some words on what became of its values.
struct Told {
    ArrayData data;
    std::string text;
};

Told clamped(const NamedArray &array, const isofield::Limits &limits) {
    return with_values(array.data, [&]<class T>(std::span<const T> values) -> Told {
        if (isofield::front::TypeLimits(array.data.type, limits).empty()) {
            throw UsageError("the type of array '" + array.name +
                             "' has no value between these limits: choose others");
        }
        std::vector<T> made = isofield::clamp(values, limits, array.null_value);
        std::size_t raised = 0, lowered = 0;
        for (std::size_t i = 0; i < made.size(); ++i) {
            raised += made[i] > values[i];
            lowered += made[i] < values[i];
        }
        return {owned_data(std::move(made), array.data.components),
                format_count(raised, "value", "values") + " raised, " + std::to_string(lowered) + " lowered"};
    });
}

// Adds what was made of the first array, under its name and the suffix unless one is given.
void finish_told(Source &source, const ArrayOptions &options, const Told &told, const char *suffix,
                 const Stopwatch &making, OutputFiles &files, Console &console) {
    const NamedArray &array = source.arrays.front();
    Made made;
    add_array(made, new_name(options, array, suffix), source.dataset, told.data, array.null_value, console);
    made.seconds = making.seconds();
    finish(source, made, ranges_text(made) + ", " + told.text, options.output, files, console);
}

void run_clamp(const ArrayOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    check_limits(options.limits);
    if (!options.limits.min && !options.limits.max) throw UsageError("give --min, --max or both");
    OutputFiles files(output, kMeshExtensions, {options.path});
    const auto choose = [&](const Dataset &dataset) {
        return std::vector{&choose_array(dataset, options.array)};
    };
    Source source = read_source(options, options.array, choose, output, console);
    const NamedArray &array = source.arrays.front();

    const Stopwatch making;
    console.progress("clamping", 0);
    const Told told = clamped(array, options.limits);
    finish_told(source, options, told, "_clamped", making, files, console);
}

// ---- threshold ----

struct ThresholdOptions : ArrayOptions {
    std::string test;
    std::optional<double> replacement;
};

double replacement_of(const ThresholdOptions &options, const NamedArray &array) {
    const bool whole = array.data.type < ElementType::kFloat;
    if (options.replacement) {
        if (isofield::null_of(array.data.type, options.replacement)) return *options.replacement;
        throw UsageError("--replace: the type of array '" + array.name + "' has no " +
                         format_number(*options.replacement));
    }
    if (array.null_value) return *array.null_value;
    if (!whole) return std::numeric_limits<double>::quiet_NaN();
    throw UsageError("array '" + array.name +
                     "' holds whole numbers and has no null value: say by --replace what nodes become that "
                     "fail");
}

Told thresholded(const NamedArray &array, const NamedArray &test, const isofield::Limits &limits,
                 double replacement) {
    const isofield::DataView tested = test.data.view();
    const std::vector<unsigned char> ones(array.data.rows, 1);
    const auto marks = isofield::threshold(std::span(ones), 1, tested, limits, 0, test.null_value);
    const auto failed = static_cast<std::size_t>(std::count(marks.begin(), marks.end(), 0));
    return with_values(array.data, [&](auto values) -> Told {
        const int components = array.data.components;
        return {
            owned_data(isofield::threshold(values, components, tested, limits, replacement, test.null_value),
                       components),
            format_count(failed, "node fails", "nodes fail")};
    });
}

void run_threshold(const ThresholdOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    check_limits(options.limits);
    OutputFiles files(output, kMeshExtensions, {options.path});
    const auto choose = [&](const Dataset &dataset) {
        const DataArray &array = choose_array(dataset, options.array);
        if (array.components > 1 && options.test.empty()) {
            throw UsageError("array '" + array.name + "' has " + std::to_string(array.components) +
                             " components: name a scalar to test by --test");
        }
        const DataArray &test = choose_scalar(dataset, options.test.empty() ? array.name : options.test);
        return &array == &test ? std::vector{&array} : std::vector{&array, &test};
    };
    Source source = read_source(options, options.array, choose, output, console);
    const NamedArray &array = source.arrays.front();
    const double replacement = replacement_of(options, array);

    const Stopwatch making;
    console.progress("testing", 0);
    const Told told = thresholded(array, source.arrays.back(), options.limits, replacement);
    finish_told(source, options, told, "_thresholded", making, files, console);
}

// ---- calc ----

struct CalcOptions : InputOptions {
    std::string name;
    std::string polynomial;
    std::string blend;  // two arrays
    std::optional<double> weight;
    std::string of, coefficients;
    OutputOptions output;

    int count() const { return !polynomial.empty() + !blend.empty() + !of.empty(); }  // ways that are used
};

constexpr char kCoefficients[] = "C0,C1,..., as in 32,1.8";

// Data in float or double, with NaN for what is missing.
ArrayData calculated(const std::vector<double> &values, ElementType type, int components) {
    if (type == ElementType::kDouble) return owned_data(values, components);
    return owned_data(std::vector<float>(values.begin(), values.end()), components);
}

ArrayData evaluated(const NamedArray &array, const std::string &text) {
    const std::vector<double> coefficients = numbers_of(text, "--coefficients", kCoefficients);
    const isofield::front::DoubleValues values(array.data.view(), array.null_value);
    return calculated(isofield::evaluate(std::span(coefficients), values.view()), array.data.type,
                      array.data.components);
}

// Whole numbers of one type and null keep these.
NamedArray blended(const NamedArray &a, const NamedArray &b, double weight) {
    if (a.data.components != b.data.components) {
        throw UsageError("arrays '" + a.name + "' and '" + b.name + "' have " +
                         std::to_string(a.data.components) + " and " + std::to_string(b.data.components) +
                         " components, and cannot be blended");
    }
    const ElementType wider = std::max(a.data.type, b.data.type);
    const int components = a.data.components;
    if (a.data.type == b.data.type && a.null_value == b.null_value && wider < ElementType::kFloat) {
        return with_values(a.data, [&]<class T>(std::span<const T> values) -> NamedArray {
            auto made = isofield::blend(values, b.data.values_as<T>(), weight, a.null_value);
            return {"", owned_data(std::move(made), components), a.null_value};
        });
    }
    const isofield::front::DoubleValues from(a.data.view(), a.null_value), to(b.data.view(), b.null_value);
    return {"", calculated(isofield::blend(from.view(), to.view(), weight), wider, components), {}};
}

// The arrays to calculate with.
std::vector<std::string> names_of(const CalcOptions &options) {
    if (!options.of.empty()) return {options.of};
    if (options.blend.empty()) return {};
    const std::size_t comma = options.blend.find(',');
    if (comma == std::string::npos || comma == 0 || comma + 1 == options.blend.size())
        refuse_form(options.blend, "--blend", "A,B, the names of two arrays");
    return {options.blend.substr(0, comma), options.blend.substr(comma + 1)};
}

std::vector<float> polynomial_of(const std::string &text) {
    const std::string form = "C0,C1,..., 1, 3, 6 or 10 numbers of float, as in 0,1,0";
    const std::vector<double> numbers = numbers_of(text, "--polynomial", form);
    const std::vector<float> coefficients(numbers.begin(), numbers.end());
    const std::size_t count = coefficients.size();
    const bool has_form = count == 1 || count == 3 || count == 6 || count == 10;
    if (!has_form ||
        !std::all_of(coefficients.begin(), coefficients.end(), [](float c) { return std::isfinite(c); }))
        refuse_form(text, "--polynomial", form);
    return coefficients;
}

void check_options(const CalcOptions &options) {
    if (options.count() != 1) throw UsageError("say what to make by one of --polynomial, --blend and --of");
    if (options.blend.empty() == options.weight.has_value())
        throw UsageError("--blend and --weight go together");
    if (options.of.empty() != options.coefficients.empty())
        throw UsageError("--of and --coefficients go together");
    if (!options.polynomial.empty()) polynomial_of(options.polynomial);
}

NamedArray calculate(const Source &source, const CalcOptions &options, Console &console) {
    if (!options.of.empty()) return {"", evaluated(source.arrays.front(), options.coefficients), {}};
    if (!options.blend.empty()) return blended(source.arrays.front(), source.arrays.back(), *options.weight);
    isofield::Mesh mesh = make_mesh(source.dataset, console);
    return {"", owned_data(mesh.polynomial(polynomial_of(options.polynomial)), 1), {}};
}

void run_calc(const CalcOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    check_options(options);
    OutputFiles files(output, kMeshExtensions, {options.path});
    const std::vector<std::string> names = names_of(options);
    const auto choose = [&](const Dataset &dataset) {
        std::vector<const DataArray *> arrays;
        for (const std::string &name : names) arrays.push_back(&choose_array(dataset, name));
        return arrays;
    };
    Source source = read_source(options, first_of(names), choose, output, console);

    const Stopwatch making;
    console.progress("calculating", 0);
    const NamedArray array = calculate(source, options, console);
    Made made;
    add_array(made, options.name, source.dataset, array.data, array.null_value, console);
    made.seconds = making.seconds();
    finish(source, made, ranges_text(made), output, files, console);
}

}  // namespace

void add_smooth(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand(
        "smooth", "Smooth arrays on a grid, by the weighted mean along each axis in turn");
    command->footer(
        "Nodes nearer to an end of an axis than the kernel reaches stay as they are along it. Missing values "
        "stay missing and count for nothing.\n\n" +
        examples({"smooth brain.nii.gz --sigma 1.5 -o smooth.vti --png smooth.png"}));
    const auto options = std::make_shared<SmoothOptions>();
    CLI::Option *sigma =
        add_number(*command, "--sigma", options->sigma, "Gaussian of this width, in nodes", "WIDTH")
            ->capture_default_str();
    CLI::Option *box = add_count(*command, "--box", options->box, "Mean of so many nodes")->excludes(sigma);
    command
        ->add_option("--kernel", options->kernel,
                     "Weights of neighbours along an axis, to be divided by their sum, as in 1,2,1")
        ->type_name("K0,K1,...")
        ->excludes(sigma)
        ->excludes(box);
    command->add_option("--axes", options->axes, "Along these axes of the grid alone, as in x,y")
        ->type_name("AXES")
        ->default_str("all");
    add_count(*command, "--passes", options->passes, "Times to smooth")->capture_default_str();
    add_array_option(*command, "-a,--array", options->arrays,
                     "Node arrays to smooth, instead of all; the first colours the picture");
    add_common(*command, *options, options->output);
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_smooth(*options, console); }; });
}

void add_clamp(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand("clamp", "Bring the values of an array between limits");
    const auto options = std::make_shared<ArrayOptions>();
    add_array_options(*command, *options, "that of the old one and _clamped");
    command->footer(examples({"clamp jacksboro.vti --min 500 -o high.vti --png high.png"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_clamp(*options, console); }; });
}

void add_threshold(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand(
        "threshold", "Keep an array where its values, or those of another, lie between limits");
    const auto options = std::make_shared<ThresholdOptions>();
    add_array_options(*command, *options, "that of the old one and _thresholded", &options->test);
    add_number(*command, "--replace", options->replacement, "Value of nodes that fail, or have none to test",
               "VALUE")
        ->default_str("the array's null value, else NaN");
    command->footer(examples(
        {"threshold coads_climatology.cdf --array UWND --test SST --min 20 -o warm.vti --png warm.png"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_threshold(*options, console); }; });
}

void add_calc(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand(
        "calc", "Make an array: a polynomial of the coordinates or of an array, or a blend of two arrays");
    const auto options = std::make_shared<CalcOptions>();
    command
        ->add_option(
            "--polynomial", options->polynomial,
            "Polynomial of the nodes' coordinates; 1 coefficient: a constant; 3: 1 x xx; 6: 1 x y xy "
            "xx yy; 10: 1 x y z xy xz yz xx yy zz")
        ->type_name("C0,C1,...");
    command
        ->add_option("--coefficients", options->coefficients,
                     "Polynomial of the values of --array, the constant first; 32,1.8 makes Fahrenheit of "
                     "Celsius")
        ->type_name("C0,C1,...");
    command->add_option("--blend", options->blend, "A + W (B - A) of two node arrays, W being the --weight")
        ->type_name("A,B");
    add_number(*command, "--weight", options->weight, "Weight of a blend: 0 gives A, 1 gives B", "W");
    add_array_option(*command, "-a,--array,--of", options->of, "Node array that --coefficients is about");
    add_name_option(*command, options->name)->required();
    add_common(*command, *options, options->output);
    command->footer(examples(
        {"calc coads_climatology.cdf --array SST --coefficients 32,1.8 --name SST_F -o fahrenheit.vti",
         "calc jacksboro.vti --polynomial 0,1,0,0,0,0 --name east -o east.vti"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_calc(*options, console); }; });
}

}  // namespace app
