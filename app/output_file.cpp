#include "output_file.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "errors.hpp"
#include "interrupt.hpp"
#include "relay.hpp"

namespace app {
namespace {

namespace fs = std::filesystem;

std::string lower_case(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// A link is written through, not replaced.
fs::path resolve(const fs::path &path) {
    std::error_code error;
    const fs::path resolved = fs::weakly_canonical(path, error);
    return error ? path : resolved;
}

// The inputs of all operations of the call so far: what the first one read is no place for what the last one
// makes.
std::vector<std::string> inputs_so_far;

void refuse_bad_target(const fs::path &target, const std::string &name) {
    std::error_code error;
    if (!fs::exists(target, error)) return;
    if (fs::is_directory(target, error)) {
        throw UsageError("'" + name + "' is a directory; name a file to write");
    }
    if (!fs::is_regular_file(target, error)) {
        throw UsageError("'" + name + "' is not a regular file; name another to write");
    }
    for (const std::string &input : inputs_so_far) {
        if (!fs::equivalent(target, input, error)) continue;
        throw UsageError("'" + name + "' is the input file; give the output another name");
    }
    if (access(target.c_str(), W_OK) != 0) {
        throw UsageError("cannot write '" + name + "': " + std::strerror(errno) + "; name another file");
    }
}

}  // namespace

std::string extension_of(const fs::path &path) {
    std::string extension = lower_case(path.extension().string());
    if (extension == ".gz") extension = lower_case(path.stem().extension().string()) + extension;
    return extension;
}

OutputFile::OutputFile(const std::string &path, const std::vector<std::string> &inputs) : name_(path) {
    inputs_so_far.insert(inputs_so_far.end(), inputs.begin(), inputs.end());
    if (is_result(path)) return;
    target_ = resolve(path);
    refuse_bad_target(target_, name_);
    const fs::path directory = target_.has_parent_path() ? target_.parent_path() : fs::path(".");
    std::error_code error;
    if (!fs::is_directory(directory, error)) {
        throw UsageError("cannot write '" + name_ + "': there is no directory '" + directory.string() +
                         "'; make it first");
    }
    static int serial = 0;
    // Some writers add the extension themselves when it is not there.
    const std::string path_extension = extension_of(path);
    const std::string unique = std::to_string(getpid()) + "-" + std::to_string(serial++);
    temporary_ = (directory / (".isofield-" + unique + ".part" + path_extension)).string();
    slot_ = register_file(temporary_);
    const int file = open(temporary_.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
    if (file < 0) {
        const std::string reason = std::strerror(errno);
        release_file(slot_);
        throw UsageError("cannot write '" + name_ + "': " + reason + "; choose another place");
    }
    close(file);
}

OutputFile::~OutputFile() {
    if (slot_ < 0) return;
    unlink(temporary_.c_str());
    release_file(slot_);
}

void OutputFile::commit() {
    if (in_memory()) return;
    std::error_code error;
    fs::rename(temporary_, target_, error);
    if (error) throw OperationError("cannot write '" + name_ + "': " + error.message());
    release_file(slot_);
    slot_ = -1;
}

}  // namespace app
