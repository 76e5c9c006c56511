// isofield: files in, one operation, files and pictures out.
//
// Exit codes: 0; 1 the operation failed; 2 bad usage or input; 128 + the signal when interrupted.
#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <exception>
#include <iostream>
#include <new>

#include "console.hpp"
#include "errors.hpp"
#include "interrupt.hpp"
#include "isofield.hpp"
#include "operations.hpp"

namespace {

using AddOperation = void (*)(CLI::App &, app::Action &);
constexpr AddOperation kOperations[] = {
    app::add_info,        app::add_iso,     app::add_lines,     app::add_band,      app::add_cut,
    app::add_denull,      app::add_slice,   app::add_trace,     app::add_stream,    app::add_glyph,
    app::add_derivatives, app::add_probe,   app::add_integrate, app::add_cell2node, app::add_downsize,
    app::add_resample,    app::add_smooth,  app::add_clamp,     app::add_threshold, app::add_calc,
    app::add_fit,         app::add_scatter, app::add_delaunay,  app::add_loft,      app::add_simplify,
    app::add_faces,       app::add_edges};

// One line, and where to read more.
int refuse_arguments(const CLI::App &tool, const CLI::ParseError &error, const std::string &first) {
    const auto chosen = tool.get_subcommands();
    if (chosen.empty() && !first.starts_with('-')) {
        std::string names;
        for (const CLI::App *command : tool.get_subcommands({})) app::add_item(names, command->get_name());
        const std::string problem =
            first.empty() ? "name an operation" : "there is no operation '" + first + "'";
        app::print_error(problem + "; operations are " + names + ", see 'isofield --help'");
        return app::kBadInput;
    }
    const std::string command = chosen.empty() ? "isofield" : "isofield " + chosen.front()->get_name();
    app::print_error(std::string(error.what()) + "; see '" + command + " --help'");
    return app::kBadInput;
}

int run(const app::Action &action, app::Console &console) {
    try {
        action(console);
        app::flush_output();
        return app::kSuccess;
    } catch (const isofield::Interrupted &) {
        console.clear_bar();
        app::print_error("interrupted");
        return app::interrupted_exit_code();
    } catch (const isofield::BadInput &error) {
        console.clear_bar();
        app::print_error(error.what());
        return app::kBadInput;
    } catch (const app::UsageError &error) {
        console.clear_bar();
        app::print_error(error.what());
        return app::kBadInput;
    } catch (const std::bad_alloc &) {
        console.clear_bar();
        app::print_error("out of memory; try a smaller part of the data");
        return app::kFailed;
    } catch (const std::exception &error) {
        console.clear_bar();
        app::print_error(error.what());
        return app::kFailed;
    }
}

}  // namespace

int main(int argc, char **argv) {
    app::install_signal_handlers();
    // Reports of the library come as exceptions.
    isohost_set_error_handler([](const char *, const char *, void *) {}, nullptr);

    CLI::App tool(
        "Derived geometry and data from fields: files in, surfaces, lines, parts, values and pictures out.",
        "isofield");
    tool.set_version_flag("--version", "isofield " ISOFIELD_TOOL_VERSION);
    tool.require_subcommand(1);
    tool.get_formatter()->column_width(34);
    app::Action action;
    for (const AddOperation add : kOperations) add(tool, action);
    try {
        tool.parse(argc, argv);
    } catch (const CLI::Success &request) {  // --help, --version
        return tool.exit(request);
    } catch (const CLI::ParseError &error) {
        return refuse_arguments(tool, error, argc > 1 ? argv[1] : "");
    }
    app::Console console;
    return run(action, console);
}
