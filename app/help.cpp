#include "help.hpp"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>

#include "console.hpp"
#include "options.hpp"

namespace app {
namespace {

constexpr std::size_t kOptionColumn = 30, kOperationColumn = 14;  // where descriptions start

std::size_t help_width() {
    constexpr std::size_t kLeast = 80, kMost = 100;
    winsize window{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) != 0 || window.ws_col == 0) return kMost;
    return std::clamp<std::size_t>(window.ws_col, kLeast, kMost);
}

// Words in lines, of which all but the first start at `column`, where the first stands already.
std::string wrapped(const std::string &text, std::size_t column) {
    const std::size_t width = help_width();
    std::istringstream words(text);
    std::string out, word;
    std::size_t end = column;
    while (words >> word) {
        if (end > column && end + 1 + word.size() > width) {
            out += '\n' + std::string(column, ' ');
            end = column;
        }
        if (end > column) out += ' ';
        end += word.size() + (end > column);
        out += word;
    }
    return out + '\n';
}

std::string item(const std::string &head, const std::string &text, std::size_t column) {
    const bool fits = head.size() + 2 <= column;
    std::string line = fits ? head : head + '\n';
    line.append(fits ? column - head.size() : column, ' ');
    return line + wrapped(text, column);
}

// "-o, --output OUT", the long names of all options in one column.
std::string head_of(const CLI::Option &option) {
    std::string names;
    for (const std::string &name : names_of(option)) add_item(names, name, ", ");
    if (names.starts_with("--")) names = "    " + names;
    const std::string type = option.get_positional() ? "" : type_of(option);
    if (!type.empty()) names += ' ' + type;
    const bool many = option.get_items_expected_max() >= CLI::detail::expected_max_vector_size;
    return "  " + names + (many ? " ..." : "");
}

std::string description_of(const CLI::Option &option) {
    std::string text = option.get_description();
    if (!option.get_default_str().empty()) text += " [default: " + option.get_default_str() + "]";
    return option.get_required() ? text + " [required]" : text;
}

std::string group_of(const CLI::App &app, const CLI::Option &option) {
    if (option.get_positional()) return kInputGroup;
    return &option == app.get_help_ptr() && app.get_parent() ? kOutputGroup : option.get_group();
}

std::string option_groups(const CLI::App &app) {
    std::string text;
    for (const char *group : {kInputGroup, "Options", kDataGroup, kOutputGroup}) {
        std::string items;
        auto options =
            app.get_options([&](const CLI::Option *option) { return group_of(app, *option) == group; });
        std::stable_partition(options.begin(), options.end(),
                              [](const CLI::Option *option) { return option->get_positional(); });
        std::stable_partition(options.begin(), options.end(),
                              [&](const CLI::Option *option) { return option != app.get_help_ptr(); });
        for (const CLI::Option *option : options)
            items += item(head_of(*option), description_of(*option), kOptionColumn);
        if (!items.empty()) text += std::string("\n") + group + ":\n" + items;
    }
    return text;
}

std::string operation_groups(const CLI::App &app) {
    std::string text, group;
    for (const CLI::App *command : app.get_subcommands({})) {
        if (command->get_group() != group) text += "\n" + command->get_group() + ":\n";
        group = command->get_group();
        text += item("  " + command->get_name(), command->get_description(), kOperationColumn);
    }
    return text;
}

std::string usage_of(const CLI::App &app, const std::string &name) {
    std::string text = "Usage: " + name;
    if (!app.get_parent()) return text + " OPERATION [OPTIONS] INPUT ... [then|also OPERATION ...] ...\n";
    text += " [OPTIONS]";
    for (const CLI::Option *option : app.get_options()) {
        if (!option->get_positional()) continue;
        text += ' ' + (option->get_required() ? option->get_name() : '[' + option->get_name() + ']');
    }
    return text + '\n';
}

// Lines that start with a blank stay as they are.
std::string footer_of(const CLI::App &app) {
    std::istringstream lines(app.get_footer());
    std::string text, line;
    while (std::getline(lines, line)) text += line.starts_with(' ') ? line + '\n' : wrapped(line, 0);
    return text.empty() ? text : '\n' + text;
}

}  // namespace

std::string HelpFormatter::make_help(const CLI::App *app, std::string name, CLI::AppFormatMode) const {
    return wrapped(app->get_description(), 0) + usage_of(*app, name) + operation_groups(*app) +
           option_groups(*app) + footer_of(*app);
}

std::vector<std::string> names_of(const CLI::Option &option) {
    if (option.get_positional()) return {option.get_name()};
    std::vector<std::string> names;
    for (const std::string &name : option.get_snames()) names.push_back('-' + name);
    for (const std::string &name : option.get_lnames()) names.push_back("--" + name);
    return names;
}

std::string type_of(const CLI::Option &option) {
    if (option.get_items_expected_max() == 0) return {};
    const std::string type = option.get_type_name();
    return type.substr(0, type.find(':'));  // without what checks it
}

}  // namespace app
