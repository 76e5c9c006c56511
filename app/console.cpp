#include "console.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>

#include "errors.hpp"
#include "interrupt.hpp"

namespace app {
namespace {

constexpr int kBarWidth = 30;

std::string one_line(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    std::replace(text.begin(), text.end(), '\r', ' ');
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}

bool on_terminal() {
    static const bool terminal = isatty(STDERR_FILENO) == 1;
    return terminal;
}

}  // namespace

void Console::say(const std::string &line) {
    if (!quiet_) answer(line);
}

void Console::answer(const std::string &line) {
    clear_bar();
    std::cout << line << std::endl;  // an interrupt must not lose it
}

void Console::note(const std::string &line) {
    if (quiet_ || !noted_.insert(line).second) return;
    clear_bar();
    std::cerr << "isofield: note: " << one_line(line) << '\n';
}

void Console::warn(const std::string &line) {
    if (quiet_) return;
    clear_bar();
    std::cerr << "isofield: warning: " << one_line(line) << '\n';
}

void Console::progress(const std::string &stage, int percent) {
    if (quiet_ || !on_terminal()) return;
    percent = std::clamp(percent, 0, 100);
    if (bar_shown_ && percent == bar_percent_ && stage == bar_stage_) return;
    bar_shown_ = true;
    bar_percent_ = percent;
    bar_stage_ = stage;
    set_bar_shown(true);
    const auto filled = static_cast<std::size_t>(kBarWidth * percent / 100);
    std::string bar(filled, '#');
    bar.resize(kBarWidth, '.');
    std::fprintf(stderr, "\r\033[K%-12s [%s] %3d%%", stage.c_str(), bar.c_str(), percent);
    std::fflush(stderr);
}

void Console::clear_bar() {
    if (!bar_shown_) return;
    bar_shown_ = false;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
    set_bar_shown(false);
}

void print_error(const std::string &text) {
    std::cerr << "isofield: " << one_line(text) << '\n';
}

void flush_output() {
    std::cout.flush();
    if (!std::cout) throw OperationError("cannot write to standard output");
}

std::string Stopwatch::seconds() const {
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start_;
    char text[32];
    std::snprintf(text, sizeof text, "%.2f s", elapsed.count());
    return text;
}

std::string format_number(double value, int digits) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*g", digits, value);
    return text;
}

void add_item(std::string &list, const std::string &item, const char *separator) {
    if (!list.empty()) list += separator;
    list += item;
}

std::string format_count(std::size_t count, const std::string &singular, const std::string &plural) {
    return std::to_string(count) + ' ' + (count == 1 ? singular : plural);
}

}  // namespace app
