// isofield band: the parts of a field between levels.
#include <algorithm>
#include <cmath>
#include <memory>

#include "errors.hpp"
#include "levels.hpp"
#include "operations.hpp"
#include "part_output.hpp"

namespace app {
namespace {

constexpr char kExtensions[] = ".vtu";
constexpr char kBand[] = "band", kBandLo[] = "band_lo", kBandHi[] = "band_hi";  // cell arrays

struct BandOptions {
    FieldOptions field;
    std::optional<double> lo, hi;
    std::vector<double> levels;
    std::optional<int> count;
    std::optional<double> every;
    OutputOptions output;
};

// What can be told before the file is read.
void check_options(const BandOptions &options) {
    const bool range = options.lo || options.hi;
    const int kinds = range + !options.levels.empty() + options.count.has_value() + options.every.has_value();
    if (kinds != 1)
        throw UsageError("name the bands by one of --lo with --hi, --level, --levels and --every");
    if (range && !(options.lo && options.hi)) {
        throw UsageError("--lo and --hi go together; for what is above or below one level, use isofield cut");
    }
    if (range && *options.lo > *options.hi) throw UsageError("--lo is above --hi");
    const std::vector<double> &levels = options.levels;
    if (!levels.empty() && std::count(levels.begin(), levels.end(), levels.front()) == std::ssize(levels))
        throw UsageError("bands need two different levels; give --level again");
    check_levels(options.levels.size(), options.count, options.every);
}

// What the bands lie between, rising. That of --lo and --hi may have no width.
std::vector<double> choose_levels(const BandOptions &options, const Field &field) {
    if (options.lo) return {*options.lo, *options.hi};
    if (options.every) {
        return multiples(*options.every, range_for_levels(field, false), Ends::kOutside);
    }
    std::vector<double> levels = options.levels;
    if (options.count) {
        const ComponentRange &range = range_for_levels(field, true);
        levels = inner_levels(*options.count - 1, range);
        levels.push_back(range.lower);
        levels.push_back(range.upper);
    }
    std::sort(levels.begin(), levels.end());
    levels.erase(std::unique(levels.begin(), levels.end()), levels.end());
    return levels;
}

struct Made {
    OutputPart part;
    Bands bands;
};

// What each band is of, as cell arrays.
void add_band_arrays(Made &made) {
    using isofield::ElementType;
    std::vector<double> lo, hi;
    for (const int band : made.bands.of_cells) {
        lo.push_back(made.bands.levels[static_cast<std::size_t>(band)]);
        hi.push_back(made.bands.levels[static_cast<std::size_t>(band) + 1]);
    }
    std::vector<OutputArray> &arrays = made.part.cell_arrays;
    arrays.push_back(output_array<int>(kBand, ElementType::kInt, made.bands.of_cells));
    arrays.push_back(output_array<double>(kBandLo, ElementType::kDouble, lo));
    arrays.push_back(output_array<double>(kBandHi, ElementType::kDouble, hi));
}

// In double, new nodes take a level as it is, whatever the type of the file.
std::vector<double> in_double(const ArrayData &data) {
    std::vector<double> values(data.rows);
    const auto *from = static_cast<const std::byte *>(data.values.get());
    for (double &value : values) {
        UTILtype_to_double(&value, from, static_cast<int>(data.type));
        from += isofield::size_of(data.type);
    }
    return values;
}

Made make(Field &field, const std::vector<double> &levels, Console &console) {
    Made made{start_part(field, {kBand, kBandLo, kBandHi}, console), {levels, {}, field.scalar.name}};
    const std::size_t count = levels.size() - 1;
    const std::vector<double> values = in_double(field.scalar.data);
    const PolledStage polled;
    for (std::size_t band = 0; band < count; ++band) {
        isofield::ExtractionOptions settings = extraction_settings(field, "bands", console, band, count);
        settings.keep_cells = true;
        // Nodes at a level are left to the band above it: else both would have what stands on it.
        const double hi = levels[band + 1];
        const double top = band + 1 < count ? std::nextafter(hi, levels[band]) : hi;
        const isofield::Part part = field.mesh.band(values, levels[band], top, settings);
        check_interrupt();
        std::vector<double> scalar = part.carry(std::span<const double>(values));
        std::replace(scalar.begin(), scalar.end(), top, hi);
        append_part(made.part, field, part, solid_cells(part), scalar);
        made.bands.of_cells.resize(made.part.ncells(), static_cast<int>(band));
        check_interrupt();
    }
    console.clear_bar();
    add_band_arrays(made);
    return made;
}

std::string empty_reason(const ComponentRange &range, const std::vector<double> &levels) {
    const bool outside = range.empty || levels.back() < range.lower || levels.front() > range.upper;
    return outside ? " (empty: the levels lie outside the range)"
                   : " (empty: no cell without nulls is there)";
}

void run_band(const BandOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    check_options(options);
    OutputFiles files(output, kExtensions, {options.field.path});
    Field field = read_field(options.field, console, {.attach = Attach::kArrays});
    const std::vector<double> levels = choose_levels(options, field);
    tell_of_gaps(field.dataset, "the bands", console);

    const Stopwatch making;
    const Made made = make(field, levels, console);
    const std::string made_seconds = making.seconds();
    const Stopwatch writing;
    write_part(made.part, files.geometry, console);
    const std::size_t count = levels.size() - 1;
    std::string line = "made   " + counts_of(made.part) + " in " + format_count(count, "band", "bands") +
                       ", " + format_number(levels.front()) + " to " + format_number(levels.back()) + ", " +
                       made_seconds + "; " + output.geometry + ", " + writing.seconds();
    if (made.part.ncells() == 0) line += empty_reason(field.range, levels);
    console.say(line);
    if (!files.picture) return;

    const Stopwatch drawing;
    std::optional<Bands> colors;
    if (count > 1) colors = made.bands;
    draw_part(made.part, colors, field.dataset.bounds, output.style, *files.picture, console);
    say_drawn(output, drawing, console);
}

}  // namespace

void add_band(CLI::App &tool, Action &chosen) {
    CLI::App *command =
        tool.add_subcommand("band", "Cut out the parts where a scalar is between levels, with all arrays");
    const auto options = std::make_shared<BandOptions>();
    add_number(*command, "--lo", options->lo, "Lower level of one band; goes with --hi", "LEVEL");
    add_number(*command, "--hi", options->hi, "Upper level of one band", "LEVEL");
    add_number(*command, "-l,--level", options->levels, "Level between bands; to be given several times",
               "LEVEL")
        ->expected(1)
        ->take_all();
    add_count(*command, "--levels", options->count,
              "Divide the whole range into so many bands of equal width");
    add_number(*command, "--every", options->every, "Bands between all multiples of a step around the range",
               "STEP");
    add_field_options(*command, options->field,
                      "Node and cell arrays to keep, instead of all; the first colours a single band");
    add_output_options(*command, options->output, "Bands", kExtensions);
    command->footer(examples({"band jacksboro.vti --every 100 -o bands.vtu --png bands.png"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_band(*options, console); }; });
}

}  // namespace app
