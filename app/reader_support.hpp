// What the readers share.
#ifndef ISOFIELD_APP_READER_SUPPORT_HPP
#define ISOFIELD_APP_READER_SUPPORT_HPP

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "console.hpp"
#include "dataset.hpp"
#include "errors.hpp"
#include "vtk_support.hpp"

namespace app {

[[noreturn]] inline void refuse(const std::string &path, const std::string &reason) {
    throw UsageError("cannot read '" + path + "': " + reason);
}

inline void check_readable(const std::string &path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) refuse(path, "it is a directory; name a file");
    std::ifstream file(path, std::ios::binary);
    if (!file) refuse(path, std::strerror(errno) + std::string("; check its name and permissions"));
    if (file.peek() == std::ifstream::traits_type::eof()) refuse(path, "the file is empty");
}

// The one asked for (from 1; none: the first) of so many; `times` may be null. Throws UsageError.
inline Step choose_step(std::optional<int> asked, int count, const double *times, const std::string &path) {
    const int step = asked.value_or(1);
    if (count == 0 && asked) refuse(path, "it has no steps; leave --step out");
    if (count == 0) return {};
    if (step < 1 || step > count) {
        refuse(path,
               "there is no step " + std::to_string(step) + ", its steps are 1 to " + std::to_string(count));
    }
    std::string text = "step " + std::to_string(step) + " of " + std::to_string(count);
    if (times) text += ", time " + format_number(times[step - 1]);
    return {step - 1, text, times ? std::vector<double>(times, times + count) : std::vector<double>()};
}

// Runs a reader of VTK's to its end. Throws UsageError with what it has to say.
template <class Reader>
void run_reader(Reader *reader, const std::string &path, Console &console) {
    const VtkMessages messages;
    show_progress(reader, "reading", console);
    reader->Update();
    const std::string error = messages.error().empty() ? messages.printed() : messages.error();
    if (!error.empty()) refuse(path, error + "; is the file complete?");
}

}  // namespace app
#endif
