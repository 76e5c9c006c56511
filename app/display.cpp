#include "display.hpp"

#include <X11/Xlib.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "errors.hpp"
#include "interrupt.hpp"

namespace app {
namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kStartLimit = std::chrono::seconds(20);
constexpr auto kEndLimit = std::chrono::seconds(2);

bool display_reachable() {
    const char *name = std::getenv("DISPLAY");
    if (!name || !*name) return false;
    ::Display *display = XOpenDisplay(nullptr);
    if (!display) return false;
    XCloseDisplay(display);
    return true;
}

// The server lives in a session of its own, so that Ctrl-C on the terminal reaches only us, and dies with us.
[[noreturn]] void become_server(int number_pipe, pid_t parent) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    setsid();
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(1);
    const int nowhere = open("/dev/null", O_RDWR);
    dup2(nowhere, STDIN_FILENO);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    const std::string number_text = std::to_string(number_pipe);
    execlp("Xvfb", "Xvfb", "-displayfd", number_text.c_str(), "-screen", "0", "1280x1024x24", "-nolisten",
           "tcp", "-noreset", static_cast<char *>(nullptr));
    _exit(127);
}

// The line with its display number that the server writes when it is ready; empty when it ended or took too
// long.
std::string read_number(int number_pipe) {
    std::string number;
    const auto deadline = Clock::now() + kStartLimit;
    while (Clock::now() < deadline) {
        pollfd ready = {number_pipe, POLLIN, 0};
        if (poll(&ready, 1, 100) <= 0) continue;
        char c;
        const ssize_t got = read(number_pipe, &c, 1);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return "";
        if (c == '\n') return number;
        number += c;
    }
    return "";
}

void end_server(pid_t server) {
    kill(server, SIGTERM);
    const auto deadline = Clock::now() + kEndLimit;
    while (waitpid(server, nullptr, WNOHANG) == 0) {
        if (Clock::now() > deadline) {
            kill(server, SIGKILL);
            waitpid(server, nullptr, 0);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    release_child();
}

}  // namespace

Display::Display() {
    if (display_reachable()) return;
    int number_pipe[2];
    if (pipe(number_pipe) != 0)
        throw UsageError("no display, and no pipe to start a private one; close some files");
    fcntl(number_pipe[0], F_SETFD, FD_CLOEXEC);
    const pid_t parent = getpid();
    server_ = fork();
    if (server_ == 0) become_server(number_pipe[1], parent);
    if (server_ > 0) register_child(server_);
    close(number_pipe[1]);
    const std::string number = server_ > 0 ? read_number(number_pipe[0]) : "";
    close(number_pipe[0]);
    if (number.empty()) {
        if (server_ > 0) end_server(server_);
        throw UsageError(
            "no picture: there is no display and Xvfb could not be started; install the package xvfb or set "
            "DISPLAY");
    }
    setenv("DISPLAY", (":" + number).c_str(), 1);
    unsetenv("XAUTHORITY");
}

Display::~Display() {
    if (server_ > 0) end_server(server_);
}

}  // namespace app
