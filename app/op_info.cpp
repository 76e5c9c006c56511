// isofield info: what a file holds.
#include <memory>
#include <optional>

#include "dataset.hpp"
#include "dataset_io.hpp"
#include "operation_support.hpp"
#include "operations.hpp"

namespace app {
namespace {

template <std::size_t N>
std::string numbers_text(const std::array<double, N> &values) {
    std::string text;
    for (const double value : values) add_item(text, format_number(value));
    return text;
}

std::string range_text(const ComponentRange &range) {
    std::string text =
        range.empty ? "no finite value" : format_number(range.lower) + " to " + format_number(range.upper);
    if (range.infinite_count > 0) text += ", " + std::to_string(range.infinite_count) + " infinite";
    if (range.null_count > 0) text += ", " + std::to_string(range.null_count) + " null";
    return text + ", " + std::to_string(range.nan_count) + " NaN";
}

void print_mesh(const Dataset &dataset, Console &console) {
    console.say("file     " + dataset.path);
    console.say("kind     " + dataset.description);
    if (dataset.grid()) console.say("dims     " + dataset.dims_text());
    if (dataset.image) {
        console.say("origin   " + numbers_text(dataset.origin));
        console.say("spacing  " + numbers_text(dataset.spacing));
    }
    std::string bounds;
    for (std::size_t d = 0; d < 3; ++d) {
        add_item(bounds,
                 format_number(dataset.bounds[2 * d]) + " to " + format_number(dataset.bounds[2 * d + 1]),
                 ", ");
    }
    console.say("bounds   " + bounds);
    console.say("nodes    " + std::to_string(dataset.nnodes));
    console.say("cells    " + (dataset.cell_counts.empty() ? "0" : counts_text(dataset.cell_counts)));
    for (const CellBlock &block : dataset.blocks) {
        console.say("set      " + (block.name.empty() ? "" : "'" + block.name + "': ") + block.type + ", " +
                    format_count(block.sources.size(), "cell", "cells"));
    }
    if (!dataset.step_text.empty()) console.say("step     " + dataset.step_text.substr(5));
    for (const std::string &remark : dataset.remarks) console.say("note     " + remark);
}

void print_array(const DataArray &array, Console &console) {
    const std::string type =
        array.components == 1 ? array.type_name : array.type_name + " x " + std::to_string(array.components);
    std::string head = std::string(array.association == Association::kNode ? "node" : "cell") + " array '" +
                       array.name + "': " + type;
    if (!array.numeric) return console.say(head);
    if (array.null_value) head += ", null " + format_number(*array.null_value);
    const std::vector<ComponentRange> ranges = component_ranges(array, array.null_value);
    if (ranges.size() == 1) return console.say(head + ", " + range_text(ranges[0]));
    console.say(head);
    for (std::size_t c = 0; c < ranges.size(); ++c) {
        console.say("         [" + std::to_string(c) + "] " + range_text(ranges[c]));
    }
}

struct InfoOptions {
    std::string path;
    std::optional<int> step;
    std::string array;
};

void run_info(const InfoOptions &options, Console &console) {
    const Dataset dataset = read_dataset(options.path, options.step, console, nullptr, options.array);
    print_mesh(dataset, console);
    if (dataset.arrays.empty()) console.say("no arrays");
    for (const DataArray &array : dataset.arrays) print_array(array, console);
}

}  // namespace

void add_info(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand("info", "Tell what a file holds: mesh, arrays, ranges");
    const auto options = std::make_shared<InfoOptions>();
    command->add_option("FILE", options->path, "Any of " + readable_extensions())->required();
    add_step_option(*command, options->step);
    command
        ->add_option("-a,--array", options->array, "Array whose grid to tell of, in a file that has several")
        ->type_name("NAME");
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_info(*options, console); }; });
}

}  // namespace app
