// isofield fit: the polynomial through the points of a table, by least squares.
#include <algorithm>
#include <cmath>
#include <memory>

#include <CLI/Option.hpp>

#include "chart.hpp"
#include "errors.hpp"
#include "operation_support.hpp"
#include "operations.hpp"
#include "point_table.hpp"
#include "table_io.hpp"

namespace app {
namespace {

constexpr char kExtensions[] = ".csv";
constexpr int kMostDegree = 19;

struct FitOptions {
    std::string path;
    std::string x, y;  // columns
    int degree = 1;
    std::optional<double> null_value;
    OutputOptions output;
};

struct Samples {
    std::string x_name, y_name;
    std::vector<double> x, y;  // NaN where missing
};

Samples read_samples(const FitOptions &options, Console &console) {
    const Stopwatch reading;
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
    for (double &value : samples.y) {
        if (value == options.null_value) value = NAN;
    }
    console.say("read   " + options.path + ": " + format_count(table.rows(), "row", "rows") + ", y '" +
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
    std::optional<OutputFile> table, picture;
    if (!output.geometry.empty()) check_output_name(output.geometry, kExtensions);
    if (!output.picture.empty()) check_picture_name(output.picture);
    if (!output.geometry.empty()) table.emplace(output.geometry, std::vector{options.path});
    if (!output.picture.empty()) picture.emplace(output.picture, std::vector{options.path});

    const Samples samples = read_samples(options, console);
    const Stopwatch fitting;
    const isofield::Fit made = fit(samples, options);
    print(made, fitting, console);
    if (table) write_csv(table_of(samples, made, console), *table, console);
    if (picture) draw(samples, made, output, *picture, console);
}

}  // namespace

void add_fit(CLI::App &tool, Action &chosen) {
    CLI::App *command = tool.add_subcommand("fit", "Fit a polynomial to columns of a table");
    const auto options = std::make_shared<FitOptions>();
    command->add_option("TABLE", options->path, "Table: a .csv file")->required();
    command->add_option("--x", options->x, "Column of x, by name or number from 1 (the first of numbers)")
        ->type_name("COL");
    command->add_option("--y", options->y, "Column of y (the next one)")->type_name("COL");
    command->add_option("--degree", options->degree, "Of the polynomial (1)")
        ->check(CLI::Range(0, kMostDegree))
        ->type_name("N");
    command
        ->add_option("--null", options->null_value, "Value of missing y; NaN and no value are always missing")
        ->check(finite_number());
    add_output_file(*command, options->output, "Rows with the fitted value and the residual", kExtensions);
    add_picture_options(*command, options->output);
    add_quiet(*command, options->output, "Say nothing but the results and errors");
    command->callback(
        [options, &chosen] { chosen = [options](Console &console) { run_fit(*options, console); }; });
}

}  // namespace app
