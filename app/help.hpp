// Help in one form for all operations.
#ifndef ISOFIELD_APP_HELP_HPP
#define ISOFIELD_APP_HELP_HPP

#include <CLI/App.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Option.hpp>

#include <string>
#include <vector>

namespace app {

// As wide as the terminal, from 80 to 100.
class HelpFormatter : public CLI::Formatter {
  public:
    std::string make_help(const CLI::App *app, std::string name, CLI::AppFormatMode mode) const override;
};

// "-o", "--output"; of a positional argument "FIELD".
std::vector<std::string> names_of(const CLI::Option &option);
// What stands for the text that the option takes; empty of flags.
std::string type_of(const CLI::Option &option);

}  // namespace app
#endif
