// isofield integrate: volumes, areas and lengths, and integrals of node arrays over them.
#include <algorithm>
#include <limits>
#include <memory>

#include "dataset_io.hpp"
#include "field_picture.hpp"
#include "operations.hpp"
#include "table_io.hpp"

namespace app {
namespace {

constexpr const char *kMeasures[] = {"length", "area", "volume"};  // of 1, 2 and 3 dimensions
constexpr char kExtensions[] = ".csv";

struct IntegrateOptions : InputOptions {
    std::vector<std::string> arrays;
    OutputOptions output;
};

// One component of an array.
struct Integrand {
    std::string array;
    std::string component;  // empty for a scalar
    std::vector<float> values;

    std::string name() const { return "'" + array + "'" + (component.empty() ? "" : " [" + component + "]"); }
};

// Missing rows are NaN in all components.
void add_integrands(const NamedArray &array, std::vector<Integrand> &integrands) {
    const isofield::front::FloatValues rows(array.data.view(), array.null_value);
    const auto count = static_cast<std::size_t>(array.data.components);
    for (std::size_t c = 0; c < count; ++c) {
        std::vector<float> values;
        for (std::size_t i = c; i < rows.view().size(); i += count) values.push_back(rows.view()[i]);
        integrands.push_back({array.name, count > 1 ? std::to_string(c) : "", std::move(values)});
    }
}

struct Total {
    int ndim;
    isofield::Integral cells;                   // all
    std::vector<isofield::Integral> integrals;  // per integrand
};

std::vector<Total> integrate(isofield::Mesh &mesh, const std::vector<Integrand> &integrands,
                             Console &console) {
    const MeshInfo &info = *mesh.info();
    const std::size_t count = integrands.size() + 1;
    std::vector<Total> totals;
    const PolledStage polled;
    for (int ndim = 3; ndim > 0; --ndim) {
        if (std::count(info.cell_ndim, info.cell_ndim + info.ncell_sets, ndim) == 0) continue;
        isofield::IntegralOptions settings;
        settings.progress = polled_progress("integrating", console, 0, count);
        Total total{ndim, mesh.integrate(ndim, settings), {}};
        for (const Integrand &integrand : integrands) {
            settings.progress = polled_progress("integrating", console, total.integrals.size() + 1, count);
            total.integrals.push_back(mesh.integrate(ndim, integrand.values, settings));
        }
        totals.push_back(std::move(total));
    }
    check_interrupt();
    console.clear_bar();
    return totals;
}

std::string digits(double value) {
    return format_number(value, 9);
}

// Of cells without any extent there is none.
double mean_of(const isofield::Integral &integral) {
    return integral.measure > 0 ? integral.mean() : std::numeric_limits<double>::quiet_NaN();
}

void print(const Total &total, const std::vector<Integrand> &integrands, Console &console) {
    std::string head = kMeasures[total.ndim - 1];
    head.resize(9, ' ');
    console.answer(head + digits(total.cells.measure) + ", " +
                   format_count(total.cells.ncells, "cell", "cells"));
    for (std::size_t i = 0; i < integrands.size(); ++i) {
        const isofield::Integral &integral = total.integrals[i];
        std::string line = "         " + integrands[i].name() + ": integral " + digits(integral.integral) +
                           ", mean " + digits(mean_of(integral));
        if (integral.null_cells > 0) {
            line += ", without " + format_count(integral.null_cells, "cell", "cells") + " of " +
                    digits(total.cells.measure - integral.measure) + " with missing nodes";
        }
        console.answer(line);
    }
}

// A row for each integrand, or for the cells alone.
std::vector<Column> table_of(const std::vector<Total> &totals, const std::vector<Integrand> &integrands) {
    std::vector<Column> columns = {{"measure", {}}, {"size", {}}, {"cells", {}}};
    const auto add_row = [&columns](const std::vector<std::string> &row) {
        for (std::size_t c = 0; c < row.size(); ++c) columns[c].cells.push_back(row[c]);
    };
    if (!integrands.empty()) {
        for (const char *name : {"array", "component", "integral", "mean", "null_cells"})
            columns.push_back({name, {}});
    }
    for (const Total &total : totals) {
        const std::vector<std::string> cells = {kMeasures[total.ndim - 1], digits(total.cells.measure),
                                                std::to_string(total.cells.ncells)};
        if (integrands.empty()) add_row(cells);
        for (std::size_t i = 0; i < integrands.size(); ++i) {
            const isofield::Integral &integral = total.integrals[i];
            add_row({cells[0], digits(integral.measure), std::to_string(integral.ncells), integrands[i].array,
                     integrands[i].component, digits(integral.integral), digits(mean_of(integral)),
                     std::to_string(integral.null_cells)});
        }
    }
    return columns;
}

void run_integrate(const IntegrateOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    OptionalFiles files(output, kExtensions, {options.path});
    const Stopwatch reading;
    Dataset dataset = read_dataset(options.path, options.step, console, nullptr, first_of(options.arrays));
    std::vector<const DataArray *> chosen;
    if (!options.arrays.empty()) chosen = choose_arrays(dataset, Association::kNode, options.arrays);
    isofield::Mesh mesh = make_mesh(dataset, console, LineCells::kKeep);
    const std::vector<NamedArray> arrays = named_arrays(chosen, options, console);
    say_read(dataset, arrays, reading, console);

    std::vector<Integrand> integrands;
    for (const NamedArray &array : arrays) add_integrands(array, integrands);
    const std::vector<Total> totals = integrate(mesh, integrands, console);
    if (files.geometry) write_csv(table_of(totals, integrands), *files.geometry, console);
    for (const Total &total : totals) print(total, integrands, console);
    if (!files.picture) return;

    std::optional<Shown> shown;
    if (!arrays.empty()) shown = {arrays.front(), Association::kNode};
    draw_dataset(std::move(dataset), shown, output, *files.picture, console);
}

}  // namespace

void add_integrate(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand(
        "integrate", "Tell volume, area and length of the cells, and integrals over them");
    const auto options = std::make_shared<IntegrateOptions>();
    add_array_option(*command, "-a,--array", options->arrays,
                     "Node arrays to integrate, each component; the first colours the picture");
    add_input_options(*command, *options);
    add_optional_output(*command, options->output, "Table", kExtensions);
    command->footer(examples({"integrate fire_ug.vtu --array t"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_integrate(*options, console); }; });
}

}  // namespace app
