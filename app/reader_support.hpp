// What the readers share.
#ifndef ISOFIELD_APP_READER_SUPPORT_HPP
#define ISOFIELD_APP_READER_SUPPORT_HPP

#include <string>

#include "console.hpp"
#include "errors.hpp"
#include "vtk_support.hpp"

namespace app {

[[noreturn]] inline void refuse(const std::string &path, const std::string &reason) {
    throw UsageError("cannot read '" + path + "': " + reason);
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
