#include "options.hpp"

#include <CLI/Error.hpp>
#include <CLI/Option.hpp>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>

#include "errors.hpp"

namespace app {
namespace {

constexpr char kGroup[] = "Output";

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

CLI::Option *add_output_file(CLI::App &command, OutputOptions &options, const std::string &what,
                             const std::string &formats) {
    return command.add_option("-o,--output", options.geometry, what + " to write: " + formats)
        ->type_name("OUT")
        ->group(kGroup);
}

void add_quiet(CLI::App &command, OutputOptions &options, const std::string &meaning) {
    command.add_flag("-q,--quiet", options.quiet, meaning)->group(kGroup);
}

void add_picture_options(CLI::App &command, OutputOptions &options) {
    command.add_option("--png", options.picture, "Also draw a picture")->type_name("PICTURE")->group(kGroup);
    command
        .add_option_function<std::string>(
            "--size", [&options](const std::string &text) { set_size(text, options.style); },
            "Size of the picture in pixels (1200x900)")
        ->type_name("WxH")
        ->group(kGroup);
}

void add_output_options(CLI::App &command, OutputOptions &options, const std::string &what,
                        const std::string &formats) {
    add_output_file(command, options, what, formats)->required();
    add_picture_options(command, options);
    command
        .add_option_function<std::string>(
            "--view", [&options](const std::string &text) { set_view(text, options.style); },
            "Where to look from: " + view_names() +
                ", or degrees: around z from the front (-y) to +x, above the xy plane")
        ->type_name("NAME|AZIMUTH,ELEVATION")
        ->group(kGroup);
    add_quiet(command, options);
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
