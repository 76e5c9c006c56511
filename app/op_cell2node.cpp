// isofield cell2node: cell arrays brought to the nodes, in a file of the same kind.
#include <memory>

#include "array_output.hpp"
#include "dataset_io.hpp"
#include "errors.hpp"
#include "field_picture.hpp"
#include "mesh_output.hpp"
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

// In double where the cells' values are, else in float.
ArrayData in_type_of(const ArrayData &cells, const std::vector<double> &values) {
    if (cells.type == isofield::ElementType::kDouble) return owned_data(values, cells.components);
    return owned_data(std::vector<float>(values.begin(), values.end()), cells.components);
}

Made bring_to_nodes(const Dataset &dataset, isofield::Mesh &mesh, const std::vector<NamedArray> &arrays,
                    const CellToNodeOptions &options, Console &console) {
    const Stopwatch making;
    std::vector<std::string> taken = node_array_names(dataset);
    Made made;
    for (const NamedArray &array : arrays) {
        console.progress("averaging", static_cast<int>(100 * made.arrays.size() / arrays.size()));
        const ArrayData &data = array.data;
        const std::vector<std::byte> rows = rows_of_mesh(data, dataset);
        const auto ncells = static_cast<std::size_t>(mesh.info()->ncells);
        isofield::CellToNodeOptions settings;
        settings.null_value = array.null_value;
        settings.power = options.power;
        const std::vector<double> values =
            mesh.cell_to_node({data.type, rows.data(), ncells, data.components}, settings);
        taken.push_back(free_name(array.name, "_node", taken, console));
        add_array(made, taken.back(), dataset, in_type_of(data, values), {}, console);
    }
    console.clear_bar();
    made.seconds = making.seconds();
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
    Dataset dataset = read_dataset(options.path, options.step, console, &original, first_of(options.arrays));
    check_mesh_name(output.geometry, dataset, original);
    const auto chosen = choose_arrays(dataset, Association::kCell, options.arrays);
    isofield::Mesh mesh = make_mesh(dataset, console, LineCells::kKeep);
    const std::vector<NamedArray> arrays = named_arrays(chosen, options, console);
    say_read(dataset, arrays, reading, console);

    const Made made = bring_to_nodes(dataset, mesh, arrays, options, console);
    write_made(made, ranges_text(made), original, output, files, console);
    if (!files.picture) return;
    draw_dataset(std::move(dataset), Shown{made.arrays.front(), Association::kNode}, output, *files.picture,
                 console);
}

}  // namespace

void add_cell2node(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand(
        "cell2node", "Bring cell arrays to the nodes, for operations that need them there");
    const auto options = std::make_shared<CellToNodeOptions>();
    add_count(*command, "--power", options->power,
              "Weigh cells by 1 / distance^N of their middle to the node; 0: all alike")
        ->default_str("0");
    add_array_option(*command, "-a,--array", options->arrays,
                     "Cell arrays to bring, instead of all; the first colours the picture");
    add_input_options(*command, *options);
    add_output_options(*command, options->output, kMadeMesh, kMeshExtensions);
    command->footer(examples({"cell2node stresses.vtu -o nodes.vtu --png nodes.png"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_cell2node(*options, console); }; });
}

}  // namespace app
