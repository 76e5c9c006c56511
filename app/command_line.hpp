// The arguments of a call: one operation, or several with `then` and `also` between them, each with arguments of
// its own.
#ifndef ISOFIELD_APP_COMMAND_LINE_HPP
#define ISOFIELD_APP_COMMAND_LINE_HPP

#include <CLI/App.hpp>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "operations.hpp"

namespace app {

// An operation that is ready to run.
struct Job {
    std::string operation;
    Action action;
    std::string input;   // a file, or the result of a job before
    std::string result;  // the name under which what it makes goes on in memory; empty: nobody takes it
};

// The command line with all operations; the one that is asked for puts its action into `chosen`.
std::unique_ptr<CLI::App> make_tool(Action &chosen);

// Takes the arguments of all operations apart, before any of them runs. The exit code when that is the end of
// it: help was asked for, or an argument is refused, which has been told.
std::optional<int> take_arguments(int argc, const char *const *argv, std::vector<Job> &jobs);

}  // namespace app
#endif
