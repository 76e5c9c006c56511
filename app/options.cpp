#include "options.hpp"

#include <CLI/Error.hpp>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>

#include "errors.hpp"

namespace app {
namespace {

// The whole of `text` as a number.
template <class T>
std::optional<T> parse(std::string_view text) {
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::pair<std::string_view, std::string_view> split(std::string_view text, char separator) {
    const std::size_t place = text.find(separator);
    if (place == std::string_view::npos) return {text, {}};
    return {text.substr(0, place), text.substr(place + 1)};
}

void set_size(const std::string &text, PictureStyle &style) {
    const auto [width_text, height_text] = split(text, 'x');
    const auto width = parse<int>(width_text), height = parse<int>(height_text);
    const auto fits = [](const std::optional<int> &n) {
        return n && *n >= kMinPictureSize && *n <= kMaxPictureSize;
    };
    if (!fits(width) || !fits(height)) {
        throw CLI::ValidationError("--size", "'" + text + "' is not WIDTHxHEIGHT with numbers from " +
                                                 std::to_string(kMinPictureSize) + " to " +
                                                 std::to_string(kMaxPictureSize) + ", as in 1200x900");
    }
    style.width = *width;
    style.height = *height;
}

void set_view(const std::string &text, PictureStyle &style) {
    if (const auto named = named_view(text)) {
        style.view = *named;
        return;
    }
    const auto [azimuth_text, elevation_text] = split(text, ',');
    const auto azimuth = parse<double>(azimuth_text), elevation = parse<double>(elevation_text);
    if (!azimuth || !elevation || !(*elevation >= -90 && *elevation <= 90) ||
        !(*azimuth >= -360 && *azimuth <= 360)) {
        throw CLI::ValidationError("--view", "'" + text + "' is none of " + view_names() +
                                                 ", nor AZIMUTH,ELEVATION in degrees (elevation -90 to 90)");
    }
    style.view = {*azimuth, *elevation};
}

}  // namespace

std::string choices_text(std::string words) {
    std::replace(words.begin(), words.end(), ' ', '|');
    return words;
}

std::string examples(const std::vector<std::string> &commands) {
    std::string text = "Examples:";
    for (const std::string &command : commands) text += "\n  isofield " + command;
    return text;
}

CLI::Validator finite_number() {
    return CLI::Validator(
        [](std::string &text) {
            double value = 0;
            const bool number = CLI::detail::lexical_cast(text, value) && std::isfinite(value);
            return number ? std::string() : "'" + text + "' is not a number";
        },
        "");
}

CLI::Validator whole_number(int lower, int upper) {
    std::string form = "a whole number";
    if (lower > INT_MIN) form += " from " + std::to_string(lower);
    if (upper < INT_MAX) form += " to " + std::to_string(upper);
    return CLI::Validator(
        [=](std::string &text) {
            int number = 0;
            const bool fits = CLI::detail::lexical_cast(text, number) && number >= lower && number <= upper;
            return fits ? std::string() : "'" + text + "' is not " + form;
        },
        "");
}

void add_null_option(CLI::App &command, std::optional<double> &null_value) {
    add_number(command, "--null", null_value,
               "Value of missing data, in the place of what the file declares; NaN is always missing",
               "VALUE")
        ->group(kDataGroup);
}

void add_optional_output(CLI::App &command, OutputOptions &options, const std::string &what,
                         const std::string &formats, bool with_view) {
    const auto add = [&](const std::string &names, std::string &text, const std::string &help) {
        return command.add_option(names, text, help)->group(kOutputGroup);
    };
    if (!formats.empty())
        add("-o,--output", options.geometry, what + " to write: " + formats)->type_name("OUT");
    add("--png", options.picture, "Picture to draw as well: .png")->type_name("PICTURE");
    const auto add_set = [&](const std::string &name, void (*set)(const std::string &, PictureStyle &),
                             const std::string &help, const std::string &type) {
        return command
            .add_option_function<std::string>(
                name, [&options, set](const std::string &text) { set(text, options.style); }, help)
            ->type_name(type)
            ->group(kOutputGroup);
    };
    add_set("--size", set_size, "Size of the picture in pixels", "WIDTHxHEIGHT")
        ->default_str(std::to_string(options.style.width) + "x" + std::to_string(options.style.height));
    if (with_view) {
        add_set("--view", set_view,
                "Where to look from, by name or in degrees: around z from the front (-y) to +x, and above "
                "the xy plane",
                choices_text(view_names()) + "|AZIMUTH,ELEVATION");
    }
    command.add_flag("-q,--quiet", options.quiet, "Say nothing but answers and errors")->group(kOutputGroup);
}

void add_output_options(CLI::App &command, OutputOptions &options, const std::string &what,
                        const std::string &formats) {
    add_optional_output(command, options, what, formats);
    command.get_option("--output")->required();
}

std::optional<double> finite_number_of(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) return std::nullopt;
    const auto number = parse<double>(text.substr(first, text.find_last_not_of(" \t\r") + 1 - first));
    return number && std::isfinite(*number) ? number : std::nullopt;
}

void refuse_form(const std::string &text, const std::string &option, const std::string &form) {
    throw UsageError(option + ": '" + text + "' is not " + form);
}

std::vector<double> numbers_of(const std::string &text, const std::string &option, const std::string &form) {
    std::vector<double> numbers;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find(',', start), text.size());
        const auto number = finite_number_of(std::string_view(text).substr(start, end - start));
        if (!number) refuse_form(text, option, form);
        numbers.push_back(*number);
        start = end + 1;
    }
    return numbers;
}

std::vector<double> numbers_of(const std::string &text, const std::string &option, std::size_t count,
                               const std::string &form) {
    std::vector<double> numbers = numbers_of(text, option, form);
    if (numbers.size() != count) refuse_form(text, option, form);
    return numbers;
}

std::vector<int> counts_of(const std::string &text, const std::string &option, const std::string &form) {
    std::vector<int> counts;
    for (const double number : numbers_of(text, option, form)) {
        if (number != std::floor(number) || number < 1 || number > INT_MAX) refuse_form(text, option, form);
        counts.push_back(static_cast<int>(number));
    }
    return counts;
}

std::array<float, 3> point_of(const std::string &text, const std::string &option) {
    const auto numbers = numbers_of(text, option, 3, "X,Y,Z, as in 0,0.5,-1");
    return {static_cast<float>(numbers[0]), static_cast<float>(numbers[1]), static_cast<float>(numbers[2])};
}

}  // namespace app
