// isofield iso: the surface along which a scalar takes one level.
#include <memory>

#include "errors.hpp"
#include "level_output.hpp"
#include "operations.hpp"

namespace app {
namespace {

struct IsoOptions {
    FieldOptions field;
    double level = 0;
    OutputOptions output;
};

std::string empty_reason(const ComponentRange &range, double level) {
    const bool outside = range.empty || level <= range.lower || level > range.upper;
    return outside ? " (empty: the level lies outside the range)"
                   : " (empty: no cell without nulls takes the level)";
}

isofield::Surface extract(Field &field, const IsoOptions &options, bool keep_cells, Console &console) {
    isofield::ExtractionOptions settings = extraction_settings(field, "isosurface", console);
    settings.keep_cells = keep_cells;
    const PolledStage polled;
    isofield::Surface surface = field.mesh.isosurface(field.scalar.data.view(), options.level, settings);
    check_interrupt();
    console.clear_bar();
    return surface;
}

void run_iso(const IsoOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    OutputFiles files(output, surface_extensions(), {options.field.path});
    Field field = read_field(options.field, console);
    tell_of_gaps(field.dataset, "the surface", console);

    const Stopwatch making;
    const bool with_cells = keeps_cell_arrays(output.geometry);  // the others have no place for them
    const isofield::Surface surface = extract(field, options, with_cells, console);
    const LevelOutput made = make_output(field, surface, with_cells);
    const std::string made_seconds = making.seconds();

    const Stopwatch writing;
    write_surface(made.output, files.geometry, console);
    std::string line = "made   " + counts_of(surface) + " at level " + format_number(options.level) + ", " +
                       made_seconds + "; " + output.geometry + ", " + writing.seconds();
    if (surface.npoints() == 0) line += empty_reason(field.range, options.level);
    console.say(line);
    if (!files.picture) return;

    const Stopwatch drawing;
    draw_surface(made.output, field.dataset.bounds, output.style, *files.picture, console);
    say_drawn(output, drawing, console);
}

}  // namespace

void add_iso(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand(
        "iso", "Make the surface along which a scalar takes one level; lines where cells are flat");
    const auto options = std::make_shared<IsoOptions>();
    add_number(*command, "-l,--level", options->level, "Level of the surface", "LEVEL")->required();
    add_field_options(*command, options->field,
                      "Node arrays to carry to the surface; the first colours the picture");
    add_output_options(*command, options->output, "Surface", surface_extensions());
    command->footer(
        examples({"iso brain.nii.gz --level 80 -o brain.vtp --png brain.png",
                  "iso fire_ug.vtu --array t --level 450 --attach uvw -o fire.vtp --png fire.png"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_iso(*options, console); }; });
}

}  // namespace app
