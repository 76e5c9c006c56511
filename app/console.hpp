// What the tool says: results on standard output, notes, warnings and the progress bar on standard error.
#ifndef ISOFIELD_APP_CONSOLE_HPP
#define ISOFIELD_APP_CONSOLE_HPP

#include <chrono>
#include <set>
#include <string>

namespace app {

class Console {
  public:
    ~Console() { clear_bar(); }
    void set_quiet(bool quiet) { quiet_ = quiet; }  // errors only

    void say(const std::string &line);
    void answer(const std::string &line);  // what was asked for: said even when quiet
    void note(const std::string &line);    // once, however often it is told
    void warn(const std::string &line);

    // A bar, on a terminal only: `percent` of `stage`. It vanishes when anything else is said.
    void progress(const std::string &stage, int percent);
    void clear_bar();

  private:
    bool quiet_ = false;
    bool bar_shown_ = false;
    std::set<std::string> noted_;
    int bar_percent_ = -1;
    std::string bar_stage_;
};

// One line on standard error, whatever `text` holds.
void print_error(const std::string &text);

// Pushes what was said out; throws OperationError when standard output takes no more.
void flush_output();

class Stopwatch {
  public:
    std::string seconds() const;  // since it was made, as "0.12 s"

  private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

std::string format_number(double value, int digits = 6);  // significant ones
// Appends to a list that is joined by `separator`.
void add_item(std::string &list, const std::string &item, const char *separator = " ");
std::string format_count(std::size_t count, const std::string &singular, const std::string &plural);

}  // namespace app
#endif
