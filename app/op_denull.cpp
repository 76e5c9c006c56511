// isofield denull: the mesh without the nodes that have no data.
#include <algorithm>
#include <memory>

#include "cells_io.hpp"
#include "extraction.hpp"
#include "operations.hpp"
#include "part_output.hpp"

namespace app {
namespace {

constexpr char kExtensions[] = ".vtu";

struct DenullOptions {
    FieldOptions field;
    OutputOptions output;
};

std::size_t nodes_in_no_cell(const OutputPart &part) {
    std::vector<char> used(part.npoints(), 0);
    for (const int node : part.nodes) used[static_cast<std::size_t>(node)] = 1;
    return static_cast<std::size_t>(std::count(used.begin(), used.end(), 0));
}

// "10 cells (8 hexahedra, 2 lines), 20 nodes of 30 (3 in no cell)"
std::string counts_of(const OutputPart &part, const Dataset &dataset) {
    std::string text = format_count(part.ncells(), "cell", "cells");
    if (part.ncells() > 0) text += " (" + counts_text(count_cells(part.types)) + ")";
    text += ", " + format_count(part.npoints(), "node", "nodes") + " of " + std::to_string(dataset.nnodes);
    if (const std::size_t lone = nodes_in_no_cell(part); lone > 0)
        text += " (" + std::to_string(lone) + " in no cell)";
    return text;
}

OutputPart make(Field &field, Console &console) {
    OutputPart out = start_part(field, {}, console);
    const PolledStage polled;
    const isofield::Submesh mesh = field.mesh.without_nulls(
        field.scalar.data.view(), extraction_settings(field, "leaving out", console));
    check_interrupt();
    take_submesh(out, field, mesh);
    check_interrupt();
    console.clear_bar();
    return out;
}

void run_denull(const DenullOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    OutputFiles files(output, kExtensions, {options.field.path});
    Field field = read_field(options.field, console,
                             {.choose = choose_array, .attach = Attach::kArrays, .lines = LineCells::kKeep});

    const Stopwatch making;
    const OutputPart part = make(field, console);
    const std::string made_seconds = making.seconds();
    const Stopwatch writing;
    write_part(part, files.geometry, console);
    std::string line = "made   " + counts_of(part, field.dataset) + ", " + made_seconds + "; " +
                       output.geometry + ", " + writing.seconds();
    if (part.npoints() == field.dataset.nnodes) line += " (nothing is missing: all cells stay)";
    if (part.ncells() == 0) line += " (empty: every cell has a node without data)";
    console.say(line);
    if (!files.picture) return;

    const Stopwatch drawing;
    draw_part(part, std::nullopt, field.dataset.bounds, output.style, *files.picture, console);
    say_drawn(output, drawing, console);
}

}  // namespace

void add_denull(CLI::App &tool, Action &chosen) {
    CLI::App *command =
        tool.add_subcommand("denull", "Leave out the nodes without data and their cells, with all arrays");
    const auto options = std::make_shared<DenullOptions>();
    add_field_options(*command, options->field,
                      "Node and cell arrays to keep, instead of all; the first colours the picture");
    add_output_options(*command, options->output, "Mesh", kExtensions);
    command->footer(examples({"denull brain.nii.gz --null 0 -o voxels.vtu --png voxels.png"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_denull(*options, console); }; });
}

}  // namespace app
