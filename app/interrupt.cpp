#include "interrupt.hpp"

#include <signal.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstring>
#include <string_view>

#include "errors.hpp"
#include "isofield_default_host.h"

namespace app {
namespace {

constexpr std::size_t kMaxFiles = 4;
constexpr std::size_t kMaxPath = 4096;

// Everything here is read in a signal handler: plain storage and lock-free flags alone.
std::array<char[kMaxPath], kMaxFiles> file_paths;
std::array<std::atomic<bool>, kMaxFiles> file_used;
std::atomic<pid_t> child_process = 0;
std::atomic<bool> polled = false;
std::atomic<bool> bar_shown = false;
std::atomic<int> caught = 0;

void say(std::string_view text) {
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
}

[[noreturn]] void end_now(int signal_number) {
    for (std::size_t slot = 0; slot < kMaxFiles; ++slot) {
        if (file_used[slot]) unlink(file_paths[slot]);
    }
    if (child_process > 0) kill(child_process, SIGTERM);
    if (bar_shown) say("\r\033[K");
    say("isofield: interrupted\n");
    _exit(128 + signal_number);
}

void handle_signal(int signal_number) {
    const bool repeated = caught.exchange(signal_number) != 0;
    if (!polled || repeated) end_now(signal_number);
    isohost_interrupt();
}

}  // namespace

void install_signal_handlers() {
    struct sigaction action {};
    action.sa_handler = handle_signal;
    sigfillset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    struct sigaction hangup {};
    sigaction(SIGHUP, nullptr, &hangup);
    if (hangup.sa_handler != SIG_IGN) sigaction(SIGHUP, &action, nullptr);  // nohup stays in force
    // A full file size limit is then an error of the write, like a full disk.
    signal(SIGXFSZ, SIG_IGN);
}

int interrupted_exit_code() {
    return 128 + (caught != 0 ? caught.load() : SIGINT);
}

PolledStage::PolledStage() {
    polled = true;
}
PolledStage::~PolledStage() {
    polled = false;
}

int register_file(const std::string &path) {
    if (path.size() >= kMaxPath) throw UsageError("the path '" + path + "' is too long; use a shorter one");
    for (std::size_t slot = 0; slot < kMaxFiles; ++slot) {
        if (file_used[slot]) continue;
        std::memcpy(file_paths[slot], path.c_str(), path.size() + 1);
        file_used[slot] = true;
        return static_cast<int>(slot);
    }
    throw std::logic_error("too many output files at once");
}

void release_file(int slot) {
    file_used[static_cast<std::size_t>(slot)] = false;
}

void register_child(pid_t child) {
    child_process = child;
}
void release_child() {
    child_process = 0;
}

void set_bar_shown(bool shown) {
    bar_shown = shown;
}

}  // namespace app
