// A file that appears complete or not at all: written under a temporary name beside its place, then renamed.
#ifndef ISOFIELD_APP_OUTPUT_FILE_HPP
#define ISOFIELD_APP_OUTPUT_FILE_HPP

#include <filesystem>
#include <string>
#include <vector>

namespace app {

// The extension in lower case with its dot, ".gz" with the one before it: ".nii.gz". Empty when there is
// none.
std::string extension_of(const std::filesystem::path &path);

class OutputFile {
  public:
    // Makes the temporary file, so that a place that cannot be written shows before any work is done. Throws
    // UsageError on that, and when `path` is one of `inputs`, of this or an earlier operation of the call, or
    // anything but a regular file. The name of a result that is handed on (relay.hpp) makes no file.
    OutputFile(const std::string &path, const std::vector<std::string> &inputs);
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    const std::string &name() const { return name_; }            // as the user gave it
    const std::string &temporary() const { return temporary_; }  // where to write
    bool in_memory() const { return temporary_.empty(); }        // there is nothing to write
    void commit();                                               // renames. Throws OperationError

  private:
    std::string name_;
    std::string temporary_;
    std::filesystem::path target_;
    int slot_ = -1;
};

}  // namespace app
#endif
