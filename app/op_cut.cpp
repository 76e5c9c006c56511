// isofield cut: the part of a field on one side of a level, or inside a body.
#include <algorithm>
#include <memory>

#include "errors.hpp"
#include "extraction.hpp"
#include "operations.hpp"
#include "part_output.hpp"

namespace app {
namespace {

constexpr char kExtensions[] = ".vtu";
constexpr char kPlane[] = "PX,PY,PZ,NX,NY,NZ", kBox[] = "X0,Y0,Z0,X1,Y1,Z1", kSphere[] = "X,Y,Z,R";

struct CutOptions {
    FieldOptions field;
    std::optional<double> level;
    bool below = false;
    std::string plane, box, sphere;
    bool invert = false;
    OutputOptions output;
};

// What is cut out, and where.
struct Cutter {
    std::optional<isofield::Body> body;  // none: by the field's scalar
    double level = 0;
    isofield::Side side;
};

isofield::Plane plane_of(const std::string &text) {
    const auto n = numbers_of(text, "--plane", 6, std::string(kPlane) + ", a point and a normal");
    if (n[3] == 0 && n[4] == 0 && n[5] == 0) throw UsageError("--plane needs a normal that is not 0,0,0");
    return {{n[0], n[1], n[2]}, {n[3], n[4], n[5]}};
}

isofield::Box box_of(const std::string &text) {
    const auto n = numbers_of(text, "--box", 6, std::string(kBox) + ", two opposite corners");
    isofield::Box box;
    for (std::size_t d = 0; d < 3; ++d) {
        box.lower[d] = std::min(n[d], n[d + 3]);
        box.upper[d] = std::max(n[d], n[d + 3]);
    }
    return box;
}

isofield::Sphere sphere_of(const std::string &text) {
    const auto n = numbers_of(text, "--sphere", 4, std::string(kSphere) + ", a centre and a radius");
    if (!(n[3] > 0)) throw UsageError("--sphere needs a radius above 0");
    return {{n[0], n[1], n[2]}, n[3]};
}

Cutter cutter_of(const CutOptions &options) {
    const int kinds =
        options.level.has_value() + !options.plane.empty() + !options.box.empty() + !options.sphere.empty();
    if (kinds != 1) throw UsageError("name what cuts by one of --level, --plane, --box and --sphere");
    if (options.level && options.invert) throw UsageError("--invert turns bodies round; use --below");
    if (!options.level && options.below) throw UsageError("--below goes with --level; use --invert");
    Cutter cutter;
    cutter.side = options.below || options.invert ? isofield::Side::kBelow : isofield::Side::kAbove;
    if (options.level) cutter.level = *options.level;
    if (!options.plane.empty()) cutter.body = plane_of(options.plane);
    if (!options.box.empty()) cutter.body = box_of(options.box);
    if (!options.sphere.empty()) cutter.body = sphere_of(options.sphere);
    return cutter;
}

// A box that holds a flat field holds it by any thickness: its two sides must not be where the field is cut.
isofield::Body fitted(const isofield::Body &body, const std::array<double, 6> &bounds) {
    const auto *given = std::get_if<isofield::Box>(&body);
    if (!given) return body;
    double size = 0;
    for (std::size_t d = 0; d < 3; ++d) size += bounds[2 * d + 1] - bounds[2 * d];
    isofield::Box box = *given;
    for (std::size_t d = 0; d < 3; ++d) {
        const bool holds = box.lower[d] <= bounds[2 * d] && bounds[2 * d + 1] <= box.upper[d];
        if (holds) {
            box.lower[d] = std::min(box.lower[d], bounds[2 * d] - size);
            box.upper[d] = std::max(box.upper[d], bounds[2 * d + 1] + size);
        }
        if (box.lower[d] == box.upper[d])
            throw UsageError(std::string("--box has no extent along ") + "xyz"[d]);
    }
    return box;
}

Field read(const CutOptions &options, const Cutter &cutter, Console &console) {
    if (!cutter.body) return read_field(options.field, console, {.attach = Attach::kArrays});
    Field field = read_field_without_scalar(options.field, console);
    const auto distances = std::make_shared<std::vector<double>>(
        field.mesh.signed_distances(fitted(*cutter.body, field.dataset.bounds)));
    const ArrayData data{
        isofield::ElementType::kDouble, 1, distances->size(), {distances, distances->data()}};
    field.scalar = {"distance", data, {}};
    return field;
}

std::string empty_reason(const Field &field, const Cutter &cutter) {
    const ComponentRange &range = field.range;
    const bool above = cutter.side == isofield::Side::kAbove;
    if (cutter.body) {
        return above ? " (empty: no node of a cell is inside)" : " (empty: every cell is inside)";
    }
    if (range.empty) return " (empty: the array has no value)";
    if (above ? cutter.level > range.upper : cutter.level <= range.lower) {
        return std::string(" (empty: nothing is ") + (above ? "at or above" : "below") + " the level)";
    }
    return " (empty: no cell without nulls is there)";
}

OutputPart make(Field &field, const Cutter &cutter, Console &console) {
    OutputPart out = start_part(field, {}, console);
    isofield::ExtractionOptions settings = extraction_settings(field, "cutting", console);
    settings.keep_cells = true;
    const PolledStage polled;
    const isofield::Part part = field.mesh.cut(field.scalar.data.view(), cutter.level, cutter.side, settings);
    check_interrupt();
    append_part(out, field, part, solid_cells(part));
    check_interrupt();
    console.clear_bar();
    return out;
}

void run_cut(const CutOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    const Cutter cutter = cutter_of(options);
    OutputFiles files(output, kExtensions, {options.field.path});
    Field field = read(options, cutter, console);
    tell_of_gaps(field.dataset, "the part", console);

    const Stopwatch making;
    const OutputPart part = make(field, cutter, console);
    const std::string made_seconds = making.seconds();
    const Stopwatch writing;
    write_part(part, files.geometry, console);
    std::string line =
        "made   " + counts_of(part) + ", " + made_seconds + "; " + output.geometry + ", " + writing.seconds();
    if (part.ncells() == 0) line += empty_reason(field, cutter);
    console.say(line);
    if (!files.picture) return;

    const Stopwatch drawing;
    draw_part(part, std::nullopt, field.dataset.bounds, output.style, *files.picture, console);
    say_drawn(output, drawing, console);
}

}  // namespace

void add_cut(CLI::App &tool, Action &chosen) {
    CLI::App *command =
        tool.add_subcommand("cut", "Cut out the part at or above a level, or inside a body, with all arrays");
    const auto options = std::make_shared<CutOptions>();
    add_number(*command, "-l,--level", options->level, "Keep what is at or above this level of the array",
               "LEVEL");
    command->add_flag("--below", options->below, "Keep what is below the level");
    command->add_option("--plane", options->plane, "Keep the side of a plane that its normal points to")
        ->type_name(kPlane);
    command->add_option("--box", options->box, "Keep the inside of a box")->type_name(kBox);
    command->add_option("--sphere", options->sphere, "Keep the inside of a sphere")->type_name(kSphere);
    command->add_flag("--invert", options->invert, "Keep the rest, outside the body");
    add_field_options(*command, options->field,
                      "Node and cell arrays to keep, instead of all; the first colours the picture");
    command->get_option("--array")->description(
        "Node array of the level, when the file has several; with a body, the one to colour the picture by");
    add_output_options(*command, options->output, "Part", kExtensions);
    command->footer(
        "Bodies cut where the distance from them, taken linearly along edges, is 0: as exact as the mesh is "
        "fine.\n\n" +
        examples({"cut brain.nii.gz --level 50 -o tissue.vtu",
                  "cut tissue.vtu --plane 0,0,0,-1,0.3,0 -o half.vtu --png half.png"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_cut(*options, console); }; });
}

}  // namespace app
