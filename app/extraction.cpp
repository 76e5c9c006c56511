#include "extraction.hpp"

#include <algorithm>

#include "dataset_io.hpp"

namespace app {
namespace {

std::string range_text(const DataArray &array, const ComponentRange &range) {
    if (array.components > 1) return std::to_string(array.components) + " components";
    std::string text =
        range.empty ? "no finite value" : format_number(range.lower) + " to " + format_number(range.upper);
    if (range.nan_count > 0) text += ", " + std::to_string(range.nan_count) + " NaN";
    if (range.null_count > 0) text += ", " + std::to_string(range.null_count) + " null";
    return text;
}

// A name may be that of a node array, a cell array or both.
std::vector<const DataArray *> arrays_named(const Dataset &dataset, Association association,
                                            const std::vector<std::string> &names) {
    const auto has = [&](const std::string &name, Association where) {
        return std::any_of(dataset.arrays.begin(), dataset.arrays.end(), [&](const DataArray &array) {
            return array.name == name && array.association == where;
        });
    };
    std::vector<std::string> own;
    for (const std::string &name : names) {
        const bool elsewhere = association == Association::kCell || has(name, Association::kCell);
        if (!elsewhere || has(name, association)) own.push_back(name);
    }
    return own.empty() ? std::vector<const DataArray *>() : choose_arrays(dataset, association, own);
}

struct Attached {
    std::vector<const DataArray *> node_arrays, cell_arrays;
};

// The node array `first` leads when none are named.
Attached choose_attached(const Dataset &dataset, const std::vector<std::string> &names, Attach attach,
                         const std::string &first) {
    Attached chosen;
    if (attach != Attach::kArrays) {
        if (!names.empty() || attach == Attach::kEveryNodeArray)
            chosen.node_arrays = choose_arrays(dataset, Association::kNode, names);
    } else if (!names.empty()) {
        chosen.node_arrays = arrays_named(dataset, Association::kNode, names);
        chosen.cell_arrays = arrays_named(dataset, Association::kCell, names);
    } else {
        for (const DataArray &array : dataset.arrays) {
            if (!array.numeric) continue;
            const bool of_nodes = array.association == Association::kNode;
            auto &list = of_nodes ? chosen.node_arrays : chosen.cell_arrays;
            list.insert(of_nodes && array.name == first ? list.begin() : list.end(), &array);
        }
    }
    return chosen;
}

// But for the scalar.
Field make_field(Dataset dataset, const FieldOptions &options, const FieldNeeds &needs,
                 const std::string &first, Console &console) {
    const Attached chosen = choose_attached(dataset, options.attach, needs.attach, first);
    isofield::Mesh mesh = make_mesh(dataset, console, needs.lines);
    const auto nodes = named_arrays(chosen.node_arrays, options, console);
    const auto cells = named_arrays(chosen.cell_arrays, options, console);
    return {std::move(dataset), std::move(mesh), needs.lines, nodes, cells, {}, {}};
}

}  // namespace

void add_field_options(CLI::App &command, FieldOptions &options, const std::string &attach) {
    add_array_option(command, "-a,--array", options.array, kArrayHelp);
    add_array_option(command, "--attach", options.attach, attach);
    add_input_options(command, options);
}

Field field_of(Dataset dataset, isofield::Mesh mesh) {
    return {std::move(dataset), std::move(mesh), LineCells::kLeaveOut, {}, {}, {}, {}};
}

Field read_field(const FieldOptions &options, Console &console, const FieldNeeds &needs) {
    const Stopwatch reading;
    Dataset dataset = read_dataset(options.path, options.step, console, needs.original, options.array);
    if (needs.check) needs.check(dataset);
    const std::string name = join_components(dataset, options.array, options.null_value);
    const DataArray array = needs.choose(dataset, name);
    Field field = make_field(std::move(dataset), options, needs, array.name, console);
    field.scalar = named_array(array, options, console);
    field.range = component_ranges(array, field.scalar.null_value).front();
    console.say(read_text(field.dataset) + ", array '" + array.name + "' " + array.type_name + ", " +
                range_text(array, field.range) + ", " + reading.seconds());
    return field;
}

Field read_field_without_scalar(const FieldOptions &options, Console &console, Attach attach) {
    const Stopwatch reading;
    Dataset dataset = read_dataset(options.path, options.step, console, nullptr, options.array);
    if (!options.array.empty()) choose_arrays(dataset, Association::kNode, {options.array});
    const std::string first = options.array.empty() ? dataset.active_scalars : options.array;
    FieldNeeds needs;
    needs.attach = attach;
    Field field = make_field(std::move(dataset), options, needs, first, console);
    say_read(field.dataset, {}, reading, console);
    return field;
}

void tell_of_gaps(const Dataset &dataset, const std::string &made, Console &console) {
    // The pieces of a quadratic hexahedron are the same whatever its neighbours.
    const auto quadratic = [](const CellBlock &block) { return block.type == "hex_2"; };
    if (dataset.ncells > 1 && std::any_of(dataset.blocks.begin(), dataset.blocks.end(), quadratic)) {
        console.note("quadratic hexahedra are cut into tetrahedra that need not match from cell to cell; " +
                     made + " may have narrow gaps between them");
    }
}

isofield::ExtractionOptions extraction_settings(const Field &field, const char *stage, Console &console,
                                                std::size_t index, std::size_t count) {
    isofield::ExtractionOptions settings;
    settings.null_value = field.scalar.null_value;
    settings.progress = polled_progress(stage, console, index, count);
    return settings;
}

std::vector<OutputArray> attached_arrays(const std::vector<NamedArray> &attached) {
    std::vector<OutputArray> arrays;
    for (const NamedArray &source : attached) {
        arrays.push_back({source.name, source.data.type, source.data.components, {}, source.null_value});
    }
    return arrays;
}

std::vector<OutputArray> arrays_at(const std::vector<NamedArray> &attached, std::span<const int> nodes) {
    std::vector<OutputArray> arrays = attached_arrays(attached);
    for (std::size_t i = 0; i < arrays.size(); ++i) {
        const ArrayData &data = attached[i].data;
        arrays[i].values.resize(nodes.size() * static_cast<std::size_t>(data.components) *
                                isofield::size_of(data.type));
        UTILcopy_array_list(nullptr, data.components, static_cast<int>(data.type), data.values.get(),
                            static_cast<int>(nodes.size()), nodes.data(), arrays[i].values.data());
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
