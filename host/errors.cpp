// Reports: kept per thread, and told to the program's handler or on standard error.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>

#include "array_cache.h"
#include "isofield_default_host.h"

namespace isofield::host {
namespace {

constexpr std::size_t kMaxKeptText = std::size_t{64} << 10;

struct ErrorHandler {
    IsohostErrorHandler call = nullptr;
    void *user = nullptr;
};

std::mutex handler_mutex;
ErrorHandler handler;
thread_local std::string reports;
thread_local int quiet_word = 0;

ErrorHandler current_handler() {
    const std::lock_guard lock(handler_mutex);
    return handler;
}

std::string format_text(const char *text, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, text, arguments);
    std::string result(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    std::vsnprintf(result.data(), result.size() + 1, text, again);
    va_end(again);
    while (!result.empty() && result.back() == '\n') result.pop_back();
    return result;
}

void report(const char *module, const std::string &text) {
    const std::string line = std::string(module) + ": " + text + "\n";
    if (reports.size() + line.size() <= kMaxKeptText) reports += line;
    const ErrorHandler current = current_handler();
    if (current.call) {
        current.call(module, text.c_str(), current.user);
    } else if (!quiet_word) {
        std::fputs(line.c_str(), stderr);
    }
}

}  // namespace
}  // namespace isofield::host

extern "C" {

void ERRerror(const char *module, int, int, const char *text, ...) {
    std::va_list arguments;
    va_start(arguments, text);
    try {
        isofield::host::report(module, isofield::host::format_text(text, arguments));
    } catch (...) {
        std::fputs("isofield: a report was lost\n", stderr);
    }
    va_end(arguments);
}

void ERRout_of_memory(const char *text) {
    if (isofield::host::trim_kept()) return;
    std::fprintf(stderr, "isofield: out of memory: %s\n", text);
    std::abort();
}

void isohost_set_error_handler(IsohostErrorHandler handler, void *user) {
    const std::lock_guard lock(isofield::host::handler_mutex);
    isofield::host::handler = {handler, user};
}

const char *isohost_errors(void) {
    return isofield::host::reports.c_str();
}

void isohost_clear_errors(void) {
    isofield::host::reports.clear();
}

int isohost_quiet_errors(int quiet) {
    const int old = isofield::host::quiet_word;
    isofield::host::quiet_word = quiet;
    return old;
}

}  // extern "C"
