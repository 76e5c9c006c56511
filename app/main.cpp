// isofield: files in, operations, files and pictures out.
//
// Exit codes: 0; 1 an operation failed; 2 bad usage or input; 128 + the signal when interrupted.
#include <algorithm>
#include <exception>
#include <new>

#include "command_line.hpp"
#include "console.hpp"
#include "errors.hpp"
#include "interrupt.hpp"
#include "isofield.hpp"
#include "relay.hpp"

namespace {

// The results that no later job takes make room.
void drop_used(const std::vector<app::Job> &jobs, std::size_t done) {
    const std::string &input = jobs[done].input;
    const auto takes_it = [&](const app::Job &job) { return job.input == input; };
    if (std::none_of(jobs.begin() + static_cast<std::ptrdiff_t>(done) + 1, jobs.end(), takes_it))
        app::drop_result(input);
}

// What fails says which operation of several it was.
void tell(const std::vector<app::Job> &jobs, std::size_t at, const std::string &problem,
          app::Console &console) {
    console.clear_bar();
    const std::string place =
        jobs.size() > 1 ? "operation " + std::to_string(at + 1) + ", " + jobs[at].operation + ": " : "";
    app::print_error(place + problem);
}

int run(const std::vector<app::Job> &jobs, app::Console &console) {
    std::size_t at = 0;
    try {
        for (; at < jobs.size(); ++at) {
            app::expect_result(jobs[at].result);
            jobs[at].action(console);
            drop_used(jobs, at);
        }
        at = jobs.size() - 1;
        app::flush_output();
        return app::kSuccess;
    } catch (const isofield::Interrupted &) {
        tell(jobs, at, "interrupted", console);
        return app::interrupted_exit_code();
    } catch (const isofield::BadInput &error) {
        tell(jobs, at, error.what(), console);
        return app::kBadInput;
    } catch (const app::UsageError &error) {
        tell(jobs, at, error.what(), console);
        return app::kBadInput;
    } catch (const std::bad_alloc &) {
        tell(jobs, at, "out of memory; try a smaller part of the data", console);
        return app::kFailed;
    } catch (const std::exception &error) {
        tell(jobs, at, error.what(), console);
        return app::kFailed;
    }
}

}  // namespace

int main(int argc, char **argv) {
    app::install_signal_handlers();
    // Reports of the library come as exceptions.
    isohost_set_error_handler([](const char *, const char *, void *) {}, nullptr);

    std::vector<app::Job> jobs;
    if (const auto code = app::take_arguments(argc, argv, jobs)) return *code;
    app::Console console;
    return run(jobs, console);
}
