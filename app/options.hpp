// The output options that operations share, and numbers in arguments.
#ifndef ISOFIELD_APP_OPTIONS_HPP
#define ISOFIELD_APP_OPTIONS_HPP

#include <CLI/App.hpp>

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "render.hpp"

namespace app {

struct OutputOptions {
    std::string geometry;  // file to write
    std::string picture;   // empty: none
    PictureStyle style;
    bool quiet = false;
};

// `what` is written, under one of the extensions `formats`.
void add_output_options(CLI::App &command, OutputOptions &options, const std::string &what,
                        const std::string &formats);
// The same without pictures; the output may be left out unless it is required.
CLI::Option *add_output_file(CLI::App &command, OutputOptions &options, const std::string &what,
                             const std::string &formats);
// --png and --size alone.
void add_picture_options(CLI::App &command, OutputOptions &options);
void add_quiet(CLI::App &command, OutputOptions &options,
               const std::string &meaning = "Say nothing but errors");

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
