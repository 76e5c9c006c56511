// isofield cell2node: cell arrays brought to the nodes, in a file of the same kind.
#include <algorithm>
#include <memory>

#include <vtkDoubleArray.h>
#include <vtkFloatArray.h>
#include <CLI/Option.hpp>

#include "dataset_io.hpp"
#include "errors.hpp"
#include "mesh_output.hpp"
#include "operation_support.hpp"
#include "operations.hpp"

namespace app {
namespace {

constexpr int kMaxPower = 100;

struct CellToNodeOptions : InputOptions {
    std::vector<std::string> arrays;
    int power = 0;
    OutputOptions output;
};

// The rows of the mesh's cells, which are in another order than those of a cell mesh's file, and not all of
// them.
std::vector<std::byte> rows_of_mesh(const ArrayData &data, const Dataset &dataset) {
    const auto *bytes = static_cast<const std::byte *>(data.values.get());
    const std::size_t width = static_cast<std::size_t>(data.components) * isofield::size_of(data.type);
    if (dataset.grid()) return {bytes, bytes + data.rows * width};
    std::vector<std::byte> rows;
    for (const int cell : cell_sources(dataset, LineCells::kKeep)) {
        const std::byte *row = bytes + static_cast<std::size_t>(cell) * width;
        rows.insert(rows.end(), row, row + width);
    }
    return rows;
}

template <class Array>
vtkSmartPointer<vtkDataArray> new_array(const std::string &name, int components,
                                        const std::vector<double> &values) {
    auto array = vtkSmartPointer<Array>::New();
    array->SetName(name.c_str());
    array->SetNumberOfComponents(components);
    array->SetNumberOfTuples(static_cast<vtkIdType>(values.size()) / components);
    std::transform(values.begin(), values.end(), array->GetPointer(0),
                   [](double value) { return static_cast<typename Array::ValueType>(value); });
    return array;
}

std::vector<vtkSmartPointer<vtkDataArray>> bring_to_nodes(const Dataset &dataset, isofield::Mesh &mesh,
                                                          const std::vector<NamedArray> &arrays,
                                                          const CellToNodeOptions &options,
                                                          Console &console) {
    std::vector<std::string> taken = node_array_names(dataset);
    std::vector<vtkSmartPointer<vtkDataArray>> made;
    const PolledStage polled;
    for (const NamedArray &array : arrays) {
        console.progress("averaging", static_cast<int>(100 * made.size() / arrays.size()));
        const ArrayData &data = array.data;
        const std::vector<std::byte> rows = rows_of_mesh(data, dataset);
        const auto ncells = static_cast<std::size_t>(mesh.info()->ncells);
        isofield::CellToNodeOptions settings;
        settings.null_value = array.null_value;
        settings.power = options.power;
        const std::vector<double> values =
            mesh.cell_to_node({data.type, rows.data(), ncells, data.components}, settings);
        check_interrupt();
        taken.push_back(free_name(array.name, "_node", taken, console));
        const auto make = data.type == isofield::ElementType::kDouble ? new_array<vtkDoubleArray>
                                                                      : new_array<vtkFloatArray>;
        made.push_back(make(taken.back(), data.components, values));
    }
    console.clear_bar();
    return made;
}

void run_cell2node(const CellToNodeOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    if (options.power < 0 || options.power > kMaxPower) {
        throw UsageError("--power is 0 to " + std::to_string(kMaxPower));
    }
    OutputFiles files(output, kMeshExtensions, {options.path});
    const Stopwatch reading;
    vtkSmartPointer<vtkDataSet> original;
    const Dataset dataset =
        read_dataset(options.path, options.step, console, &original, first_of(options.arrays));
    check_mesh_name(output.geometry, dataset, original);
    const auto chosen = choose_arrays(dataset, Association::kCell, options.arrays);
    isofield::Mesh mesh = make_mesh(dataset, console, LineCells::kKeep);
    const std::vector<NamedArray> arrays = named_arrays(chosen, options, console);
    say_read(dataset, arrays, reading, console);

    const Stopwatch making;
    const auto made = bring_to_nodes(dataset, mesh, arrays, options, console);
    const std::string made_seconds = making.seconds();
    const Stopwatch writing;
    write_mesh(original, made, files.geometry, console);
    console.say("made   " + format_count(made.size(), "node array", "node arrays") + " of " +
                format_count(dataset.nnodes, "node", "nodes") + ", " + made_seconds + "; " + output.geometry +
                ", " + writing.seconds());
}

}  // namespace

void add_cell2node(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand(
        "cell2node", "Bring cell arrays to the nodes, for operations that need them there");
    const auto options = std::make_shared<CellToNodeOptions>();
    command->add_option("-a,--array", options->arrays, "Cell arrays to bring, instead of all")
        ->type_name("NAME");
    command
        ->add_option("--power", options->power,
                     "Weigh cells by 1 / distance^P of their middle to the node; 0: all alike (0)")
        ->type_name("P");
    add_input_options(*command, *options);
    add_output_file(*command, options->output, "Mesh with the new arrays, of the kind that it is of,",
                    kMeshExtensions)
        ->required();
    add_quiet(*command, options->output);
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_cell2node(*options, console); }; });
}

}  // namespace app
