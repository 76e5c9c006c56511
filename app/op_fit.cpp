// isofield fit: the polynomial through the points of a table, or through values on nodes, by least squares.
#include <algorithm>
#include <cmath>
#include <memory>

#include "chart.hpp"
#include "dataset_io.hpp"
#include "errors.hpp"
#include "mesh_output.hpp"
#include "operation_support.hpp"
#include "operations.hpp"
#include "point_table.hpp"
#include "probe_points.hpp"
#include "table_io.hpp"

namespace app {
namespace {

constexpr char kExtensions[] = ".csv";
constexpr int kMostDegree = 19;

struct FitOptions : InputOptions {
    std::string x, y;  // columns, or node arrays
    int degree = 1;
    OutputOptions output;
};

struct Samples {
    std::string x_name, y_name;
    std::vector<double> x, y;  // NaN where missing
};

Samples table_samples(const FitOptions &options, Console &console) {
    refuse_step(options.step);
    const PointTable table(options.path, console);
    std::optional<std::size_t> x, y;
    std::vector<std::size_t> taken;
    if (!options.x.empty()) taken.push_back(*(x = table.column(options.x, "--x")));
    if (!options.y.empty()) taken.push_back(*(y = table.column(options.y, "--y")));
    if (!x && (x = table.next_numeric(taken))) taken.push_back(*x);
    if (!y) y = table.next_numeric(taken);
    if (!x || !y) {
        throw UsageError("'" + options.path +
                         "' has no two columns of numbers between commas: its columns are " + table.names());
    }
    Samples samples{table.name(*x), table.name(*y), table.numbers(*x), table.numbers(*y)};
    for (std::vector<double> *column : {&samples.x, &samples.y})
        std::replace(column->begin(), column->end(), options.null_value.value_or(NAN), double{NAN});
    return samples;
}

// A scalar on the nodes, or a coordinate of them: x, y or z.
std::vector<double> node_values(const Dataset &dataset, const std::string &name, const FitOptions &options,
                                Console &console) {
    const auto taken = node_array_names(dataset);
    const auto axis = std::string_view("xyz").find(name);
    const bool coordinate = name.size() == 1 && axis < 3;
    if (coordinate && std::find(taken.begin(), taken.end(), name) == taken.end()) {
        const std::vector<float> nodes = node_coords(dataset);
        std::vector<double> values;
        for (std::size_t i = axis; i < nodes.size(); i += 3) values.push_back(nodes[i]);
        return values;
    }
    const NamedArray array = named_array(choose_scalar(dataset, name), options, console);
    const isofield::front::DoubleValues values(array.data.view(), array.null_value);
    return {values.view().begin(), values.view().end()};
}

Samples field_samples(const FitOptions &options, Console &console) {
    const Dataset dataset = read_dataset(options.path, options.step, console, nullptr, options.y);
    if (options.x.empty())
        throw UsageError("'" + options.path + "' is no table: name a node array, or x, y or z, by --x");
    const std::string y = options.y.empty() ? choose_scalar(dataset, "").name : options.y;
    return {options.x, y, node_values(dataset, options.x, options, console),
            node_values(dataset, y, options, console)};
}

Samples read_samples(const FitOptions &options, Console &console) {
    const Stopwatch reading;
    const bool table = is_table(options.path);
    Samples samples = (table ? table_samples : field_samples)(options, console);
    console.say("read   " + options.path + ": " +
                format_count(samples.x.size(), table ? "row" : "node", table ? "rows" : "nodes") + ", y '" +
                samples.y_name + "' over x '" + samples.x_name + "', " + reading.seconds());
    return samples;
}

isofield::Fit fit(const Samples &samples, const FitOptions &options) {
    const std::string failure =
        "cannot fit degree " + std::to_string(options.degree) + " to '" + options.path + "': ";
    try {
        return isofield::fit_polynomial(samples.x, samples.y, options.degree + 1);
    } catch (const isofield::BadInput &refusal) {
        throw UsageError(failure + refusal.what());
    } catch (const isofield::Error &error) {
        throw OperationError(failure + error.what() + "; try a lower --degree");
    }
}

// ---- Results ----

// "y = 1.5 - 2 x + 0.25 x^2"
std::string formula(std::span<const double> coefficients) {
    constexpr int kDigits = 9;
    std::string text = "y = " + format_number(coefficients[0], kDigits);
    for (std::size_t k = 1; k < coefficients.size(); ++k) {
        text += coefficients[k] < 0 ? " - " : " + ";
        text += format_number(std::abs(coefficients[k]), kDigits) + " x";
        if (k > 1) text += "^" + std::to_string(k);
    }
    return text;
}

void print(const isofield::Fit &fit, const Stopwatch &fitting, Console &console) {
    const std::span<const double> coefficients = fit.polynomial.coefficients();
    std::string summary = "fitted " + format_count(fit.used, "point", "points");
    if (fit.left_out > 0) summary += " (" + std::to_string(fit.left_out) + " left out)";
    console.answer(summary + ", residuals " + format_number(fit.rms) + " rms, " + format_number(fit.largest) +
                   " at most, R squared " + format_number(fit.r_squared) + ", " + fitting.seconds());
    console.answer(formula(coefficients));
    for (std::size_t k = 0; k < coefficients.size(); ++k) {
        std::string head = "  x^" + std::to_string(k);
        head.resize(9, ' ');
        console.answer(head + exact_text(coefficients[k]));
    }
}

std::vector<Column> table_of(const Samples &samples, const isofield::Fit &fit, Console &console) {
    std::vector<double> fitted, residuals;
    for (std::size_t i = 0; i < samples.x.size(); ++i) {
        fitted.push_back(fit.polynomial(samples.x[i]));
        residuals.push_back(samples.y[i] - fitted.back());
    }
    std::vector<Column> columns;
    std::vector<std::string> taken;
    const auto add = [&](const std::string &name, std::span<const double> values) {
        taken.push_back(free_name(name, "_data", taken, console));
        columns.push_back(number_column(taken.back(), values));
    };
    add(samples.x_name, samples.x);
    add(samples.y_name, samples.y);
    add("fitted", fitted);
    add("residual", residuals);
    return columns;
}

void draw(const Samples &samples, const isofield::Fit &fit, const OutputOptions &output, OutputFile &file,
          Console &console) {
    constexpr int kSteps = 400;
    const Stopwatch drawing;
    Plot plot{samples.x_name, samples.y_name, {}, {}, {}, {}};
    for (std::size_t i = 0; i < samples.x.size(); ++i) {
        if (!std::isfinite(samples.x[i]) || !std::isfinite(samples.y[i])) continue;
        plot.x.push_back(samples.x[i]);
        plot.y.push_back(samples.y[i]);
    }
    const auto [lower, upper] = std::minmax_element(plot.x.begin(), plot.x.end());
    for (int i = 0; i <= kSteps; ++i) {
        const double part = static_cast<double>(i) / kSteps;
        plot.curve_x.push_back((1 - part) * *lower + part * *upper);
        plot.curve_y.push_back(fit.polynomial(plot.curve_x.back()));
    }
    draw_plot(plot, output.style, file, console);
    say_drawn(output, drawing, console);
}

void run_fit(const FitOptions &options, Console &console) {
    const OutputOptions &output = options.output;
    console.set_quiet(output.quiet);
    OptionalFiles files(output, kExtensions, {options.path});
    const Samples samples = read_samples(options, console);
    const Stopwatch fitting;
    console.progress("fitting", 0);
    const isofield::Fit made = fit(samples, options);
    print(made, fitting, console);
    if (files.geometry) write_csv(table_of(samples, made, console), *files.geometry, console);
    if (files.picture) draw(samples, made, output, *files.picture, console);
}

}  // namespace

void add_fit(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand("fit", "Fit a polynomial to columns of a table, or to node data");
    const auto options = std::make_shared<FitOptions>();
    command
        ->add_option("POINTS", options->path,
                     "Points to fit to: rows of a .csv file, or nodes of " + readable_extensions())
        ->required();
    add_step_option(*command, options->step);
    add_count(*command, "--degree", options->degree, "Degree of the polynomial", whole_number(0, kMostDegree))
        ->capture_default_str();
    add_array_option(*command, "-a,--array,--y", options->y, "Column or node array of the values y", "COLUMN")
        ->default_str("the next one of numbers");
    add_array_option(*command, "--x", options->x,
                     "Column of x, by name or number, or a node array or coordinate", "COLUMN")
        ->default_str("the first one of numbers");
    add_null_option(*command, options->null_value);
    add_optional_output(*command, options->output, "Rows with the fitted value and the residual", kExtensions,
                        false);
    command->footer(
        examples({"fit stations.csv --x lat --y temperature --degree 2 -o fit.csv --png fit.png"}));
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_fit(*options, console); }; });
}

}  // namespace app
