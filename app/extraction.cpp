#include "extraction.hpp"

#include <CLI/Option.hpp>

#include "dataset_io.hpp"

namespace app {
namespace {

std::string range_text(const ComponentRange &range) {
    std::string text =
        range.empty ? "no finite value" : format_number(range.lower) + " to " + format_number(range.upper);
    if (range.nan_count > 0) text += ", " + std::to_string(range.nan_count) + " NaN";
    if (range.null_count > 0) text += ", " + std::to_string(range.null_count) + " null";
    return text;
}

}  // namespace

void add_field_options(CLI::App &command, FieldOptions &options, const std::string &attach) {
    command.add_option("-a,--array", options.array, "Node array to work on, when the file has several")
        ->type_name("NAME");
    command.add_option("--attach", options.attach, attach)->type_name("ARRAY");
    add_input_options(command, options);
}

Field read_field(const FieldOptions &options, void (*check)(const Dataset &), Console &console) {
    const Stopwatch reading;
    Dataset dataset = read_dataset(options.path, options.step, console);
    if (check) check(dataset);
    const DataArray array = choose_scalar(dataset, options.array);
    std::vector<const DataArray *> attached;
    if (!options.attach.empty()) attached = choose_arrays(dataset, Association::kNode, options.attach);
    isofield::Mesh mesh = make_mesh(dataset, console);
    const NamedArray scalar = named_array(array, options, console);
    const ComponentRange range = component_ranges(array, scalar.null_value).front();
    const std::vector<NamedArray> carried = named_arrays(attached, options, console);
    Field field{std::move(dataset), std::move(mesh), scalar, range, carried};
    console.say(read_text(field.dataset) + ", array '" + array.name + "' " + array.type_name + ", " +
                range_text(range) + ", " + reading.seconds());
    return field;
}

isofield::ExtractionOptions extraction_settings(const Field &field, const char *stage, Console &console,
                                                std::size_t index, std::size_t count) {
    isofield::ExtractionOptions settings;
    settings.null_value = field.scalar.null_value;
    settings.progress = polled_progress(stage, console, index, count);
    return settings;
}

std::vector<OutputArray> attached_arrays(const Field &field) {
    std::vector<OutputArray> arrays;
    for (const NamedArray &source : field.attached) {
        arrays.push_back({source.name, source.data.type, source.data.components, {}, source.null_value});
    }
    return arrays;
}

void carry_arrays(const Field &field, const isofield::NewNodes &nodes, std::vector<OutputArray> &arrays) {
    for (std::size_t i = 0; i < arrays.size() && nodes.npoints() > 0; ++i) {
        const NamedArray &source = field.attached[i];
        std::vector<std::byte> &values = arrays[i].values;
        const std::size_t end = values.size();
        values.resize(end + nodes.npoints() * static_cast<std::size_t>(source.data.components) *
                                isofield::size_of(source.data.type));
        nodes.carry(source.data.view(), values.data() + end, source.null_value);
    }
}

}  // namespace app
