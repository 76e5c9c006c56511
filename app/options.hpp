// Options in the form that help and completion show them in, the output options that operations share, and
// numbers in arguments.
#ifndef ISOFIELD_APP_OPTIONS_HPP
#define ISOFIELD_APP_OPTIONS_HPP

#include <CLI/App.hpp>
#include <CLI/Option.hpp>
#include <CLI/Validators.hpp>

#include <array>
#include <climits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "render.hpp"

namespace app {

// ---- How options are declared ----
//
// Descriptions are one line that starts with a capital and has no full stop. Extensions in them (".vtp") are
// those of the files that an option takes. Types are capitals that say what is meant; words in small letters
// between bars are choices: "auto|R".

// The groups of options in help, beside that of the operation's own, which need no group.
constexpr char kInputGroup[] = "Input", kDataGroup[] = "Arrays and missing data", kOutputGroup[] = "Output";

// Words between blanks as choices in a type.
std::string choices_text(std::string words);

// Commands for the end of an operation's help.
std::string examples(const std::vector<std::string> &commands);

CLI::Validator finite_number();
CLI::Validator whole_number(int lower = INT_MIN, int upper = INT_MAX);

template <class T>
CLI::Option *add_number(CLI::App &command, const std::string &names, T &value, const std::string &help,
                        const std::string &type) {
    return command.add_option(names, value, help)->check(finite_number())->type_name(type);
}
template <class T>
CLI::Option *add_count(CLI::App &command, const std::string &names, T &value, const std::string &help,
                       const CLI::Validator &range = whole_number()) {
    return command.add_option(names, value, help)->check(range)->type_name("N");
}
// The name of an array or names of several, or of columns.
template <class T>
CLI::Option *add_array_option(CLI::App &command, const std::string &names, T &value, const std::string &help,
                              const std::string &type = "NAME") {
    return command.add_option(names, value, help)->type_name(type)->group(kDataGroup);
}
void add_null_option(CLI::App &command, std::optional<double> &null_value);

// ---- Output ----

struct OutputOptions {
    std::string geometry;  // file to write
    std::string picture;   // empty: none
    PictureStyle style;
    bool quiet = false;
};

// `what` is written, under one of the extensions `formats`.
void add_output_options(CLI::App &command, OutputOptions &options, const std::string &what,
                        const std::string &formats);
// The same of operations that may do without the file, or have none (no formats).
void add_optional_output(CLI::App &command, OutputOptions &options, const std::string &what,
                         const std::string &formats, bool with_view = true);

// ---- Numbers ----

// All of `text`, but for blanks around it, as a finite number.
std::optional<double> finite_number_of(std::string_view text);
// Throws UsageError: an option's text is not of the form, as in "X,Y,Z".
[[noreturn]] void refuse_form(const std::string &text, const std::string &option, const std::string &form);
// The numbers between commas, however many or so many. Throws UsageError that names `option` and `form`.
std::vector<double> numbers_of(const std::string &text, const std::string &option, const std::string &form);
std::vector<double> numbers_of(const std::string &text, const std::string &option, std::size_t count,
                               const std::string &form);
// The same of counts of nodes, whole numbers from 1.
std::vector<int> counts_of(const std::string &text, const std::string &option, const std::string &form);
// "X,Y,Z". Throws UsageError that names `option`.
std::array<float, 3> point_of(const std::string &text, const std::string &option);

}  // namespace app
#endif
