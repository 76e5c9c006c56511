#include "extraction.hpp"

#include <CLI/Error.hpp>
#include <CLI/Option.hpp>

#include <algorithm>
#include <cmath>

#include "dataset_io.hpp"
#include "errors.hpp"

namespace app {
namespace {

std::string read_line(const Field &field, const std::string &type_name, const Stopwatch &reading) {
    const Dataset &dataset = field.dataset;
    std::string line = "read   " + dataset.path + ": " + dataset.description + ", ";
    line += dataset.grid()
                ? dataset.dims_text() + " nodes"
                : format_count(dataset.nnodes, "node", "nodes") + ", " + counts_text(dataset.cell_counts);
    if (!dataset.step_text.empty()) line += ", " + dataset.step_text;
    line += ", array '" + field.name + "' " + type_name + ", ";
    const ComponentRange &range = field.range;
    line +=
        range.empty ? "no finite value" : format_number(range.lower) + " to " + format_number(range.upper);
    if (range.nan_count > 0) line += ", " + std::to_string(range.nan_count) + " NaN";
    if (range.null_count > 0) line += ", " + std::to_string(range.null_count) + " null";
    return line + ", " + reading.seconds();
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

// The null that the options name, or else the file, as elements of the data hold it.
std::optional<double> null_for(const DataArray &array, const NodeData &data, const FieldOptions &options) {
    return isofield::null_of(data.type, options.null_value ? options.null_value : array.null_value);
}

// Both names are good before either file is made.
const std::string &checked_name(const OutputOptions &output, const std::string &extensions) {
    check_output_name(output.geometry, extensions);
    if (!output.picture.empty()) check_picture_name(output.picture);
    return output.geometry;
}

}  // namespace

CLI::Validator finite_number() {
    return CLI::Validator(
        [](std::string &text) {
            double value = 0;
            const bool number = CLI::detail::lexical_cast(text, value) && std::isfinite(value);
            return number ? std::string() : "'" + text + "' is not a number";
        },
        "NUMBER");
}

void add_step_option(CLI::App &command, std::optional<int> &step) {
    command.add_option("--step", step, "Step to read of a file that has several, from 1 (the first)")
        ->type_name("N");
}

void add_field_options(CLI::App &command, FieldOptions &options, const std::string &attach) {
    command.add_option("FIELD", options.path, "Any of " + readable_extensions())->required();
    command.add_option("-a,--array", options.array, "Node array to work on, when the file has several")
        ->type_name("NAME");
    command.add_option("--attach", options.attach, attach)->type_name("ARRAY");
    command
        .add_option("--null", options.null_value,
                    "Value of missing nodes, in the place of what the file declares; NaN is always missing")
        ->check(finite_number());
    add_step_option(command, options.step);
}

Field read_field(const FieldOptions &options, void (*check)(const Dataset &), Console &console) {
    const Stopwatch reading;
    Dataset dataset = read_dataset(options.path, options.step, console);
    if (check) check(dataset);
    const DataArray array = choose_scalar(dataset, options.array);
    const auto attached = choose_attached(dataset, options.attach);
    isofield::Mesh mesh = make_mesh(dataset, console);
    const NodeData data = node_data(array, console);
    const auto null_value = null_for(array, data, options);
    const ComponentRange range = component_ranges(array, null_value).front();
    std::vector<AttachedArray> carried;
    for (const DataArray *source : attached) {
        const NodeData values = node_data(*source, console);
        carried.push_back({source->name, values, null_for(*source, values, options)});
    }
    Field field{std::move(dataset), std::move(mesh), array.name, data, null_value, range, carried};
    console.say(read_line(field, array.type_name, reading));
    return field;
}

OutputFiles::OutputFiles(const OutputOptions &output, const std::string &extensions, const std::string &input)
    : geometry(checked_name(output, extensions), input) {
    if (!output.picture.empty()) picture.emplace(output.picture, input);
}

isofield::ExtractionOptions extraction_settings(const Field &field, const char *stage, Console &console,
                                                std::size_t index, std::size_t count) {
    isofield::ExtractionOptions settings;
    settings.null_value = field.null_value;
    settings.progress = [&console, stage, index, count](int percent) {
        const std::size_t done = 100 * index + static_cast<std::size_t>(std::clamp(percent, 0, 100));
        console.progress(stage, static_cast<int>(done / count));
        return isohost_interrupted() == 0;
    };
    return settings;
}

void check_interrupt() {
    if (isohost_interrupted()) throw isofield::Interrupted();
}

std::vector<OutputArray> attached_arrays(const Field &field) {
    std::vector<OutputArray> arrays;
    for (const AttachedArray &source : field.attached) {
        arrays.push_back({source.name, source.data.type, source.data.components, {}, source.null_value});
    }
    return arrays;
}

void carry_arrays(const Field &field, const isofield::NewNodes &nodes, std::vector<OutputArray> &arrays) {
    for (std::size_t i = 0; i < arrays.size() && nodes.npoints() > 0; ++i) {
        const AttachedArray &source = field.attached[i];
        std::vector<std::byte> &values = arrays[i].values;
        const std::size_t end = values.size();
        values.resize(end + nodes.npoints() * static_cast<std::size_t>(source.data.components) *
                                isofield::size_of(source.data.type));
        nodes.carry(source.data.view(), values.data() + end, source.null_value);
    }
}

void say_drawn(const OutputOptions &output, const Stopwatch &drawing, Console &console) {
    console.say("drawn  " + output.picture + ", " + std::to_string(output.style.width) + " x " +
                std::to_string(output.style.height) + " pixels, " + drawing.seconds());
}

}  // namespace app
