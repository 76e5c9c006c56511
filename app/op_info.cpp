// isofield info: what files hold.
#include <vtkType.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "dataset_io.hpp"
#include "errors.hpp"
#include "field_picture.hpp"
#include "operations.hpp"
#include "point_table.hpp"

namespace app {
namespace {

struct InfoOptions : InputOptions {
    std::vector<std::string> paths;
    std::string array;
    OutputOptions output;
};

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

// All of a few, else those at the start and the last one.
std::string times_text(const std::vector<double> &times) {
    constexpr std::size_t kMost = 12;
    std::string text;
    for (std::size_t i = 0; i < std::min(times.size(), kMost); ++i) add_item(text, format_number(times[i]));
    return times.size() > kMost ? text + " ... " + format_number(times.back()) : text;
}

// ---- Fields ----

void print_mesh(const Dataset &dataset, Console &console) {
    console.answer("file     " + dataset.path);
    console.answer("kind     " + dataset.description);
    if (dataset.grid()) console.answer("dims     " + dataset.dims_text());
    if (dataset.image) {
        console.answer("origin   " + numbers_text(dataset.origin));
        console.answer("spacing  " + numbers_text(dataset.spacing));
    }
    std::string bounds;
    for (std::size_t d = 0; d < 3; ++d) {
        add_item(bounds,
                 format_number(dataset.bounds[2 * d]) + " to " + format_number(dataset.bounds[2 * d + 1]),
                 ", ");
    }
    console.answer("bounds   " + bounds);
    console.answer("nodes    " + std::to_string(dataset.nnodes));
    console.answer("cells    " + (dataset.cell_counts.empty() ? "0" : counts_text(dataset.cell_counts)));
    for (const CellBlock &block : dataset.blocks) {
        console.answer("set      " + (block.name.empty() ? "" : "'" + block.name + "': ") + block.type +
                       ", " + format_count(block.sources.size(), "cell", "cells"));
    }
    if (!dataset.step.text.empty()) console.answer("step     " + dataset.step.text.substr(5));
    if (dataset.step.times.size() > 1) console.answer("times    " + times_text(dataset.step.times));
    for (const std::string &remark : dataset.remarks) console.answer("note     " + remark);
}

void print_array(const DataArray &array, const InfoOptions &options, Console &console) {
    const std::string type =
        array.components == 1 ? array.type_name : array.type_name + " x " + std::to_string(array.components);
    std::string head = std::string(array.association == Association::kNode ? "node" : "cell") + " array '" +
                       array.name + "': " + type;
    if (!array.numeric) return console.answer(head);
    const auto null_value = options.null_value ? options.null_value : array.null_value;
    if (null_value) head += ", null " + format_number(*null_value);
    const std::vector<ComponentRange> ranges = component_ranges(array, null_value);
    if (ranges.size() == 1) return console.answer(head + ", " + range_text(ranges[0]));
    console.answer(head);
    for (std::size_t c = 0; c < ranges.size(); ++c) {
        console.answer("         [" + std::to_string(c) + "] " + range_text(ranges[c]));
    }
}

// Of cells that are too small to be seen an array tells more.
std::string array_for_mesh(const Dataset &dataset, const PictureStyle &style) {
    const auto cells = static_cast<double>(dataset.ncells);
    const double seen = dataset.has_volume() ? 6 * std::pow(cells, 2.0 / 3) : cells;  // about as many
    if (shows_edges(seen, style)) return {};
    for (const DataArray &array : dataset.arrays) {
        const bool wanted = dataset.active_scalars.empty() || array.name == dataset.active_scalars;
        if (array.association == Association::kNode && array.numeric && wanted) return array.name;
    }
    return {};
}

// A name may be that of a node array or of a cell array.
std::optional<Shown> shown_array(Dataset &dataset, const InfoOptions &options, Console &console) {
    const std::string asked = options.array.empty() && !options.output.picture.empty()
                                  ? array_for_mesh(dataset, options.output.style)
                                  : options.array;
    if (asked.empty()) return {};
    const std::string name = join_components(dataset, asked, options.null_value);
    const auto on = [&](Association association) {
        return std::any_of(dataset.arrays.begin(), dataset.arrays.end(), [&](const DataArray &array) {
            return array.name == name && array.association == association;
        });
    };
    const auto association =
        on(Association::kCell) && !on(Association::kNode) ? Association::kCell : Association::kNode;
    const auto chosen = choose_arrays(dataset, association, {name});
    return Shown{named_array(*chosen.front(), options, console), association};
}

void tell_field(const InfoOptions &options, const std::string &path, std::optional<OutputFile> &picture,
                Console &console) {
    Dataset dataset = read_dataset(path, options.step, console, nullptr, options.array);
    const auto shown = shown_array(dataset, options, console);
    print_mesh(dataset, console);
    if (dataset.arrays.empty()) console.answer("no arrays");
    for (std::size_t i = 0; i < dataset.arrays.size(); ++i) {
        console.progress("ranges", static_cast<int>(100 * i / dataset.arrays.size()));
        print_array(dataset.arrays[i], options, console);
    }
    if (picture) draw_dataset(std::move(dataset), shown, options.output, *picture, console);
}

// ---- Tables ----

// The column as an array; not numeric where a row has other text.
DataArray array_of(const PointTable &table, std::size_t column) {
    DataArray array;
    array.name = table.name(column);
    array.rows = table.rows();
    array.source_type = VTK_DOUBLE;
    try {
        array.values = owned_data(table.numbers(column), 1).values;
    } catch (const UsageError &) {
        array.numeric = false;
    }
    return array;
}

void tell_table(const InfoOptions &options, const std::string &path, Console &console) {
    refuse_step(options.step);
    if (!options.output.picture.empty())
        throw UsageError("--png draws fields, and '" + path + "' is a table; use isofield scatter or fit");
    const PointTable table(path, console);
    console.answer("file     " + path);
    console.answer("kind     table");
    console.answer("rows     " + std::to_string(table.rows()));
    for (std::size_t column = 0; column < table.ncolumns(); ++column) {
        if (!options.array.empty() && column != table.column(options.array, "--array")) continue;
        const DataArray array = array_of(table, column);
        console.answer("column " + std::to_string(column + 1) + " '" + array.name + "': " +
                       (array.numeric ? range_text(component_ranges(array, options.null_value).front())
                                      : std::string("text")));
    }
}

void run_info(const InfoOptions &options, Console &console) {
    console.set_quiet(options.output.quiet);
    OptionalFiles files(options.output, "", options.paths);
    if (files.picture && options.paths.size() > 1) throw UsageError("--png draws one file; name no others");
    for (const std::string &path : options.paths) {
        if (&path != &options.paths.front()) console.answer("");
        is_table(path) ? tell_table(options, path, console)
                       : tell_field(options, path, files.picture, console);
    }
}

}  // namespace

void add_info(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand("info", "Tell what files hold: mesh, arrays, ranges");
    const auto options = std::make_shared<InfoOptions>();
    command->add_option("FILE", options->paths, "Files to tell of: .csv " + readable_extensions())
        ->required();
    add_step_option(*command, options->step);
    add_array_option(*command, "-a,--array", options->array,
                     "Array that colours the picture, instead of the mesh, and whose grid is told of where "
                     "there are several");
    add_null_option(*command, options->null_value);
    add_optional_output(*command, options->output, "", "");
    command->footer(
        examples({"info disk_out_ref.ex2 --png disk.png", "info coads_climatology.cdf --array SST"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_info(*options, console); }; });
}

}  // namespace app
