#include "operation_support.hpp"

#include <algorithm>
#include <cmath>

#include "dataset_io.hpp"

namespace app {
namespace {

// Both names are good before either file is made.
const OutputOptions &checked(const OutputOptions &output, const std::string &extensions) {
    if (!output.geometry.empty()) check_output_name(output.geometry, extensions);
    if (!output.picture.empty()) check_picture_name(output.picture);
    return output;
}

}  // namespace

void add_step_option(CLI::App &command, std::optional<int> &step) {
    add_count(command, "--step", step, "Step to read of a file that has several, from 1")
        ->default_str("1")
        ->group(kInputGroup);
}

void add_input_options(CLI::App &command, InputOptions &options) {
    command.add_option("FIELD", options.path, "Field to work on: " + readable_extensions())->required();
    add_step_option(command, options.step);
    add_null_option(command, options.null_value);
}

NamedArray named_array(const DataArray &array, const InputOptions &options, Console &console) {
    const ArrayData data = array_data(array, console);
    const auto null_value = options.null_value ? options.null_value : array.null_value;
    return {array.name, data, isofield::null_of(data.type, null_value)};
}

std::vector<NamedArray> named_arrays(const std::vector<const DataArray *> &arrays,
                                     const InputOptions &options, Console &console) {
    std::vector<NamedArray> named;
    for (const DataArray *array : arrays) named.push_back(named_array(*array, options, console));
    return named;
}

std::string free_name(const std::string &name, const std::string &suffix,
                      const std::vector<std::string> &taken, Console &console) {
    std::string result = name;
    while (std::find(taken.begin(), taken.end(), result) != taken.end()) result += suffix;
    if (result != name)
        console.note("there is another '" + name + "': the array is written as '" + result + "'");
    return result;
}

std::string read_text(const Dataset &dataset) {
    std::string line = "read   " + dataset.path + ": " + dataset.description + ", ";
    line += dataset.grid()
                ? dataset.dims_text() + " nodes"
                : format_count(dataset.nnodes, "node", "nodes") + ", " + counts_text(dataset.cell_counts);
    if (!dataset.step.text.empty()) line += ", " + dataset.step.text;
    return line;
}

void say_read(const Dataset &dataset, const std::vector<NamedArray> &arrays, const Stopwatch &reading,
              Console &console) {
    std::string names;
    for (const NamedArray &array : arrays) add_item(names, "'" + array.name + "'");
    if (!names.empty()) names = (arrays.size() == 1 ? ", array " : ", arrays ") + names;
    console.say(read_text(dataset) + names + ", " + reading.seconds());
}

OutputFiles::OutputFiles(const OutputOptions &output, const std::string &extensions,
                         const std::vector<std::string> &inputs)
    : geometry(checked(output, extensions).geometry, inputs) {
    if (!output.picture.empty()) picture.emplace(output.picture, inputs);
}

OptionalFiles::OptionalFiles(const OutputOptions &output, const std::string &extensions,
                             const std::vector<std::string> &inputs) {
    checked(output, extensions);
    if (!output.geometry.empty()) geometry.emplace(output.geometry, inputs);
    if (!output.picture.empty()) picture.emplace(output.picture, inputs);
}

isofield::Progress polled_progress(const char *stage, Console &console, std::size_t index,
                                   std::size_t count) {
    return [&console, stage, index, count](int percent) {
        const std::size_t done = 100 * index + static_cast<std::size_t>(std::clamp(percent, 0, 100));
        console.progress(stage, static_cast<int>(done / count));
        return isohost_interrupted() == 0;
    };
}

void check_interrupt() {
    if (isohost_interrupted()) throw isofield::Interrupted();
}

void say_drawn(const OutputOptions &output, const Stopwatch &drawing, Console &console) {
    console.say("drawn  " + output.picture + ", " + std::to_string(output.style.width) + " x " +
                std::to_string(output.style.height) + " pixels, " + drawing.seconds());
}

}  // namespace app
